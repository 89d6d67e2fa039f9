// Portable conversions between the status families the platform answers in.
#pragma once

#include "platform/types.h"

namespace kestrand {

constexpr WIN32_ERROR ERROR_INVALID_FUNCTION_CODE = 1;
constexpr WIN32_ERROR ERROR_PATH_NOT_FOUND_CODE = 3;
constexpr WIN32_ERROR ERROR_INVALID_HANDLE_CODE = 6;
constexpr WIN32_ERROR ERROR_SHARING_VIOLATION_CODE = 32;
constexpr WIN32_ERROR ERROR_HANDLE_EOF_CODE = 38;
constexpr NTSTATUS STATUS_INVALID_HANDLE_CODE = static_cast<NTSTATUS>(0xC0000008);
constexpr NTSTATUS STATUS_FILE_IS_A_DIRECTORY_CODE = static_cast<NTSTATUS>(0xC00000BA);

// The Win32 code a Windows caller gets for a failed NTSTATUS (the common
// cases of the system's own mapping); 0 for success, 31 for the rest.
WIN32_ERROR Win32FromNtStatus(NTSTATUS status);

}  // namespace kestrand
