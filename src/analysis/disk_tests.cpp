// The consistency tests of one dynamic disk: a heading per structure with the
// tests of that structure, then the tests that compare copies. A structure
// that could not be read keeps its heading without tests.
#include "analysis/consistency_tests.h"
#include "analysis/test_element.h"
#include "common/tree_node.h"
#include "common/xml_writer.h"
#include "disk/disk.h"
#include "ldm/config_header.h"
#include "ldm/ldm_database.h"

namespace kestrand {

namespace {

template <class W>
bool WasRead(const W* copy) {
  return copy && copy->ReadStatus >= 0;
}

CKestrandTreeNode* AddHeading(CKestrandTreeNode* parent, const char* name, const char* caption, uint32_t& code) {
  CKestrandTreeNode* heading = parent->AddChild(name);
  code = heading ? CKestrandXMLWriter::SetElementDisplay(heading, caption, "0") : ERROR_NOT_ENOUGH_MEMORY_CODE;
  return code == 0 ? heading : nullptr;
}

struct DiskTestContext {
  CKestrandTreeNode* Tests;
  const LDM_DATABASE* Database;  // none when the disk has no database
  uint32_t SectorSize;
  const char* ConfigPackName;    // empty when the config has no header
};

uint32_t AddHeaderCopyTests(const DiskTestContext& context, const PRIVATE_HEADER_WRAPPER* copy,
                            const char* caption) {
  uint32_t code = 0;
  CKestrandTreeNode* heading = AddHeading(context.Tests, "PrivateHeader", caption, code);
  if (!heading || !WasRead(copy)) return code;
  code = AddMagicStringTest(heading, copy->Magic, "PRIVHEAD");
  if (code == 0) code = AddChecksumTest(heading, *copy, context.SectorSize);
  if (code == 0) code = AddPackNamesTest(heading, *copy, context.ConfigPackName);
  return code;
}

uint32_t AddTocTests(const DiskTestContext& context, const TOC_WRAPPER* toc, const char* caption) {
  uint32_t code = 0;
  CKestrandTreeNode* heading = AddHeading(context.Tests, "TableOfContents", caption, code);
  if (!heading || !WasRead(toc)) return code;
  return AddMagicStringTest(heading, toc->Magic, "TOCBLOCK");
}

uint32_t AddConfigTests(const DiskTestContext& context, const CONFIG_WRAPPER* config) {
  uint32_t code = 0;
  CKestrandTreeNode* heading = AddHeading(context.Tests, "ConfigHeader", "Config Header", code);
  if (!heading || !WasRead(config)) return code;
  code = AddMagicStringTest(heading, config->Magic, "VMDB");
  if (code == 0) code = AddOfflineStaleTest(heading, config->Header ? config->Header->Flags : 0);
  return code;
}

uint32_t AddPairTest(const DiskTestContext& context, const char* pairName, const PRIVATE_HEADER_WRAPPER* a,
                     const PRIVATE_HEADER_WRAPPER* b) {
  if (!WasRead(a) || !WasRead(b)) return 0;
  return AddHeaderCopiesTest(context.Tests, pairName, *a, *b);
}

uint32_t AddAllTests(const DiskTestContext& context) {
  const LDM_DATABASE* db = context.Database;
  const PRIVATE_HEADER_WRAPPER* primary = db ? db->PrimaryHeader.get() : nullptr;
  const PRIVATE_HEADER_WRAPPER* alternate = db ? db->AlternateHeader.get() : nullptr;
  const PRIVATE_HEADER_WRAPPER* backup = db ? db->BackupHeader.get() : nullptr;
  const TOC_WRAPPER* primaryToc = db ? db->PrimaryToc.get() : nullptr;
  const TOC_WRAPPER* alternateToc = db ? db->AlternateToc.get() : nullptr;

  uint32_t code = AddHeaderCopyTests(context, primary, "Private Header Primary");
  if (code == 0) code = AddHeaderCopyTests(context, alternate, "Private Header Alternate");
  // Only devices have a backup copy; a database file has none.
  if (code == 0 && backup) code = AddHeaderCopyTests(context, backup, "Private Header Backup");
  if (code == 0) code = AddTocTests(context, primaryToc, "Table of Contents Primary");
  if (code == 0) code = AddTocTests(context, alternateToc, "Table of Contents Alternate");
  if (code == 0) code = AddConfigTests(context, db ? db->Config.get() : nullptr);
  if (code == 0) code = AddPairTest(context, "Primary+Alternate", primary, alternate);
  if (code == 0) code = AddPairTest(context, "Primary+Backup", primary, backup);
  if (code == 0) code = AddPairTest(context, "Alternate+Backup", alternate, backup);
  if (code == 0 && WasRead(primaryToc) && WasRead(alternateToc))
    code = AddTocCopiesTest(context.Tests, *primaryToc, *alternateToc);
  return code;
}

}  // namespace

uint32_t AddDiskTests(CKestrandTreeNode* diskNode, CDisk* disk) {
  if (!diskNode || !disk) return ERROR_INVALID_PARAMETER_CODE;
  if (!disk->DiskNumberKnown()) return 0;
  uint32_t code = 0;
  CKestrandTreeNode* tests = AddHeading(diskNode, "Tests", "Tests", code);
  if (!tests) return code;

  const LDM_DATABASE* database = disk->LdmDatabase();
  const CONFIG_WRAPPER* config = database ? database->Config.get() : nullptr;
  // A config area that could not be read has an empty pack name.
  const char* configPackName = config && config->Header ? config->Header->PackName : "";
  return AddAllTests({tests, database, disk->BytesPerSector(), configPackName});
}

}  // namespace kestrand
