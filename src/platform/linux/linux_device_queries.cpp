// Geometry, alignment, layout and whole-disk partition information of an
// open disk (or of an image file opened in its place).
#include <cstdint>

#include "platform/linux/block_media.h"
#include "platform/linux/errno_status.h"
#include "platform/linux/linux_platform.h"
#include "platform/linux/read_at.h"
#include "platform/status_codes.h"
#include "platform/storage_answers.h"

namespace kestrand {
namespace {

// 0 with the size, or the code to answer: a device without media is not
// ready, as on Windows.
WIN32_ERROR SizeOf(int fd, MediaSize& size) {
  if (fd < 0) return ERROR_INVALID_HANDLE_CODE;
  if (int error = QueryMediaSize(fd, size)) return Win32FromErrno(error);
  if (size.IsBlockDevice && size.Bytes == 0) return ERROR_NOT_READY_CODE;
  return ERROR_SUCCESS_CODE;
}

}  // namespace

WIN32_ERROR CLinuxPlatform::GetDriveGeometry(PlatformHandle device, DISK_GEOMETRY_EX& geometry) {
  const int fd = DescriptorOf(device);
  MediaSize size;
  if (WIN32_ERROR error = SizeOf(fd, size)) return error;
  const ListedDisk* disk = DiskBehind(device);
  const bool removable = disk != nullptr && disk->Removable;
  uint32_t heads = kDefaultTracksPerCylinder;
  uint32_t sectorsPerTrack = kDefaultSectorsPerTrack;
  if (size.IsBlockDevice && !QueryDriverChs(fd, heads, sectorsPerTrack)) {
    heads = kDefaultTracksPerCylinder;
    sectorsPerTrack = kDefaultSectorsPerTrack;
  }
  geometry = MakeDiskGeometry(static_cast<int64_t>(size.Bytes), size.LogicalSectorSize, removable, heads,
                              sectorsPerTrack);
  return ERROR_SUCCESS_CODE;
}

WIN32_ERROR CLinuxPlatform::GetAccessAlignment(PlatformHandle device,
                                               STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR& alignment) {
  const int fd = DescriptorOf(device);
  MediaSize size;
  if (WIN32_ERROR error = SizeOf(fd, size)) return error;
  MediaAlignment media;
  if (int error = QueryMediaAlignment(fd, media)) return Win32FromErrno(error);
  alignment = MakeAlignmentDescriptor(size.LogicalSectorSize, media.PhysicalSectorSize, media.FirstAlignedOffset);
  return ERROR_SUCCESS_CODE;
}

WIN32_ERROR CLinuxPlatform::TableSource(PlatformHandle device, PartitionTableSource& source) {
  const int fd = DescriptorOf(device);
  MediaSize size;
  if (WIN32_ERROR error = SizeOf(fd, size)) return error;
  if (size.Bytes > static_cast<uint64_t>(INT64_MAX)) return ERROR_INVALID_PARAMETER_CODE;
  source.BytesPerSector = size.LogicalSectorSize;
  source.DiskSize = static_cast<int64_t>(size.Bytes);
  source.Read = [fd](int64_t offset, uint32_t length, void* buffer) {
    return ReadAtOffset(fd, offset, length, buffer);
  };
  return ERROR_SUCCESS_CODE;
}

WIN32_ERROR CLinuxPlatform::GetDriveLayout(PlatformHandle device, void* buffer, uint32_t size) {
  PartitionTableSource source;
  if (WIN32_ERROR error = TableSource(device, source)) return error;
  std::vector<uint8_t> layout;
  if (WIN32_ERROR error = ReadDriveLayout(source, layout)) return error;
  return CopyDriveLayout(layout, buffer, size);
}

WIN32_ERROR CLinuxPlatform::GetPartitionInfo(PlatformHandle device, PARTITION_INFORMATION_EX& info) {
  PartitionTableSource source;
  if (WIN32_ERROR error = TableSource(device, source)) return error;
  return ReadWholeDiskPartitionInfo(source, info);
}

}  // namespace kestrand
