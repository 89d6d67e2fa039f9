// A volume record (type 1, revisions 3 to 5).
#pragma once

#include "ldm/ldm_record.h"

namespace kestrand {

// Record flags of a volume, each announcing an optional field.
constexpr uint16_t VOLUME_FLAG_MOUNT_NAME = 0x0200;
constexpr uint16_t VOLUME_FLAG_PREFERRED_PLEX = 0x0800;
constexpr uint16_t VOLUME_FLAG_APP_RECOVERY = 0x1000;
constexpr uint16_t VOLUME_FLAG_LOG_RECORD = 0x2000;
constexpr uint16_t VOLUME_FLAG_NUMBER_4000 = 0x4000;
constexpr uint16_t VOLUME_FLAG_NUMBER_8000 = 0x8000;

// PersistentFlags bits with names.
constexpr uint32_t VOLUME_PERSISTENT_BOOT = 0x00200000;
constexpr uint32_t VOLUME_PERSISTENT_SYSTEM = 0x00400000;
constexpr uint32_t VOLUME_PERSISTENT_RETAINED = 0x00800000;

class VOLUME_RECORD : public LDM_RECORD {
 public:
  void Reset() override;
  NTSTATUS Parse(const uint8_t*& cursor, uint32_t bytesLeft) override;

  char UsageType[32] = {};
  char FileSystemType[17] = {};  // first byte: bit 0 hidden, bit 1 read only
  char State[15] = {};
  uint8_t ReadPolicy = 0;
  uint64_t PrefferedPlexRecordId = 0;
  uint32_t Minor = 0;
  uint32_t PersistentFlags = 0;
  uint32_t NumPlexes = 0;
  uint64_t DetachSeqNum = 0;
  int64_t Length = 0;
  int64_t LogLength = 0;
  uint64_t LogRecordId = 0;
  uint32_t PartitionType = 0;  // revisions 4 and 5
  uint32_t Number4000 = 0;     // announced by flag 0x4000; meaning unknown, not shown
  int64_t Number8000 = 0;      // announced by flag 0x8000; meaning unknown, not shown
  uint32_t AppRecovery = 0;
  OwnedWideString MountName;   // none without flag 0x0200 or when empty
  GUID VolumeGuid = {};        // revision 5
};

}  // namespace kestrand
