// The consistency tests of one disk's LDM database and the disk id test: what
// each compares, which attributes a difference adds, and which tests a
// structure that could not be read leaves out.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "analysis/consistency_tests.h"
#include "common/xml_writer.h"
#include "driver/disk_set.h"
#include "ldm/config_header.h"
#include "support/analysis_disks.h"

namespace kestrand::test {
namespace {

using Names = std::vector<std::string>;

const Names kVerdictOnly = {"_ElementDisplayName", "Description", "_ElementIcon", "Status"};

// The mismatch attributes of a Test: everything between the description and
// the verdict.
Names Mismatches(const CKestrandTreeNode* test) {
  Names names = AttributeNames(test);
  if (names.size() < 4) return names;
  return Names(names.begin() + 2, names.end() - 2);
}

std::vector<LdmRecordImage> PackOnly() { return {PackRecord()}; }

class DiskTestsTest : public ::testing::Test {
 protected:
  void Load(const LdmAreaImage& area = AreaWith(PackOnly())) { disk_.Load(platform_, area); }

  CKestrandTreeNode* RunTests() {
    EXPECT_EQ(AddDiskTests(&diskNode_, &disk_), 0u);
    return diskNode_.FindChild("Tests");
  }

  AnalysisPlatform platform_;
  ScopedPlatform installed_{platform_};
  AnalysisDisk disk_{3};
  CKestrandTreeNode diskNode_{"Disk"};
};

TEST_F(DiskTestsTest, HealthyDatabasePassesEveryTestInTheOrderOfTheStructures) {
  Load();
  CKestrandTreeNode* tests = RunTests();
  ASSERT_NE(tests, nullptr);
  EXPECT_STREQ(Attr(tests, "_ElementDisplayName"), "Tests");
  EXPECT_STREQ(Attr(tests, "_ElementIcon"), "0");

  Names captions;
  for (CKestrandTreeNode* child = tests->FirstChild(); child; child = child->NextSibling())
    captions.push_back(std::string(child->Name()) + ":" + Attr(child, "_ElementDisplayName"));
  EXPECT_EQ(captions, (Names{"PrivateHeader:Private Header Primary", "PrivateHeader:Private Header Alternate",
                             "PrivateHeader:Private Header Backup", "TableOfContents:Table of Contents Primary",
                             "TableOfContents:Table of Contents Alternate", "ConfigHeader:Config Header",
                             "Test:Primary+Alternate Private Headers Identical",
                             "Test:Primary+Backup Private Headers Identical",
                             "Test:Alternate+Backup Private Headers Identical", "Test:Table of Contents Identical"}));

  const std::vector<CKestrandTreeNode*> all = DescendantsNamed(tests, "Test");
  EXPECT_EQ(all.size(), 3u * 3 + 2 + 2 + 4);
  for (CKestrandTreeNode* test : all) {
    SCOPED_TRACE(Attr(test, "_ElementDisplayName"));
    EXPECT_STREQ(Attr(test, "Status"), "Passed");
    EXPECT_STREQ(Attr(test, "_ElementIcon"), "16");
  }

  Names primaryTests;
  CKestrandTreeNode* primary = ChildCaptioned(tests, "Private Header Primary");
  for (CKestrandTreeNode* test : ChildrenNamed(primary, "Test")) primaryTests.push_back(Attr(test, "_ElementDisplayName"));
  EXPECT_EQ(primaryTests, (Names{"Magic String", "Check Sum", "Pack Names Consistent"}));
  CKestrandTreeNode* magic = primary->FirstChild();
  EXPECT_EQ(AttributeNames(magic), kVerdictOnly);
  EXPECT_STREQ(Attr(magic, "Description"),
               "Verifies that the first 8 bytes contains the correct magic string: PRIVHEAD");

  CKestrandTreeNode* config = ChildCaptioned(tests, "Config Header");
  EXPECT_STREQ(Attr(config->FirstChild(), "Description"),
               "Verifies that the first 8 bytes contains the correct magic string: VMDB");
  EXPECT_STREQ(Attr(config->FirstChild()->NextSibling(), "_ElementDisplayName"), "Disk not offline/stale");
}

TEST_F(DiskTestsTest, DatabaseFileHasNoBackupCopyAndNoTestsOfIt) {
  disk_.SetIsDevice(false);
  Load();
  CKestrandTreeNode* tests = RunTests();
  EXPECT_EQ(ChildCaptioned(tests, "Private Header Backup"), nullptr);
  EXPECT_EQ(ChildCaptioned(tests, "Primary+Backup Private Headers Identical"), nullptr);
  EXPECT_EQ(ChildCaptioned(tests, "Alternate+Backup Private Headers Identical"), nullptr);
  EXPECT_NE(ChildCaptioned(tests, "Primary+Alternate Private Headers Identical"), nullptr);
}

TEST_F(DiskTestsTest, StructureThatCouldNotBeReadKeepsItsHeadingWithoutTests) {
  // The alternate header copy lies 0x18000 bytes before the end of the disk.
  platform_.Failures.push_back({AnalysisDisk::kDiskBytes - 0x18000, 512, STATUS_IO_DEVICE_ERROR_CODE});
  Load();
  CKestrandTreeNode* tests = RunTests();
  CKestrandTreeNode* alternate = ChildCaptioned(tests, "Private Header Alternate");
  ASSERT_NE(alternate, nullptr);
  EXPECT_STREQ(Attr(alternate, "_ElementIcon"), "0");
  EXPECT_EQ(alternate->FirstChild(), nullptr);
  EXPECT_EQ(ChildCaptioned(tests, "Primary+Alternate Private Headers Identical"), nullptr);
  EXPECT_EQ(ChildCaptioned(tests, "Alternate+Backup Private Headers Identical"), nullptr);
  EXPECT_NE(ChildCaptioned(tests, "Primary+Backup Private Headers Identical"), nullptr);
}

TEST_F(DiskTestsTest, UnreadableConfigFailsThePackNamesTest) {
  const uint64_t configOffset = AnalysisDisk::kDiskBytes - 0x100000 + LdmAreaImage().ConfigOffset();
  platform_.Failures.push_back({configOffset, 512, STATUS_IO_DEVICE_ERROR_CODE});
  Load();
  CKestrandTreeNode* tests = RunTests();
  EXPECT_EQ(ChildCaptioned(tests, "Config Header")->FirstChild(), nullptr);
  CKestrandTreeNode* packNames = ChildCaptioned(ChildCaptioned(tests, "Private Header Primary"), "Pack Names Consistent");
  EXPECT_EQ(Mismatches(packNames), (Names{"PackNames"}));
  EXPECT_STREQ(Attr(packNames, "PackNames"), "Not identical");
  EXPECT_STREQ(Attr(packNames, "Status"), "Failed");
  EXPECT_STREQ(Attr(packNames, "_ElementIcon"), "5");
}

TEST_F(DiskTestsTest, WrongMagicAndChecksumFailTheirTests) {
  LdmAreaImage area = AreaWith(PackOnly());
  area.Header.Checksum = 0x1234;
  Load(area);
  std::strcpy(disk_.Database()->PrimaryToc->Magic, "TOCBLOCX");
  CKestrandTreeNode* tests = RunTests();
  CKestrandTreeNode* primary = ChildCaptioned(tests, "Private Header Primary");
  EXPECT_STREQ(Attr(ChildCaptioned(primary, "Magic String"), "Status"), "Passed");
  EXPECT_STREQ(Attr(ChildCaptioned(primary, "Check Sum"), "Status"), "Failed");
  EXPECT_STREQ(Attr(ChildCaptioned(ChildCaptioned(tests, "Table of Contents Primary"), "Magic String"), "Status"),
               "Failed");
  CKestrandTreeNode* tocs = ChildCaptioned(tests, "Table of Contents Identical");
  EXPECT_EQ(Mismatches(tocs), (Names{"MagicStrings", "Entry1"}));
}

// ---- single tests ----

// A private header copy holding `sector` as read.
std::unique_ptr<PRIVATE_HEADER_WRAPPER> CopyOf(const std::vector<uint8_t>& sector) {
  auto copy = std::make_unique<PRIVATE_HEADER_WRAPPER>();
  copy->RawSector.reset(static_cast<uint8_t*>(std::malloc(sector.size())));
  std::memcpy(copy->RawSector.get(), sector.data(), sector.size());
  copy->RawSectorSize = static_cast<uint32_t>(sector.size());
  copy->StoredChecksum = static_cast<uint32_t>(sector[8] << 24 | sector[9] << 16 | sector[10] << 8 | sector[11]);
  return copy;
}

std::string ChecksumVerdict(const std::vector<uint8_t>& sector) {
  CKestrandTreeNode parent("PrivateHeader");
  EXPECT_EQ(AddChecksumTest(&parent, *CopyOf(sector), static_cast<uint32_t>(sector.size())), 0u);
  return parent.FirstChild() ? Attr(parent.FirstChild(), "Status") : "none";
}

TEST(ChecksumTest, SumsEveryByteButTheStoredChecksumOverTheWholeSector) {
  std::vector<uint8_t> sector(512, 0);
  EXPECT_EQ(ChecksumVerdict(sector), "Passed");
  sector[511] = 1;
  EXPECT_EQ(ChecksumVerdict(sector), "Failed");
  sector[11] = 1;  // the stored checksum itself is left out of the sum
  EXPECT_EQ(ChecksumVerdict(sector), "Passed");

  std::vector<uint8_t> large(4096, 0xFF);
  const uint32_t sum = 0xFFu * (4096 - 4);
  for (int i = 0; i < 4; ++i) large[8 + i] = static_cast<uint8_t>(sum >> (24 - 8 * i));
  EXPECT_EQ(ChecksumVerdict(large), "Passed");
  large[4095] = 0xFE;
  EXPECT_EQ(ChecksumVerdict(large), "Failed");
}

TEST(OfflineStaleTest, FailsOnlyForFlagsEqualTo0x0400) {
  for (uint16_t flags : {0x0000, 0x0400, 0x0401, 0x0C00}) {
    CKestrandTreeNode parent("ConfigHeader");
    ASSERT_EQ(AddOfflineStaleTest(&parent, flags), 0u);
    EXPECT_STREQ(Attr(parent.FirstChild(), "Status"), flags == 0x0400 ? "Failed" : "Passed") << flags;
    EXPECT_STREQ(Attr(parent.FirstChild(), "_ElementIcon"), flags == 0x0400 ? "5" : "16");
  }
}

// ---- header copies ----

struct FieldChange {
  const char* Attribute;
  std::function<void(PRIVATE_HEADER_WRAPPER&)> Change;
};

const std::vector<FieldChange>& FieldChanges() {
  static const GUID other = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  static const std::vector<FieldChange> changes = {
      {"MagicStrings", [](auto& c) { c.Magic[7] = 'X'; }},
      {"CheckSums", [](auto& c) { c.StoredChecksum ^= 1; }},
      {"AlternateHeaders", [](auto& c) { c.Header.AlternateHeader ^= 1; }},
      {"AlternateTocFirstSector", [](auto& c) { c.Header.TocAlternateSector ^= 1; }},
      {"IOsize", [](auto& c) { c.Header.IOsize ^= 1; }},
      {"BootDiskSignature", [](auto& c) { c.Header.BootSig ^= 1; }},
      {"ConfigCopiesCount", [](auto& c) { c.Header.ConfigCopiesCount ^= 1; }},
      {"ConfigCopyLength", [](auto& c) { c.Header.ConfigCopyLength ^= 1; }},
      {"DiskId", [](auto& c) { c.Header.DiskId.Data4[7] ^= 1; }},
      {"DiskSetId", [](auto& c) { c.Header.DiskSetId = other; }},
      {"Flags", [](auto& c) { c.Header.Flags ^= 1; }},
      {"HostId", [](auto& c) { c.Header.HostId.Data1 ^= 1; }},
      {"LogCopiesCount", [](auto& c) { c.Header.LogCopiesCount ^= 1; }},
      {"LogCopyLength", [](auto& c) { c.Header.LogCopyLength ^= 1; }},
      {"NewDiskId", [](auto& c) { c.Header.NewDiskId = other; }},
      {"NewDiskSetId", [](auto& c) { c.Header.NewDiskSetId = other; }},
      {"NewPackId", [](auto& c) { c.Header.NewPackId = other; }},
      {"NewPackName", [](auto& c) { std::strcpy(c.Header.NewPackName, "New"); }},
      {"PackId", [](auto& c) { c.Header.PackId.Data2 ^= 1; }},
      {"PackName", [](auto& c) { c.Header.PackName[0] ^= 1; }},
      {"PrimaryHeader", [](auto& c) { c.Header.PrimaryHeader ^= 1; }},
      {"PrivateId", [](auto& c) { c.Header.PrivateId ^= 1; }},
      {"PrivateLength", [](auto& c) { c.Header.PrivateLength ^= 1; }},
      {"PrivateOffset", [](auto& c) { c.Header.PrivateOffset ^= 1; }},
      {"PublicId", [](auto& c) { c.Header.PublicId ^= 1; }},
      {"PublicLength", [](auto& c) { c.Header.PublicLength ^= 1; }},
      {"PublicOffset", [](auto& c) { c.Header.PublicOffset ^= 1; }},
      {"TocFirstSector", [](auto& c) { c.Header.TocPrimarySector ^= 1; }},
      {"UpdateSequence", [](auto& c) { c.Header.UpdateSequence ^= 1; }},
      {"UpdateTime", [](auto& c) { c.Header.UpdateTime ^= 1; }},
      {"VersionMajor", [](auto& c) { c.Header.VersionMajor ^= 1; }},
      {"VersionMinor", [](auto& c) { c.Header.VersionMinor ^= 1; }},
  };
  return changes;
}

class HeaderCopiesTest : public DiskTestsTest {
 protected:
  void SetUp() override { Load(); }

  CKestrandTreeNode* Compare() {
    CKestrandTreeNode* tests = RunTests();
    return ChildCaptioned(tests, "Primary+Alternate Private Headers Identical");
  }
  PRIVATE_HEADER_WRAPPER& Alternate() { return *disk_.Database()->AlternateHeader; }
};

TEST_F(HeaderCopiesTest, EachFieldThatDiffersNamesItsOwnAttribute) {
  for (const FieldChange& change : FieldChanges()) {
    SCOPED_TRACE(change.Attribute);
    Load();
    CKestrandTreeNode diskNode("Disk");
    change.Change(Alternate());
    ASSERT_EQ(AddDiskTests(&diskNode, &disk_), 0u);
    CKestrandTreeNode* test =
        ChildCaptioned(diskNode.FindChild("Tests"), "Primary+Alternate Private Headers Identical");
    ASSERT_NE(test, nullptr);
    EXPECT_EQ(Mismatches(test), (Names{change.Attribute}));
    EXPECT_STREQ(Attr(test, change.Attribute), "Not identical");
    EXPECT_STREQ(Attr(test, "Status"), "Failed");
    EXPECT_STREQ(Attr(test, "_ElementIcon"), "5");
    // The backup copy was left alone.
    EXPECT_STREQ(Attr(ChildCaptioned(diskNode.FindChild("Tests"), "Primary+Backup Private Headers Identical"),
                      "Status"),
                 "Passed");
  }
}

TEST_F(HeaderCopiesTest, EveryDifferenceIsListedInTheOrderOfTheComparisons) {
  Alternate().Header.PublicId ^= 1;
  Alternate().Header.PrivateOffset ^= 1;
  CKestrandTreeNode* test = Compare();
  EXPECT_EQ(Mismatches(test), (Names{"PrivateOffset", "PublicId"}));
}

// ---- tables of contents ----

class TocCopiesTest : public DiskTestsTest {
 protected:
  // The tables as decoded from these two sectors, on a database file.
  CKestrandTreeNode* Compare(const TocBlockFields& primary, const TocBlockFields& alternate) {
    disk_.SetIsDevice(false);
    Load();
    ReplaceToc(*disk_.Database()->PrimaryToc, BuildTocBlock(primary));
    ReplaceToc(*disk_.Database()->AlternateToc, BuildTocBlock(alternate));
    return ChildCaptioned(RunTests(), "Table of Contents Identical");
  }

  static void ReplaceToc(TOC_WRAPPER& toc, const std::vector<uint8_t>& sector) {
    toc.Toc = {};
    ASSERT_EQ(DecodeToc(sector.data(), static_cast<uint32_t>(sector.size()), toc.Toc), 0);
    std::memcpy(toc.Magic, sector.data(), 8);
  }
};

TEST_F(TocCopiesTest, FlagOfTheFirstRegionFailsTheTestAndEndsTheWalk) {
  TocBlockFields primary;
  TocBlockFields alternate;
  alternate.First.Flags = TOC_COPY_DISABLED;
  CKestrandTreeNode* test = Compare(primary, alternate);
  EXPECT_EQ(Mismatches(test), (Names{"Entry1", "CopyFlag"}));
  EXPECT_STREQ(Attr(test, "Entry1"), "Testing");
  EXPECT_STREQ(Attr(test, "CopyFlag"), "Not identical");
  EXPECT_STREQ(Attr(test, "Status"), "Failed");
}

TEST_F(TocCopiesTest, SecondRegionDifferingInEveryFieldNamesThemAll) {
  TocBlockFields alternate;
  alternate.Second = {"config", TOC_COPY_DISABLED, 1499, 225, 6, 2, 1};
  CKestrandTreeNode* test = Compare({}, alternate);
  EXPECT_EQ(Mismatches(test), (Names{"Entry1", "Entry2", "CopyType", "ExtentOffset", "CopyLength", "CopyNumber",
                                     "OffsetInCopyr", "CopyFlag"}));
}

TEST(TocCopiesRegionCountTest, OnlyPairsBothListsHaveAreCompared) {
  TOC_WRAPPER primary;
  TOC_WRAPPER alternate;
  std::strcpy(primary.Magic, "TOCBLOCK");
  std::strcpy(alternate.Magic, "TOCBLOCK");
  const TOC_REGION config = {TOC_REGION_CONFIG, 0, 17, 1481, 1, 0};
  const TOC_REGION log = {TOC_REGION_LOG, 0, 1498, 224, 1, 0};
  primary.Toc.Insert(config);
  primary.Toc.Insert(log);
  alternate.Toc.Insert(config);
  CKestrandTreeNode parent("Tests");
  ASSERT_EQ(AddTocCopiesTest(&parent, primary, alternate), 0u);
  EXPECT_EQ(Mismatches(parent.FirstChild()), (Names{"Entry1"}));
  EXPECT_STREQ(Attr(parent.FirstChild(), "Status"), "Passed");

  // Without regions in the primary table only the magic counts.
  TOC_WRAPPER none;
  std::strcpy(none.Magic, "TOCBLOCK");
  CKestrandTreeNode noRegions("Tests");
  ASSERT_EQ(AddTocCopiesTest(&noRegions, none, primary), 0u);
  EXPECT_EQ(Mismatches(noRegions.FirstChild()), Names{});
  EXPECT_STREQ(Attr(noRegions.FirstChild(), "Status"), "Passed");
  std::strcpy(none.Magic, "TOCBLOCX");
  CKestrandTreeNode magicOnly("Tests");
  ASSERT_EQ(AddTocCopiesTest(&magicOnly, none, primary), 0u);
  EXPECT_EQ(Mismatches(magicOnly.FirstChild()), (Names{"MagicStrings"}));
  EXPECT_STREQ(Attr(magicOnly.FirstChild(), "Status"), "Failed");
}

// ---- disk ids ----

class UniqueDiskIdsTest : public AnalysisSetTest {
 protected:
  CKestrandTreeNode* Run() {
    EXPECT_EQ(AddUniqueDiskIdsTest(&set_, &tests_), 0u);
    return tests_.FirstChild();
  }

  CKestrandTreeNode tests_{"Tests"};
};

TEST_F(UniqueDiskIdsTest, SharedIdFailsWithIconFourAndNamesNoDisk) {
  AddDisk(PackOnly(), "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c");
  AddDisk(PackOnly(), "c85a6ce4-edb3-4dbc-a3b9-7fba4b6e6f75");
  CKestrandTreeNode* distinct = Run();
  EXPECT_EQ(AttributeNames(distinct), kVerdictOnly);
  EXPECT_STREQ(Attr(distinct, "_ElementDisplayName"), "Unique Disk Ids");
  EXPECT_STREQ(Attr(distinct, "Description"),
               "This test verifies that there are no two disks share the same diskID as they are unique identifiers.");
  EXPECT_STREQ(Attr(distinct, "Status"), "Passed");
  EXPECT_STREQ(Attr(distinct, "_ElementIcon"), "16");

  AddDisk(PackOnly(), "D17C2C04-6AFC-46C3-84B7-CDC2F3956C5C");
  tests_.FirstChild()->Detach();
  CKestrandTreeNode* shared = Run();
  EXPECT_EQ(AttributeNames(shared), kVerdictOnly);
  EXPECT_STREQ(Attr(shared, "Status"), "Failed");
  EXPECT_STREQ(Attr(shared, "_ElementIcon"), "4");
}

TEST_F(UniqueDiskIdsTest, DisksNotReadyForAnalysisDoNotCount) {
  AddDisk(PackOnly());
  AddDisk(PackOnly())->SetPartitionInfoError(21);
  EXPECT_STREQ(Attr(Run(), "Status"), "Passed");
}

}  // namespace
}  // namespace kestrand::test
