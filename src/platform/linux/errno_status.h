// errno values turned into the codes a Windows caller would have seen: the
// Win32 error of a failed open or query, the NTSTATUS of a failed raw read.
#pragma once

#include "platform/types.h"

namespace kestrand {

WIN32_ERROR Win32FromErrno(int error);
NTSTATUS NtStatusFromErrno(int error);

}  // namespace kestrand
