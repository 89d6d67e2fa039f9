#include "analysis/ready_disks.h"

#include "disk/disk.h"
#include "disk/disk_layout.h"
#include "ldm/config_header.h"
#include "ldm/ldm_database.h"
#include "ldm/records.h"

namespace kestrand {

const PRIVATE_HEADER* ReadyPrimaryHeader(const CDisk* disk) {
  if (!disk || !disk->IsReadyForLdmAnalysis()) return nullptr;
  const LDM_DATABASE* database = disk->LdmDatabase();
  if (!database || !database->PrimaryHeader) return nullptr;
  return &database->PrimaryHeader->Header;
}

const CONFIG_HEADER* ConfigHeaderOf(const CDisk* disk) {
  const LDM_DATABASE* database = disk ? disk->LdmDatabase() : nullptr;
  if (!database || !database->Config) return nullptr;
  return database->Config->Header.get();
}

const char* LastPackName(const CDisk* disk) {
  const CONFIG_HEADER* header = ConfigHeaderOf(disk);
  if (!header) return nullptr;
  const char* name = nullptr;
  for (const auto& group : header->GroupList) {
    if (!group || !group->Entry || !group->Entry->Record) continue;
    if (group->Entry->RecordType == RECORD_TYPE_PACK) name = group->Entry->Record->RecordName;
  }
  return name;
}

bool MbrDiskSignature(const CDisk* disk, uint32_t& signature) {
  CDiskLayout* layout = disk ? disk->Layout() : nullptr;
  if (!layout || layout->GetPartitionStyle() != PARTITION_STYLE_MBR || !layout->Head()) return false;
  signature = layout->Head()->Mbr.Signature;
  return true;
}

}  // namespace kestrand
