// The disks of a run: enumeration through the platform, numbering, the
// stable sort, what is left out, when the probe runs, and the database file.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "disk/disk.h"
#include "disk/disk_layout.h"
#include "disk/probe_image_files.h"
#include "driver/disk_set.h"
#include "driver/kestrand.h"
#include "ldm/ldm_database.h"
#include "support/image_platform.h"

namespace kestrand {
namespace {

class DiskSetTest : public ImageDisksTest {
 protected:
  void SetUp() override {
    // The drive letter walk answers with the code of its last letter.
    platform_.Letters[u'Z'] = {u"\\Device\\CdRom0", 5};
    ImageDisksTest::SetUp();
  }

  static std::vector<uint32_t> Numbers(const CKestrand& kestrand) {
    std::vector<uint32_t> numbers;
    for (CPtrListIterator<CDisk> it(kestrand.Disks); !it.AtEnd(); it.Advance())
      numbers.push_back(it.Current()->DiskNumber());
    return numbers;
  }

  static std::vector<std::u16string> Paths(const CKestrand& kestrand) {
    std::vector<std::u16string> paths;
    for (CPtrListIterator<CDisk> it(kestrand.Disks); !it.AtEnd(); it.Advance())
      paths.push_back(it.Current()->DevicePath());
    return paths;
  }

};

TEST_F(DiskSetTest, DisksAreNumberedSortedAndProbed) {
  Add(BasicMbrImage(), 2);
  Add(DynamicMbrImage(), 0);
  Add(EmptyMbrImage(), 1);
  CKestrand kestrand;
  EXPECT_EQ(kestrand.EnumerateDisks(), 0u);
  EXPECT_EQ(Numbers(kestrand), (std::vector<uint32_t>{0, 1, 2}));
  EXPECT_EQ(Paths(kestrand), (std::vector<std::u16string>{u"image:0", u"image:1", u"image:2"}));
  for (CPtrListIterator<CDisk> it(kestrand.Disks); !it.AtEnd(); it.Advance()) {
    CDisk* disk = it.Current();
    EXPECT_TRUE(disk->DiskNumberKnown());
    EXPECT_EQ(disk->Owner(), &kestrand);
    EXPECT_NE(disk->Geometry(), nullptr) << disk->DiskNumber();
    EXPECT_NE(disk->InstanceId(), nullptr);
  }
  EXPECT_NE(kestrand.Disks.First()->Item->LdmDatabase(), nullptr);
  // The quiet error mode is on top of what the process had.
  EXPECT_EQ(platform_.SetErrorMode(0), 0x8001u);
  EXPECT_TRUE(platform_.OnlyReadOpens());
}

TEST_F(DiskSetTest, EqualNumbersKeepEnumerationOrder) {
  Add(BasicMbrImage(), 1, u"dev-b");
  Add(BasicMbrImage(), 0, u"dev-z");
  Add(BasicMbrImage(), 1, u"dev-a");
  CKestrand kestrand;
  kestrand.EnumerateDisks();
  EXPECT_EQ(Numbers(kestrand), (std::vector<uint32_t>{0, 1, 1}));
  EXPECT_EQ(Paths(kestrand), (std::vector<std::u16string>{u"dev-z", u"dev-b", u"dev-a"}));
}

TEST_F(DiskSetTest, DevicesThatCannotBeOpenedOrNumberedAreLeftOut) {
  Add(BasicMbrImage(), 0).OpenError = ERROR_ACCESS_DENIED_CODE;
  Add(BasicMbrImage(), 1).DeviceNumberError = ERROR_NOT_SUPPORTED_CODE;
  Add(BasicMbrImage(), 2).InstanceId.clear();
  Add(BasicMbrImage(), 3);
  CKestrand kestrand;
  EXPECT_EQ(kestrand.EnumerateDisks(), 0u);
  EXPECT_EQ(Numbers(kestrand), std::vector<uint32_t>{3});
}

TEST_F(DiskSetTest, EnumerationThatStopsEarlyLeavesDisksUnsortedAndUnprobed) {
  Add(BasicMbrImage(), 2);
  Add(BasicMbrImage(), 0);
  platform_.ListEndCode = ERROR_GEN_FAILURE_CODE;
  platform_.VolumesCode = ERROR_NOT_READY_CODE;
  CKestrand kestrand;
  EXPECT_EQ(kestrand.EnumerateDisks(), ERROR_GEN_FAILURE_CODE);
  EXPECT_EQ(Numbers(kestrand), (std::vector<uint32_t>{2, 0}));
  for (CPtrListIterator<CDisk> it(kestrand.Disks); !it.AtEnd(); it.Advance())
    EXPECT_EQ(it.Current()->Geometry(), nullptr);
}

TEST_F(DiskSetTest, ResultRanksDriveLettersOverVolumesOverTheLastProbe) {
  Add(BasicMbrImage(), 0);
  Add(BasicMbrImage(), 1).GeometryError = ERROR_NOT_READY_CODE;
  {
    CKestrand kestrand;
    EXPECT_EQ(kestrand.EnumerateDisks(), ERROR_NOT_READY_CODE);
  }
  platform_.VolumesCode = ERROR_GEN_FAILURE_CODE;
  {
    CKestrand kestrand;
    EXPECT_EQ(kestrand.EnumerateDisks(), ERROR_GEN_FAILURE_CODE);
    EXPECT_NE(kestrand.Disks.Last()->Item->Layout(), nullptr);  // probed all the same
  }
  platform_.Letters.clear();  // Z: not in use
  CKestrand kestrand;
  EXPECT_EQ(kestrand.EnumerateDisks(), ERROR_FILE_NOT_FOUND_CODE);
}

TEST_F(DiskSetTest, DatabaseFileBecomesTheOnlyDisk) {
  ImageFile database(test::LdmAreaImage().Build());
  CKestrand kestrand;
  EXPECT_EQ(kestrand.OpenLdmFile(database.Path().c_str()), 0u);
  EXPECT_FALSE(kestrand.LiveDisks);
  ASSERT_EQ(kestrand.Disks.Count(), 1u);
  CDisk* disk = kestrand.Disks.First()->Item;
  EXPECT_NE(dynamic_cast<CLdmFileDisk*>(disk), nullptr);
  EXPECT_EQ(disk->Owner(), &kestrand);
  EXPECT_TRUE(disk->IsReadyForLdmAnalysis());
  EXPECT_TRUE(platform_.OnlyReadOpens());
}

// The loader records read failures rather than failing, so a database file
// that cannot be opened still gives a disk whose every structure says why.
TEST_F(DiskSetTest, UnopenableDatabaseFileKeepsItsFailures) {
  CKestrand kestrand;
  EXPECT_EQ(kestrand.OpenLdmFile("/nonexistent/kestrand.ldm"), 0u);
  ASSERT_EQ(kestrand.Disks.Count(), 1u);
  const LDM_DATABASE* database = kestrand.Disks.First()->Item->LdmDatabase();
  ASSERT_NE(database, nullptr);
  EXPECT_LT(database->GetCopyStatus(LdmCopy::PrimaryHeader).ReadStatus, 0);
  EXPECT_LT(database->GetCopyStatus(LdmCopy::Config).ReadStatus, 0);
}

TEST_F(DiskSetTest, DiskSetTakesEveryNumberedDiskWithoutOwningIt) {
  Add(BasicMbrImage(), 1);
  Add(DynamicMbrImage(), 0);
  CKestrand kestrand;
  kestrand.EnumerateDisks();
  auto* unnumbered = new CDisk();
  kestrand.Disks.Append(unnumbered);
  {
    CDiskSet set;
    EXPECT_EQ(BuildDiskSet(&set, &kestrand), 0u);
    EXPECT_EQ(set.Disks.Count(), 2u);
    EXPECT_FALSE(set.Disks.OwnsItems());
    EXPECT_EQ(set.BootDisk, nullptr);
  }
  EXPECT_EQ(kestrand.Disks.Count(), 3u);
  EXPECT_EQ(BuildDiskSet(nullptr, &kestrand), 87u);
}

}  // namespace
}  // namespace kestrand
