// The XML branches of every LDM structure of one disk, in their fixed order.
#include "disk/disk.h"
#include "ldm/ldm_database.h"

namespace kestrand {

uint32_t AddLdmDatabaseToReport(LDM_DATABASE* database, CKestrandTreeNode* node) {
  if (!node || !database) return ERROR_INVALID_PARAMETER_CODE;
  if (database->Disk && database->Disk->PartitionInfoError() != 0) return 0;

  const PRIVATE_HEADER_WRAPPER* headers[] = {database->PrimaryHeader.get(), database->AlternateHeader.get(),
                                             database->BackupHeader.get()};
  for (const PRIVATE_HEADER_WRAPPER* header : headers) {
    if (!header) continue;
    uint32_t code = header->AddToReport(node);
    if (code != 0) return code;
  }
  for (const TOC_WRAPPER* toc : {database->PrimaryToc.get(), database->AlternateToc.get()}) {
    if (!toc) continue;
    uint32_t code = toc->AddToReport(node);
    if (code != 0) return code;
  }
  return database->Config ? database->Config->AddToReport(node) : 0;
}

}  // namespace kestrand
