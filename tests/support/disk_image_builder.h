// Builds disk images with MBR (and extended boot record chains) or GPT
// partition tables, sector by sector, in a sparse store: a multi-terabyte
// disk costs only the sectors written. The image can be read in place,
// copied into memory, or written to a (sparse) file.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "ldm/field_decoder.h"
#include "partition/table_bytes.h"
#include "platform/types.h"

namespace kestrand {

// A GUID from its 8-4-4-4-12 text; aborts for a bad text (test constants only).
inline GUID GuidFromText(const std::string& text) {
  GUID guid{};
  if (ParseGuidText(text.c_str(), guid)) return guid;
  std::fprintf(stderr, "not a GUID text: %s\n", text.c_str());
  std::abort();
}

// The vendor's reserved partition, basic data, LDM metadata and LDM data.
inline const GUID kGptTypeReserved = GuidFromText("e3c9e316-0b5c-4db8-817d-f92df00215ae");
inline const GUID kGptTypeBasicData = GuidFromText("ebd0a0a2-b9e5-4433-87c0-68b6b72699c7");
inline const GUID kGptTypeLdmMetadata = GuidFromText("5808c8aa-7e8f-42e0-85d2-e1e90434cfb3");
inline const GUID kGptTypeLdmData = GuidFromText("af9b60a0-1431-4f62-bc68-3311714a69ad");

struct MbrSlot {
  uint8_t Type = 0;
  bool Boot = false;
  uint32_t RelativeSector = 0;
  uint32_t SectorCount = 0;
};

struct LogicalPartition {
  uint8_t Type = 0x07;
  uint32_t SectorCount = 0;
};

struct GptPartition {
  GUID Type{};
  GUID Id{};
  uint64_t FirstLba = 0;
  uint64_t LastLba = 0;
  uint64_t Attributes = 0;
  std::u16string Name;
  int Slot = -1;  // entry index; -1 takes the next one
};

struct GptOptions {
  GUID DiskId{};
  uint32_t EntryCount = 128;  // of 128 bytes each
  std::vector<GptPartition> Partitions;
};

class CDiskImageBuilder {
 public:
  explicit CDiskImageBuilder(uint64_t diskSize, uint32_t bytesPerSector = 512)
      : diskSize_(diskSize), bytesPerSector_(bytesPerSector == 0 ? 512 : bytesPerSector) {}

  uint64_t DiskSize() const { return diskSize_; }

  // Raw bytes; whatever falls beyond the disk size is dropped.
  CDiskImageBuilder& WriteBytes(uint64_t offset, const void* data, size_t length) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    for (size_t i = 0; i < length && offset + i < diskSize_; ++i) {
      const uint64_t at = offset + i;
      Sector(at / bytesPerSector_)[at % bytesPerSector_] = bytes[i];
    }
    return *this;
  }
  // Inverts one byte (damage).
  CDiskImageBuilder& FlipByte(uint64_t offset) {
    uint8_t byte = 0;
    if (Read(static_cast<int64_t>(offset), 1, &byte) == 0) byte = static_cast<uint8_t>(~byte);
    return WriteBytes(offset, &byte, 1);
  }

  // The MBR: its disk signature at byte 440, four slots and the 0x55AA signature.
  CDiskImageBuilder& WriteMbr(const std::array<MbrSlot, 4>& slots, uint32_t diskSignature) {
    uint8_t signature[4];
    StoreLe32(signature, diskSignature);
    return WriteBytes(440, signature, 4).WriteEbr(0, slots);
  }

  // An extended partition in MBR slot `slot` from `startLba`, with one
  // extended boot record per logical partition: each logical partition
  // starts `gap` sectors after its record, the next record follows the
  // partition.
  CDiskImageBuilder& WriteExtendedPartition(size_t slot, uint32_t startLba,
                                            const std::vector<LogicalPartition>& logicals, uint32_t gap = 63) {
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

  // Protective MBR, primary header at LBA 1 and entry array from LBA 2, the
  // backup array and header at the end, both CRCs set.
  CDiskImageBuilder& WriteGpt(const GptOptions& options) {
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

  // Reads like a disk: zeros where nothing was written; STATUS_END_OF_FILE
  // at or past the end, a short transfer across it.
  NTSTATUS Read(int64_t offset, uint32_t length, void* buffer) const {
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

  // Sparse where nothing was written.
  bool WriteToFile(const std::string& path) const {
    if (!std::ofstream(path, std::ios::binary | std::ios::trunc)) return false;  // created empty
    std::error_code ec;
    std::filesystem::resize_file(path, diskSize_, ec);  // sparse where nothing is written
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    for (const auto& [lba, sector] : sectors_) {
      const uint64_t offset = lba * bytesPerSector_;
      file.seekp(static_cast<std::streamoff>(offset));
      file.write(reinterpret_cast<const char*>(sector.data()),
                 static_cast<std::streamsize>(std::min<uint64_t>(bytesPerSector_, diskSize_ - offset)));
    }
    return file && !ec;
  }

 private:
  static constexpr uint32_t kGptHeaderSize = 92;
  static constexpr uint32_t kGptEntrySize = 128;

  std::vector<uint8_t>& Sector(uint64_t lba) {
    auto& sector = sectors_[lba];
    if (sector.empty()) sector.assign(bytesPerSector_, 0);
    return sector;
  }
  CDiskImageBuilder& WriteSlot(uint64_t recordLba, size_t slot, const MbrSlot& entry) {
    uint8_t bytes[16] = {entry.Boot ? uint8_t{0x80} : uint8_t{0}, 0, 0, 0, entry.Type};
    StoreLe32(bytes + 8, entry.RelativeSector);
    StoreLe32(bytes + 12, entry.SectorCount);
    return WriteBytes(recordLba * bytesPerSector_ + 446 + slot * 16, bytes, sizeof bytes);
  }
  CDiskImageBuilder& WriteEbr(uint64_t lba, const std::array<MbrSlot, 4>& slots) {
    for (size_t i = 0; i < 4; ++i) WriteSlot(lba, i, slots[i]);
    const uint8_t signature[2] = {0x55, 0xAA};
    return WriteBytes(lba * bytesPerSector_ + 510, signature, 2);
  }

  uint64_t diskSize_;
  uint32_t bytesPerSector_;
  std::map<uint64_t, std::vector<uint8_t>> sectors_;
};

}  // namespace kestrand
