// The table of contents of an LDM database (the "TOCBLOCK" sector) as
// decoded: the config and log regions with their extents. The holder of one
// copy (TOC_WRAPPER) is declared with the database; its reading and its
// report are implemented with the decoding.
#pragma once

#include <cstdint>

#include "platform/types.h"

namespace kestrand {

enum TOC_REGION_TYPE : uint8_t {
  TOC_REGION_UNKNOWN = 0,
  TOC_REGION_CONFIG = 1,
  TOC_REGION_LOG = 2,
};

constexpr uint16_t TOC_COPY_DISABLED = 0x0008;

struct TOC_REGION {
  uint8_t RegionType;  // TOC_REGION_TYPE
  uint16_t Flags;      // TOC_COPY_DISABLED
  uint64_t ExtentOffset;
  uint64_t ExtentLength;
  int16_t CopyNumber;
  uint32_t OffsetInCopy;
};

// The regions in ascending ExtentOffset order; a region that starts where
// others start goes after them. A copy lists two regions at most.
struct TOC {
  static constexpr uint32_t kMaxRegions = 2;
  TOC_REGION Regions[kMaxRegions];
  uint32_t RegionCount;

  // False when the table is full.
  bool Insert(const TOC_REGION& region);
};

// Where the first region entry of a TOCBLOCK sector starts.
constexpr uint32_t kTocFirstEntryOffset = 0x24;

// Decodes the two region entries of a TOCBLOCK sector of `size` bytes into
// `toc`: 0, or 0xC000000D at the first entry that does not decode (the
// entries before it stay in the list).
NTSTATUS DecodeToc(const uint8_t* sector, uint32_t size, TOC& toc);

}  // namespace kestrand
