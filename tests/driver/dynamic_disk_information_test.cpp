// The Dynamic Disk Information section of the text report: its frame, the
// volume type words, and one row per subdisk of every pack.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "driver/kestrand.h"
#include "support/analysis_disks.h"

namespace kestrand::test {
namespace {

constexpr const char* kDisk1Id = "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c";
constexpr const char* kDisk2Id = "c85a6ce4-edb3-4dbc-a3b9-7fba4b6e6f75";

using Row = std::vector<std::string>;

// The table rows of a report: lines of twelve blank-free words that are not
// the header or the rule.
std::vector<Row> Rows(const std::string& text) {
  std::vector<Row> rows;
  for (const std::string& line : SplitLines(text)) {
    std::istringstream words(line);
    Row row;
    for (std::string word; words >> word;) row.push_back(word);
    if (row.size() == 12 && row[0] != "===========") rows.push_back(row);
  }
  return rows;
}

class DynamicDiskInformationTest : public ::testing::Test {
 protected:
  void AddDisk(const std::vector<LdmRecordImage>& records) {
    auto* disk = new AnalysisDisk(kestrand_.Disks.Count());
    kestrand_.Disks.Append(disk);
    disk->Load(platform_, AreaWith(records));
  }

  std::string Print() {
    return CaptureText([&](FILE* stream) { EXPECT_EQ(kestrand_.PrintDynamicDiskInformation(stream), 0u); });
  }

  AnalysisPlatform platform_;
  ScopedPlatform installed_{platform_};
  CKestrand kestrand_;
};

TEST_F(DynamicDiskInformationTest, SimpleVolumeGivesTheWholeFrameAndOneRow) {
  AddDisk({PackRecord(), VolumeRecord(0x421, "Volume1"), PlexRecord(0x422, "Volume1-01", 0x421),
           SubdiskRecord(0x423, "Disk1-01", 0x422, 0x411), DiskRecord(0x411, "Disk1", kDisk1Id)});
  EXPECT_EQ(Print(),
            "\n\n---------- Dynamic Disk Information ----------\n"
            "\n DiskGroup: Red-nzv8x6obywgDg0"
            "\n  Group-ID: 03c0c4fc-8b6f-402b-9431-4be2e5823b1c\n"
            "\n---------- LDM Volume Information ----------\n"
            "\n      Volume     Vol Type   Mount Name      Subdisk         Plex         Disk         Size       Column"
            "  Plex Offset  Disk Offset    Vol State   Plex State"
            "\n ===========  ===========  ===========  ===========  ===========  ===========  ===========  ==========="
            "  ===========  ===========  ===========  ==========="
            "\n     Volume1       Simple           E:     Disk1-01   Volume1-01        Disk1        96256            0"
            "            0            0       ACTIVE       ACTIVE "
            "\n"
            "\n");
}

TEST_F(DynamicDiskInformationTest, MirrorOnEveryRowOfBothPlexes) {
  AddDisk({PackRecord(), VolumeRecord(0x421, "Volume3", 96256, 2), PlexRecord(0x422, "Volume3-01", 0x421),
           PlexRecord(0x423, "Volume3-02", 0x421), SubdiskRecord(0x424, "Disk1-01", 0x422, 0x411),
           SubdiskRecord(0x425, "Disk2-01", 0x423, 0x412), DiskRecord(0x411, "Disk1", kDisk1Id),
           DiskRecord(0x412, "Disk2", kDisk2Id)});
  const std::vector<Row> rows = Rows(Print());
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0], (Row{"Volume3", "Mirror", "E:", "Disk1-01", "Volume3-01", "Disk1", "96256", "0", "0", "0",
                          "ACTIVE", "ACTIVE"}));
  EXPECT_EQ(rows[1][1], "Mirror");
  EXPECT_EQ(rows[1][3], "Disk2-01");
  EXPECT_EQ(rows[1][4], "Volume3-02");
  EXPECT_EQ(rows[1][5], "Disk2");
}

// The other layout words show in the ldmtool comparison on the real images.
TEST_F(DynamicDiskInformationTest, PlexOfAnUnknownLayoutIsOther) {
  AddDisk({PackRecord(), VolumeRecord(0x441, "Odd1"), PlexRecord(0x442, "Odd1-01", 0x441, 4, 1),
           SubdiskRecord(0x443, "Disk1-01", 0x442, 0x411), DiskRecord(0x411, "Disk1", kDisk1Id)});
  const std::vector<Row> rows = Rows(Print());
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0][1], "Other");
}

TEST_F(DynamicDiskInformationTest, MissingDiskRecordLargeSizeAndNoMountName) {
  VolumeFields volume;
  volume.Flags = 0;  // no mount name
  volume.Length = 5000000000;
  SubdiskFields subdisk;
  subdisk.Length = 5000000000;
  subdisk.DiskRecordId = 0x499;  // no such disk record
  subdisk.DiskOffset = 4000000000;
  subdisk.PlexOffset = 3000000000;
  subdisk.Flags = 0x0800;  // column number
  subdisk.ColumnNumber = 2;
  AddDisk({PackRecord(), BuildVolumeRecord(volume), BuildPlexRecord({}), BuildSubdiskRecord(subdisk),
           DiskRecord(0x403, "Disk1", kDisk1Id)});
  const std::vector<Row> rows = Rows(Print());
  ASSERT_EQ(rows.size(), 1u);
  EXPECT_EQ(rows[0], (Row{"Volume1", "Simple", "(null)", "Disk1-01", "Volume1-01", "Unknown", "5000000000", "2",
                          "3000000000", "4000000000", "ACTIVE", "ACTIVE"}));
}

TEST_F(DynamicDiskInformationTest, TwoPacksGiveTwoCompleteSections) {
  AddDisk({PackRecord(), VolumeRecord(0x421, "Volume1"), PlexRecord(0x422, "Volume1-01", 0x421),
           SubdiskRecord(0x423, "Disk1-01", 0x422, 0x411), DiskRecord(0x411, "Disk1", kDisk1Id)});
  AddDisk({PackRecord("Blue-Pack", 0x401, "11111111-2222-3333-4444-555555555555")});
  const std::string text = Print();
  const size_t first = text.find("---------- Dynamic Disk Information ----------");
  const size_t second = text.find("---------- Dynamic Disk Information ----------", first + 1);
  ASSERT_EQ(first, 2u);
  ASSERT_NE(second, std::string::npos);
  EXPECT_EQ(text.find("---------- Dynamic Disk Information ----------", second + 1), std::string::npos);
  EXPECT_EQ(Rows(text.substr(0, second)).size(), 1u);
  // A pack without volumes ends right after its header lines.
  EXPECT_EQ(text.substr(second - 2),
            "\n\n---------- Dynamic Disk Information ----------\n"
            "\n DiskGroup: Blue-Pack"
            "\n  Group-ID: 11111111-2222-3333-4444-555555555555\n"
            "\n---------- LDM Volume Information ----------\n"
            "\n      Volume     Vol Type   Mount Name      Subdisk         Plex         Disk         Size       Column"
            "  Plex Offset  Disk Offset    Vol State   Plex State"
            "\n ===========  ===========  ===========  ===========  ===========  ===========  ===========  ==========="
            "  ===========  ===========  ===========  ==========="
            "\n");
}

TEST_F(DynamicDiskInformationTest, NothingWithoutDynamicDisksOrStream) {
  auto* basic = new AnalysisDisk(0);
  basic->SetMbrLayout(0x07, 0x1, true);
  kestrand_.Disks.Append(basic);
  EXPECT_EQ(Print(), "");
  EXPECT_EQ(kestrand_.PrintDynamicDiskInformation(nullptr), 87u);
}

}  // namespace
}  // namespace kestrand::test
