// The virtual structure: the merged record tree as nested Records elements,
// with the physical disk (or the fact that it is missing) under every disk
// record.
#pragma once

#include <cstdint>

#include "common/containers.h"

namespace kestrand {

class CDisk;
class CDiskSet;
class CKestrandTreeNode;
struct RECORD_TREE_NODE;

// One Records element under `parent` for `node` and each of its later
// siblings, each holding the elements of its children. 87 without parent, 0
// for no node, 8 without memory for the parent's children. The elements are
// written as bytes into fragment children of `parent`. Each physical disk's
// branch is built once, held by `parent`, and shown under every disk record
// on that disk through references (written as if copied there) among those
// fragments.
uint32_t AddVirtualStructure(CDiskSet* diskSet, CKestrandTreeNode* parent, RECORD_TREE_NODE* node,
                             CPtrList<CDisk>* disks);

}  // namespace kestrand
