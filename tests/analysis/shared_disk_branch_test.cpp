// The physical disk's branch under the disk records of the virtual
// structure: built once per disk and shown under every disk record on that
// disk, each time with the bytes the disk's own branch (without tests) has.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include "analysis/virtual_structure.h"
#include "analysis_disks.h"
#include "common/xml_writer.h"

namespace kestrand::test {
namespace {

constexpr const char* kDisk1Id = "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c";
constexpr const char* kDisk2Id = "c85a6ce4-edb3-4dbc-a3b9-7fba4b6e6f75";
constexpr const char* kDisk3Id = "004c32fa-91e1-41ac-83b3-bc1baff2dc93";  // never connected

// Disk1 holds two subdisks of Volume1 and one of Volume2, Disk2 one of
// Volume1; Disk3 only has its disk record.
std::vector<LdmRecordImage> ThreeSubdisksOnDisk1() {
  return {
      PackRecord(),
      VolumeRecord(0x421, "Volume1"),
      VolumeRecord(0x431, "Volume2"),
      PlexRecord(0x422, "Volume1-01", 0x421, 2, 3),
      PlexRecord(0x432, "Volume2-01", 0x431),
      SubdiskRecord(0x423, "Disk1-01", 0x422, 0x411),
      SubdiskRecord(0x424, "Disk1-02", 0x422, 0x411, 96256, 96256, 96256),
      SubdiskRecord(0x425, "Disk2-01", 0x422, 0x412, 96256, 0, 2 * 96256),
      SubdiskRecord(0x433, "Disk1-03", 0x432, 0x411, 96256, 2 * 96256, 0),
      SubdiskRecord(0x434, "Disk3-01", 0x432, 0x413, 96256, 0, 96256),
      DiskRecord(0x411, "Disk1", kDisk1Id),
      DiskRecord(0x412, "Disk2", kDisk2Id),
      DiskRecord(0x413, "Disk3", kDisk3Id),
  };
}

std::string Written(const CKestrandTreeNode* node) {
  FILE* file = std::tmpfile();
  if (!file) {
    ADD_FAILURE() << "no temporary file";
    return "";
  }
  CKestrandXMLWriter writer(file);
  EXPECT_EQ(writer.WriteNode(node), 0u);
  std::string text;
  std::rewind(file);
  for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) text.push_back(static_cast<char>(c));
  std::fclose(file);
  return text;
}

// The Records elements of disk records named `name`, in document order.
void CollectDiskRecords(const CKestrandTreeNode* node, const std::string& name,
                        std::vector<const CKestrandTreeNode*>& found) {
  for (const CKestrandTreeNode* child : ChildrenNamed(node, "Records")) {
    const char* type = Attr(child, "Type");
    const char* recordName = Attr(child, "Name");
    if (type && std::string(type) == "Disk" && recordName && name == recordName) found.push_back(child);
    CollectDiskRecords(child, name, found);
  }
}

class SharedDiskBranchTest : public AnalysisSetTest {
 protected:
  void Build() {
    ASSERT_EQ(BuildRecordTree(&set_.Disks, &set_.RecordTree), 0u);
    ASSERT_EQ(AddVirtualStructure(&set_, &parent_, set_.RecordTree, &set_.Disks), 0u);
  }

  // What the disk's own branch without tests is written as.
  static std::string OwnBranch(AnalysisDisk* disk) {
    CKestrandTreeNode holder("holder");
    disk->AddToReport(&holder, false);
    EXPECT_NE(holder.FirstChild(), nullptr);
    EXPECT_EQ(holder.FirstChild()->NextSibling(), nullptr);
    return Written(holder.FirstChild());
  }

  CKestrandTreeNode parent_{"VirtualStructure"};
};

TEST_F(SharedDiskBranchTest, EveryDiskRecordOnADiskShowsOneBranchWithTheDisksOwnBytes) {
  AnalysisDisk* disk1 = AddDisk(ThreeSubdisksOnDisk1(), kDisk1Id);
  AnalysisDisk* disk2 = AddDisk(ThreeSubdisksOnDisk1(), kDisk2Id);
  Build();
  // Held branches are no elements of the structure.
  EXPECT_EQ(ChildNames(&parent_), (std::vector<std::string>{"Records"}));

  // Disk1's record: under Disk1-01, again (Disk2's equal copy) under
  // Disk1-02, and under Disk1-03 of the other volume.
  for (const auto& [disk, name, shown] :
       {std::tuple{disk1, "Disk1", 3u}, std::tuple{disk2, "Disk2", 1u}}) {
    std::vector<const CKestrandTreeNode*> records;
    CollectDiskRecords(&parent_, name, records);
    ASSERT_EQ(records.size(), shown) << name;
    const std::string expected = OwnBranch(disk);
    for (const CKestrandTreeNode* record : records) {
      const CKestrandTreeNode* branch = record->FirstChild();
      ASSERT_NE(branch, nullptr);
      EXPECT_EQ(branch->NextSibling(), nullptr);
      EXPECT_EQ(branch->Target(), records[0]->FirstChild()->Target()) << "built once per disk";
      EXPECT_NE(branch->Target(), nullptr);
      EXPECT_EQ(Written(branch), expected);
    }
  }

  // A disk that is not connected is missing wherever its record shows.
  std::vector<const CKestrandTreeNode*> missing;
  CollectDiskRecords(&parent_, "Disk3", missing);
  ASSERT_EQ(missing.size(), 1u);
  EXPECT_EQ(ChildNames(missing[0]), (std::vector<std::string>{"MissingDisk"}));
  EXPECT_EQ(missing[0]->FirstChild()->Target(), nullptr);
}

// Two disk records that name the same physical disk share its branch.
TEST_F(SharedDiskBranchTest, RecordsOfOneDiskIdShareTheBranchOfTheFirstReadyDisk) {
  std::vector<LdmRecordImage> records = ThreeSubdisksOnDisk1();
  records.back() = DiskRecord(0x413, "Disk3", kDisk1Id);
  AddDisk(records, kDisk1Id);
  Build();
  std::vector<const CKestrandTreeNode*> disk1, disk3;
  CollectDiskRecords(&parent_, "Disk1", disk1);
  CollectDiskRecords(&parent_, "Disk3", disk3);
  ASSERT_FALSE(disk1.empty());
  ASSERT_EQ(disk3.size(), 1u);
  EXPECT_EQ(disk3[0]->FirstChild()->Target(), disk1[0]->FirstChild()->Target());
}

}  // namespace
}  // namespace kestrand::test
