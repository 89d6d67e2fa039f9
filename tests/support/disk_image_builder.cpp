#include "disk_image_builder.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <tuple>

#include "ldm/field_decoder.h"
#include "partition/table_bytes.h"

namespace kestrand {
namespace {

constexpr uint32_t kGptHeaderSize = 92;
constexpr uint32_t kGptEntrySize = 128;

void StoreSlot(uint8_t* p, const MbrSlot& slot) {
  std::memset(p, 0, 16);
  p[0] = slot.Boot ? 0x80 : 0x00;
  p[4] = slot.Type;
  StoreLe32(p + 8, slot.RelativeSector);
  StoreLe32(p + 12, slot.SectorCount);
}

}  // namespace

GUID GuidFromText(const std::string& text) {
  GUID guid{};
  if (ParseGuidText(text.c_str(), guid)) return guid;
  std::fprintf(stderr, "not a GUID text: %s\n", text.c_str());
  std::abort();
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

CDiskImageBuilder& CDiskImageBuilder::FlipByte(uint64_t offset) {
  uint8_t byte = 0;
  if (Read(static_cast<int64_t>(offset), 1, &byte) == 0) byte = static_cast<uint8_t>(~byte);
  return WriteBytes(offset, &byte, 1);
}

CDiskImageBuilder& CDiskImageBuilder::WriteSlot(uint64_t recordLba, size_t slot, const MbrSlot& entry) {
  uint8_t bytes[16];
  StoreSlot(bytes, entry);
  return WriteBytes(recordLba * bytesPerSector_ + 446 + slot * 16, bytes, sizeof bytes);
}

CDiskImageBuilder& CDiskImageBuilder::WriteEbr(uint64_t lba, const std::array<MbrSlot, 4>& slots) {
  for (size_t i = 0; i < 4; ++i) WriteSlot(lba, i, slots[i]);
  const uint8_t signature[2] = {0x55, 0xAA};
  return WriteBytes(lba * bytesPerSector_ + 510, signature, 2);
}

CDiskImageBuilder& CDiskImageBuilder::WriteMbr(const std::array<MbrSlot, 4>& slots, uint32_t diskSignature) {
  uint8_t signature[4];
  StoreLe32(signature, diskSignature);
  return WriteBytes(440, signature, 4).WriteEbr(0, slots);
}

CDiskImageBuilder& CDiskImageBuilder::WriteExtendedPartition(size_t slot, uint32_t startLba,
                                                             const std::vector<LogicalPartition>& logicals,
                                                             uint32_t gap) {
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
  return WriteSlot(0, slot, MbrSlot{0x05, false, startLba, at - startLba});
}

CDiskImageBuilder& CDiskImageBuilder::WriteGpt(const GptOptions& options) {
  std::vector<uint8_t> array(size_t{options.EntryCount} * kGptEntrySize, 0);
  size_t next = 0;
  for (const GptPartition& part : options.Partitions) {
    const size_t slot = part.Slot >= 0 ? static_cast<size_t>(part.Slot) : next;
    next = slot + 1;
    if (slot >= options.EntryCount) continue;
    uint8_t* p = array.data() + slot * kGptEntrySize;
    StoreGuidLe(p, part.Type);
    StoreGuidLe(p + 16, part.Id);
    StoreLe64(p + 32, part.FirstLba);
    StoreLe64(p + 40, part.LastLba);
    StoreLe64(p + 48, part.Attributes);
    for (size_t i = 0; i < part.Name.size() && i < 36; ++i) StoreLe16(p + 56 + 2 * i, part.Name[i]);
  }
  const uint64_t last = diskSize_ / bytesPerSector_ - 1;
  const uint64_t arraySectors = (array.size() + bytesPerSector_ - 1) / bytesPerSector_;
  WriteMbr({MbrSlot{0xEE, false, 1, static_cast<uint32_t>(std::min<uint64_t>(last, 0xFFFFFFFFu))}, {}, {}, {}}, 0);
  const uint32_t arrayCrc = Crc32(array.data(), array.size());
  // The primary header at LBA 1 with its entries from LBA 2, the backup's
  // entries right before the backup header in the last sector.
  for (const auto& [lba, alternate, entries] : {std::tuple{uint64_t{1}, last, uint64_t{2}},
                                                {last, uint64_t{1}, last - arraySectors}}) {
    WriteBytes(entries * bytesPerSector_, array.data(), array.size());
    uint8_t h[kGptHeaderSize] = {};
    std::memcpy(h, "EFI PART", 8);
    StoreLe32(h + 8, 0x00010000);
    StoreLe32(h + 12, kGptHeaderSize);
    StoreLe64(h + 24, lba);
    StoreLe64(h + 32, alternate);
    StoreLe64(h + 40, 2 + arraySectors);         // the first usable sector
    StoreLe64(h + 48, last - 1 - arraySectors);  // the last
    StoreGuidLe(h + 56, options.DiskId);
    StoreLe64(h + 72, entries);
    StoreLe32(h + 80, options.EntryCount);
    StoreLe32(h + 84, kGptEntrySize);
    StoreLe32(h + 88, arrayCrc);
    StoreLe32(h + 16, Crc32(h, sizeof h));
    WriteBytes(lba * bytesPerSector_, h, sizeof h);
  }
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

}  // namespace kestrand
