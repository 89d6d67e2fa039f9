#include "analysis/unique_disk_ids_test.h"

#include "analysis/ready_disks.h"
#include "analysis/test_element.h"
#include "disk/disk.h"
#include "driver/disk_set.h"
#include "ldm/private_header.h"

namespace kestrand {

namespace {

// Whether another ready disk of the set carries the same primary DiskId.
bool HasDuplicate(CDiskSet& diskSet, CDisk* disk, const GUID& diskId) {
  for (CPtrListIterator<CDisk> it(diskSet.Disks); !it.AtEnd(); it.Advance()) {
    if (it.Current() == disk) continue;
    const PRIVATE_HEADER* other = ReadyPrimaryHeader(it.Current());
    if (other && other->DiskId == diskId) return true;
  }
  return false;
}

}  // namespace

uint32_t AddUniqueDiskIdsTest(CDiskSet* diskSet, CKestrandTreeNode* testsNode) {
  if (!diskSet || !testsNode) return ERROR_INVALID_PARAMETER_CODE;
  uint32_t code = 0;
  CKestrandTreeNode* test = AddTestElement(
      testsNode, "Unique Disk Ids",
      "This test verifies that there are no two disks share the same diskID as they are unique identifiers.", code);
  if (!test) return code;
  bool unique = true;
  for (CPtrListIterator<CDisk> it(diskSet->Disks); unique && !it.AtEnd(); it.Advance()) {
    const PRIVATE_HEADER* header = ReadyPrimaryHeader(it.Current());
    if (header && HasDuplicate(*diskSet, it.Current(), header->DiskId)) unique = false;
  }
  return SetTestVerdict(test, unique, kFailedDiskIdTestIcon);
}

}  // namespace kestrand
