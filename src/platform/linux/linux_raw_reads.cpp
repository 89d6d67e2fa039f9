// Raw reads of a disk's whole-disk device or of a database file.
#include "platform/linux/errno_status.h"
#include "platform/linux/linux_platform.h"
#include "platform/linux/read_at.h"
#include "platform/status_codes.h"

namespace kestrand {

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

NTSTATUS CLinuxPlatform::ReadAt(PlatformHandle handle, int64_t offset, uint32_t length, void* buffer) {
  const int fd = DescriptorOf(handle);
  if (fd < 0) return STATUS_INVALID_HANDLE_CODE;
  return ReadAtOffset(fd, offset, length, buffer);
}

void CLinuxPlatform::CloseRead(PlatformHandle handle) { Forget(handle); }

}  // namespace kestrand
