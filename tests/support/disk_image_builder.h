// Builds disk images with MBR (and extended boot record chains) or GPT
// partition tables, sector by sector, in a sparse store: a multi-terabyte
// disk costs only the sectors written. The image can be read in place,
// copied into memory, or written to a (sparse) file.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/types.h"

namespace kestrand {

// A GUID from its 8-4-4-4-12 text; aborts for a bad text (test constants only).
GUID GuidFromText(const std::string& text);

extern const GUID kGptTypeReserved;  // the vendor's reserved partition, E3C9E316-...
extern const GUID kGptTypeBasicData;
extern const GUID kGptTypeLdmMetadata;
extern const GUID kGptTypeLdmData;

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
  explicit CDiskImageBuilder(uint64_t diskSize, uint32_t bytesPerSector = 512);

  uint64_t DiskSize() const { return diskSize_; }

  // Raw bytes; whatever falls beyond the disk size is dropped.
  CDiskImageBuilder& WriteBytes(uint64_t offset, const void* data, size_t length);
  CDiskImageBuilder& FlipByte(uint64_t offset);  // inverts one byte (damage)

  // The MBR: its disk signature at byte 440, four slots and the 0x55AA signature.
  CDiskImageBuilder& WriteMbr(const std::array<MbrSlot, 4>& slots, uint32_t diskSignature);

  // An extended partition in MBR slot `slot` from `startLba`, with one
  // extended boot record per logical partition: each logical partition
  // starts `gap` sectors after its record, the next record follows the
  // partition.
  CDiskImageBuilder& WriteExtendedPartition(size_t slot, uint32_t startLba,
                                            const std::vector<LogicalPartition>& logicals, uint32_t gap = 63);

  // Protective MBR, primary header at LBA 1 and entry array from LBA 2, the
  // backup array and header at the end, both CRCs set.
  CDiskImageBuilder& WriteGpt(const GptOptions& options);

  // Reads like a disk: zeros where nothing was written; STATUS_END_OF_FILE
  // at or past the end, a short transfer across it.
  NTSTATUS Read(int64_t offset, uint32_t length, void* buffer) const;

  bool WriteToFile(const std::string& path) const;  // sparse where unwritten

 private:
  std::vector<uint8_t>& Sector(uint64_t lba);
  CDiskImageBuilder& WriteSlot(uint64_t recordLba, size_t slot, const MbrSlot& entry);
  CDiskImageBuilder& WriteEbr(uint64_t lba, const std::array<MbrSlot, 4>& slots);

  uint64_t diskSize_;
  uint32_t bytesPerSector_;
  std::map<uint64_t, std::vector<uint8_t>> sectors_;
};

}  // namespace kestrand
