// The virtual structure: one Records element per node of the merged tree,
// its common attributes, and the physical disk or MissingDisk under each disk
// record.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "analysis/virtual_structure.h"
#include "common/xml_writer.h"
#include "driver/disk_set.h"
#include "ldm/records.h"
#include "support/analysis_disks.h"

namespace kestrand::test {
namespace {

using Names = std::vector<std::string>;

constexpr const char* kDisk1Id = "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c";  // the builders' private header
constexpr const char* kDisk2Id = "c85a6ce4-edb3-4dbc-a3b9-7fba4b6e6f75";

std::vector<LdmRecordImage> SpannedOverTwoDisks() {
  return {
      PackRecord(),
      VolumeRecord(0x421, "Volume1", 2 * 96256),
      PlexRecord(0x422, "Volume1-01", 0x421, 2, 2),
      SubdiskRecord(0x423, "Disk1-01", 0x422, 0x411),
      SubdiskRecord(0x424, "Disk2-01", 0x422, 0x412, 96256, 0, 96256),
      DiskRecord(0x411, "Disk1", kDisk1Id),
      DiskRecord(0x412, "Disk2", kDisk2Id),
  };
}

// Captions of the Records elements in document order, not entering the
// physical disks' branches (which have Records of their own).
void CollectCaptions(const CKestrandTreeNode* node, Names& captions) {
  for (CKestrandTreeNode* child : ChildrenNamed(node, "Records")) {
    captions.push_back(Attr(child, "_ElementDisplayName"));
    CollectCaptions(child, captions);
  }
}

class VirtualStructureTest : public AnalysisSetTest {
 protected:
  uint32_t Run() {
    EXPECT_EQ(BuildRecordTree(&set_.Disks, &set_.RecordTree), 0u);
    return AddVirtualStructure(&set_, &parent_, set_.RecordTree, &set_.Disks);
  }

  // The Records element reached by following first children `depth` times.
  CKestrandTreeNode* Level(int depth) {
    CKestrandTreeNode* node = parent_.FindChild("Records");
    for (int i = 0; i < depth && node; ++i) node = node->FindChild("Records");
    return node;
  }

  CKestrandTreeNode parent_{"VirtualStructure"};
};

TEST_F(VirtualStructureTest, NestsTheTreeWithCommonAttributesFirst) {
  AddDisk(SpannedOverTwoDisks());
  ASSERT_EQ(Run(), 0u);
  Names captions;
  CollectCaptions(&parent_, captions);
  EXPECT_EQ(captions, (Names{"Red-nzv8x6obywgDg0 (Pack)", "Volume1 (Volume)", "Volume1-01 (Plex)", "Disk1-01 (Subdisk)",
                             "Disk1 (Disk)", "Disk2-01 (Subdisk)", "Disk2 (Disk)"}));

  CKestrandTreeNode* volume = Level(1);
  const Names names = AttributeNames(volume);
  ASSERT_GE(names.size(), 12u);
  EXPECT_EQ(Names(names.begin(), names.begin() + 12),
            (Names{"_ElementDisplayName", "_ElementIcon", "Type", "Id", "Name", "Version", "TransFlags", "RecExt",
                   "Attributes", "Size", "UpdateSequence", "UsageType"}));
  // The values are those of the record list's Records elements.
  EXPECT_STREQ(Attr(volume, "_ElementIcon"), "3");
  EXPECT_STREQ(Attr(volume, "Id"), "1057");
  EXPECT_STREQ(Attr(volume, "MountName"), "E:");
  EXPECT_STREQ(Attr(Level(0), "Type"), "Pack");
  EXPECT_STREQ(Attr(Level(2), "Type"), "Plex");
  EXPECT_STREQ(Attr(Level(3), "Type"), "Subdisk");
  EXPECT_STREQ(Attr(Level(4), "Type"), "Disk");
}

TEST_F(VirtualStructureTest, DiskRecordShowsThePhysicalDiskOrThatItIsMissing) {
  AnalysisDisk* disk1 = AddDisk(SpannedOverTwoDisks(), kDisk1Id);
  ASSERT_EQ(Run(), 0u);
  const std::vector<CKestrandTreeNode*> subdisks = ChildrenNamed(Level(2), "Records");
  ASSERT_EQ(subdisks.size(), 2u);

  CKestrandTreeNode* present = subdisks[0]->FindChild("Records");
  std::vector<CKestrandTreeNode*> physical = ChildrenNamed(present, "Disk");
  ASSERT_EQ(physical.size(), 1u);
  EXPECT_EQ(Attr(physical[0], "_ElementDisplayName"), "Disk " + std::to_string(disk1->DiskNumber()));
  EXPECT_EQ(ChildrenNamed(present, "MissingDisk").size(), 0u);
  EXPECT_EQ(DescendantsNamed(physical[0], "Tests").size(), 0u);  // the physical branch comes without tests
  EXPECT_NE(physical[0]->FindChild("PrivateHeader"), nullptr);

  CKestrandTreeNode* absent = subdisks[1]->FindChild("Records");
  ASSERT_NE(absent->FirstChild(), nullptr);
  EXPECT_EQ(absent->FirstChild(), absent->FindChild("MissingDisk"));
  EXPECT_EQ(absent->FirstChild()->NextSibling(), nullptr);
  EXPECT_EQ(AttributeNames(absent->FirstChild()), (Names{"_ElementDisplayName", "_ElementIcon"}));
  EXPECT_STREQ(Attr(absent->FirstChild(), "_ElementDisplayName"), "Missing");
  EXPECT_STREQ(Attr(absent->FirstChild(), "_ElementIcon"), "4");
}

TEST_F(VirtualStructureTest, OnlyTheFirstReadyDiskWithTheIdIsShown) {
  AnalysisDisk* notReady = AddDisk(SpannedOverTwoDisks(), kDisk2Id);
  notReady->SetPartitionInfoError(21);
  AddDisk(SpannedOverTwoDisks(), kDisk2Id);
  AddDisk(SpannedOverTwoDisks(), kDisk2Id);
  ASSERT_EQ(Run(), 0u);
  CKestrandTreeNode* disk2 = ChildrenNamed(Level(2), "Records")[1]->FindChild("Records");
  std::vector<CKestrandTreeNode*> physical = ChildrenNamed(disk2, "Disk");
  ASSERT_EQ(physical.size(), 1u);
  EXPECT_STREQ(Attr(physical[0], "_ElementDisplayName"), "Disk 1");
  // Disk1's record names a disk that is not connected.
  EXPECT_NE(Level(4)->FindChild("MissingDisk"), nullptr);
}

// Records made by hand, for type words no decoder would accept.
TEST(VirtualStructureRecordsTest, TypeWordPartsAndUnknownTypes) {
  VBLK_GROUP group;
  group.TypeWord = 0x0834;
  group.TransFlags = 0x0002;
  group.RecordSize = 77;
  RECORD_ENTRY entry;
  entry.RecordId = 9;
  auto* disk = new DISK_RECORD();
  entry.Record.reset(disk);
  disk->Entry = &entry;
  disk->Group = &group;
  std::strcpy(disk->RecordName, "Odd");
  disk->UpdateSequence = 12;

  VBLK_GROUP otherGroup;
  otherGroup.TypeWord = 0x0039;
  RECORD_ENTRY otherEntry;
  auto* other = new VOLUME_RECORD();
  otherEntry.Record.reset(other);
  other->Entry = &otherEntry;
  other->Group = &otherGroup;
  std::strcpy(other->RecordName, "Strange");

  RECORD_TREE_NODE unknown;
  unknown.Record = other;
  unknown.RecordType = 9;
  RECORD_TREE_NODE child;
  child.Record = disk;
  child.RecordType = RECORD_TYPE_DISK;
  child.Parent = &unknown;
  unknown.FirstChild = &child;

  CPtrList<CDisk> none(false);
  CKestrandTreeNode parent("VirtualStructure");
  ASSERT_EQ(AddVirtualStructure(nullptr, &parent, &unknown, &none), 0u);
  CKestrandTreeNode* strange = parent.FindChild("Records");
  EXPECT_STREQ(Attr(strange, "_ElementDisplayName"), "Strange (Unknown)");
  EXPECT_STREQ(Attr(strange, "Type"), "Unknown");
  EXPECT_EQ(AttributeNames(strange).size(), 11u);  // no own attributes
  EXPECT_EQ(AttributeNames(strange).back(), "UpdateSequence");

  CKestrandTreeNode* odd = strange->FindChild("Records");
  ASSERT_NE(odd, nullptr);
  EXPECT_STREQ(Attr(odd, "_ElementDisplayName"), "Odd (Disk)");
  EXPECT_STREQ(Attr(odd, "Id"), "9");
  EXPECT_STREQ(Attr(odd, "Version"), "3");
  EXPECT_STREQ(Attr(odd, "TransFlags"), "0x00000002");
  EXPECT_STREQ(Attr(odd, "RecExt"), "0x00000008");
  EXPECT_STREQ(Attr(odd, "Attributes"), "0x00000834");
  EXPECT_STREQ(Attr(odd, "Size"), "77");
  EXPECT_STREQ(Attr(odd, "UpdateSequence"), "12");
  EXPECT_STREQ(Attr(odd, "DiskId"), "00000000-0000-0000-0000-000000000000");
  EXPECT_NE(odd->FindChild("MissingDisk"), nullptr);
}

// The physical disk's branch under the disk records of the virtual
// structure: built once per disk and shown under every disk record on that
// disk, each time with the bytes the disk's own branch (without tests) has.

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
