// The merge of the config records of every ready disk into one tree, with
// the side index that places each record by a few hash lookups.
#include "ldm/record_tree.h"

#include <array>
#include <cstddef>
#include <new>
#include <unordered_map>
#include <unordered_set>

#include "disk/disk.h"
#include "ldm/config_header.h"
#include "ldm/ldm_database.h"
#include "ldm/records.h"

namespace kestrand {

// ---- equal records ----

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
  const T* first = RecordAs<T>(a);
  const T* second = RecordAs<T>(b);
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

// ---- the merge index ----

namespace {

// The side index with which the merge places each record by a few hash
// lookups instead of walking the tree. It lives only while one merge runs and
// gives the tree that the walks give, node for node and in the same order:
// - an equal record is looked for under the current pack node and under
//   every pack node after it in the root list;
// - a plex goes under the first volume of the pack with its VolumeRecordId;
// - a subdisk goes, within every volume of the pack, under the first plex
//   with its PlexRecordId (so at most once per volume);
// - a disk goes, within every plex of the pack, under the subdisk on that
//   disk that follows the last one already holding an equal copy (under the
//   first when none does, nowhere when the last does), so at most one
//   subdisk per plex receives it.
class CRecordTreeIndex {
 public:
  // Indexes the tree whose root `*root` holds: empty, or one that a merge
  // built before (a tree of another shape is not followed exactly).
  explicit CRecordTreeIndex(RECORD_TREE_NODE** root);
  CRecordTreeIndex(const CRecordTreeIndex&) = delete;
  CRecordTreeIndex& operator=(const CRecordTreeIndex&) = delete;

  // The first pack node of the root list whose pack equals `pack`, or a new
  // one at the end of the list; none when it cannot be allocated.
  RECORD_TREE_NODE* EnterPack(LDM_RECORD* pack);
  // Enters a volume, plex, subdisk or disk record below the pack node
  // `pack` (a node of the root list), unless an equal copy is already where
  // it would be found.
  void Insert(RECORD_TREE_NODE* pack, LDM_RECORD* record, uint16_t type);
  // Whether a node could not be allocated: a record was then left out.
  bool LeftOut() const { return leftOut_; }

 private:
  // A volume, plex or subdisk node, the place of its pack in the root list
  // and its record (kept here so that a lookup touches no node).
  struct Placed {
    size_t PackOrdinal;
    const LDM_RECORD* Record;
  };
  using NodesById = std::unordered_map<uint64_t, std::vector<RECORD_TREE_NODE*>>;
  using NodeAndId = std::pair<const RECORD_TREE_NODE*, uint64_t>;
  struct NodeAndIdHash {
    size_t operator()(const NodeAndId& key) const {
      return std::hash<const void*>()(key.first) ^ (std::hash<uint64_t>()(key.second) * 0x9E3779B97F4A7C15ull);
    }
  };

  struct PackIndex {
    size_t Ordinal = 0;  // place in the root list
    // Volume RecordId -> the first volume node with it (volumes are only
    // appended, so the first indexed is the first in child order).
    std::unordered_map<uint64_t, RECORD_TREE_NODE*> FirstVolume;
    // Plex RecordId -> in each volume, the first plex node with it.
    NodesById FirstPlexes;
    // DiskRecordId -> the plex nodes that hold a subdisk on that disk.
    NodesById PlexesOnDisk;
  };

  // Bookkeeping of a node just linked below `parent` (none for a pack).
  void NotePack(RECORD_TREE_NODE* node);
  void NoteVolume(RECORD_TREE_NODE* node, PackIndex& pack);
  void NotePlex(RECORD_TREE_NODE* node, PackIndex& pack);
  void NoteSubdisk(RECORD_TREE_NODE* node, PackIndex& pack);
  void NoteChild(RECORD_TREE_NODE* node);
  void NoteEntered(const RECORD_TREE_NODE* node, const PackIndex& pack);

  // A new last child of `parent`; none when it cannot be allocated.
  RECORD_TREE_NODE* Append(RECORD_TREE_NODE* parent, LDM_RECORD* record, uint16_t type);
  // Whether an equal record of `type` is entered under the pack of
  // `ordinal` or under a later one.
  bool EnteredFrom(size_t ordinal, const LDM_RECORD* record, uint16_t type) const;
  // Whether `subdisk` holds a disk node equal to `disk`.
  static bool HoldsEqualDisk(const RECORD_TREE_NODE* subdisk, const LDM_RECORD* disk);

  void InsertDisk(PackIndex& pack, LDM_RECORD* disk);

  RECORD_TREE_NODE** root_;
  RECORD_TREE_NODE* lastPack_ = nullptr;
  bool leftOut_ = false;
  std::unordered_map<const RECORD_TREE_NODE*, PackIndex> packs_;
  NodesById packsById_;  // pack RecordId -> pack nodes in root-list order
  // Volumes, plexes and subdisks by type (index 0 to 2) and RecordId; most
  // ids have one, and which of several is met first does not matter.
  std::array<std::unordered_multimap<uint64_t, Placed>, 3> entered_;
  std::unordered_map<const RECORD_TREE_NODE*, RECORD_TREE_NODE*> lastChild_;
  // (volume node, plex id) of the plex ids that already have their first
  // plex in a volume.
  std::unordered_set<NodeAndId, NodeAndIdHash> plexIdsOfVolume_;
  // (plex node, DiskRecordId) -> its subdisk nodes on that disk, in child order.
  std::unordered_map<NodeAndId, std::vector<RECORD_TREE_NODE*>, NodeAndIdHash> subdisksOfPlex_;
};

// Volumes, plexes and subdisks are looked for from a pack node; disks only
// from a subdisk.
bool FoundFromPack(uint16_t type) { return type >= RECORD_TYPE_VOLUME && type <= RECORD_TYPE_SUBDISK; }

template <class T>
const T* RecordOf(const RECORD_TREE_NODE* node, uint16_t type) {
  return node->RecordType == type ? RecordAs<T>(node->Record) : nullptr;
}

CRecordTreeIndex::CRecordTreeIndex(RECORD_TREE_NODE** root) : root_(root) {
  if (!root_) return;
  // The nodes in the order a merge linked them within each child list, so
  // that every "first" below is the first in child order.
  for (RECORD_TREE_NODE* pack = *root_; pack; pack = pack->NextSibling) {
    NotePack(pack);
    PackIndex& index = packs_[pack];
    for (RECORD_TREE_NODE* volume = pack->FirstChild; volume; volume = volume->NextSibling) {
      lastChild_[pack] = volume;
      NoteVolume(volume, index);
      for (RECORD_TREE_NODE* plex = volume->FirstChild; plex; plex = plex->NextSibling) {
        lastChild_[volume] = plex;
        NotePlex(plex, index);
        for (RECORD_TREE_NODE* subdisk = plex->FirstChild; subdisk; subdisk = subdisk->NextSibling) {
          lastChild_[plex] = subdisk;
          NoteSubdisk(subdisk, index);
          for (RECORD_TREE_NODE* disk = subdisk->FirstChild; disk; disk = disk->NextSibling)
            lastChild_[subdisk] = disk;
        }
      }
    }
  }
}

void CRecordTreeIndex::NotePack(RECORD_TREE_NODE* node) {
  PackIndex& index = packs_[node];
  index.Ordinal = packs_.size() - 1;
  if (node->RecordType == RECORD_TYPE_PACK) packsById_[RecordIdOf(node->Record)].push_back(node);
  lastPack_ = node;
}

void CRecordTreeIndex::NoteEntered(const RECORD_TREE_NODE* node, const PackIndex& pack) {
  if (!FoundFromPack(node->RecordType)) return;
  entered_[node->RecordType - RECORD_TYPE_VOLUME].emplace(RecordIdOf(node->Record), Placed{pack.Ordinal, node->Record});
}

void CRecordTreeIndex::NoteVolume(RECORD_TREE_NODE* node, PackIndex& pack) {
  NoteEntered(node, pack);
  if (RecordOf<VOLUME_RECORD>(node, RECORD_TYPE_VOLUME)) pack.FirstVolume.emplace(RecordIdOf(node->Record), node);
}

void CRecordTreeIndex::NotePlex(RECORD_TREE_NODE* node, PackIndex& pack) {
  NoteEntered(node, pack);
  if (!RecordOf<PLEX_RECORD>(node, RECORD_TYPE_PLEX)) return;
  const uint64_t id = RecordIdOf(node->Record);
  if (plexIdsOfVolume_.insert({node->Parent, id}).second) pack.FirstPlexes[id].push_back(node);
}

void CRecordTreeIndex::NoteSubdisk(RECORD_TREE_NODE* node, PackIndex& pack) {
  NoteEntered(node, pack);
  const auto* subdisk = RecordOf<SUBDISK_RECORD>(node, RECORD_TYPE_SUBDISK);
  if (!subdisk) return;
  std::vector<RECORD_TREE_NODE*>& onDisk = subdisksOfPlex_[{node->Parent, subdisk->DiskRecordId}];
  if (onDisk.empty()) pack.PlexesOnDisk[subdisk->DiskRecordId].push_back(node->Parent);
  onDisk.push_back(node);
}

RECORD_TREE_NODE* CRecordTreeIndex::Append(RECORD_TREE_NODE* parent, LDM_RECORD* record, uint16_t type) {
  auto* node = new (std::nothrow) RECORD_TREE_NODE();
  leftOut_ = leftOut_ || !node;
  if (!node) return nullptr;
  node->Parent = parent;
  node->Record = record;
  node->RecordType = type;
  RECORD_TREE_NODE*& last = lastChild_[parent];
  if (last)
    last->NextSibling = node;
  else
    parent->FirstChild = node;
  last = node;
  return node;
}

RECORD_TREE_NODE* CRecordTreeIndex::EnterPack(LDM_RECORD* pack) {
  if (!root_ || !pack) return nullptr;
  const auto same = packsById_.find(RecordIdOf(pack));
  if (same != packsById_.end())
    for (RECORD_TREE_NODE* node : same->second)
      if (RecordsEqual(node->Record, pack, RECORD_TYPE_PACK)) return node;
  auto* node = new (std::nothrow) RECORD_TREE_NODE();
  leftOut_ = leftOut_ || !node;
  if (!node) return nullptr;
  node->Record = pack;
  node->RecordType = RECORD_TYPE_PACK;
  if (lastPack_)
    lastPack_->NextSibling = node;
  else
    *root_ = node;
  NotePack(node);
  return node;
}

// RecordsEqual requires equal RecordIds, so the nodes with the record's id
// are the only candidates; they are all of `type`, the table's own.
bool CRecordTreeIndex::EnteredFrom(size_t ordinal, const LDM_RECORD* record, uint16_t type) const {
  const auto [first, last] = entered_[type - RECORD_TYPE_VOLUME].equal_range(RecordIdOf(record));
  for (auto placed = first; placed != last; ++placed)
    if (placed->second.PackOrdinal >= ordinal && RecordsEqual(placed->second.Record, record, type)) return true;
  return false;
}

bool CRecordTreeIndex::HoldsEqualDisk(const RECORD_TREE_NODE* subdisk, const LDM_RECORD* disk) {
  for (const RECORD_TREE_NODE* node = subdisk->FirstChild; node; node = node->NextSibling)
    if (node->RecordType == RECORD_TYPE_DISK && RecordsEqual(node->Record, disk, RECORD_TYPE_DISK)) return true;
  return false;
}

void CRecordTreeIndex::Insert(RECORD_TREE_NODE* pack, LDM_RECORD* record, uint16_t type) {
  if (!pack || !record) return;
  const auto found = packs_.find(pack);
  if (found == packs_.end()) return;  // not a node of the root list
  PackIndex& index = found->second;
  if (FoundFromPack(type) && EnteredFrom(index.Ordinal, record, type)) return;

  switch (type) {
    case RECORD_TYPE_VOLUME:
      if (RECORD_TREE_NODE* node = Append(pack, record, type)) NoteVolume(node, index);
      break;
    case RECORD_TYPE_PLEX: {
      const auto* plex = RecordAs<PLEX_RECORD>(record);
      if (!plex) return;
      const auto volume = index.FirstVolume.find(plex->VolumeRecordId);
      if (volume == index.FirstVolume.end()) return;
      if (RECORD_TREE_NODE* node = Append(volume->second, record, type)) NotePlex(node, index);
      break;
    }
    case RECORD_TYPE_SUBDISK: {
      const auto* subdisk = RecordAs<SUBDISK_RECORD>(record);
      if (!subdisk) return;
      const auto plexes = index.FirstPlexes.find(subdisk->PlexRecordId);
      if (plexes == index.FirstPlexes.end()) return;
      // One plex per volume: each copy goes to another parent, so the order
      // of the volumes decides no child list.
      for (RECORD_TREE_NODE* plex : plexes->second)
        if (RECORD_TREE_NODE* node = Append(plex, record, type)) NoteSubdisk(node, index);
      break;
    }
    case RECORD_TYPE_DISK: InsertDisk(index, record); break;
    default: break;
  }
}

// An equal disk node can only hang under a subdisk on that disk, and a
// subdisk "finds" a copy held by itself or by a later sibling.
void CRecordTreeIndex::InsertDisk(PackIndex& pack, LDM_RECORD* disk) {
  const uint64_t diskId = RecordIdOf(disk);
  const auto plexes = pack.PlexesOnDisk.find(diskId);
  if (plexes == pack.PlexesOnDisk.end()) return;
  for (const RECORD_TREE_NODE* plex : plexes->second) {
    // A plex is listed here once it holds a subdisk on the disk.
    const auto list = subdisksOfPlex_.find({plex, diskId});
    if (list == subdisksOfPlex_.end()) continue;
    const std::vector<RECORD_TREE_NODE*>& onDisk = list->second;
    size_t next = 0;  // just after the last subdisk holding an equal copy
    for (size_t i = onDisk.size(); i > 0; --i)
      if (HoldsEqualDisk(onDisk[i - 1], disk)) {
        next = i;
        break;
      }
    if (next < onDisk.size()) Append(onDisk[next], disk, RECORD_TYPE_DISK);
  }
}

// A copy's decoded records in the order the merge enters them: its pack
// records, then its volumes, plexes, subdisks and disks, each in group order.
struct TypedRecord {
  LDM_RECORD* Record;
  uint16_t Type;
};
constexpr uint16_t kMergeOrder[] = {RECORD_TYPE_PACK, RECORD_TYPE_VOLUME, RECORD_TYPE_PLEX, RECORD_TYPE_SUBDISK,
                                    RECORD_TYPE_DISK};

struct SortedCopy {
  std::vector<TypedRecord> Records;
  size_t FirstDisk = 0;  // where the disk records begin
};

SortedCopy SortForMerge(const CONFIG_HEADER& header) {
  SortedCopy copy;
  for (uint16_t type : kMergeOrder) {
    if (type == RECORD_TYPE_DISK) copy.FirstDisk = copy.Records.size();
    for (const auto& group : header.GroupList)
      if (LDM_RECORD* record = GroupRecord(group.get(), type)) copy.Records.push_back({record, type});
  }
  return copy;
}

// One copy's records; `current` is the pack node that receives them and
// moves to each pack record the copy holds.
void MergeCopy(const SortedCopy& copy, CRecordTreeIndex& index, RECORD_TREE_NODE*& current) {
  auto record = copy.Records.begin();
  for (; record != copy.Records.end() && record->Type == RECORD_TYPE_PACK; ++record)
    // A pack node that cannot be allocated leaves the earlier one current.
    if (RECORD_TREE_NODE* node = index.EnterPack(record->Record)) current = node;
  // Without any pack node there is nowhere to enter the rest.
  if (!current) return;
  for (; record != copy.Records.end(); ++record) index.Insert(current, record->Record, record->Type);
}

// The same copy once more, right after itself (the disks of a group share
// one decoded header). Its packs find their own nodes, so the same pack
// stays current; its volumes, plexes and subdisks find themselves where
// they were entered, and those left out are left out again, since the nodes
// that would place them (volumes for plexes, plexes for subdisks) are only
// added by their own passes, before. Only its disks go somewhere new: each
// to the next subdisk on its disk.
void MergeRepeatedCopy(const SortedCopy& copy, CRecordTreeIndex& index, RECORD_TREE_NODE* current) {
  if (!current) return;
  for (size_t i = copy.FirstDisk; i < copy.Records.size(); ++i)
    index.Insert(current, copy.Records[i].Record, RECORD_TYPE_DISK);
}

}  // namespace

// ---- the merge ----

void MergeConfigCopies(const std::vector<const CONFIG_HEADER*>& copies, RECORD_TREE_NODE** root) {
  if (!root) return;
  CRecordTreeIndex index(root);
  // Disks of a group share one decoded header: its records are sorted once.
  std::unordered_map<const CONFIG_HEADER*, SortedCopy> sorted;
  // Stays current across copies until another pack record is met.
  RECORD_TREE_NODE* current = nullptr;
  const CONFIG_HEADER* previous = nullptr;
  for (const CONFIG_HEADER* header : copies) {
    if (!header) continue;
    auto [place, added] = sorted.try_emplace(header);
    if (added) place->second = SortForMerge(*header);
    // A node that could not be allocated left a record out, which the
    // repeat would enter now: then the copy is merged whole.
    if (header == previous && !index.LeftOut())
      MergeRepeatedCopy(place->second, index, current);
    else
      MergeCopy(place->second, index, current);
    previous = header;
  }
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
