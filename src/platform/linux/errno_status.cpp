#include "platform/linux/errno_status.h"

#include <cerrno>

#include "platform/status_codes.h"

namespace kestrand {
namespace {

constexpr WIN32_ERROR ERROR_TOO_MANY_OPEN_FILES_CODE = 4;
constexpr WIN32_ERROR ERROR_FILENAME_EXCED_RANGE_CODE = 206;
constexpr WIN32_ERROR ERROR_CANT_RESOLVE_FILENAME_CODE = 1921;
constexpr NTSTATUS STATUS_NAME_TOO_LONG_CODE = static_cast<NTSTATUS>(0xC0000106);
constexpr NTSTATUS STATUS_TOO_MANY_OPENED_FILES_CODE = static_cast<NTSTATUS>(0xC000011F);
constexpr NTSTATUS STATUS_REPARSE_POINT_NOT_RESOLVED_CODE = static_cast<NTSTATUS>(0xC0000280);

}  // namespace

WIN32_ERROR Win32FromErrno(int error) {
  switch (error) {
    case 0:
      return ERROR_SUCCESS_CODE;
    case ENOENT:
    case ENODEV:  // the path names no device at all
      return ERROR_FILE_NOT_FOUND_CODE;
    case ENOTDIR:
      return ERROR_PATH_NOT_FOUND_CODE;
    case EACCES:
    case EPERM:
    case EROFS:
    case EISDIR:
      return ERROR_ACCESS_DENIED_CODE;
    case ENXIO:      // the node exists but no unit or medium answers behind it
    case ENOMEDIUM:
      return ERROR_NOT_READY_CODE;
    case EBUSY:
      return ERROR_SHARING_VIOLATION_CODE;
    case ENOMEM:
      return ERROR_NOT_ENOUGH_MEMORY_CODE;
    case EMFILE:
    case ENFILE:
      return ERROR_TOO_MANY_OPEN_FILES_CODE;
    case ENAMETOOLONG:
      return ERROR_FILENAME_EXCED_RANGE_CODE;
    case ELOOP:
      return ERROR_CANT_RESOLVE_FILENAME_CODE;
    case EBADF:
      return ERROR_INVALID_HANDLE_CODE;
    case EINVAL:
      return ERROR_INVALID_PARAMETER_CODE;
    case ENOTTY:  // the driver does not know the request
    case EOPNOTSUPP:
      return ERROR_INVALID_FUNCTION_CODE;
    default:  // EIO and everything unforeseen
      return ERROR_GEN_FAILURE_CODE;
  }
}

NTSTATUS NtStatusFromErrno(int error) {
  switch (error) {
    case 0:
      return STATUS_SUCCESS_CODE;
    case ENOENT:
      return STATUS_OBJECT_NAME_NOT_FOUND_CODE;
    case ENOTDIR:
      return STATUS_OBJECT_PATH_NOT_FOUND_CODE;
    case EACCES:
    case EPERM:
    case EROFS:
      return STATUS_ACCESS_DENIED_CODE;
    case EISDIR:
      return STATUS_FILE_IS_A_DIRECTORY_CODE;
    case EIO:
      return STATUS_IO_DEVICE_ERROR_CODE;
    case ENXIO:
    case ENODEV:
      return STATUS_NO_SUCH_DEVICE_CODE;
    case ENOMEDIUM:
      return STATUS_NO_MEDIA_IN_DEVICE_CODE;
    case EINVAL:  // for example an unaligned transfer on a direct-I/O handle
      return STATUS_INVALID_PARAMETER_CODE;
    case EBUSY:
      return STATUS_SHARING_VIOLATION_CODE;
    case ENOMEM:
      return STATUS_INSUFFICIENT_RESOURCES_CODE;
    case EMFILE:
    case ENFILE:
      return STATUS_TOO_MANY_OPENED_FILES_CODE;
    case ENAMETOOLONG:
      return STATUS_NAME_TOO_LONG_CODE;
    case ELOOP:
      return STATUS_REPARSE_POINT_NOT_RESOLVED_CODE;
    case EBADF:
      return STATUS_INVALID_HANDLE_CODE;
    default:
      return STATUS_UNSUCCESSFUL_CODE;
  }
}

}  // namespace kestrand
