// One sector of an LDM structure as read from a disk or a database file: what
// the private header and table of contents copies have in common.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "ldm/field_decoder.h"
#include "platform/types.h"

namespace kestrand {

class CDisk;
struct LDM_DATABASE;

// The copy's name; long enough for "Primary", "Alternate", "Backup".
constexpr size_t kLdmCopyNameSize = 16;

struct LDM_SECTOR_COPY {
  LDM_SECTOR_COPY() = default;
  LDM_SECTOR_COPY(const LDM_SECTOR_COPY&) = delete;
  LDM_SECTOR_COPY& operator=(const LDM_SECTOR_COPY&) = delete;

  // Records owner, name and offset, then reads one sector at byte `offset`.
  // 87 without owner, disk or name, 13 without bytes per sector, 8 without
  // memory; otherwise 0, also when the read failed (see ReadStatus).
  uint32_t ReadSector(LDM_DATABASE* owner, CDisk* disk, const char* name, uint64_t offset);

  LDM_DATABASE* Owner = nullptr;
  char Name[kLdmCopyNameSize] = {};
  bool ReadAttempted = false;  // false until the read was issued
  NTSTATUS ReadStatus = 0;     // negative: the sector could not be read
  NTSTATUS ParseStatus = 0;    // 0xC000000D: the sector did not decode
  std::unique_ptr<uint8_t[], CFreeDeleter> RawSector;  // one sector, as read
  uint32_t RawSectorSize = 0;
  uint64_t Offset = 0;  // bytes from the start of the disk or file
  char Magic[9] = {};   // the first 8 bytes, as read
};

}  // namespace kestrand
