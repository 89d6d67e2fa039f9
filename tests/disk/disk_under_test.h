// A disk whose query results a test sets directly, for the report tests that
// need exact geometry, partition information and layout buffers without
// going through a platform.
#pragma once

#include <cstdlib>
#include <cstring>
#include <vector>

#include "disk/disk.h"
#include "disk/disk_layout.h"
#include "platform/types.h"

namespace kestrand {

// A DRIVE_LAYOUT_INFORMATION_EX buffer built field by field.
class LayoutBuffer {
 public:
  LayoutBuffer(uint32_t style, uint32_t entries) : bytes_(DRIVE_LAYOUT_HEAD_BYTES + entries * PARTITION_ENTRY_BYTES) {
    Head().PartitionStyle = style;
    Head().PartitionCount = entries;
  }
  DRIVE_LAYOUT_INFORMATION_EX& Head() { return *reinterpret_cast<DRIVE_LAYOUT_INFORMATION_EX*>(bytes_.data()); }
  PARTITION_INFORMATION_EX& Entry(uint32_t i) {
    return *reinterpret_cast<PARTITION_INFORMATION_EX*>(bytes_.data() + DRIVE_LAYOUT_HEAD_BYTES +
                                                        i * PARTITION_ENTRY_BYTES);
  }
  const std::vector<uint8_t>& Bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
};

class DiskUnderTest : public CDisk {
 public:
  explicit DiskUnderTest(uint32_t number = 0) {
    diskNumber_ = number;
    diskNumberKnown_ = true;
  }

  void SetGeometry(int64_t cylinders, uint32_t tracksPerCylinder, uint32_t sectorsPerTrack, uint32_t bytesPerSector,
                   uint32_t mediaType = MEDIA_TYPE_FIXED) {
    std::free(geometry_);
    geometry_ = static_cast<DISK_GEOMETRY_EX*>(std::calloc(1, sizeof(DISK_GEOMETRY_EX)));
    geometry_->Geometry = {cylinders, mediaType, tracksPerCylinder, sectorsPerTrack, bytesPerSector};
  }
  void SetDiskLength(int64_t length) {
    std::free(partitionInfo_);
    partitionInfo_ = static_cast<PARTITION_INFORMATION_EX*>(std::calloc(1, sizeof(PARTITION_INFORMATION_EX)));
    partitionInfo_->PartitionLength = length;
  }
  // Builds the layout object the probe would choose for these bytes.
  CDiskLayout* SetLayout(const std::vector<uint8_t>& bytes) {
    delete layout_;
    auto* copy = static_cast<uint8_t*>(std::malloc(bytes.size()));
    std::memcpy(copy, bytes.data(), bytes.size());
    layout_ = NewLayoutFor(copy, static_cast<uint32_t>(bytes.size()));
    layout_->SetPartitionStyle(reinterpret_cast<const DRIVE_LAYOUT_INFORMATION_EX*>(copy)->PartitionStyle);
    layout_->SetBuffer(copy, static_cast<uint32_t>(bytes.size()));
    layout_->SetDisk(this);
    layout_->SetDiskNumber(diskNumber_);
    return layout_;
  }
  void SetErrors(uint32_t geometry, uint32_t partitionInfo, uint32_t layout) {
    geometryError_ = geometry;
    partitionInfoError_ = partitionInfo;
    layoutError_ = layout;
  }
  void SetStorageProperty(uint32_t physicalSectorSize, uint32_t alignmentOffset) {
    physicalSectorSize_ = physicalSectorSize;
    alignmentOffset_ = alignmentOffset;
  }
};

}  // namespace kestrand
