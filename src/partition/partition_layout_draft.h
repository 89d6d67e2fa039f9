// Shared pieces of the partition table readers: the layout being built and
// a bounds-checked read of disk bytes.
#pragma once

#include <cstdint>
#include <vector>

#include "partition/partition_table.h"

namespace kestrand {

struct LayoutDraft {
  uint32_t PartitionStyle = PARTITION_STYLE_RAW;
  DRIVE_LAYOUT_INFORMATION_MBR Mbr{};
  DRIVE_LAYOUT_INFORMATION_GPT Gpt{};
  std::vector<PARTITION_INFORMATION_EX> Entries;
};

// An all-zero entry (padding and union included).
PARTITION_INFORMATION_EX ZeroPartitionEntry();

// Whether [offset, offset + length) lies inside the disk.
bool RegionInsideDisk(const PartitionTableSource& source, uint64_t offset, uint64_t length);

// Reads a region that RegionInsideDisk accepted into a zero-filled buffer;
// returns 0 or the Win32 code of the failed read.
WIN32_ERROR ReadRegion(const PartitionTableSource& source, uint64_t offset, uint32_t length,
                       std::vector<uint8_t>& out);

// The MBR signature 0x55AA at bytes 510 and 511 of a sector.
bool HasBootSignature(const std::vector<uint8_t>& sector);

// Fills the draft from the MBR in `sector0` and its chain of extended boot
// records.
WIN32_ERROR ReadMbrLayout(const PartitionTableSource& source, const std::vector<uint8_t>& sector0,
                          LayoutDraft& draft);

// Fills the draft from the primary GPT or, when that is invalid, its backup.
WIN32_ERROR ReadGptLayout(const PartitionTableSource& source, LayoutDraft& draft);

}  // namespace kestrand
