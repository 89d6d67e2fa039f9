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

// Parses "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx" (test constants only).
GUID GuidFromText(const char* text);

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
  uint32_t EntryCount = 128;
  uint32_t EntrySize = 128;
  bool WriteBackup = true;
  std::vector<GptPartition> Partitions;
};

// Where the GPT pieces went, for tests that damage one of them.
struct GptPlacement {
  uint64_t PrimaryHeaderLba = 1;
  uint64_t PrimaryEntriesLba = 2;
  uint64_t BackupHeaderLba = 0;
  uint64_t BackupEntriesLba = 0;
  uint64_t FirstUsableLba = 0;
  uint64_t LastUsableLba = 0;
};

class CDiskImageBuilder {
 public:
  explicit CDiskImageBuilder(uint64_t diskSize, uint32_t bytesPerSector = 512);

  uint64_t DiskSize() const { return diskSize_; }
  uint32_t BytesPerSector() const { return bytesPerSector_; }
  uint64_t SectorCount() const { return diskSize_ / bytesPerSector_; }

  // Raw bytes; whatever falls beyond the disk size is dropped.
  CDiskImageBuilder& WriteBytes(uint64_t offset, const void* data, size_t length);
  CDiskImageBuilder& WriteLe32(uint64_t offset, uint32_t value);
  CDiskImageBuilder& FlipByte(uint64_t offset);  // inverts one byte (damage)

  // A partition sector: four slots and the 0x55AA signature. The MBR also
  // gets its disk signature at byte 440.
  CDiskImageBuilder& WriteMbr(const std::array<MbrSlot, 4>& slots, uint32_t diskSignature);
  CDiskImageBuilder& WriteEbr(uint64_t lba, const std::array<MbrSlot, 4>& slots);
  CDiskImageBuilder& WriteMbrSlot(uint64_t recordLba, size_t slot, const MbrSlot& entry);

  // An extended partition of type `containerType` in MBR slot `slot` from
  // `startLba`, with one extended boot record per logical partition: each
  // logical partition starts `gap` sectors after its record, the next record
  // follows the partition. Returns the records' LBAs through `recordLbas`.
  CDiskImageBuilder& WriteExtendedPartition(size_t slot, uint32_t startLba,
                                            const std::vector<LogicalPartition>& logicals, uint32_t gap = 63,
                                            uint8_t containerType = 0x05,
                                            std::vector<uint64_t>* recordLbas = nullptr);

  // Protective MBR, primary header and entry array at LBA 1 and 2, and
  // (optionally) the backup array and header at the end, both CRCs set.
  CDiskImageBuilder& WriteGpt(const GptOptions& options, GptPlacement* placement = nullptr);

  // Reads like a disk: zeros where nothing was written; STATUS_END_OF_FILE
  // at or past the end, a short transfer across it.
  NTSTATUS Read(int64_t offset, uint32_t length, void* buffer) const;

  bool WriteToFile(const std::string& path) const;  // sparse where unwritten

 private:
  std::vector<uint8_t>& Sector(uint64_t lba);
  std::vector<uint8_t> EntryArray(const GptOptions& options) const;
  void WriteGptHeader(uint64_t lba, uint64_t alternateLba, uint64_t entriesLba, const GptPlacement& placement,
                      const GptOptions& options, uint32_t arrayCrc);

  uint64_t diskSize_;
  uint32_t bytesPerSector_;
  std::map<uint64_t, std::vector<uint8_t>> sectors_;
};

// A file in the temporary directory, removed with the object.
class CTempFile {
 public:
  explicit CTempFile(const std::string& stem = "kestrand-image");
  ~CTempFile();
  CTempFile(const CTempFile&) = delete;
  CTempFile& operator=(const CTempFile&) = delete;
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace kestrand
