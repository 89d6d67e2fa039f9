// A disk whose query results a test sets directly (geometry, partition
// information, layout buffer, errors) instead of asking a platform; raw
// reads still go to the installed platform.
#pragma once

#include <cstdint>
#include <vector>

#include "disk/disk.h"
#include "disk/disk_layout.h"
#include "platform/types.h"

namespace kestrand {

// A DRIVE_LAYOUT_INFORMATION_EX buffer built field by field.
class LayoutBuffer {
 public:
  LayoutBuffer(uint32_t style, uint32_t entries);
  DRIVE_LAYOUT_INFORMATION_EX& Head() { return *reinterpret_cast<DRIVE_LAYOUT_INFORMATION_EX*>(bytes_.data()); }
  PARTITION_INFORMATION_EX& Entry(uint32_t i) {
    return *reinterpret_cast<PARTITION_INFORMATION_EX*>(bytes_.data() + DRIVE_LAYOUT_HEAD_BYTES +
                                                        i * PARTITION_ENTRY_BYTES);
  }
  const std::vector<uint8_t>& Bytes() const { return bytes_; }

 private:
  std::vector<uint8_t> bytes_;
};

struct GptEntryFields {
  GUID Type;
  int64_t StartingOffset;
  int64_t PartitionLength;
};

class TestDisk : public CDisk {
 public:
  explicit TestDisk(uint32_t number = 0);

  void SetGeometry(int64_t cylinders, uint32_t tracksPerCylinder, uint32_t sectorsPerTrack, uint32_t bytesPerSector,
                   uint32_t mediaType = MEDIA_TYPE_FIXED);
  void SetBytesPerSector(uint32_t bytesPerSector) { SetGeometry(0, 0, 0, bytesPerSector); }
  void ClearGeometry();
  void SetDiskLength(int64_t length);
  void SetErrors(uint32_t geometry, uint32_t partitionInfo, uint32_t layout);
  // Drops the partition information too, as a failed query leaves it.
  void SetPartitionInfoError(uint32_t error);
  void SetStorageProperty(uint32_t physicalSectorSize, uint32_t alignmentOffset);
  void SetIsDevice(bool isDevice) { isDevice_ = isDevice; }

  // The layout object the probe would choose for these bytes.
  CDiskLayout* SetLayout(const std::vector<uint8_t>& bytes);
  // One MBR partition of `type` from sector 63 to the end of the disk.
  void SetMbrLayout(uint8_t type = MBR_TYPE_LDM, uint32_t signature = 0, bool boot = false);
  void SetGptLayout(const std::vector<GptEntryFields>& entries);
  void SetRawLayout() { SetLayout(LayoutBuffer(PARTITION_STYLE_RAW, 0).Bytes()); }
};

}  // namespace kestrand
