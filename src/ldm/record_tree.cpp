#include "ldm/record_tree.h"

#include "disk/disk.h"
#include "ldm/config_header.h"
#include "ldm/disk_record.h"
#include "ldm/ldm_database.h"
#include "ldm/pack_record.h"
#include "ldm/plex_record.h"
#include "ldm/record_tree_index.h"
#include "ldm/subdisk_record.h"
#include "ldm/volume_record.h"

namespace kestrand {

namespace {

bool PacksEqual(const PACK_RECORD& a, const PACK_RECORD& b) {
  return a.PackId == b.PackId && a.DiskSetId == b.DiskSetId && a.PersistentFlags == b.PersistentFlags &&
         a.ConfigCopiesCount == b.ConfigCopiesCount && a.LogCopiesCount == b.LogCopiesCount &&
         a.BaseMinor == b.BaseMinor;
}

bool VolumesEqual(const VOLUME_RECORD& a, const VOLUME_RECORD& b) {
  return a.Length == b.Length && a.VolumeGuid == b.VolumeGuid && a.LogRecordId == b.LogRecordId &&
         a.PartitionType == b.PartitionType && a.AppRecovery == b.AppRecovery;
}

bool PlexesEqual(const PLEX_RECORD& a, const PLEX_RECORD& b) {
  return a.VolumeRecordId == b.VolumeRecordId && a.SubdiskCount == b.SubdiskCount &&
         a.DetachSequence == b.DetachSequence && a.ColumnCount == b.ColumnCount;
}

bool SubdisksEqual(const SUBDISK_RECORD& a, const SUBDISK_RECORD& b) {
  return a.PlexRecordId == b.PlexRecordId && a.DiskRecordId == b.DiskRecordId &&
         a.DetachSequence == b.DetachSequence && a.LastDiskRecordId == b.LastDiskRecordId;
}

bool DisksEqual(const DISK_RECORD& a, const DISK_RECORD& b) {
  return a.DiskId == b.DiskId && a.LastDiskSetId == b.LastDiskSetId && a.PersistentFlags == b.PersistentFlags;
}

// The fields of two records of class T; records of another class are unequal.
template <class T>
bool TypedEqual(const LDM_RECORD* a, const LDM_RECORD* b, bool (*equal)(const T&, const T&)) {
  const T* first = dynamic_cast<const T*>(a);
  const T* second = dynamic_cast<const T*>(b);
  return first && second && equal(*first, *second);
}

// The group list of a ready disk's config copy; nullptr when it has none.
const CONFIG_HEADER* ConfigHeaderOf(CDisk* disk) {
  const LDM_DATABASE* database = disk->LdmDatabase();
  if (!database || !database->Config) return nullptr;
  return database->Config->Header.get();
}

// The decoded record a group carries, when it is of `type`.
LDM_RECORD* GroupRecord(const VBLK_GROUP* group, uint16_t type) {
  if (!group || !group->Entry || !group->Entry->Record || group->Entry->RecordType != type) return nullptr;
  return group->Entry->Record.get();
}

// One copy's records; `current` is the pack node that receives them and
// moves to each pack record the copy holds.
void MergeCopy(const CONFIG_HEADER& header, RecordTreeIndex& index, RECORD_TREE_NODE*& current) {
  for (const auto& group : header.GroupList) {
    LDM_RECORD* pack = GroupRecord(group.get(), RECORD_TYPE_PACK);
    if (!pack) continue;
    // A pack node that cannot be allocated leaves the earlier one current.
    if (RECORD_TREE_NODE* node = index.EnterPack(pack)) current = node;
  }
  // Without any pack node there is nowhere to enter the rest.
  if (!current) return;
  for (uint16_t type : {RECORD_TYPE_VOLUME, RECORD_TYPE_PLEX, RECORD_TYPE_SUBDISK, RECORD_TYPE_DISK})
    for (const auto& group : header.GroupList)
      if (LDM_RECORD* record = GroupRecord(group.get(), type)) index.Insert(current, record, type);
}

}  // namespace

uint64_t RecordIdOf(const LDM_RECORD* record) { return record && record->Entry ? record->Entry->RecordId : 0; }

bool RecordsEqual(const LDM_RECORD* a, const LDM_RECORD* b, uint16_t type) {
  if (!a || !b) return false;
  if (a == b) return true;
  if (RecordIdOf(a) != RecordIdOf(b)) return false;
  switch (type) {
    case RECORD_TYPE_PACK: return TypedEqual<PACK_RECORD>(a, b, PacksEqual);
    case RECORD_TYPE_VOLUME: return TypedEqual<VOLUME_RECORD>(a, b, VolumesEqual);
    case RECORD_TYPE_PLEX: return TypedEqual<PLEX_RECORD>(a, b, PlexesEqual);
    case RECORD_TYPE_SUBDISK: return TypedEqual<SUBDISK_RECORD>(a, b, SubdisksEqual);
    case RECORD_TYPE_DISK: return TypedEqual<DISK_RECORD>(a, b, DisksEqual);
    default: return false;
  }
}

void MergeConfigCopies(const std::vector<const CONFIG_HEADER*>& copies, RECORD_TREE_NODE** root) {
  if (!root) return;
  RecordTreeIndex index(root);
  // Stays current across copies until another pack record is met.
  RECORD_TREE_NODE* current = nullptr;
  for (const CONFIG_HEADER* header : copies)
    if (header) MergeCopy(*header, index, current);
}

uint32_t BuildRecordTree(CPtrList<CDisk>* disks, RECORD_TREE_NODE** root) {
  if (!root || !disks) return ERROR_INVALID_PARAMETER_CODE;
  std::vector<const CONFIG_HEADER*> copies;
  for (CPtrListIterator<CDisk> it(*disks); !it.AtEnd(); it.Advance()) {
    CDisk* disk = it.Current();
    if (!disk || !disk->IsReadyForLdmAnalysis()) continue;
    if (const CONFIG_HEADER* header = ConfigHeaderOf(disk)) copies.push_back(header);
  }
  MergeConfigCopies(copies, root);
  return 0;
}

void FreeRecordTree(RECORD_TREE_NODE* root) {
  // Always frees the first child of a parent, so unlinking it from the
  // parent is enough to keep the walk going without recursion.
  RECORD_TREE_NODE* node = root;
  while (node) {
    if (node->FirstChild) {
      node = node->FirstChild;
      continue;
    }
    RECORD_TREE_NODE* next = node->NextSibling ? node->NextSibling : node->Parent;
    if (node->Parent) node->Parent->FirstChild = node->NextSibling;
    delete node;
    node = next;
  }
}

}  // namespace kestrand
