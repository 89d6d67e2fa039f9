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
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "ldm/record_tree.h"

namespace kestrand {

class RecordTreeIndex {
 public:
  // Indexes the tree whose root `*root` holds: empty, or one that a merge
  // built before (a tree of another shape is not followed exactly).
  explicit RecordTreeIndex(RECORD_TREE_NODE** root);
  RecordTreeIndex(const RecordTreeIndex&) = delete;
  RecordTreeIndex& operator=(const RecordTreeIndex&) = delete;

  // The first pack node of the root list whose pack equals `pack`, or a new
  // one at the end of the list; none when it cannot be allocated.
  RECORD_TREE_NODE* EnterPack(LDM_RECORD* pack);
  // Enters a volume, plex, subdisk or disk record below the pack node
  // `pack` (a node of the root list), unless an equal copy is already where
  // it would be found.
  void Insert(RECORD_TREE_NODE* pack, LDM_RECORD* record, uint16_t type);

 private:
  // A volume, plex or subdisk node and the place of its pack in the root list.
  struct Placed {
    size_t PackOrdinal;
    const RECORD_TREE_NODE* Node;
  };
  using NodesById = std::unordered_map<uint64_t, std::vector<RECORD_TREE_NODE*>>;

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
  std::unordered_map<const RECORD_TREE_NODE*, PackIndex> packs_;
  NodesById packsById_;  // pack RecordId -> pack nodes in root-list order
  // Volumes, plexes and subdisks by type (index 0 to 2) and RecordId.
  std::array<std::unordered_map<uint64_t, std::vector<Placed>>, 3> entered_;
  std::unordered_map<const RECORD_TREE_NODE*, RECORD_TREE_NODE*> lastChild_;
  // The plex ids that already have their first plex in a volume.
  std::unordered_map<const RECORD_TREE_NODE*, std::unordered_set<uint64_t>> plexIdsOfVolume_;
  // Per plex node: DiskRecordId -> its subdisk nodes on that disk, in child order.
  std::unordered_map<const RECORD_TREE_NODE*, NodesById> subdisksOfPlex_;
};

}  // namespace kestrand
