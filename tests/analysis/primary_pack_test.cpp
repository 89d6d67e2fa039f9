// The primary pack section: how the boot disk is found, what each criterion
// compares, in which order the ready disks are listed, and the registry's
// primary pack id in its braced text form.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "analysis/primary_pack.h"
#include "driver/disk_set.h"
#include "support/analysis_disks.h"

namespace kestrand::test {
namespace {

using Names = std::vector<std::string>;

constexpr uint32_t kBootSignature = 0xB0075161;

class PrimaryPackTest : public AnalysisSetTest {
 protected:
  AnalysisDisk* AddBasic(uint32_t signature, bool boot) {
    AnalysisDisk* disk = NewDisk();
    disk->SetMbrLayout(0x07, signature, boot);
    return disk;
  }

  AnalysisDisk* AddGpt() {
    AnalysisDisk* disk = NewDisk();
    disk->SetGptLayout({});
    return disk;
  }

  // A ready dynamic disk whose config holds `packs` (none: no pack record).
  AnalysisDisk* AddDynamic(uint32_t bootSig, uint64_t updateTime, const std::vector<LdmRecordImage>& packs,
                           uint32_t signature = 0x5150, bool boot = false) {
    AnalysisDisk* disk = NewDisk();
    disk->SetMbrLayout(0x42, signature, boot);
    LdmAreaImage area = AreaWith(packs.empty() ? std::vector<LdmRecordImage>{VolumeRecord(0x421, "Volume1")} : packs);
    area.Header.BootSig = bootSig;
    area.Header.UpdateTime = updateTime;
    disk->Load(platform_, area);
    EXPECT_TRUE(disk->IsReadyForLdmAnalysis());
    return disk;
  }

  uint32_t Run() {
    EXPECT_EQ(BuildRecordTree(&set_.Disks, &set_.RecordTree), 0u);
    return AddPrimaryPackDetermination(&set_, &root_);
  }

  CKestrandTreeNode* Reinitialization() {
    return root_.FindChild("DriverCode") ? root_.FindChild("DriverCode")->FindChild("BootDriverReinitialization")
                                         : nullptr;
  }
  CKestrandTreeNode* Resume() {
    return root_.FindChild("DriverCode") ? root_.FindChild("DriverCode")->FindChild("ResumeOnlineInternal") : nullptr;
  }
  CKestrandTreeNode* Criterion(const char* name) {
    CKestrandTreeNode* parent = std::string(name) == "PrimaryPackCriteriaOne" ? Reinitialization() : Resume();
    return parent ? parent->FindChild(name) : nullptr;
  }

  CKestrandTreeNode root_{"root"};
};

TEST_F(PrimaryPackTest, HostWithOnlyGptDisksEndsAfterTheBootDiskWalk) {
  AddGpt();
  AddGpt();
  EXPECT_EQ(Run(), 1168u);
  CKestrandTreeNode* driverCode = root_.FindChild("DriverCode");
  ASSERT_NE(driverCode, nullptr);
  EXPECT_EQ(AttributeNames(driverCode), (Names{"_ElementDisplayName", "_ElementIcon"}));
  EXPECT_STREQ(Attr(driverCode, "_ElementIcon"), "0");
  CKestrandTreeNode* bootDisk = Reinitialization()->FindChild("BootDisk");
  EXPECT_EQ(AttributeNames(bootDisk), (Names{"_ElementDisplayName", "_ElementIcon", "Disk0", "Disk1"}));
  EXPECT_STREQ(Attr(bootDisk, "_ElementDisplayName"), "Boot Disk");
  EXPECT_STREQ(Attr(bootDisk, "Disk0"), "GPT");
  EXPECT_EQ(bootDisk->NextSibling(), nullptr);  // no SystemDisk, no criterion 1
  EXPECT_EQ(Resume(), nullptr);
  EXPECT_EQ(set_.BootDisk, nullptr);
  EXPECT_EQ(set_.SystemDisk, nullptr);
}

TEST_F(PrimaryPackTest, FirstMbrDiskWithAnActivePartitionIsTheBootDiskAndEndsTheWalk) {
  AddBasic(0x11, false);
  AnalysisDisk* boot = AddBasic(kBootSignature, true);
  AddBasic(0x33, true);
  EXPECT_EQ(Run(), 0u);
  CKestrandTreeNode* bootDisk = Reinitialization()->FindChild("BootDisk");
  EXPECT_EQ(AttributeNames(bootDisk), (Names{"_ElementDisplayName", "_ElementIcon", "Disk0", "Disk1"}));
  EXPECT_STREQ(Attr(bootDisk, "Disk0"), "MBR, Boot Indicator False (Not Bootdisk)");
  EXPECT_STREQ(Attr(bootDisk, "Disk1"), "MBR, Boot Indicator True (Is Bootdisk)");
  EXPECT_EQ(set_.BootDisk, boot);
  EXPECT_EQ(set_.SystemDisk, boot);

  CKestrandTreeNode* systemDisk = Reinitialization()->FindChild("SystemDisk");
  EXPECT_EQ(AttributeNames(systemDisk), (Names{"_ElementDisplayName", "_ElementIcon", "Disk"}));
  EXPECT_STREQ(Attr(systemDisk, "_ElementDisplayName"), "System Disk");
  EXPECT_STREQ(Attr(systemDisk, "Disk"), "Set to boot disk");

  CKestrandTreeNode* one = Criterion("PrimaryPackCriteriaOne");
  EXPECT_EQ(AttributeNames(one),
            (Names{"_ElementDisplayName", "Description", "IsBootDiskDynamic", "_ElementIcon", "Status"}));
  EXPECT_STREQ(Attr(one, "_ElementDisplayName"), "Primary Pack Criteria 1");
  EXPECT_STREQ(Attr(one, "Description"), "If the boot disk is a dynamic disk, it is automatically the primary pack");
  EXPECT_STREQ(Attr(one, "IsBootDiskDynamic"), "False");
  EXPECT_STREQ(Attr(one, "_ElementIcon"), "4");
  EXPECT_STREQ(Attr(one, "Status"), "Failed");

  // Without ready disks the later criteria have nothing to list.
  for (const char* name : {"PrimaryPackCriteria2", "PrimaryPackCriteria3", "PrimaryPackCriteria4"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(AttributeNames(Criterion(name)), (Names{"_ElementDisplayName", "Description", "_ElementIcon", "Status"}));
    EXPECT_STREQ(Attr(Criterion(name), "Status"), "Failed");
  }
}

TEST_F(PrimaryPackTest, CriteriaListTheReadyDisksNewestFirstUntilOneMatches) {
  AddBasic(kBootSignature, true);
  AddDynamic(kBootSignature, 100, {PackRecord("Older-Pack")});
  AddDynamic(0x12345678, 200, {PackRecord("Newer-Pack", 0x401, "11111111-2222-3333-4444-555555555555")});
  platform_.PrimaryPackIdStatus = 0;
  platform_.PrimaryPackId = u"{03C0C4FC-8B6F-402B-9431-4BE2E5823B1C}";
  EXPECT_EQ(Run(), 0u);

  CKestrandTreeNode* two = Criterion("PrimaryPackCriteria2");
  EXPECT_EQ(AttributeNames(two), (Names{"_ElementDisplayName", "Description", "_ElementIcon", "Status"}));
  EXPECT_STREQ(Attr(two, "Description"),
               "If the PackId in the registry matches a connected pack, then it becomes the primary pack.");
  EXPECT_STREQ(Attr(two, "Status"), "Passed");
  EXPECT_STREQ(Attr(two, "_ElementIcon"), "16");

  CKestrandTreeNode* three = Criterion("PrimaryPackCriteria3");
  EXPECT_EQ(AttributeNames(three),
            (Names{"_ElementDisplayName", "Description", "Disk2", "Disk1", "_ElementIcon", "Status"}));
  EXPECT_STREQ(Attr(three, "_ElementDisplayName"), "Primary Pack Criteria 3");
  EXPECT_STREQ(Attr(three, "Disk2"), "Bootsig does not match bootdisk sig.");
  EXPECT_STREQ(Attr(three, "Disk1"), "Bootsig matches bootdisk sig. PackName=Older-Pack");
  EXPECT_STREQ(Attr(three, "Status"), "Passed");

  CKestrandTreeNode* four = Criterion("PrimaryPackCriteria4");
  EXPECT_EQ(AttributeNames(four),
            (Names{"_ElementDisplayName", "Description", "Disk2", "Disk1", "_ElementIcon", "Status"}));
  EXPECT_STREQ(Attr(four, "Description"),
               "Import the pack of a disk that lists a disk that is connected to the system as a boot disk. Favor "
               "disks with the most recent headers.");
  EXPECT_STREQ(Attr(four, "Disk2"), "Bootsig does not match any disks signature");
  EXPECT_STREQ(Attr(four, "Disk1"), "Bootsig matches a disks signature. PackName=Older-Pack");
  EXPECT_STREQ(Attr(four, "Status"), "Passed");
}

TEST_F(PrimaryPackTest, NewestMatchingDiskDecidesAndOlderDisksAreNotListed) {
  AddBasic(kBootSignature, true);
  AddDynamic(0x1, 50, {PackRecord("Oldest")});
  AddDynamic(kBootSignature, 100, {PackRecord("Older")});
  AddDynamic(kBootSignature, 300, {PackRecord("First"), PackRecord("Last", 0x402)});
  EXPECT_EQ(Run(), 0u);
  CKestrandTreeNode* three = Criterion("PrimaryPackCriteria3");
  EXPECT_EQ(AttributeNames(three), (Names{"_ElementDisplayName", "Description", "Disk3", "_ElementIcon", "Status"}));
  // The last pack record of the disk's config names the pack.
  EXPECT_STREQ(Attr(three, "Disk3"), "Bootsig matches bootdisk sig. PackName=Last");
}

TEST_F(PrimaryPackTest, DisksWithEqualHeaderTimesKeepTheirListOrder) {
  AddBasic(kBootSignature, true);
  AddDynamic(0x1, 7, {PackRecord()});
  AddDynamic(0x2, 7, {PackRecord()});
  AddDynamic(0x3, 9, {PackRecord()});
  EXPECT_EQ(Run(), 0u);
  for (const char* name : {"PrimaryPackCriteria3", "PrimaryPackCriteria4"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(AttributeNames(Criterion(name)),
              (Names{"_ElementDisplayName", "Description", "Disk3", "Disk1", "Disk2", "_ElementIcon", "Status"}));
    EXPECT_STREQ(Attr(Criterion(name), "Status"), "Failed");
    EXPECT_STREQ(Attr(Criterion(name), "_ElementIcon"), "4");
  }
}

TEST_F(PrimaryPackTest, DynamicBootDiskPassesOneAndItsOwnSignatureDoesNotCountForFour) {
  AddDynamic(kBootSignature, 10, {PackRecord()}, kBootSignature, true);
  AddGpt();
  NewDisk();  // no layout at all: no signature
  EXPECT_EQ(Run(), 0u);
  EXPECT_STREQ(Attr(Criterion("PrimaryPackCriteriaOne"), "IsBootDiskDynamic"), "True");
  EXPECT_STREQ(Attr(Criterion("PrimaryPackCriteriaOne"), "Status"), "Passed");
  EXPECT_STREQ(Attr(Criterion("PrimaryPackCriteriaOne"), "_ElementIcon"), "16");
  EXPECT_STREQ(Attr(Criterion("PrimaryPackCriteria3"), "Disk0"),
               "Bootsig matches bootdisk sig. PackName=Red-nzv8x6obywgDg0");
  EXPECT_STREQ(Attr(Criterion("PrimaryPackCriteria4"), "Disk0"), "Bootsig does not match any disks signature");
  EXPECT_STREQ(Attr(Criterion("PrimaryPackCriteria4"), "Status"), "Failed");
}

TEST_F(PrimaryPackTest, DisksWithoutSignatureNeverMatchAndMissingPackNameStaysEmpty) {
  AddBasic(kBootSignature, true);
  AddGpt();
  NewDisk();
  AnalysisDisk* noPack = AddDynamic(0, 10, {});
  AddBasic(0x4242, false);
  AddDynamic(0x4242, 5, {PackRecord()});
  EXPECT_EQ(Run(), 0u);
  const std::string packless = "Disk" + std::to_string(noPack->DiskNumber());
  EXPECT_STREQ(Attr(Criterion("PrimaryPackCriteria4"), packless.c_str()), "Bootsig does not match any disks signature");
  EXPECT_STREQ(Attr(Criterion("PrimaryPackCriteria4"), "Disk5"), "Bootsig matches a disks signature. PackName=Red-nzv8x6obywgDg0");

  // The same disk matching the boot disk has no pack record to name.
  CDiskSet other;
  CKestrandTreeNode root("root");
  AnalysisDisk boot(0);
  boot.SetMbr(0, true, 0x07);
  other.Disks.Append(&boot);
  other.Disks.Append(noPack);
  EXPECT_EQ(AddPrimaryPackDetermination(&other, &root), 0u);
  CKestrandTreeNode* three = root.FindChild("DriverCode")->FindChild("ResumeOnlineInternal")->FindChild("PrimaryPackCriteria3");
  EXPECT_STREQ(Attr(three, packless.c_str()), "Bootsig matches bootdisk sig. PackName=");
  EXPECT_STREQ(Attr(three, "Status"), "Passed");
}

TEST_F(PrimaryPackTest, RegistryIdMustBeABracedGuidOfAConnectedPack) {
  AddBasic(kBootSignature, true);
  AddDynamic(0x1, 10, {PackRecord()});
  struct Case {
    NTSTATUS Status;
    std::u16string Value;
    const char* Verdict;
  } cases[] = {
      {0, u"{03c0c4fc-8b6f-402b-9431-4be2e5823b1c}", "Passed"},
      {0, u"03c0c4fc-8b6f-402b-9431-4be2e5823b1c", "Failed"},
      {0, u"{11111111-2222-3333-4444-555555555555}", "Failed"},
      {STATUS_OBJECT_NAME_NOT_FOUND_CODE, u"{03c0c4fc-8b6f-402b-9431-4be2e5823b1c}", "Failed"},
  };
  for (const Case& c : cases) {
    platform_.PrimaryPackIdStatus = c.Status;
    platform_.PrimaryPackId = c.Value;
    CKestrandTreeNode root("root");
    set_.BootDisk = nullptr;
    FreeRecordTree(set_.RecordTree);
    set_.RecordTree = nullptr;
    ASSERT_EQ(BuildRecordTree(&set_.Disks, &set_.RecordTree), 0u);
    ASSERT_EQ(AddPrimaryPackDetermination(&set_, &root), 0u);
    CKestrandTreeNode* two = root.FindChild("DriverCode")->FindChild("ResumeOnlineInternal")->FindChild("PrimaryPackCriteria2");
    EXPECT_STREQ(Attr(two, "Status"), c.Verdict) << c.Status;
  }
}

TEST(BracedGuidTextTest, AcceptsOnlyTheBracedFormWithOptionalTerminators) {
  const GUID expected = {0x03c0c4fc, 0x8b6f, 0x402b, {0x94, 0x31, 0x4b, 0xe2, 0xe5, 0x82, 0x3b, 0x1c}};
  GUID guid = {};
  EXPECT_TRUE(ParseBracedGuidText(u"{03c0c4fc-8b6f-402b-9431-4be2e5823b1c}", guid));
  EXPECT_TRUE(guid == expected);
  guid = {};
  EXPECT_TRUE(ParseBracedGuidText(std::u16string(u"{03C0C4FC-8B6F-402B-9431-4BE2E5823B1C}") + u'\0', guid));
  EXPECT_TRUE(guid == expected);

  const GUID untouched = {7, 7, 7, {7}};
  for (std::u16string_view bad :
       {std::u16string_view(u""), std::u16string_view(u"03c0c4fc-8b6f-402b-9431-4be2e5823b1c"),
        std::u16string_view(u"{03c0c4fc-8b6f-402b-9431-4be2e5823b1c"),
        std::u16string_view(u"{03c0c4fc-8b6f-402b-9431-4be2e5823b1c}x"),
        std::u16string_view(u"{03c0c4fc-8b6f-402b-9431_4be2e5823b1c}"),
        std::u16string_view(u"{03c0c4fc-8b6f-402b-9431-4be2e5823b\u0131c}")}) {
    guid = untouched;
    EXPECT_FALSE(ParseBracedGuidText(bad, guid));
    EXPECT_TRUE(guid == untouched);
  }
}

}  // namespace
}  // namespace kestrand::test
