// A pack (disk group) record (type 5, revisions 3 and 4).
#pragma once

#include "ldm/ldm_record.h"

namespace kestrand {

constexpr uint16_t PACK_FLAG_COPIES = 0x0800;     // ConfigCopiesCount and LogCopiesCount follow
constexpr uint16_t PACK_FLAG_BASE_MINOR = 0x1000;

class PACK_RECORD : public LDM_RECORD {
 public:
  void Reset() override;
  NTSTATUS Parse(const uint8_t*& cursor, uint32_t bytesLeft) override;

  GUID PackId = {};
  GUID DiskSetId = {};  // revision 4; all-zero for revision 3
  uint32_t PersistentFlags = 0;
  uint32_t ConfigCopiesCount = 0;
  uint32_t LogCopiesCount = 0;
  uint32_t BaseMinor = 0;
};

}  // namespace kestrand
