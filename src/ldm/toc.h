// The table of contents of an LDM database (the "TOCBLOCK" sector): the
// config and log regions with their extents, and the holder of one copy.
#pragma once

#include <cstdint>
#include <cstdio>

#include "ldm/sector_copy.h"
#include "platform/types.h"

namespace kestrand {

class CDisk;
class CKestrandTreeNode;
struct LDM_DATABASE;

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

class TOC_WRAPPER : public LDM_SECTOR_COPY {
 public:
  // Reads and decodes the copy at byte `offset`. 87 without owner, disk or
  // name, 13 without bytes per sector, 8 without memory; otherwise 0, also
  // when the sector could not be read (a message on standard error says so)
  // or decoded.
  uint32_t Initialize(LDM_DATABASE* owner, CDisk* disk, const char* name, uint64_t offset);

  // The text section; nothing for a copy that was not read. 87 without stream.
  uint32_t PrintText(FILE* stream) const;
  // The TableOfContents element; nothing for a copy that was not read.
  // 87 without node.
  uint32_t AddToReport(CKestrandTreeNode* node) const;

  TOC Toc = {};
};

}  // namespace kestrand
