#include "support/test_disk.h"

#include <cstdlib>
#include <cstring>

namespace kestrand {

LayoutBuffer::LayoutBuffer(uint32_t style, uint32_t entries)
    : bytes_(DRIVE_LAYOUT_HEAD_BYTES + entries * PARTITION_ENTRY_BYTES, 0) {
  Head().PartitionStyle = style;
  Head().PartitionCount = entries;
}

TestDisk::TestDisk(uint32_t number) {
  diskNumber_ = number;
  diskNumberKnown_ = true;
}

void TestDisk::SetGeometry(int64_t cylinders, uint32_t tracksPerCylinder, uint32_t sectorsPerTrack,
                           uint32_t bytesPerSector, uint32_t mediaType) {
  ClearGeometry();
  geometry_ = static_cast<DISK_GEOMETRY_EX*>(std::calloc(1, sizeof(DISK_GEOMETRY_EX)));
  geometry_->Geometry = {cylinders, mediaType, tracksPerCylinder, sectorsPerTrack, bytesPerSector};
}

void TestDisk::ClearGeometry() {
  std::free(geometry_);
  geometry_ = nullptr;
}

void TestDisk::SetDiskLength(int64_t length) {
  if (!partitionInfo_)
    partitionInfo_ = static_cast<PARTITION_INFORMATION_EX*>(std::calloc(1, sizeof(PARTITION_INFORMATION_EX)));
  partitionInfo_->PartitionLength = length;
}

void TestDisk::SetErrors(uint32_t geometry, uint32_t partitionInfo, uint32_t layout) {
  geometryError_ = geometry;
  partitionInfoError_ = partitionInfo;
  layoutError_ = layout;
}

void TestDisk::SetPartitionInfoError(uint32_t error) {
  std::free(partitionInfo_);
  partitionInfo_ = nullptr;
  partitionInfoError_ = error;
}

void TestDisk::SetStorageProperty(uint32_t physicalSectorSize, uint32_t alignmentOffset) {
  physicalSectorSize_ = physicalSectorSize;
  alignmentOffset_ = alignmentOffset;
}

CDiskLayout* TestDisk::SetLayout(const std::vector<uint8_t>& bytes) {
  delete layout_;
  auto* copy = static_cast<uint8_t*>(std::malloc(bytes.size()));
  std::memcpy(copy, bytes.data(), bytes.size());
  layout_ = NewLayoutFor(copy, static_cast<uint32_t>(bytes.size()));
  uint32_t style = PARTITION_STYLE_RAW;
  if (bytes.size() >= sizeof style) std::memcpy(&style, copy, sizeof style);  // the head's first field
  layout_->SetPartitionStyle(style);
  layout_->SetBuffer(copy, static_cast<uint32_t>(bytes.size()));
  layout_->SetDisk(this);
  layout_->SetDiskNumber(diskNumber_);
  return layout_;
}

void TestDisk::SetMbrLayout(uint8_t type, uint32_t signature, bool boot) {
  LayoutBuffer mbr(PARTITION_STYLE_MBR, 1);
  mbr.Head().Mbr.Signature = signature;
  PARTITION_INFORMATION_EX& entry = mbr.Entry(0);
  entry.PartitionStyle = PARTITION_STYLE_MBR;
  entry.StartingOffset = 63 * 512;
  entry.PartitionLength = partitionInfo_ ? partitionInfo_->PartitionLength - entry.StartingOffset : 0;
  entry.Mbr.PartitionType = type;
  entry.Mbr.BootIndicator = boot ? 1 : 0;
  SetLayout(mbr.Bytes());
}

void TestDisk::SetGptLayout(const std::vector<GptEntryFields>& entries) {
  // A GPT layout without entries still needs room for the head.
  LayoutBuffer gpt(PARTITION_STYLE_GPT, static_cast<uint32_t>(entries.empty() ? 1 : entries.size()));
  gpt.Head().PartitionCount = static_cast<uint32_t>(entries.size());
  for (uint32_t i = 0; i < entries.size(); ++i) {
    PARTITION_INFORMATION_EX& entry = gpt.Entry(i);
    entry.PartitionStyle = PARTITION_STYLE_GPT;
    entry.StartingOffset = entries[i].StartingOffset;
    entry.PartitionLength = entries[i].PartitionLength;
    entry.Gpt.PartitionType = entries[i].Type;
  }
  SetLayout(gpt.Bytes());
}

}  // namespace kestrand
