// GPT: the header at LBA 1 (or the backup in the last sector) and its entry
// array, both guarded by CRC-32, in the shape of the Windows layout query:
// one entry per slot whose type is not zero, numbered from 1.
#include <array>
#include <cstring>

#include "common/first_code.h"
#include "partition/partition_layout_draft.h"
#include "partition/table_bytes.h"

namespace kestrand {
namespace {

constexpr std::array<uint32_t, 256> MakeCrcTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t n = 0; n < 256; ++n) {
    uint32_t c = n;
    for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
    table[n] = c;
  }
  return table;
}

constexpr std::array<uint32_t, 256> kCrcTable = MakeCrcTable();

constexpr uint32_t kMinHeaderSize = 92;
constexpr size_t kEntryTypeOffset = 0;
constexpr size_t kEntryIdOffset = 16;
constexpr size_t kEntryFirstLbaOffset = 32;
constexpr size_t kEntryLastLbaOffset = 40;
constexpr size_t kEntryAttributesOffset = 48;
constexpr size_t kEntryNameOffset = 56;
constexpr size_t kEntryNameUnits = 36;

struct GptHeader {
  uint64_t FirstUsableLba = 0;
  uint64_t LastUsableLba = 0;
  GUID DiskId{};
  uint64_t EntryArrayLba = 0;
  uint32_t EntryCount = 0;
  uint32_t EntrySize = 0;
  uint32_t EntryArrayCrc = 0;
};

bool IsZeroGuid(const GUID& g) { return g == GUID{}; }

class CGptReader {
 public:
  explicit CGptReader(const PartitionTableSource& source)
      : source_(source),
        bytesPerSector_(source.BytesPerSector),
        sectorCount_(static_cast<uint64_t>(source.DiskSize) / source.BytesPerSector) {}

  // 0 with `valid` telling whether the copy at `lba` is usable; a failed
  // read gives its code.
  WIN32_ERROR ReadCopy(uint64_t lba, LayoutDraft& draft, bool& valid);

  uint64_t LastLba() const { return sectorCount_ == 0 ? 0 : sectorCount_ - 1; }

 private:
  bool DecodeHeader(const std::vector<uint8_t>& sector, uint64_t lba, GptHeader& header) const;
  bool EntryArrayInsideDisk(const GptHeader& header) const;
  bool DecodeEntry(const uint8_t* raw, PARTITION_INFORMATION_EX& entry) const;

  const PartitionTableSource& source_;
  const uint64_t bytesPerSector_;
  const uint64_t sectorCount_;
};

bool CGptReader::DecodeHeader(const std::vector<uint8_t>& sector, uint64_t lba, GptHeader& header) const {
  if (std::memcmp(sector.data(), "EFI PART", 8) != 0) return false;
  const uint32_t headerSize = LoadLe32(sector.data() + 12);
  if (headerSize < kMinHeaderSize || headerSize > sector.size()) return false;
  std::vector<uint8_t> copy(sector.begin(), sector.begin() + headerSize);
  std::memset(copy.data() + 16, 0, 4);
  if (Crc32(copy.data(), copy.size()) != LoadLe32(sector.data() + 16)) return false;
  if (LoadLe64(sector.data() + 24) != lba) return false;
  header.FirstUsableLba = LoadLe64(sector.data() + 40);
  header.LastUsableLba = LoadLe64(sector.data() + 48);
  header.DiskId = LoadGuidLe(sector.data() + 56);
  header.EntryArrayLba = LoadLe64(sector.data() + 72);
  header.EntryCount = LoadLe32(sector.data() + 80);
  header.EntrySize = LoadLe32(sector.data() + 84);
  header.EntryArrayCrc = LoadLe32(sector.data() + 88);
  if (header.FirstUsableLba > header.LastUsableLba || header.LastUsableLba >= sectorCount_) return false;
  if (header.EntrySize < 128 || header.EntrySize > kMaxGptEntrySize || header.EntrySize % 128 != 0)
    return false;
  if (header.EntryCount > kMaxGptEntryCount) return false;
  return uint64_t{header.EntryCount} * header.EntrySize <= kMaxGptEntryArrayBytes;
}

bool CGptReader::EntryArrayInsideDisk(const GptHeader& header) const {
  if (header.EntryArrayLba >= sectorCount_) return false;
  const uint64_t bytes = uint64_t{header.EntryCount} * header.EntrySize;
  return RegionInsideDisk(source_, header.EntryArrayLba * bytesPerSector_, bytes);
}

// False for an entry that names sectors outside the disk or ends before it
// starts; such an entry is left out.
bool CGptReader::DecodeEntry(const uint8_t* raw, PARTITION_INFORMATION_EX& entry) const {
  const uint64_t first = LoadLe64(raw + kEntryFirstLbaOffset);
  const uint64_t last = LoadLe64(raw + kEntryLastLbaOffset);
  if (first > last || last >= sectorCount_) return false;
  entry = ZeroPartitionEntry();
  entry.PartitionStyle = PARTITION_STYLE_GPT;
  entry.StartingOffset = static_cast<int64_t>(first * bytesPerSector_);
  entry.PartitionLength = static_cast<int64_t>((last - first + 1) * bytesPerSector_);
  entry.Gpt.PartitionType = LoadGuidLe(raw + kEntryTypeOffset);
  entry.Gpt.PartitionId = LoadGuidLe(raw + kEntryIdOffset);
  entry.Gpt.Attributes = LoadLe64(raw + kEntryAttributesOffset);
  for (size_t i = 0; i < kEntryNameUnits; ++i)
    entry.Gpt.Name[i] = static_cast<char16_t>(LoadLe16(raw + kEntryNameOffset + 2 * i));
  return true;
}

WIN32_ERROR CGptReader::ReadCopy(uint64_t lba, LayoutDraft& draft, bool& valid) {
  valid = false;
  if (lba >= sectorCount_) return ERROR_SUCCESS_CODE;
  std::vector<uint8_t> sector;
  WIN32_ERROR error = ReadRegion(source_, lba * bytesPerSector_, source_.BytesPerSector, sector);
  GptHeader header;
  if (error != ERROR_SUCCESS_CODE || !DecodeHeader(sector, lba, header) || !EntryArrayInsideDisk(header))
    return error;
  std::vector<uint8_t> array;
  const auto arrayBytes = static_cast<uint32_t>(uint64_t{header.EntryCount} * header.EntrySize);
  error = ReadRegion(source_, header.EntryArrayLba * bytesPerSector_, arrayBytes, array);
  if (error != ERROR_SUCCESS_CODE || Crc32(array.data(), array.size()) != header.EntryArrayCrc) return error;

  draft.PartitionStyle = PARTITION_STYLE_GPT;
  draft.Gpt.DiskId = header.DiskId;
  draft.Gpt.StartingUsableOffset = static_cast<int64_t>(header.FirstUsableLba * bytesPerSector_);
  draft.Gpt.UsableLength =
      static_cast<int64_t>((header.LastUsableLba - header.FirstUsableLba + 1) * bytesPerSector_);
  draft.Gpt.MaxPartitionCount = header.EntryCount;
  draft.Entries.clear();
  for (uint32_t i = 0; i < header.EntryCount; ++i) {
    const uint8_t* raw = array.data() + size_t{i} * header.EntrySize;
    PARTITION_INFORMATION_EX entry;
    if (IsZeroGuid(LoadGuidLe(raw + kEntryTypeOffset)) || !DecodeEntry(raw, entry)) continue;
    entry.PartitionNumber = static_cast<uint32_t>(draft.Entries.size() + 1);
    draft.Entries.push_back(entry);
  }
  valid = true;
  return ERROR_SUCCESS_CODE;
}

}  // namespace

uint32_t Crc32(const void* data, size_t length) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  uint32_t crc = 0xFFFFFFFFu;
  for (size_t i = 0; i < length; ++i) crc = kCrcTable[(crc ^ bytes[i]) & 0xFF] ^ (crc >> 8);
  return crc ^ 0xFFFFFFFFu;
}

// The primary copy at LBA 1, else the backup in the last sector; a failed
// read of either ends the search with its code.
WIN32_ERROR ReadGptLayout(const PartitionTableSource& source, LayoutDraft& draft) {
  CGptReader reader(source);
  bool valid = false;
  CFirstCode code;
  code.Then([&] { return reader.ReadCopy(1, draft, valid); })
      .Then([&] { return valid ? ERROR_SUCCESS_CODE : reader.ReadCopy(reader.LastLba(), draft, valid); })
      .Then([&] { return valid ? ERROR_SUCCESS_CODE : ERROR_DISK_CORRUPT_CODE; });
  return code.Code();
}

}  // namespace kestrand
