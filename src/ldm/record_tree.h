// The merged record tree: the config records of every ready dynamic disk in
// one tree that follows the logical structure (packs, their volumes, plexes,
// subdisks and the disks under each subdisk). Copies of a record that agree
// in the fields that matter are entered once; copies that differ side by side.
#pragma once

#include <cstdint>
#include <vector>

#include "common/containers.h"

namespace kestrand {

class CDisk;
class LDM_RECORD;
struct CONFIG_HEADER;

struct RECORD_TREE_NODE {
  RECORD_TREE_NODE* Parent = nullptr;       // none for a pack
  RECORD_TREE_NODE* FirstChild = nullptr;
  RECORD_TREE_NODE* NextSibling = nullptr;
  LDM_RECORD* Record = nullptr;              // not owned: it belongs to a disk's config copy
  uint16_t RecordType = 0;                   // RECORD_TYPE_*
};

// Merges the records of every disk of `disks` that is ready for LDM analysis
// into the tree whose root (the first pack node) `*root` holds; with an empty
// `*root` a new tree is started, otherwise the tree an earlier merge built is
// continued. 0, or 87 without `root` or `disks`. Nodes that cannot be
// allocated are left out.
uint32_t BuildRecordTree(CPtrList<CDisk>* disks, RECORD_TREE_NODE** root);

// The merge of BuildRecordTree over the config copies of the ready disks,
// in disk order: per copy, its pack records pick the current pack node (which
// stays current for the following copies until another pack record is met),
// then its volumes, plexes, subdisks and disks are entered below that node,
// each type in group-list order. Nothing happens without `root`.
void MergeConfigCopies(const std::vector<const CONFIG_HEADER*>& copies, RECORD_TREE_NODE** root);

// Frees every node of the tree from `root` on, the root list included, each
// node's children before the node (nullptr is fine). The records stay.
void FreeRecordTree(RECORD_TREE_NODE* root);

// Whether two records of `type` agree in the fields that identify a copy
// (names and update sequences take no part). A record equals itself; a
// missing record equals nothing.
bool RecordsEqual(const LDM_RECORD* a, const LDM_RECORD* b, uint16_t type);

// The RecordId its entry holds; 0 without an entry.
uint64_t RecordIdOf(const LDM_RECORD* record);

}  // namespace kestrand
