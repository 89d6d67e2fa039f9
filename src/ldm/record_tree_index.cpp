#include "ldm/record_tree_index.h"

#include <new>

#include "ldm/ldm_record.h"
#include "ldm/plex_record.h"
#include "ldm/subdisk_record.h"
#include "ldm/volume_record.h"

namespace kestrand {

namespace {

// Volumes, plexes and subdisks are looked for from a pack node; disks only
// from a subdisk.
bool FoundFromPack(uint16_t type) { return type >= RECORD_TYPE_VOLUME && type <= RECORD_TYPE_SUBDISK; }

template <class T>
const T* RecordOf(const RECORD_TREE_NODE* node, uint16_t type) {
  return node->RecordType == type ? dynamic_cast<const T*>(node->Record) : nullptr;
}

}  // namespace

RecordTreeIndex::RecordTreeIndex(RECORD_TREE_NODE** root) : root_(root) {
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

void RecordTreeIndex::NotePack(RECORD_TREE_NODE* node) {
  PackIndex& index = packs_[node];
  index.Ordinal = packs_.size() - 1;
  if (node->RecordType == RECORD_TYPE_PACK) packsById_[RecordIdOf(node->Record)].push_back(node);
  lastPack_ = node;
}

void RecordTreeIndex::NoteEntered(const RECORD_TREE_NODE* node, const PackIndex& pack) {
  if (!FoundFromPack(node->RecordType)) return;
  entered_[node->RecordType - RECORD_TYPE_VOLUME][RecordIdOf(node->Record)].push_back({pack.Ordinal, node});
}

void RecordTreeIndex::NoteVolume(RECORD_TREE_NODE* node, PackIndex& pack) {
  NoteEntered(node, pack);
  if (RecordOf<VOLUME_RECORD>(node, RECORD_TYPE_VOLUME)) pack.FirstVolume.emplace(RecordIdOf(node->Record), node);
}

void RecordTreeIndex::NotePlex(RECORD_TREE_NODE* node, PackIndex& pack) {
  NoteEntered(node, pack);
  if (!RecordOf<PLEX_RECORD>(node, RECORD_TYPE_PLEX)) return;
  const uint64_t id = RecordIdOf(node->Record);
  if (plexIdsOfVolume_[node->Parent].insert(id).second) pack.FirstPlexes[id].push_back(node);
}

void RecordTreeIndex::NoteSubdisk(RECORD_TREE_NODE* node, PackIndex& pack) {
  NoteEntered(node, pack);
  const auto* subdisk = RecordOf<SUBDISK_RECORD>(node, RECORD_TYPE_SUBDISK);
  if (!subdisk) return;
  std::vector<RECORD_TREE_NODE*>& onDisk = subdisksOfPlex_[node->Parent][subdisk->DiskRecordId];
  if (onDisk.empty()) pack.PlexesOnDisk[subdisk->DiskRecordId].push_back(node->Parent);
  onDisk.push_back(node);
}

RECORD_TREE_NODE* RecordTreeIndex::Append(RECORD_TREE_NODE* parent, LDM_RECORD* record, uint16_t type) {
  auto* node = new (std::nothrow) RECORD_TREE_NODE();
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

RECORD_TREE_NODE* RecordTreeIndex::EnterPack(LDM_RECORD* pack) {
  if (!root_ || !pack) return nullptr;
  const auto same = packsById_.find(RecordIdOf(pack));
  if (same != packsById_.end())
    for (RECORD_TREE_NODE* node : same->second)
      if (RecordsEqual(node->Record, pack, RECORD_TYPE_PACK)) return node;
  auto* node = new (std::nothrow) RECORD_TREE_NODE();
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
// are the only candidates.
bool RecordTreeIndex::EnteredFrom(size_t ordinal, const LDM_RECORD* record, uint16_t type) const {
  const auto& byId = entered_[type - RECORD_TYPE_VOLUME];
  const auto candidates = byId.find(RecordIdOf(record));
  if (candidates == byId.end()) return false;
  for (const Placed& placed : candidates->second)
    if (placed.PackOrdinal >= ordinal && placed.Node->RecordType == type &&
        RecordsEqual(placed.Node->Record, record, type))
      return true;
  return false;
}

bool RecordTreeIndex::HoldsEqualDisk(const RECORD_TREE_NODE* subdisk, const LDM_RECORD* disk) {
  for (const RECORD_TREE_NODE* node = subdisk->FirstChild; node; node = node->NextSibling)
    if (node->RecordType == RECORD_TYPE_DISK && RecordsEqual(node->Record, disk, RECORD_TYPE_DISK)) return true;
  return false;
}

void RecordTreeIndex::Insert(RECORD_TREE_NODE* pack, LDM_RECORD* record, uint16_t type) {
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
      const auto* plex = dynamic_cast<const PLEX_RECORD*>(record);
      if (!plex) return;
      const auto volume = index.FirstVolume.find(plex->VolumeRecordId);
      if (volume == index.FirstVolume.end()) return;
      if (RECORD_TREE_NODE* node = Append(volume->second, record, type)) NotePlex(node, index);
      break;
    }
    case RECORD_TYPE_SUBDISK: {
      const auto* subdisk = dynamic_cast<const SUBDISK_RECORD*>(record);
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
void RecordTreeIndex::InsertDisk(PackIndex& pack, LDM_RECORD* disk) {
  const uint64_t diskId = RecordIdOf(disk);
  const auto plexes = pack.PlexesOnDisk.find(diskId);
  if (plexes == pack.PlexesOnDisk.end()) return;
  for (const RECORD_TREE_NODE* plex : plexes->second) {
    // A plex is listed here once it holds a subdisk on the disk.
    const auto lists = subdisksOfPlex_.find(plex);
    if (lists == subdisksOfPlex_.end()) continue;
    const auto list = lists->second.find(diskId);
    if (list == lists->second.end()) continue;
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

}  // namespace kestrand
