#include "disk/disk_layout.h"

#include <cstdlib>
#include <new>

#include "disk/disk.h"

namespace kestrand {

CDiskLayout::~CDiskLayout() { std::free(buffer_); }

uint32_t CDiskLayout::PrintText(FILE* stream) { return stream ? 0 : ERROR_INVALID_PARAMETER_CODE; }

uint32_t CDiskLayout::AddToReport(CKestrandTreeNode* node) { return node ? 0 : ERROR_INVALID_PARAMETER_CODE; }

uint32_t CDiskLayout::GetDiskKind() { return DISK_KIND_RAW; }

uint32_t CDiskLayout::GetPartitionStyle() { return PARTITION_STYLE_RAW; }

void CDiskLayout::SetBuffer(uint8_t* buffer, uint32_t size) {
  if (buffer_ != buffer) std::free(buffer_);
  buffer_ = buffer;
  bufferSize_ = buffer ? size : 0;
}

const DRIVE_LAYOUT_INFORMATION_EX* CDiskLayout::Head() const {
  if (!buffer_ || bufferSize_ < DRIVE_LAYOUT_HEAD_BYTES) return nullptr;
  return reinterpret_cast<const DRIVE_LAYOUT_INFORMATION_EX*>(buffer_);
}

uint32_t CDiskLayout::PartitionCount() const {
  const DRIVE_LAYOUT_INFORMATION_EX* head = Head();
  return head ? head->PartitionCount : 0;
}

uint32_t CDiskLayout::EntryCount() const {
  if (!Head()) return 0;
  uint32_t fits = (bufferSize_ - DRIVE_LAYOUT_HEAD_BYTES) / PARTITION_ENTRY_BYTES;
  uint32_t count = PartitionCount();
  return count < fits ? count : fits;
}

const PARTITION_INFORMATION_EX* CDiskLayout::Entry(uint32_t i) const {
  if (i >= EntryCount()) return nullptr;
  size_t offset = DRIVE_LAYOUT_HEAD_BYTES + static_cast<size_t>(i) * PARTITION_ENTRY_BYTES;
  return reinterpret_cast<const PARTITION_INFORMATION_EX*>(buffer_ + offset);
}

uint64_t CDiskLayout::TotalSectors(const PARTITION_INFORMATION_EX& entry) const {
  uint32_t bytesPerSector = disk_ ? disk_->BytesPerSector() : 0;
  if (bytesPerSector == 0) return 0;
  return static_cast<uint64_t>(entry.PartitionLength / static_cast<int64_t>(bytesPerSector));
}

CDiskLayout* NewLayoutFor(const uint8_t* buffer, uint32_t size) {
  uint32_t style = PARTITION_STYLE_RAW;
  uint32_t count = 0;
  if (buffer && size >= DRIVE_LAYOUT_HEAD_BYTES) {
    const auto* head = reinterpret_cast<const DRIVE_LAYOUT_INFORMATION_EX*>(buffer);
    style = head->PartitionStyle;
    count = head->PartitionCount;
  }
  if (style == PARTITION_STYLE_MBR && count != 0) return new (std::nothrow) CMbrDiskLayout();
  if (style == PARTITION_STYLE_GPT) return new (std::nothrow) CGptDiskLayout();
  return new (std::nothrow) CRawDiskLayout();
}

}  // namespace kestrand
