// The analysis disk set: the disks that take part in the merged record tree
// and the analysis, without owning them, and the root of that tree. Its
// source file also gathers the run's disks (CKestrand::EnumerateDisks and
// OpenLdmFile) and prints the text report's Dynamic Disk Information from a
// set's tree.
#pragma once

#include <cstdint>
#include <unordered_map>

#include "common/containers.h"

namespace kestrand {

class CDisk;
class CKestrand;
class CKestrandTreeNode;
struct RECORD_TREE_NODE;

class CDiskSet {
 public:
  CDiskSet() = default;
  ~CDiskSet();
  CDiskSet(const CDiskSet&) = delete;
  CDiskSet& operator=(const CDiskSet&) = delete;

  CPtrList<CDisk> Disks{false};
  CDisk* BootDisk = nullptr;
  CDisk* SystemDisk = nullptr;
  // Owned: freed with the set (its nodes only refer to the disks' records).
  RECORD_TREE_NODE* RecordTree = nullptr;
  // A disk's branch as the report already shows it, without its tests (held
  // by the report tree), for the virtual structure to show again instead of
  // building it once more. Disks without one get theirs built.
  std::unordered_map<const CDisk*, const CKestrandTreeNode*> ShownBranches;
};

// Every disk whose number is known, in list order, then the merged record
// tree of their LDM databases. 87 without `kestrand`.
uint32_t BuildDiskSet(CDiskSet* diskSet, CKestrand* kestrand);

}  // namespace kestrand
