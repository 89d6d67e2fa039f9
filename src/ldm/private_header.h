// The private header of an LDM database (the "PRIVHEAD" sector) and the
// holder of one copy of it as read from a disk or a database file.
#pragma once

#include <cstdint>
#include <cstdio>

#include "ldm/field_decoder.h"
#include "ldm/sector_copy.h"
#include "platform/types.h"

namespace kestrand {

class CDisk;
class CKestrandTreeNode;
struct LDM_DATABASE;

// The decoded fields; those of a later version than the copy's stay zero.
struct PRIVATE_HEADER {
  uint16_t VersionMajor;
  uint16_t VersionMinor;
  uint64_t UpdateTime;  // FILETIME, UTC
  uint64_t UpdateSequence;
  uint64_t PrimaryHeader;
  uint64_t AlternateHeader;
  GUID DiskId;
  GUID HostId;
  GUID PackId;
  char PackName[32];
  uint32_t IOsize;
  uint32_t Flags;
  uint16_t PublicId;
  uint16_t PrivateId;
  uint64_t PublicOffset;   // sectors
  uint64_t PublicLength;   // sectors
  uint64_t PrivateOffset;  // sectors
  uint64_t PrivateLength;  // sectors
  uint64_t TocPrimarySector;
  uint64_t TocAlternateSector;
  uint32_t ConfigCopiesCount;
  uint32_t LogCopiesCount;
  uint64_t ConfigCopyLength;  // sectors
  uint64_t LogCopyLength;     // sectors
  uint32_t BootSig;           // version 10 on
  GUID DiskSetId;             // version 11 on
  GUID NewDiskSetId;          // version 11 on
  GUID NewDiskId;             // version 12 on
  GUID NewPackId;             // version 12 on
  char NewPackName[32];       // version 12 on
};

// The fields start right after the magic and the stored checksum.
constexpr uint32_t kPrivateHeaderFieldsOffset = 12;

// Decodes the fields of a PRIVHEAD sector of `size` bytes into `header`:
// 0, or 0xC000000D at the first field that does not fit or a GUID text that
// does not parse (the fields before it keep their values).
NTSTATUS DecodePrivateHeader(const uint8_t* sector, uint32_t size, PRIVATE_HEADER& header);

class PRIVATE_HEADER_WRAPPER : public LDM_SECTOR_COPY {
 public:
  // Reads and decodes the copy at byte `offset`. 87 without owner, disk or
  // name, 13 without bytes per sector, 8 without memory; otherwise 0, also
  // when the sector could not be read or decoded (see the statuses).
  uint32_t Initialize(LDM_DATABASE* owner, CDisk* disk, const char* name, uint64_t offset);

  // The text section; nothing for a copy that was not read. 87 without stream.
  uint32_t PrintText(FILE* stream) const;
  // The PrivateHeader element under `node`. 87 without node.
  uint32_t AddToReport(CKestrandTreeNode* node) const;

  // Bytes per sector of the disk the copy was read from; 0 without one.
  uint32_t BytesPerSector() const;

  PRIVATE_HEADER Header = {};
  uint32_t StoredChecksum = 0;
};

}  // namespace kestrand
