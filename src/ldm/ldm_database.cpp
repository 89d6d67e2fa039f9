// Placeholder loader: remembers the disk and reads nothing, so every
// structure reports status 0.
#include "ldm/ldm_database.h"

namespace kestrand {

uint32_t LDM_DATABASE::Initialize(CDisk* disk) {
  if (!disk) return ERROR_INVALID_PARAMETER_CODE;
  Disk = disk;
  return 0;
}

LDM_COPY_STATUS LDM_DATABASE::GetCopyStatus(LdmCopy copy) const {
  LDM_COPY_STATUS status;
  status.Exists = copy != LdmCopy::BackupHeader;
  return status;
}

uint32_t LDM_DATABASE::PrintText(FILE* stream) const { return stream ? 0 : ERROR_INVALID_PARAMETER_CODE; }

uint32_t AddLdmDatabaseToReport(LDM_DATABASE* database, CKestrandTreeNode* node) {
  (void)database;
  return node ? 0 : ERROR_INVALID_PARAMETER_CODE;
}

}  // namespace kestrand
