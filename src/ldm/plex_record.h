// A plex record (type 2, revision 3).
#pragma once

#include "ldm/ldm_record.h"

namespace kestrand {

constexpr uint16_t PLEX_FLAG_STRIPES = 0x1000;  // StripeWidth and ColumnCount follow

constexpr uint8_t PLEX_LAYOUT_STRIPED = 1;
constexpr uint8_t PLEX_LAYOUT_SIMPLE = 2;
constexpr uint8_t PLEX_LAYOUT_RAID5 = 3;

constexpr uint32_t PLEX_PERSISTENT_STALE = 0x02;
constexpr uint32_t PLEX_PERSISTENT_DETACHED = 0x04;

class PLEX_RECORD : public LDM_RECORD {
 public:
  void Reset() override;
  NTSTATUS Parse(const uint8_t*& cursor, uint32_t bytesLeft) override;

  char State[15] = {};
  uint8_t Layout = 0;
  uint32_t PersistentFlags = 0;
  uint32_t SubdiskCount = 0;
  uint64_t DetachSequence = 0;
  uint64_t VolumeRecordId = 0;
  uint64_t LogRecordId = 0;
  int64_t StripeWidth = 0;
  uint32_t ColumnCount = 0;
};

}  // namespace kestrand
