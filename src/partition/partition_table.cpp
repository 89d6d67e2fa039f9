// The common front of the partition table readers: what sector 0 holds, the
// bounds-checked reads every reader uses, and the layout bytes they build.
#include "partition/partition_table.h"

#include <cstring>
#include <limits>

#include "partition/partition_layout_draft.h"
#include "platform/platform.h"

namespace kestrand {
namespace {

constexpr uint8_t kProtectiveMbrType = 0xEE;
constexpr size_t kMbrEntriesOffset = 446;
constexpr size_t kMbrEntryBytes = 16;

bool SourceIsUsable(const PartitionTableSource& source) {
  const uint32_t size = source.BytesPerSector;
  const bool powerOfTwo = size != 0 && (size & (size - 1)) == 0;
  return source.Read && powerOfTwo && size >= 512 && size <= 65536 && source.DiskSize >= 0;
}

enum class BootSectorKind { NoTable, Mbr, Protective };

// A sector with 0x55AA is a table only when every boot indicator is 0 or
// 0x80; otherwise it is a file system's boot sector on an unpartitioned disk.
BootSectorKind ClassifyBootSector(const std::vector<uint8_t>& sector) {
  if (!HasBootSignature(sector)) return BootSectorKind::NoTable;
  bool protective = false;
  for (size_t slot = 0; slot < 4; ++slot) {
    const uint8_t* entry = sector.data() + kMbrEntriesOffset + slot * kMbrEntryBytes;
    if (entry[0] != 0 && entry[0] != 0x80) return BootSectorKind::NoTable;
    if (entry[4] == kProtectiveMbrType) protective = true;
  }
  return protective ? BootSectorKind::Protective : BootSectorKind::Mbr;
}

// Reads sector 0 and tells what kind of table it starts; a disk smaller than
// one sector has none.
WIN32_ERROR ReadBootSector(const PartitionTableSource& source, std::vector<uint8_t>& sector,
                           BootSectorKind& kind) {
  kind = BootSectorKind::NoTable;
  if (!RegionInsideDisk(source, 0, source.BytesPerSector)) return ERROR_SUCCESS_CODE;
  WIN32_ERROR error = ReadRegion(source, 0, source.BytesPerSector, sector);
  if (error == ERROR_SUCCESS_CODE) kind = ClassifyBootSector(sector);
  return error;
}

std::vector<uint8_t> SerializeDraft(const LayoutDraft& draft) {
  DRIVE_LAYOUT_INFORMATION_EX head;
  std::memset(&head, 0, sizeof head);
  head.PartitionStyle = draft.PartitionStyle;
  head.PartitionCount = static_cast<uint32_t>(draft.Entries.size());
  if (draft.PartitionStyle == PARTITION_STYLE_GPT)
    head.Gpt = draft.Gpt;
  else
    head.Mbr = draft.Mbr;
  std::vector<uint8_t> bytes(DRIVE_LAYOUT_HEAD_BYTES + draft.Entries.size() * PARTITION_ENTRY_BYTES);
  std::memcpy(bytes.data(), &head, DRIVE_LAYOUT_HEAD_BYTES);
  for (size_t i = 0; i < draft.Entries.size(); ++i)
    std::memcpy(bytes.data() + DRIVE_LAYOUT_HEAD_BYTES + i * PARTITION_ENTRY_BYTES, &draft.Entries[i],
                PARTITION_ENTRY_BYTES);
  return bytes;
}

}  // namespace

PARTITION_INFORMATION_EX ZeroPartitionEntry() {
  PARTITION_INFORMATION_EX entry;
  std::memset(&entry, 0, sizeof entry);
  return entry;
}

bool RegionInsideDisk(const PartitionTableSource& source, uint64_t offset, uint64_t length) {
  const auto size = static_cast<uint64_t>(source.DiskSize);
  return offset <= size && length <= size - offset;
}

WIN32_ERROR ReadRegion(const PartitionTableSource& source, uint64_t offset, uint32_t length,
                       std::vector<uint8_t>& out) {
  out.assign(length, 0);
  if (offset > static_cast<uint64_t>(std::numeric_limits<int64_t>::max()))
    return ERROR_INVALID_PARAMETER_CODE;
  NTSTATUS status = source.Read(static_cast<int64_t>(offset), length, out.data());
  return Win32FromNtStatus(status);
}

bool HasBootSignature(const std::vector<uint8_t>& sector) {
  return sector.size() >= 512 && sector[510] == 0x55 && sector[511] == 0xAA;
}

bool IsRecognizedMbrType(uint8_t type) {
  // FAT12, FAT16, huge FAT16, IFS (NTFS), FAT32, FAT32 with int13
  // extensions, FAT16 with int13 extensions; also as fault-tolerant members
  // (bit 0x80 set, bit 0x40 ignored).
  auto plain = [](uint8_t t) {
    return t == 0x01 || t == 0x04 || t == 0x06 || t == 0x07 || t == 0x0B || t == 0x0C || t == 0x0E;
  };
  if (plain(type)) return true;
  if (type & 0x80) {
    const auto base = static_cast<uint8_t>(type & ~0xC0);
    return base != 0x04 && plain(base);
  }
  return false;
}

bool IsContainerMbrType(uint8_t type) { return type == 0x05 || type == 0x0F; }

WIN32_ERROR ReadDriveLayout(const PartitionTableSource& source, std::vector<uint8_t>& layout) {
  layout.clear();
  if (!SourceIsUsable(source)) return ERROR_INVALID_PARAMETER_CODE;
  std::vector<uint8_t> sector0;
  BootSectorKind kind = BootSectorKind::NoTable;
  WIN32_ERROR error = ReadBootSector(source, sector0, kind);
  if (error != ERROR_SUCCESS_CODE) return error;
  LayoutDraft draft;
  if (kind == BootSectorKind::Mbr) error = ReadMbrLayout(source, sector0, draft);
  if (kind == BootSectorKind::Protective) error = ReadGptLayout(source, draft);
  if (error != ERROR_SUCCESS_CODE) return error;
  layout = SerializeDraft(draft);
  return ERROR_SUCCESS_CODE;
}

WIN32_ERROR ReadWholeDiskPartitionInfo(const PartitionTableSource& source,
                                       PARTITION_INFORMATION_EX& info) {
  if (!SourceIsUsable(source)) return ERROR_INVALID_PARAMETER_CODE;
  std::vector<uint8_t> sector0;
  BootSectorKind kind = BootSectorKind::NoTable;
  WIN32_ERROR error = ReadBootSector(source, sector0, kind);
  if (error != ERROR_SUCCESS_CODE) return error;
  info = ZeroPartitionEntry();
  info.PartitionStyle = kind == BootSectorKind::Mbr          ? PARTITION_STYLE_MBR
                        : kind == BootSectorKind::Protective ? PARTITION_STYLE_GPT
                                                             : PARTITION_STYLE_RAW;
  info.PartitionLength = source.DiskSize;
  return ERROR_SUCCESS_CODE;
}

WIN32_ERROR CopyDriveLayout(const std::vector<uint8_t>& layout, void* buffer, uint32_t size) {
  if (layout.size() < DRIVE_LAYOUT_HEAD_BYTES) return ERROR_INVALID_DATA_CODE;
  if (buffer == nullptr || size < layout.size()) return ERROR_INSUFFICIENT_BUFFER_CODE;
  std::memcpy(buffer, layout.data(), layout.size());
  return ERROR_SUCCESS_CODE;
}

}  // namespace kestrand
