// Raw reads and the codes of failures: the descriptors this platform hands
// out as handles (every one opened read-only), positioned reads of a disk's
// whole-disk device or of a database file, and errno turned into the codes a
// Windows caller would have seen.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "platform/linux/linux_internal.h"

namespace kestrand {

// ---- errno as Windows codes

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

// ---- handles

CLinuxPlatform::CLinuxPlatform(std::string sysRoot, std::string procRoot, std::string devRoot)
    : sysRoot_(std::move(sysRoot)), procRoot_(std::move(procRoot)), devRoot_(std::move(devRoot)),
      mapper_(devRoot_ + "/mapper") {}

CLinuxPlatform::~CLinuxPlatform() {
  for (const auto& [handle, path] : openPaths_) close(static_cast<int>(handle));
}

int CLinuxPlatform::OpenReadOnly(const std::string& path, PlatformHandle& handle) {
  handle = kInvalidHandle;
  if (path.find('\0') != std::string::npos) return ENOENT;
  int fd = -1;
  do {
    fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  } while (fd < 0 && errno == EINTR);
  if (fd < 0) return errno;
  // A directory opens fine on Linux, but it is not something to read.
  struct stat st;
  int error = fstat(fd, &st) != 0 ? errno : 0;
  if (error == 0 && S_ISDIR(st.st_mode)) error = EISDIR;
  if (error != 0) {
    close(fd);
    return error;
  }
  handle = static_cast<PlatformHandle>(fd);
  openPaths_[handle] = path;
  return 0;
}

int CLinuxPlatform::DescriptorOf(PlatformHandle handle) const {
  return openPaths_.count(handle) != 0 ? static_cast<int>(handle) : -1;
}

void CLinuxPlatform::Forget(PlatformHandle handle) {
  if (openPaths_.erase(handle) != 0) close(static_cast<int>(handle));
}

// ---- positioned reads

NTSTATUS ReadAtOffset(int fd, int64_t offset, uint32_t length, void* buffer, uint32_t* transferred) {
  uint32_t placed = 0;
  if (!transferred) transferred = &placed;
  *transferred = 0;
  if (offset < 0 || offset > INT64_MAX - int64_t{length} || (buffer == nullptr && length != 0))
    return STATUS_INVALID_PARAMETER_CODE;
  auto* bytes = static_cast<uint8_t*>(buffer);
  uint32_t& done = *transferred;
  while (done < length) {
    const ssize_t got = pread(fd, bytes + done, length - done, static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return NtStatusFromErrno(errno);
    if (got == 0) return done == 0 ? STATUS_END_OF_FILE_CODE : STATUS_SUCCESS_CODE;
    done += static_cast<uint32_t>(got);
  }
  return STATUS_SUCCESS_CODE;
}

// A disk number nobody answers to is like a missing \Device\HarddiskN
// directory on Windows: the path is not found.
NTSTATUS CLinuxPlatform::OpenDiskForRead(uint32_t diskNumber, PlatformHandle& handle) {
  handle = kInvalidHandle;
  const ListedDisk* disk = DiskNumbered(diskNumber);
  if (disk == nullptr) return STATUS_OBJECT_PATH_NOT_FOUND_CODE;
  return NtStatusFromErrno(OpenReadOnly(disk->DevicePath, handle));
}

NTSTATUS CLinuxPlatform::OpenFileForRead(const std::string& fileName, PlatformHandle& handle) {
  return NtStatusFromErrno(OpenReadOnly(fileName, handle));
}

NTSTATUS CLinuxPlatform::ReadAt(PlatformHandle handle, int64_t offset, uint32_t length, void* buffer,
                               uint32_t* transferred) {
  if (transferred) *transferred = 0;
  const int fd = DescriptorOf(handle);
  if (fd < 0) return STATUS_INVALID_HANDLE_CODE;
  return ReadAtOffset(fd, offset, length, buffer, transferred);
}

void CLinuxPlatform::CloseRead(PlatformHandle handle) { Forget(handle); }

// The kernel starts reading the range into its cache and returns at once: a
// read that follows waits for that fetch instead of starting its own, so the
// scattered sectors of an LDM area cost one trip to the device, not one each.
void CLinuxPlatform::AdviseWillRead(PlatformHandle handle, int64_t offset, uint64_t length) {
  const int fd = DescriptorOf(handle);
  if (fd < 0 || offset < 0 || length > static_cast<uint64_t>(INT64_MAX)) return;
  posix_fadvise(fd, offset, static_cast<off_t>(length), POSIX_FADV_WILLNEED);
}

}  // namespace kestrand
