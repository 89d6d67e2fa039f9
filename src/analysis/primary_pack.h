// The reasoning by which the primary disk pack would be chosen: the boot
// disk, then four criteria, each with its rule, the facts found and a
// verdict. It only reports; nothing is imported or changed.
#pragma once

#include <cstdint>

namespace kestrand {

class CDiskSet;
class CKestrandTreeNode;

// Adds the DriverCode branch under `node` and fills the set's boot disk and
// system disk. 87 without set or node, 8 when an element cannot be created,
// 1168 when no disk is the boot disk (the branch then ends after BootDisk),
// otherwise the first code of the tree; what was added before stays.
uint32_t AddPrimaryPackDetermination(CDiskSet* diskSet, CKestrandTreeNode* node);

}  // namespace kestrand
