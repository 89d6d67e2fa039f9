// The merged record tree: which copies of a record are entered once, which
// side by side, where each record hangs, and which disks take part at all.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "ldm/records.h"
#include "ldm/record_tree.h"
#include "support/analysis_disks.h"

namespace kestrand::test {
namespace {

constexpr const char* kDisk1Id = "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c";
constexpr const char* kDisk2Id = "c85a6ce4-edb3-4dbc-a3b9-7fba4b6e6f75";

// Volume1 spans Disk1 and Disk2; Volume2 too. Listed children first, so the
// tree cannot depend on the order of the group list.
std::vector<LdmRecordImage> TwoVolumesOnTwoDisks() {
  return {
      DiskRecord(0x411, "Disk1", kDisk1Id),
      DiskRecord(0x412, "Disk2", kDisk2Id),
      SubdiskRecord(0x433, "Disk1-02", 0x432, 0x411),
      SubdiskRecord(0x434, "Disk2-02", 0x432, 0x412),
      SubdiskRecord(0x423, "Disk1-01", 0x422, 0x411),
      SubdiskRecord(0x424, "Disk2-01", 0x422, 0x412),
      PlexRecord(0x432, "Volume2-01", 0x431, 2, 2),
      PlexRecord(0x422, "Volume1-01", 0x421, 2, 2),
      VolumeRecord(0x421, "Volume1"),
      VolumeRecord(0x431, "Volume2"),
      PackRecord(),
  };
}

// One plex holding two subdisks on Disk1.
std::vector<LdmRecordImage> TwoSubdisksOnOneDisk() {
  return {
      PackRecord(),
      VolumeRecord(0x421, "Volume1"),
      PlexRecord(0x422, "Volume1-01", 0x421, 2, 2),
      SubdiskRecord(0x423, "Disk1-01", 0x422, 0x411),
      SubdiskRecord(0x424, "Disk1-02", 0x422, 0x411, 96256, 96256, 96256),
      DiskRecord(0x411, "Disk1", kDisk1Id),
  };
}

std::vector<LdmRecordImage> SimpleVolume(int64_t length = 96256) {
  return {
      PackRecord(),
      VolumeRecord(0x421, "Volume1", length),
      PlexRecord(0x422, "Volume1-01", 0x421),
      SubdiskRecord(0x423, "Disk1-01", 0x422, 0x411),
      DiskRecord(0x411, "Disk1", kDisk1Id),
  };
}

size_t CountNodes(const RECORD_TREE_NODE* node) {
  size_t count = 0;
  for (; node; node = node->NextSibling) count += 1 + CountNodes(node->FirstChild);
  return count;
}

class RecordTreeTest : public ::testing::Test {
 protected:
  ~RecordTreeTest() override { FreeRecordTree(root_); }

  AnalysisDisk* AddDisk(const std::vector<LdmRecordImage>& records) {
    auto* disk = new AnalysisDisk(static_cast<uint32_t>(owned_.size()));
    owned_.emplace_back(disk);
    disk->Load(platform_, AreaWith(records));
    disks_.Append(disk);
    return disk;
  }

  // A fresh tree from every disk added so far.
  std::string Build() {
    FreeRecordTree(root_);
    root_ = nullptr;
    EXPECT_EQ(BuildRecordTree(&disks_, &root_), 0u);
    return TreeShape(root_);
  }

  AnalysisPlatform platform_;
  ScopedPlatform installed_{platform_};
  std::vector<std::unique_ptr<AnalysisDisk>> owned_;
  CPtrList<CDisk> disks_{false};
  RECORD_TREE_NODE* root_ = nullptr;
};

TEST_F(RecordTreeTest, AgreeingDisksGiveOneNodePerRecordAndTheDiskUnderEveryPlexThatUsesIt) {
  AddDisk(TwoVolumesOnTwoDisks());
  AddDisk(TwoVolumesOnTwoDisks());
  EXPECT_EQ(Build(),
            "Red-nzv8x6obywgDg0[Volume1[Volume1-01[Disk1-01[Disk1] Disk2-01[Disk2]]] "
            "Volume2[Volume2-01[Disk1-02[Disk1] Disk2-02[Disk2]]]]");
  EXPECT_EQ(CountNodes(root_), 13u);

  // The links and types that readers walk.
  ASSERT_NE(root_, nullptr);
  EXPECT_EQ(root_->Parent, nullptr);
  EXPECT_EQ(root_->RecordType, RECORD_TYPE_PACK);
  const RECORD_TREE_NODE* disk = root_->FirstChild->FirstChild->FirstChild->FirstChild;
  EXPECT_EQ(disk->RecordType, RECORD_TYPE_DISK);
  EXPECT_EQ(disk->Parent->RecordType, RECORD_TYPE_SUBDISK);
  EXPECT_EQ(disk->Parent->Parent->Parent->Parent, root_);
  // The tree refers to the first disk's records; it owns none of them.
  EXPECT_EQ(root_->Record->Entry->List, &owned_[0]->Database()->Config->Header->RecordList);
}

TEST_F(RecordTreeTest, DiskRecordGoesBelowTheFirstSubdiskOnItThenEqualCopiesBelowTheNextOne) {
  AddDisk(TwoSubdisksOnOneDisk());
  EXPECT_EQ(Build(), "Red-nzv8x6obywgDg0[Volume1[Volume1-01[Disk1-01[Disk1] Disk1-02]]]");

  // A second equal copy finds its equal only from the first subdisk on.
  AddDisk(TwoSubdisksOnOneDisk());
  EXPECT_EQ(Build(), "Red-nzv8x6obywgDg0[Volume1[Volume1-01[Disk1-01[Disk1] Disk1-02[Disk1]]]]");

  // A third finds an equal below both and is not entered.
  AddDisk(TwoSubdisksOnOneDisk());
  EXPECT_EQ(Build(), "Red-nzv8x6obywgDg0[Volume1[Volume1-01[Disk1-01[Disk1] Disk1-02[Disk1]]]]");
}

TEST_F(RecordTreeTest, CopiesThatDifferInAFieldThatMattersAreEnteredSideBySide) {
  AddDisk(SimpleVolume(96256));
  AddDisk(SimpleVolume(200000));
  // The plex, subdisk and disk of the second copy equal those already in.
  EXPECT_EQ(Build(), "Red-nzv8x6obywgDg0[Volume1[Volume1-01[Disk1-01[Disk1]]] Volume1]");
}

TEST_F(RecordTreeTest, NamesTakeNoPartInEquality) {
  AddDisk(SimpleVolume());
  std::vector<LdmRecordImage> renamed = SimpleVolume();
  renamed[0] = PackRecord("Renamed-Pack");
  renamed[1] = VolumeRecord(0x421, "Renamed");
  AddDisk(renamed);
  EXPECT_EQ(Build(), "Red-nzv8x6obywgDg0[Volume1[Volume1-01[Disk1-01[Disk1]]]]");
}

TEST_F(RecordTreeTest, PacksWithAnotherPackIdFormTheirOwnNodes) {
  AddDisk(SimpleVolume());
  std::vector<LdmRecordImage> other = {
      PackRecord("Other-Pack", 0x401, "11111111-2222-3333-4444-555555555555"),
      VolumeRecord(0x521, "Volume9"),
  };
  AddDisk(other);
  EXPECT_EQ(Build(), "Red-nzv8x6obywgDg0[Volume1[Volume1-01[Disk1-01[Disk1]]]] Other-Pack[Volume9]");
}

TEST_F(RecordTreeTest, PlexWithoutItsVolumeIsNotEntered) {
  std::vector<LdmRecordImage> records = SimpleVolume();
  records.push_back(PlexRecord(0x499, "Orphan-01", 0x999));
  records.push_back(SubdiskRecord(0x498, "Orphan-sd", 0x499, 0x411));
  AddDisk(records);
  EXPECT_EQ(Build(), "Red-nzv8x6obywgDg0[Volume1[Volume1-01[Disk1-01[Disk1]]]]");
}

TEST_F(RecordTreeTest, LaterPackOfADiskReceivesAllItsRecords) {
  std::vector<LdmRecordImage> records = SimpleVolume();
  records.insert(records.begin() + 1, PackRecord("Second-Pack", 0x402, "11111111-2222-3333-4444-555555555555"));
  AddDisk(records);
  EXPECT_EQ(Build(), "Red-nzv8x6obywgDg0 Second-Pack[Volume1[Volume1-01[Disk1-01[Disk1]]]]");
}

TEST_F(RecordTreeTest, RecordEqualToOneUnderALaterPackIsNotEnteredAgain) {
  std::vector<LdmRecordImage> both = SimpleVolume();
  both.insert(both.begin() + 1, PackRecord("Second-Pack", 0x402, "11111111-2222-3333-4444-555555555555"));
  AddDisk(both);
  // Only the first pack: it becomes current, but its search covers the
  // second pack, which already holds the volume.
  AddDisk(SimpleVolume());
  EXPECT_EQ(Build(), "Red-nzv8x6obywgDg0 Second-Pack[Volume1[Volume1-01[Disk1-01[Disk1]]]]");
}

TEST_F(RecordTreeTest, DiskWithoutPackRecordFillsThePackCurrentFromAnEarlierDisk) {
  AddDisk(SimpleVolume());
  AddDisk({VolumeRecord(0x441, "Volume4")});
  EXPECT_EQ(Build(), "Red-nzv8x6obywgDg0[Volume1[Volume1-01[Disk1-01[Disk1]]] Volume4]");
}

TEST_F(RecordTreeTest, WithoutAnyPackNothingIsEntered) {
  AddDisk({VolumeRecord(0x441, "Volume4")});
  EXPECT_EQ(Build(), "");
  EXPECT_EQ(root_, nullptr);
}

TEST_F(RecordTreeTest, DisksNotReadyForAnalysisTakeNoPart) {
  AnalysisDisk* unreadable = AddDisk(SimpleVolume());
  // The config area of this disk cannot be read.
  const uint64_t configOffset = AnalysisDisk::kDiskBytes - 0x100000 + LdmAreaImage().ConfigOffset();
  platform_.Failures.push_back({configOffset, 512, STATUS_IO_DEVICE_ERROR_CODE});
  unreadable->Load(platform_, AreaWith(SimpleVolume()));
  ASSERT_FALSE(unreadable->IsReadyForLdmAnalysis());
  platform_.Failures.clear();

  AnalysisDisk* basic = AddDisk(SimpleVolume());
  basic->SetMbr(0x77, false, 0x07);
  ASSERT_FALSE(basic->IsReadyForLdmAnalysis());
  EXPECT_EQ(Build(), "");
}

}  // namespace
}  // namespace kestrand::test
