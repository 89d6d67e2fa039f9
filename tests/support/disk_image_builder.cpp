#include "disk_image_builder.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "partition/table_bytes.h"

namespace kestrand {
namespace {

constexpr size_t kMbrSlotsOffset = 446;
constexpr uint8_t kProtectiveType = 0xEE;
constexpr uint32_t kGptHeaderSize = 92;

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return 0;
}

// Reads `digits` hex digits, skipping one "-" in front of a group.
uint64_t TakeHex(const char*& p, int digits) {
  if (*p == '-') ++p;
  uint64_t v = 0;
  for (int i = 0; i < digits && *p; ++i, ++p) v = v * 16 + static_cast<uint64_t>(HexValue(*p));
  return v;
}

void StoreSlot(uint8_t* p, const MbrSlot& slot) {
  std::memset(p, 0, 16);
  p[0] = slot.Boot ? 0x80 : 0x00;
  p[4] = slot.Type;
  StoreLe32(p + 8, slot.RelativeSector);
  StoreLe32(p + 12, slot.SectorCount);
}

}  // namespace

GUID GuidFromText(const char* text) {
  GUID g{};
  const char* p = text;
  g.Data1 = static_cast<uint32_t>(TakeHex(p, 8));
  g.Data2 = static_cast<uint16_t>(TakeHex(p, 4));
  g.Data3 = static_cast<uint16_t>(TakeHex(p, 4));
  for (int i = 0; i < 8; ++i) g.Data4[i] = static_cast<uint8_t>(TakeHex(p, 2));
  return g;
}

const GUID kGptTypeReserved = GuidFromText("e3c9e316-0b5c-4db8-817d-f92df00215ae");
const GUID kGptTypeBasicData = GuidFromText("ebd0a0a2-b9e5-4433-87c0-68b6b72699c7");
const GUID kGptTypeLdmMetadata = GuidFromText("5808c8aa-7e8f-42e0-85d2-e1e90434cfb3");
const GUID kGptTypeLdmData = GuidFromText("af9b60a0-1431-4f62-bc68-3311714a69ad");

CDiskImageBuilder::CDiskImageBuilder(uint64_t diskSize, uint32_t bytesPerSector)
    : diskSize_(diskSize), bytesPerSector_(bytesPerSector == 0 ? 512 : bytesPerSector) {}

std::vector<uint8_t>& CDiskImageBuilder::Sector(uint64_t lba) {
  auto& sector = sectors_[lba];
  if (sector.empty()) sector.assign(bytesPerSector_, 0);
  return sector;
}

CDiskImageBuilder& CDiskImageBuilder::WriteBytes(uint64_t offset, const void* data, size_t length) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  for (size_t i = 0; i < length && offset + i < diskSize_; ++i) {
    const uint64_t at = offset + i;
    Sector(at / bytesPerSector_)[at % bytesPerSector_] = bytes[i];
  }
  return *this;
}

CDiskImageBuilder& CDiskImageBuilder::WriteLe32(uint64_t offset, uint32_t value) {
  uint8_t bytes[4];
  StoreLe32(bytes, value);
  return WriteBytes(offset, bytes, sizeof bytes);
}

CDiskImageBuilder& CDiskImageBuilder::FlipByte(uint64_t offset) {
  uint8_t byte = 0;
  if (Read(static_cast<int64_t>(offset), 1, &byte) == 0) byte = static_cast<uint8_t>(~byte);
  return WriteBytes(offset, &byte, 1);
}

CDiskImageBuilder& CDiskImageBuilder::WriteMbrSlot(uint64_t recordLba, size_t slot, const MbrSlot& entry) {
  uint8_t bytes[16];
  StoreSlot(bytes, entry);
  return WriteBytes(recordLba * bytesPerSector_ + kMbrSlotsOffset + slot * 16, bytes, sizeof bytes);
}

CDiskImageBuilder& CDiskImageBuilder::WriteEbr(uint64_t lba, const std::array<MbrSlot, 4>& slots) {
  for (size_t i = 0; i < 4; ++i) WriteMbrSlot(lba, i, slots[i]);
  const uint8_t signature[2] = {0x55, 0xAA};
  return WriteBytes(lba * bytesPerSector_ + 510, signature, 2);
}

CDiskImageBuilder& CDiskImageBuilder::WriteMbr(const std::array<MbrSlot, 4>& slots, uint32_t diskSignature) {
  WriteLe32(440, diskSignature);
  return WriteEbr(0, slots);
}

CDiskImageBuilder& CDiskImageBuilder::WriteExtendedPartition(size_t slot, uint32_t startLba,
                                                             const std::vector<LogicalPartition>& logicals,
                                                             uint32_t gap, uint8_t containerType,
                                                             std::vector<uint64_t>* recordLbas) {
  std::vector<uint32_t> records;
  uint32_t at = startLba;
  for (const LogicalPartition& logical : logicals) {
    records.push_back(at);
    at += gap + logical.SectorCount;
  }
  for (size_t i = 0; i < logicals.size(); ++i) {
    std::array<MbrSlot, 4> ebr{};
    ebr[0] = MbrSlot{logicals[i].Type, false, gap, logicals[i].SectorCount};
    if (i + 1 < logicals.size())
      ebr[1] = MbrSlot{0x05, false, records[i + 1] - startLba, gap + logicals[i + 1].SectorCount};
    WriteEbr(records[i], ebr);
  }
  WriteMbrSlot(0, slot, MbrSlot{containerType, false, startLba, at - startLba});
  if (recordLbas) recordLbas->assign(records.begin(), records.end());
  return *this;
}

std::vector<uint8_t> CDiskImageBuilder::EntryArray(const GptOptions& options) const {
  std::vector<uint8_t> array(size_t{options.EntryCount} * options.EntrySize, 0);
  size_t next = 0;
  for (const GptPartition& part : options.Partitions) {
    const size_t slot = part.Slot >= 0 ? static_cast<size_t>(part.Slot) : next;
    next = slot + 1;
    if (slot >= options.EntryCount) continue;
    uint8_t* p = array.data() + slot * options.EntrySize;
    StoreGuidLe(p, part.Type);
    StoreGuidLe(p + 16, part.Id);
    StoreLe64(p + 32, part.FirstLba);
    StoreLe64(p + 40, part.LastLba);
    StoreLe64(p + 48, part.Attributes);
    for (size_t i = 0; i < part.Name.size() && i < 36; ++i) StoreLe16(p + 56 + 2 * i, part.Name[i]);
  }
  return array;
}

void CDiskImageBuilder::WriteGptHeader(uint64_t lba, uint64_t alternateLba, uint64_t entriesLba,
                                       const GptPlacement& placement, const GptOptions& options,
                                       uint32_t arrayCrc) {
  uint8_t h[kGptHeaderSize] = {};
  std::memcpy(h, "EFI PART", 8);
  StoreLe32(h + 8, 0x00010000);
  StoreLe32(h + 12, kGptHeaderSize);
  StoreLe64(h + 24, lba);
  StoreLe64(h + 32, alternateLba);
  StoreLe64(h + 40, placement.FirstUsableLba);
  StoreLe64(h + 48, placement.LastUsableLba);
  StoreGuidLe(h + 56, options.DiskId);
  StoreLe64(h + 72, entriesLba);
  StoreLe32(h + 80, options.EntryCount);
  StoreLe32(h + 84, options.EntrySize);
  StoreLe32(h + 88, arrayCrc);
  StoreLe32(h + 16, Crc32(h, sizeof h));
  WriteBytes(lba * bytesPerSector_, h, sizeof h);
}

CDiskImageBuilder& CDiskImageBuilder::WriteGpt(const GptOptions& options, GptPlacement* placementOut) {
  const uint64_t last = SectorCount() - 1;
  const std::vector<uint8_t> array = EntryArray(options);
  const uint64_t arraySectors = (array.size() + bytesPerSector_ - 1) / bytesPerSector_;
  GptPlacement placement;
  placement.BackupHeaderLba = last;
  placement.BackupEntriesLba = last - arraySectors;
  placement.FirstUsableLba = 2 + arraySectors;
  placement.LastUsableLba = last - 1 - arraySectors;

  const auto protectiveSectors = static_cast<uint32_t>(std::min<uint64_t>(last, 0xFFFFFFFFu));
  WriteMbr({MbrSlot{kProtectiveType, false, 1, protectiveSectors}, {}, {}, {}}, 0);
  const uint32_t arrayCrc = Crc32(array.data(), array.size());
  WriteBytes(placement.PrimaryEntriesLba * bytesPerSector_, array.data(), array.size());
  WriteGptHeader(1, last, placement.PrimaryEntriesLba, placement, options, arrayCrc);
  if (options.WriteBackup) {
    WriteBytes(placement.BackupEntriesLba * bytesPerSector_, array.data(), array.size());
    WriteGptHeader(last, 1, placement.BackupEntriesLba, placement, options, arrayCrc);
  }
  if (placementOut) *placementOut = placement;
  return *this;
}

NTSTATUS CDiskImageBuilder::Read(int64_t offset, uint32_t length, void* buffer) const {
  if (offset < 0) return STATUS_INVALID_PARAMETER_CODE;
  if (static_cast<uint64_t>(offset) >= diskSize_) return STATUS_END_OF_FILE_CODE;
  auto* out = static_cast<uint8_t*>(buffer);
  const uint64_t end = std::min<uint64_t>(diskSize_, static_cast<uint64_t>(offset) + length);
  for (uint64_t at = static_cast<uint64_t>(offset); at < end; ++at) {
    auto found = sectors_.find(at / bytesPerSector_);
    out[at - static_cast<uint64_t>(offset)] = found == sectors_.end() ? 0 : found->second[at % bytesPerSector_];
  }
  return STATUS_SUCCESS_CODE;
}

bool CDiskImageBuilder::WriteToFile(const std::string& path) const {
  {
    std::ofstream create(path, std::ios::binary | std::ios::trunc);
    if (!create) return false;
  }
  std::error_code ec;
  std::filesystem::resize_file(path, diskSize_, ec);
  if (ec) return false;
  std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
  for (const auto& [lba, sector] : sectors_) {
    const uint64_t offset = lba * bytesPerSector_;
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(reinterpret_cast<const char*>(sector.data()),
               static_cast<std::streamsize>(std::min<uint64_t>(bytesPerSector_, diskSize_ - offset)));
  }
  return static_cast<bool>(file);
}

CTempFile::CTempFile(const std::string& stem) {
  static std::atomic<unsigned> counter{0};
  std::random_device random;
  const std::string name = stem + "-" + std::to_string(random()) + "-" + std::to_string(counter++);
  path_ = (std::filesystem::temp_directory_path() / name).string();
}

CTempFile::~CTempFile() {
  std::error_code ec;
  std::filesystem::remove(path_, ec);
}

}  // namespace kestrand
