#include "platform/storage_answers.h"

#include <cstring>

namespace kestrand {

namespace {
constexpr uint32_t kBytesPerCacheLine = 64;
}

DISK_GEOMETRY_EX MakeDiskGeometry(int64_t diskSize, uint32_t bytesPerSector, bool removable,
                                  uint32_t tracksPerCylinder, uint32_t sectorsPerTrack) {
  DISK_GEOMETRY_EX geometry;
  std::memset(&geometry, 0, sizeof geometry);
  const uint64_t cylinderBytes = uint64_t{tracksPerCylinder} * sectorsPerTrack * bytesPerSector;
  const uint64_t size = diskSize > 0 ? static_cast<uint64_t>(diskSize) : 0;
  geometry.Geometry.Cylinders = cylinderBytes == 0 ? 0 : static_cast<int64_t>(size / cylinderBytes);
  geometry.Geometry.MediaType = removable ? MEDIA_TYPE_REMOVABLE : MEDIA_TYPE_FIXED;
  geometry.Geometry.TracksPerCylinder = tracksPerCylinder;
  geometry.Geometry.SectorsPerTrack = sectorsPerTrack;
  geometry.Geometry.BytesPerSector = bytesPerSector;
  geometry.DiskSize = static_cast<int64_t>(size);
  return geometry;
}

STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR MakeAlignmentDescriptor(uint32_t logicalSectorSize,
                                                            uint32_t physicalSectorSize,
                                                            uint32_t firstAlignedOffset) {
  STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR d;
  std::memset(&d, 0, sizeof d);
  d.Version = sizeof d;
  d.Size = sizeof d;
  d.BytesPerCacheLine = kBytesPerCacheLine;
  d.BytesPerLogicalSector = logicalSectorSize;
  d.BytesPerPhysicalSector = physicalSectorSize;
  if (firstAlignedOffset != 0 && firstAlignedOffset < physicalSectorSize)
    d.BytesOffsetForSectorAlignment = physicalSectorSize - firstAlignedOffset;
  return d;
}

}  // namespace kestrand
