// The config area of an LDM database: read in one piece at the size its VMDB
// header announces, then decoded into a CONFIG_HEADER with its blocks and
// records.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>

#include "ldm/config_header.h"
#include "ldm/field_decoder.h"
#include "ldm/private_header.h"
#include "platform/types.h"

namespace kestrand {

class CDisk;
class CKestrandTreeNode;
struct LDM_DATABASE;

// What is read first, before the header has said how large the area is.
constexpr uint32_t kConfigFirstReadBytes = 0xB9200;  // 758,272
// The largest area the reader accepts: far beyond any real database (a whole
// LDM area is 1 MB), and small enough that a hostile header cannot make the
// reader allocate gigabytes. A larger announcement counts as a broken format.
constexpr uint64_t kConfigMaxBytes = 16 * 1024 * 1024;

class CONFIG_WRAPPER {
 public:
  CONFIG_WRAPPER() = default;
  CONFIG_WRAPPER(const CONFIG_WRAPPER&) = delete;
  CONFIG_WRAPPER& operator=(const CONFIG_WRAPPER&) = delete;

  // Reads and decodes the area at byte `offset`. 87 without owner or disk,
  // 8 without memory; otherwise 0, also when the area could not be read (a
  // message on standard error says so) or decoded.
  uint32_t Initialize(LDM_DATABASE* owner, CDisk* disk, uint64_t offset);

  // The config header, block list and record sections; nothing for an area
  // that was not read. 87 without stream, 13 without bytes per sector.
  uint32_t PrintText(FILE* stream) const;
  // The ConfigHeader, BlockList and Records elements under `node`; nothing
  // for an area that was not read. 87 without node, 13 without bytes per
  // sector, 8 without memory.
  uint32_t AddToReport(CKestrandTreeNode* node) const;

  // Bytes per sector of the disk the area was read from; 0 without one.
  uint32_t BytesPerSector() const;

  LDM_DATABASE* Owner = nullptr;
  char Name[kLdmCopyNameSize] = {};
  bool ReadAttempted = false;  // false until Initialize has issued a read
  NTSTATUS ReadStatus = 0;     // of the last read; negative: unreadable
  NTSTATUS ParseStatus = 0;    // of the header parse, then of the block walk
  std::unique_ptr<CONFIG_HEADER> Header;
  std::unique_ptr<uint8_t[], CFreeDeleter> Bytes;  // the area from the VMDB header on
  uint32_t ByteCount = 0;
  uint64_t Offset = 0;  // bytes from the start of the disk or file
  char Magic[5] = {};   // the first 4 bytes of the area

 private:
  // Reads `size` bytes at Offset into a new buffer. False when the read
  // failed (ReadStatus says why); 8 in `code` when memory ran out.
  bool ReadArea(CDisk* disk, uint32_t size, uint32_t& code);
  // Walks the blocks after a header that parsed.
  void ParseBlocks();
};

}  // namespace kestrand
