#include "ldm/record_tree.h"

#include <new>

#include "disk/disk.h"
#include "ldm/config_header.h"
#include "ldm/disk_record.h"
#include "ldm/ldm_database.h"
#include "ldm/pack_record.h"
#include "ldm/plex_record.h"
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

// A new last child of `parent` (or nothing when memory runs out).
RECORD_TREE_NODE* AppendChild(RECORD_TREE_NODE* parent, LDM_RECORD* record, uint16_t type) {
  auto* node = new (std::nothrow) RECORD_TREE_NODE();
  if (!node) return nullptr;
  node->Parent = parent;
  node->Record = record;
  node->RecordType = type;
  RECORD_TREE_NODE** place = &parent->FirstChild;
  while (*place) place = &(*place)->NextSibling;
  *place = node;
  return node;
}

template <class T>
const T* RecordOf(const RECORD_TREE_NODE* node, uint16_t type) {
  return node->RecordType == type ? dynamic_cast<const T*>(node->Record) : nullptr;
}

void InsertPlex(RECORD_TREE_NODE* pack, LDM_RECORD* record) {
  const auto* plex = dynamic_cast<const PLEX_RECORD*>(record);
  if (!plex) return;
  for (RECORD_TREE_NODE* volume = pack->FirstChild; volume; volume = volume->NextSibling) {
    if (RecordOf<VOLUME_RECORD>(volume, RECORD_TYPE_VOLUME) && RecordIdOf(volume->Record) == plex->VolumeRecordId) {
      AppendChild(volume, record, RECORD_TYPE_PLEX);
      return;
    }
  }
}

// At most once per volume: under the first of its plexes that the subdisk names.
void InsertSubdisk(RECORD_TREE_NODE* pack, LDM_RECORD* record) {
  const auto* subdisk = dynamic_cast<const SUBDISK_RECORD*>(record);
  if (!subdisk) return;
  for (RECORD_TREE_NODE* volume = pack->FirstChild; volume; volume = volume->NextSibling) {
    for (RECORD_TREE_NODE* plex = volume->FirstChild; plex; plex = plex->NextSibling) {
      if (RecordOf<PLEX_RECORD>(plex, RECORD_TYPE_PLEX) && RecordIdOf(plex->Record) == subdisk->PlexRecordId) {
        AppendChild(plex, record, RECORD_TYPE_SUBDISK);
        break;
      }
    }
  }
}

// At most once per plex: under the first subdisk on this disk that holds no
// equal copy yet, counting the subdisks after it.
void InsertDisk(RECORD_TREE_NODE* pack, LDM_RECORD* record) {
  const uint64_t diskId = RecordIdOf(record);
  for (RECORD_TREE_NODE* volume = pack->FirstChild; volume; volume = volume->NextSibling) {
    for (RECORD_TREE_NODE* plex = volume->FirstChild; plex; plex = plex->NextSibling) {
      for (RECORD_TREE_NODE* node = plex->FirstChild; node; node = node->NextSibling) {
        const auto* subdisk = RecordOf<SUBDISK_RECORD>(node, RECORD_TYPE_SUBDISK);
        if (!subdisk || subdisk->DiskRecordId != diskId) continue;
        if (FindRecord(node, record, RECORD_TYPE_DISK)) continue;
        AppendChild(node, record, RECORD_TYPE_DISK);
        break;
      }
    }
  }
}

// The pack node equal to `pack` in the root list, or a new one at its end.
RECORD_TREE_NODE* EnterPack(RECORD_TREE_NODE** root, LDM_RECORD* pack) {
  RECORD_TREE_NODE** place = root;
  for (; *place; place = &(*place)->NextSibling)
    if ((*place)->RecordType == RECORD_TYPE_PACK && RecordsEqual((*place)->Record, pack, RECORD_TYPE_PACK))
      return *place;
  auto* node = new (std::nothrow) RECORD_TREE_NODE();
  if (!node) return nullptr;
  node->Record = pack;
  node->RecordType = RECORD_TYPE_PACK;
  *place = node;
  return node;
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

// One disk's records; `current` is the pack node that receives them and
// moves to each pack record the disk holds.
void MergeDisk(const CONFIG_HEADER& header, RECORD_TREE_NODE** root, RECORD_TREE_NODE*& current) {
  for (const auto& group : header.GroupList) {
    LDM_RECORD* pack = GroupRecord(group.get(), RECORD_TYPE_PACK);
    if (!pack) continue;
    // A pack node that cannot be allocated leaves the earlier one current.
    if (RECORD_TREE_NODE* node = EnterPack(root, pack)) current = node;
  }
  // Without any pack node there is nowhere to enter the rest.
  if (!current) return;
  for (uint16_t type : {RECORD_TYPE_VOLUME, RECORD_TYPE_PLEX, RECORD_TYPE_SUBDISK, RECORD_TYPE_DISK})
    for (const auto& group : header.GroupList)
      if (LDM_RECORD* record = GroupRecord(group.get(), type)) InsertRecord(current, record, type);
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

// A pre-order walk that ends when it climbs back to the start node's parent,
// so it covers the start node, the later siblings and everything below them
// without recursion (a hostile database can hold many thousand siblings).
bool FindRecord(const RECORD_TREE_NODE* start, const LDM_RECORD* record, uint16_t type) {
  if (!start) return false;
  const RECORD_TREE_NODE* stop = start->Parent;
  const RECORD_TREE_NODE* node = start;
  while (node) {
    if (node->RecordType == type && RecordsEqual(node->Record, record, type)) return true;
    if (node->FirstChild) {
      node = node->FirstChild;
      continue;
    }
    while (node != stop && !node->NextSibling) node = node->Parent;
    if (node == stop) return false;
    node = node->NextSibling;
  }
  return false;
}

void InsertRecord(RECORD_TREE_NODE* pack, LDM_RECORD* record, uint16_t type) {
  if (!pack || !record) return;
  if (type != RECORD_TYPE_DISK && FindRecord(pack, record, type)) return;
  switch (type) {
    case RECORD_TYPE_VOLUME: AppendChild(pack, record, type); break;
    case RECORD_TYPE_PLEX: InsertPlex(pack, record); break;
    case RECORD_TYPE_SUBDISK: InsertSubdisk(pack, record); break;
    case RECORD_TYPE_DISK: InsertDisk(pack, record); break;
    default: break;
  }
}

uint32_t BuildRecordTree(CPtrList<CDisk>* disks, RECORD_TREE_NODE** root) {
  if (!root || !disks) return ERROR_INVALID_PARAMETER_CODE;
  // Stays current across disks until another pack record is met.
  RECORD_TREE_NODE* current = nullptr;
  for (CPtrListIterator<CDisk> it(*disks); !it.AtEnd(); it.Advance()) {
    CDisk* disk = it.Current();
    if (!disk || !disk->IsReadyForLdmAnalysis()) continue;
    if (const CONFIG_HEADER* header = ConfigHeaderOf(disk)) MergeDisk(*header, root, current);
  }
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
