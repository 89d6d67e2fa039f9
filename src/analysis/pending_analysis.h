// Placeholders for the analysis branches of the XML report and the merged
// record tree, so the report frame can be built and tested before they land.
// Each does nothing and returns 0; replace a declaration here by the real
// header when its implementation arrives, and delete this file at the end.
#pragma once

#include <cstdint>

#include "common/ptr_list.h"

namespace kestrand {

class CDisk;
class CDiskSet;
class CKestrandTreeNode;
struct RECORD_TREE_NODE;

// Consistency tests of one dynamic disk, under its Disk element.
uint32_t AddDiskTests(CKestrandTreeNode* diskNode, CDisk* disk);
// The test that no two ready disks share a disk id, under Tests.
uint32_t AddUniqueDiskIdsTest(CDiskSet* diskSet, CKestrandTreeNode* testsNode);
// The merged virtual structure from `node` down, under `parent`.
uint32_t AddVirtualStructure(CDiskSet* diskSet, CKestrandTreeNode* parent, RECORD_TREE_NODE* node,
                             CPtrList<CDisk>* disks);
// How the primary pack would be chosen, under `node` (live disks only).
uint32_t AddPrimaryPackDetermination(CDiskSet* diskSet, CKestrandTreeNode* node);
// Merges the records of every ready disk into one tree; *root stays nullptr
// when there is nothing to merge.
uint32_t BuildRecordTree(CPtrList<CDisk>* disks, RECORD_TREE_NODE** root);
// Frees a tree built by BuildRecordTree (nullptr is fine).
void FreeRecordTree(RECORD_TREE_NODE* root);

}  // namespace kestrand
