#include "analysis/pending_analysis.h"

namespace kestrand {

uint32_t AddDiskTests(CKestrandTreeNode*, CDisk*) { return 0; }

uint32_t AddUniqueDiskIdsTest(CDiskSet*, CKestrandTreeNode*) { return 0; }

uint32_t AddVirtualStructure(CDiskSet*, CKestrandTreeNode*, RECORD_TREE_NODE*, CPtrList<CDisk>*) { return 0; }

uint32_t AddPrimaryPackDetermination(CDiskSet*, CKestrandTreeNode*) { return 0; }

uint32_t BuildRecordTree(CPtrList<CDisk>*, RECORD_TREE_NODE** root) {
  if (!root) return 87;
  *root = nullptr;
  return 0;
}

void FreeRecordTree(RECORD_TREE_NODE*) {}

}  // namespace kestrand
