// The inputs of the whole-run and database-edit targets: a pack of four
// small dynamic disks made once by the builders (each disk both as an MBR
// and as a GPT disk), and an input format of edits applied to copies of
// them, so that most inputs keep the magic strings, sequence numbers and
// checksums sound and reach the records and the relations between disks.
// The copies are restored after every input: no image is built or copied
// per input.
//
// Input: byte 0 picks the disks (bits 0-1: one to four disks; bits 2-5: disk
// i is the GPT image when bit 2+i is set); then edits, each an operation
// byte and its arguments, to the end of the input (a cut edit is dropped):
//   op % 4 == 0: disk, u16 offset into the config area, length-1, bytes
//   op % 4 == 1: disk, u32 offset into the LDM area, length-1, bytes; then
//                both private header copies get their checksum again
//   op % 4 == 2: from disk, from block, to disk, to block: copies one config
//                block (duplicates and records of another disk)
//   op % 4 == 3: disk, u32 offset into the whole image, length-1, bytes
// Lengths are 1 to 32; disks, offsets and blocks wrap around.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kestrand::fuzz {

constexpr uint64_t kAreaBytes = 0x100000;  // the LDM area, the last MiB of the MBR disk
constexpr uint64_t kAreaOffset = 0x100000;  // where it starts on both disks
constexpr size_t kMaxDisks = 4;
constexpr uint32_t kSector = 512;
constexpr uint32_t kConfigBlocks = 22;
constexpr uint32_t kBlockSize = 128;
constexpr uint64_t kConfigBytes = uint64_t{kConfigBlocks} * kBlockSize;
// Inside the area: the private header in the last sector and 0x18000 bytes
// before the end, the tables of contents in sectors 2 and 2045 from the end,
// the config area 15 sectors after the alternate table.
constexpr uint64_t kHeaderOffsets[] = {kAreaBytes - kSector, kAreaBytes - 0x18000};
constexpr uint64_t kPrimaryTocOffset = kAreaBytes - 3 * kSector;
constexpr uint64_t kAlternateTocOffset = kAreaBytes - 2046 * kSector;
constexpr uint64_t kConfigOffset = kAlternateTocOffset + 15 * kSector;

class CEditedPack {
 public:
  CEditedPack();

  // Applies the input; the disks it chose are Disk(0..Count()-1).
  void Apply(const uint8_t* data, size_t size);
  // Undoes every edit of the last Apply.
  void Restore();

  size_t Count() const { return count_; }
  const std::vector<uint8_t>& Disk(size_t i) const { return work_[Index(i)]; }
  // The LDM area of disk i, as a saved database file holds it.
  const uint8_t* Area(size_t i) const { return Disk(i).data() + kAreaOffset; }

  // The first byte and edits that give the unchanged disks (for seeds).
  static std::vector<uint8_t> SeedHeader(size_t disks, unsigned gptMask);

 private:
  size_t Index(size_t i) const { return i * 2 + (((gptMask_ >> i) & 1) != 0 ? 1 : 0); }
  void Write(size_t disk, uint64_t offset, const uint8_t* bytes, size_t length);
  void FixChecksums(size_t disk);

  std::vector<std::vector<uint8_t>> work_;  // MBR and GPT image of each disk
  struct Dirty {
    size_t Image;
    uint64_t Offset;
    size_t Length;
  };
  std::vector<Dirty> dirty_;
  size_t count_ = 1;
  unsigned gptMask_ = 0;
};

// The base images (built on first use).
const std::vector<std::vector<uint8_t>>& PackImages();

// One run over the chosen disks as the tool runs over live disks: enumeration,
// probe, loader, the text report with Dynamic Disk Information, and the
// analysis (tests, virtual structure, primary pack) to the null device.
void RunWholeTool(const CEditedPack& pack);

// The null device's name.
const char* NullDevice();

}  // namespace kestrand::fuzz
