// A disk record (type 4, revisions 3 and 4).
#pragma once

#include "ldm/ldm_record.h"

namespace kestrand {

constexpr uint32_t DISK_PERSISTENT_NON_VOTER = 0x20;
constexpr uint32_t DISK_PERSISTENT_ISCSI = 0x40;

class DISK_RECORD : public LDM_RECORD {
 public:
  void Reset() override;
  NTSTATUS Parse(const uint8_t*& cursor, uint32_t bytesLeft) override;

  GUID DiskId = {};
  OwnedWideString DeviceInstance;  // none when empty
  uint32_t PersistentFlags = 0;
  GUID LastDiskSetId = {};  // revision 4; all-zero for revision 3
};

}  // namespace kestrand
