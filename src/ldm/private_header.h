// The private header of an LDM database (the "PRIVHEAD" sector) as decoded.
// The holder of one copy of it (PRIVATE_HEADER_WRAPPER) is declared with the
// database; its reading and its report are implemented with the decoding.
#pragma once

#include <cstdint>

#include "platform/types.h"

namespace kestrand {

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

}  // namespace kestrand
