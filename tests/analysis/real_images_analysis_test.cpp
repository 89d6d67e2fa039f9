// The analysis of the real disk images of the shared test data (one disk
// group of ten disks written by Windows Server 2003 R2), attached in-process
// as image-backed disks: as they are, and with their private headers
// repaired to name the tables of contents where this tool's loader finds
// them. Volume kinds, disks, offsets and sizes are those ldmtool reports.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "analysis/consistency_tests.h"
#include "analysis/virtual_structure.h"
#include "disk/disk.h"
#include "driver/disk_set.h"
#include "driver/kestrand.h"
#include "ldm/record_tree.h"
#include "support/analysis_disks.h"
#include "support/disk_image_builder.h"
#include "support/image_platform.h"
#include "support/real_images.h"

namespace kestrand::test {
namespace {

// Image i (in RealImages::Names() order) holds Disk(i+1) and is attached
// as device i.
constexpr size_t kImageCount = 10;
constexpr size_t kMirror1 = 5;
constexpr size_t kMirror2 = 6;

// One subdisk row: subdisk, disk, disk offset, size (ldmtool's partition
// "name", "disk", "start", "size").
using Part = std::tuple<std::string, std::string, std::string, std::string>;

struct ExpectedVolume {
  std::string Kind;  // the Vol Type word for ldmtool's type
  std::string Hint;
  std::set<Part> Parts;
};

const std::map<std::string, ExpectedVolume> kVolumes = {
    {"Volume1", {"Simple", "E:", {{"Disk1-01", "Disk1", "0", "96256"}}}},
    {"Volume2", {"Spanned", "F:", {{"Disk3-01", "Disk3", "0", "96256"}, {"Disk2-01", "Disk2", "0", "96256"}}}},
    {"Volume3", {"Mirror", "H:", {{"Disk6-01", "Disk6", "0", "96256"}, {"Disk7-01", "Disk7", "0", "96256"}}}},
    {"Volume4",
     {"Spanned", "J:", {{"Disk4-02", "Disk4", "61440", "34816"}, {"Disk5-02", "Disk5", "61440", "34816"}}}},
    {"Stripe1", {"Stripe", "G:", {{"Disk4-01", "Disk4", "0", "61440"}, {"Disk5-01", "Disk5", "0", "61440"}}}},
    {"Raid1",
     {"Raid5", "I:",
      {{"Disk10-01", "Disk10", "0", "96256"}, {"Disk9-01", "Disk9", "0", "96256"}, {"Disk8-01", "Disk8", "0", "96256"}}}},
};

class RealImagesAnalysisTest : public RealImagesTestBase {
 protected:
  // Attaches the images as devices 0, 1, ... in the order given and probes them.
  void Attach(bool repaired, const std::vector<size_t>& images) {
    for (size_t i : images) {
      const std::string& name = RealImages::Names()[i];
      platform_.AddImage(repaired ? images_->RepairedPath(name) : images_->Path(name), static_cast<uint32_t>(i));
    }
    installed_ = std::make_unique<ScopedPlatform>(platform_);
    kestrand_ = std::make_unique<CKestrand>();
    kestrand_->EnumerateDisks();
    ASSERT_EQ(kestrand_->Disks.Count(), images.size());
    ASSERT_EQ(BuildDiskSet(&set_, kestrand_.get()), 0u);
  }

  static std::vector<size_t> AllImages() {
    std::vector<size_t> all;
    for (size_t i = 0; i < kImageCount; ++i) all.push_back(i);
    return all;
  }

  // The Records elements of disk records, not entering the physical branches.
  static void DiskRecordElements(const CKestrandTreeNode* node, std::vector<CKestrandTreeNode*>& out) {
    for (CKestrandTreeNode* child : ChildrenNamed(node, "Records")) {
      if (std::string(Attr(child, "Type")) == "Disk") out.push_back(child);
      DiskRecordElements(child, out);
    }
  }

  // Declared before the kestrand object, so it outlives the disks.
  CImagePlatform platform_;
  std::unique_ptr<ScopedPlatform> installed_;
  std::unique_ptr<CKestrand> kestrand_;
  CDiskSet set_;
};

TEST_F(RealImagesAnalysisTest, AsTheyAreTheirConfigCopiesDoNotMergeIntoAnyTree) {
  Attach(false, AllImages());
  EXPECT_EQ(set_.RecordTree, nullptr);
  CKestrandTreeNode structure("VirtualStructure");
  EXPECT_EQ(AddVirtualStructure(&set_, &structure, set_.RecordTree, &set_.Disks), 0u);
  EXPECT_EQ(structure.FirstChild(), nullptr);

  CTempFile xml("kestrand-analysis-xml");
  ASSERT_EQ(kestrand_->WriteAnalysis(xml.Path().c_str()), 0u);
  std::ifstream in(xml.Path());
  const std::string document((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  EXPECT_NE(document.find("<VirtualStructure _ElementDisplayName=\"Virtual Structure\" _ElementIcon=\"0\">"
                          "<VirtualStructure _ElementDisplayName=\"NoValidDynamicDisks\" _ElementIcon=\"4\" />"
                          "</VirtualStructure>"),
            std::string::npos);
  EXPECT_EQ(CaptureText([&](FILE* stream) { kestrand_->PrintDynamicDiskInformation(stream); }), "");
}

TEST_F(RealImagesAnalysisTest, RepairedGroupMergesIntoOnePackWithSixVolumes) {
  Attach(true, AllImages());
  ASSERT_NE(set_.RecordTree, nullptr);
  EXPECT_EQ(set_.RecordTree->NextSibling, nullptr);
  EXPECT_STREQ(set_.RecordTree->Record->RecordName, "Red-nzv8x6obywgDg0");
  std::set<std::string> volumes;
  for (const RECORD_TREE_NODE* volume = set_.RecordTree->FirstChild; volume; volume = volume->NextSibling)
    volumes.insert(volume->Record->RecordName);
  EXPECT_EQ(volumes, (std::set<std::string>{"Volume1", "Volume2", "Volume3", "Volume4", "Stripe1", "Raid1"}));
}

TEST_F(RealImagesAnalysisTest, EveryDiskRecordShowsItsPhysicalDiskWhenAllTenAreAttached) {
  Attach(true, AllImages());
  CKestrandTreeNode structure("VirtualStructure");
  ASSERT_EQ(AddVirtualStructure(&set_, &structure, set_.RecordTree, &set_.Disks), 0u);
  std::vector<CKestrandTreeNode*> diskRecords;
  DiskRecordElements(&structure, diskRecords);
  EXPECT_EQ(diskRecords.size(), 12u);  // one per subdisk: Disk4 and Disk5 carry two volumes each
  for (CKestrandTreeNode* record : diskRecords) {
    const std::string name = Attr(record, "Name");
    SCOPED_TRACE(name);
    EXPECT_EQ(record->FindChild("MissingDisk"), nullptr);
    std::vector<CKestrandTreeNode*> physical = ChildrenNamed(record, "Disk");
    ASSERT_EQ(physical.size(), 1u);
    // DiskN is the image attached as device N-1.
    EXPECT_EQ(std::string(Attr(physical[0], "_ElementDisplayName")), "Disk " + std::to_string(std::stoi(name.substr(4)) - 1));
  }
}

TEST_F(RealImagesAnalysisTest, EveryConsistencyTestPassesOnTheRepairedImages) {
  Attach(true, AllImages());
  for (CPtrListIterator<CDisk> it(set_.Disks); !it.AtEnd(); it.Advance()) {
    SCOPED_TRACE(it.Current()->DiskNumber());
    ASSERT_TRUE(it.Current()->IsReadyForLdmAnalysis());
    CKestrandTreeNode diskNode("Disk");
    ASSERT_EQ(AddDiskTests(&diskNode, it.Current()), 0u);
    const std::vector<CKestrandTreeNode*> tests = DescendantsNamed(&diskNode, "Test");
    EXPECT_EQ(tests.size(), 3u * 3 + 2 + 2 + 4);
    for (CKestrandTreeNode* test : tests)
      EXPECT_STREQ(Attr(test, "Status"), "Passed") << Attr(test, "_ElementDisplayName");
  }
  CKestrandTreeNode tests("Tests");
  ASSERT_EQ(AddUniqueDiskIdsTest(&set_, &tests), 0u);
  EXPECT_STREQ(Attr(tests.FirstChild(), "_ElementDisplayName"), "Unique Disk Ids");
  EXPECT_STREQ(Attr(tests.FirstChild(), "Status"), "Passed");
}

TEST_F(RealImagesAnalysisTest, WithOnlyTheMirrorAttachedTheOtherEightDisksAreMissing) {
  Attach(true, {kMirror1, kMirror2});
  CKestrandTreeNode structure("VirtualStructure");
  ASSERT_EQ(AddVirtualStructure(&set_, &structure, set_.RecordTree, &set_.Disks), 0u);
  std::vector<CKestrandTreeNode*> diskRecords;
  DiskRecordElements(&structure, diskRecords);
  std::set<std::string> missing;
  std::set<std::string> present;
  for (CKestrandTreeNode* record : diskRecords) {
    if (record->FindChild("MissingDisk")) {
      missing.insert(Attr(record, "Name"));
      EXPECT_EQ(record->FindChild("Disk"), nullptr);
    } else {
      present.insert(Attr(record, "Name"));
    }
  }
  EXPECT_EQ(present, (std::set<std::string>{"Disk6", "Disk7"}));
  EXPECT_EQ(missing, (std::set<std::string>{"Disk1", "Disk2", "Disk3", "Disk4", "Disk5", "Disk8", "Disk9", "Disk10"}));
}

TEST_F(RealImagesAnalysisTest, DynamicDiskInformationAgreesWithLdmtool) {
  Attach(true, AllImages());
  const std::string text = CaptureText([&](FILE* stream) { kestrand_->PrintDynamicDiskInformation(stream); });
  EXPECT_NE(text.find("\n DiskGroup: Red-nzv8x6obywgDg0\n  Group-ID: 03c0c4fc-8b6f-402b-9431-4be2e5823b1c\n"),
            std::string::npos);

  std::map<std::string, std::set<Part>> parts;
  std::map<std::string, std::set<std::string>> kinds;
  std::map<std::string, std::set<std::string>> hints;
  for (const std::string& line : SplitLines(text)) {
    std::istringstream words(line);
    std::vector<std::string> row;
    for (std::string word; words >> word;) row.push_back(word);
    if (row.size() != 12 || !kVolumes.count(row[0])) continue;
    kinds[row[0]].insert(row[1]);
    hints[row[0]].insert(row[2]);
    parts[row[0]].insert({row[3], row[5], row[9], row[6]});
    EXPECT_EQ(row[10], "ACTIVE");
  }
  for (const auto& [name, expected] : kVolumes) {
    SCOPED_TRACE(name);
    EXPECT_EQ(kinds[name], (std::set<std::string>{expected.Kind}));
    EXPECT_EQ(hints[name], (std::set<std::string>{expected.Hint}));
    EXPECT_EQ(parts[name], expected.Parts);
  }
}

}  // namespace
}  // namespace kestrand::test
