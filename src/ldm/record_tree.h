// The merged record tree: the config records of every ready dynamic disk in
// one tree that follows the logical structure (packs, their volumes, plexes,
// subdisks and the disks under each subdisk). Copies of a record that agree
// in the fields that matter are entered once; copies that differ side by side.
#pragma once

#include <cstdint>

#include "common/ptr_list.h"

namespace kestrand {

class CDisk;
class LDM_RECORD;

struct RECORD_TREE_NODE {
  RECORD_TREE_NODE* Parent = nullptr;       // none for a pack
  RECORD_TREE_NODE* FirstChild = nullptr;
  RECORD_TREE_NODE* NextSibling = nullptr;
  LDM_RECORD* Record = nullptr;              // not owned: it belongs to a disk's config copy
  uint16_t RecordType = 0;                   // RECORD_TYPE_*
};

// Merges the records of every disk of `disks` that is ready for LDM analysis
// into the tree whose root (the first pack node) `*root` holds; with an empty
// `*root` a new tree is started. 0, or 87 without `root` or `disks`. Nodes
// that cannot be allocated are left out.
uint32_t BuildRecordTree(CPtrList<CDisk>* disks, RECORD_TREE_NODE** root);

// Frees every node of the tree from `root` on, the root list included, each
// node's children before the node (nullptr is fine). The records stay.
void FreeRecordTree(RECORD_TREE_NODE* root);

// Whether two records of `type` agree in the fields that identify a copy
// (names and update sequences take no part). A record equals itself; a
// missing record equals nothing.
bool RecordsEqual(const LDM_RECORD* a, const LDM_RECORD* b, uint16_t type);

// Whether an equal record of `type` is held by `start`, by a node below it,
// by a later sibling of it or by a node below such a sibling.
bool FindRecord(const RECORD_TREE_NODE* start, const LDM_RECORD* record, uint16_t type);

// Enters a volume, plex, subdisk or disk record below the pack node `pack`
// where its links place it; a copy equal to one already entered (for a disk:
// under the same subdisk or a later one of the plex) is not entered again.
void InsertRecord(RECORD_TREE_NODE* pack, LDM_RECORD* record, uint16_t type);

// The RecordId its entry holds; 0 without an entry.
uint64_t RecordIdOf(const LDM_RECORD* record);

}  // namespace kestrand
