#include "analysis/consistency_tests.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "ldm/ldm_database.h"
#include "analysis/primary_pack.h"
#include "common/text_format.h"
#include "common/xml_writer.h"
#include "disk/disk.h"
#include "driver/disk_set.h"
#include "ldm/config_header.h"
#include "ldm/private_header.h"
#include "ldm/toc.h"

namespace kestrand {

namespace {

// The config header Flags value that marks a database offline or stale.
constexpr uint16_t kOfflineOrStale = 0x0400;
// Where the stored checksum lies in a PRIVHEAD sector.
constexpr uint32_t kChecksumFirst = 8;
constexpr uint32_t kChecksumEnd = 12;

uint32_t AddVerdictOnlyTest(CKestrandTreeNode* parent, const char* name, const std::string& description,
                            bool passed) {
  uint32_t code = 0;
  CKestrandTreeNode* test = AddTestElement(parent, name, description, code);
  if (!test) return code;
  return SetTestVerdict(test, passed);
}

// Text fields are compared as strings, never past their buffers.
template <size_t N>
bool TextDiffers(const char (&a)[N], const char (&b)[N]) {
  return std::strncmp(a, b, N) != 0;
}

// Every comparison is made, in the order the attributes appear.
void CompareCopies(CTestMismatches& m, const PRIVATE_HEADER_WRAPPER& a, const PRIVATE_HEADER_WRAPPER& b) {
  const PRIVATE_HEADER& x = a.Header;
  const PRIVATE_HEADER& y = b.Header;
  m.Compare("MagicStrings", TextDiffers(a.Magic, b.Magic));
  m.Compare("CheckSums", a.StoredChecksum != b.StoredChecksum);
  m.Compare("AlternateHeaders", x.AlternateHeader != y.AlternateHeader);
  m.Compare("AlternateTocFirstSector", x.TocAlternateSector != y.TocAlternateSector);
  m.Compare("IOsize", x.IOsize != y.IOsize);
  m.Compare("BootDiskSignature", x.BootSig != y.BootSig);
  m.Compare("ConfigCopiesCount", x.ConfigCopiesCount != y.ConfigCopiesCount);
  m.Compare("ConfigCopyLength", x.ConfigCopyLength != y.ConfigCopyLength);
  m.Compare("DiskId", !(x.DiskId == y.DiskId));
  m.Compare("DiskSetId", !(x.DiskSetId == y.DiskSetId));
  m.Compare("Flags", x.Flags != y.Flags);
  m.Compare("HostId", !(x.HostId == y.HostId));
  m.Compare("LogCopiesCount", x.LogCopiesCount != y.LogCopiesCount);
  m.Compare("LogCopyLength", x.LogCopyLength != y.LogCopyLength);
  m.Compare("NewDiskId", !(x.NewDiskId == y.NewDiskId));
  m.Compare("NewDiskSetId", !(x.NewDiskSetId == y.NewDiskSetId));
  m.Compare("NewPackId", !(x.NewPackId == y.NewPackId));
  m.Compare("NewPackName", TextDiffers(x.NewPackName, y.NewPackName));
  m.Compare("PackId", !(x.PackId == y.PackId));
  m.Compare("PackName", TextDiffers(x.PackName, y.PackName));
  m.Compare("PrimaryHeader", x.PrimaryHeader != y.PrimaryHeader);
  m.Compare("PrivateId", x.PrivateId != y.PrivateId);
  m.Compare("PrivateLength", x.PrivateLength != y.PrivateLength);
  m.Compare("PrivateOffset", x.PrivateOffset != y.PrivateOffset);
  m.Compare("PublicId", x.PublicId != y.PublicId);
  m.Compare("PublicLength", x.PublicLength != y.PublicLength);
  m.Compare("PublicOffset", x.PublicOffset != y.PublicOffset);
  m.Compare("TocFirstSector", x.TocPrimarySector != y.TocPrimarySector);
  m.Compare("UpdateSequence", x.UpdateSequence != y.UpdateSequence);
  m.Compare("UpdateTime", x.UpdateTime != y.UpdateTime);
  m.Compare("VersionMajor", x.VersionMajor != y.VersionMajor);
  m.Compare("VersionMinor", x.VersionMinor != y.VersionMinor);
}

void CompareRegions(CTestMismatches& m, const TOC_REGION& p, const TOC_REGION& a) {
  m.Compare("CopyType", p.RegionType != a.RegionType);
  m.Compare("ExtentOffset", p.ExtentOffset != a.ExtentOffset);
  m.Compare("CopyLength", p.ExtentLength != a.ExtentLength);
  m.Compare("CopyNumber", p.CopyNumber != a.CopyNumber);
  m.Compare("OffsetInCopyr", p.OffsetInCopy != a.OffsetInCopy);
  m.Compare("CopyFlag", p.Flags != a.Flags);
}

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
  return CFirstCode()
      .Then([&] { return AddMagicStringTest(heading, copy->Magic, "PRIVHEAD"); })
      .Then([&] { return AddChecksumTest(heading, *copy, context.SectorSize); })
      .Then([&] { return AddPackNamesTest(heading, *copy, context.ConfigPackName); })
      .Code();
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
  return CFirstCode()
      .Then([&] { return AddMagicStringTest(heading, config->Magic, "VMDB"); })
      .Then([&] { return AddOfflineStaleTest(heading, config->Header ? config->Header->Flags : 0); })
      .Code();
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

  return CFirstCode()
      .Then([&] { return AddHeaderCopyTests(context, primary, "Private Header Primary"); })
      .Then([&] { return AddHeaderCopyTests(context, alternate, "Private Header Alternate"); })
      // Only devices have a backup copy; a database file has none.
      .Then([&] { return backup ? AddHeaderCopyTests(context, backup, "Private Header Backup") : 0u; })
      .Then([&] { return AddTocTests(context, primaryToc, "Table of Contents Primary"); })
      .Then([&] { return AddTocTests(context, alternateToc, "Table of Contents Alternate"); })
      .Then([&] { return AddConfigTests(context, db ? db->Config.get() : nullptr); })
      .Then([&] { return AddPairTest(context, "Primary+Alternate", primary, alternate); })
      .Then([&] { return AddPairTest(context, "Primary+Backup", primary, backup); })
      .Then([&] { return AddPairTest(context, "Alternate+Backup", alternate, backup); })
      .Then([&] {
        if (!WasRead(primaryToc) || !WasRead(alternateToc)) return 0u;
        return AddTocCopiesTest(context.Tests, *primaryToc, *alternateToc);
      })
      .Code();
}

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

// The Test element.

CKestrandTreeNode* AddTestElement(CKestrandTreeNode* parent, const std::string& name,
                                  const std::string& description, uint32_t& code) {
  code = ERROR_INVALID_PARAMETER_CODE;
  if (!parent) return nullptr;
  CKestrandTreeNode* test = parent->AddChild("Test");
  code = ERROR_NOT_ENOUGH_MEMORY_CODE;
  if (!test) return nullptr;
  // The icon comes after the mismatches, so the two display attributes are
  // added one by one.
  code = CAttributeAdder(test).Text("_ElementDisplayName", name).Text("Description", description).Code();
  return code == 0 ? test : nullptr;
}

void CTestMismatches::Compare(const char* name, bool differs) {
  if (!differs) return;
  found_ = true;
  Note(name, kNotIdentical);
}

uint32_t SetTestVerdict(CKestrandTreeNode* test, bool passed, const char* failIcon) {
  return CAttributeAdder(test)
      .Text("_ElementIcon", passed ? "16" : failIcon)
      .Text("Status", passed ? "Passed" : "Failed")
      .Code();
}

// The single-structure tests: magic strings, the private header checksum, the
// offline or stale mark and the pack name agreement.

uint32_t PrivateHeaderByteSum(const uint8_t* sector, uint32_t size) {
  uint32_t sum = 0;
  if (!sector) return sum;
  // Every byte, then the stored checksum's own bytes taken out again: a
  // loop without a test per byte.
  for (uint32_t i = 0; i < size; ++i) sum += sector[i];
  for (uint32_t i = kChecksumFirst; i < kChecksumEnd && i < size; ++i) sum -= sector[i];
  return sum;
}

uint32_t AddMagicStringTest(CKestrandTreeNode* parent, const char* magic, const char* expected) {
  const bool passed = magic && expected && std::strcmp(magic, expected) == 0;
  return AddVerdictOnlyTest(parent, "Magic String",
                            std::string("Verifies that the first 8 bytes contains the correct magic string: ") +
                                (expected ? expected : ""),
                            passed);
}

uint32_t AddChecksumTest(CKestrandTreeNode* parent, const PRIVATE_HEADER_WRAPPER& copy, uint32_t sectorSize) {
  // Never past the bytes that were kept.
  const uint32_t size = sectorSize < copy.RawSectorSize ? sectorSize : copy.RawSectorSize;
  const bool passed = PrivateHeaderByteSum(copy.RawSector.get(), size) == copy.StoredChecksum;
  return AddVerdictOnlyTest(
      parent, "Check Sum",
      "This test computes the checksum and compares it with the stored check (4 bytes after the magic string).",
      passed);
}

uint32_t AddOfflineStaleTest(CKestrandTreeNode* parent, uint16_t configFlags) {
  // Equality, not a bit test: 0x0401 passes.
  return AddVerdictOnlyTest(
      parent, "Disk not offline/stale",
      "This test verifies that the LDM Database is not marked offline or stale (0x0400) in the Config Header.",
      configFlags != kOfflineOrStale);
}

uint32_t AddPackNamesTest(CKestrandTreeNode* parent, const PRIVATE_HEADER_WRAPPER& copy,
                          const char* configPackName) {
  uint32_t code = 0;
  CKestrandTreeNode* test =
      AddTestElement(parent, "Pack Names Consistent",
                     "This test verifies that the packname in this private header is consistent with the "
                     "packname in the config header.",
                     code);
  if (!test) return code;
  CTestMismatches mismatches(test);
  mismatches.Compare("PackNames", std::strncmp(copy.Header.PackName, configPackName ? configPackName : "",
                                               sizeof copy.Header.PackName) != 0);
  return mismatches.SetVerdict();
}

// The test that two private header copies of one disk agree in every field.

uint32_t AddHeaderCopiesTest(CKestrandTreeNode* parent, const char* pairName, const PRIVATE_HEADER_WRAPPER& a,
                             const PRIVATE_HEADER_WRAPPER& b) {
  const std::string pair = pairName ? pairName : "";
  uint32_t code = 0;
  CKestrandTreeNode* test =
      AddTestElement(parent, pair + " Private Headers Identical",
                     "This test verifies that the " + pair + " private headers are identical", code);
  if (!test) return code;
  CTestMismatches mismatches(test);
  CompareCopies(mismatches, a, b);
  return mismatches.SetVerdict();
}

// The test that the primary and alternate tables of contents agree, region by
// region, as far as both lists go.

uint32_t AddTocCopiesTest(CKestrandTreeNode* parent, const TOC_WRAPPER& primary, const TOC_WRAPPER& alternate) {
  uint32_t code = 0;
  CKestrandTreeNode* test =
      AddTestElement(parent, "Table of Contents Identical",
                     "This test verifies that the primary and alternate Toc in the LDM database are identical.",
                     code);
  if (!test) return code;
  CTestMismatches mismatches(test);
  mismatches.Compare("MagicStrings", std::strncmp(primary.Magic, alternate.Magic, sizeof primary.Magic) != 0);

  // Pairs beyond the shorter list are not compared; the walk stops at the
  // first pair that fails the test (or after the first when the magic did).
  const uint32_t pairs = std::min({primary.Toc.RegionCount, alternate.Toc.RegionCount, TOC::kMaxRegions});
  for (uint32_t i = 0; i < pairs; ++i) {
    mismatches.Note(FormatNarrow("Entry%u", i + 1).c_str(), "Testing");
    CompareRegions(mismatches, primary.Toc.Regions[i], alternate.Toc.Regions[i]);
    if (mismatches.Found()) break;
  }
  return mismatches.SetVerdict();
}

// The consistency tests of one dynamic disk: a heading per structure with the
// tests of that structure, then the tests that compare copies. A structure
// that could not be read keeps its heading without tests.

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

// The report-wide test that no two disks ready for LDM analysis share the
// DiskId of their primary private header.

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
