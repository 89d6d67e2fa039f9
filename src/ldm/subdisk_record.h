// A subdisk record (type 3, revision 3).
#pragma once

#include "ldm/ldm_record.h"

namespace kestrand {

constexpr uint16_t SUBDISK_FLAG_HIDDEN_SECTORS = 0x0200;
constexpr uint16_t SUBDISK_FLAG_COLUMN = 0x0800;
constexpr uint16_t SUBDISK_FLAG_COLUMN_DETACH = 0x1000;  // column number and detach sequence
constexpr uint16_t SUBDISK_FLAG_DETACH = 0x2000;
constexpr uint16_t SUBDISK_FLAG_MINOR = 0x4000;
constexpr uint16_t SUBDISK_FLAG_LAST_DISK = 0x8000;

constexpr uint32_t SUBDISK_PERSISTENT_VOLUME = 0x04;
constexpr uint32_t SUBDISK_PERSISTENT_STALE = 0x08;
constexpr uint32_t SUBDISK_PERSISTENT_DETACHED = 0x10;
constexpr uint32_t SUBDISK_PERSISTENT_RETAINED = 0x40;

class SUBDISK_RECORD : public LDM_RECORD {
 public:
  void Reset() override;
  NTSTATUS Parse(const uint8_t*& cursor, uint32_t bytesLeft) override;

  uint32_t PersistentFlags = 0;
  uint64_t DiskOffset = 0;
  uint64_t PlexOffset = 0;
  int64_t Length = 0;
  uint64_t PlexRecordId = 0;
  uint64_t DiskRecordId = 0;
  uint64_t DetachSequence = 0;
  uint32_t ColumnNumber = 0;
  uint32_t Minor = 0;
  int64_t HiddenSectors = 0;
  uint64_t LastDiskRecordId = 0;
};

}  // namespace kestrand
