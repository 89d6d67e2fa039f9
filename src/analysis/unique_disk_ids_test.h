// The report-wide test that no two disks ready for LDM analysis share the
// DiskId of their primary private header.
#pragma once

#include <cstdint>

namespace kestrand {

class CDiskSet;
class CKestrandTreeNode;

// One Test element under `testsNode`; it fails (icon "4") at the first
// duplicate found. 87 without set or node, otherwise the tree's code.
uint32_t AddUniqueDiskIdsTest(CDiskSet* diskSet, CKestrandTreeNode* testsNode);

}  // namespace kestrand
