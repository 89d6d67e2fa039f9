// Raw reads of a disk's whole-disk device or of a saved database file. The
// read handle is opened by the first read and kept until the disk object is
// destroyed; nothing here ever writes.
#include "disk/disk.h"

namespace kestrand {

NTSTATUS CDisk::ReadDisk(int64_t& offset, uint32_t length, void* buffer) {
  if (readHandle_ == kInvalidHandle) {
    NTSTATUS status = Open();
    // The handle stays invalid, so the next read tries to open again.
    if (status < 0) return status;
  }
  return ThePlatform().ReadAt(readHandle_, offset, length, buffer);
}

NTSTATUS CDisk::Open() {
  PlatformHandle handle = kInvalidHandle;
  NTSTATUS status = ThePlatform().OpenDiskForRead(diskNumber_, handle);
  if (status >= 0) readHandle_ = handle;
  return status;
}

NTSTATUS CLdmFileDisk::Open() {
  PlatformHandle handle = kInvalidHandle;
  NTSTATUS status = ThePlatform().OpenFileForRead(fileName_, handle);
  readHandle_ = status < 0 ? kInvalidHandle : handle;
  return status < 0 ? status : 0;
}

}  // namespace kestrand
