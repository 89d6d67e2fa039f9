// The LDM reports of one disk: the config header and block list sections,
// every record in text and XML, and the order of the per-disk XML branches.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "common/text_format.h"
#include "driver/kestrand.h"
#include "ldm/ldm_database.h"
#include "ldm/record_report.h"
#include "ldm/records.h"
#include "support/ldm_builder.h"
#include "support/ldm_loader_support.h"
#include "support/report_tree.h"

namespace kestrand::test {
namespace {

constexpr uint64_t kDiskBytes = 0x400000;

// "%-18s %s": the label padded to 18 columns, a blank, the value.
std::string Line(const std::string& label, const std::string& value) {
  std::string line = label;
  if (line.size() < 18) line.append(18 - line.size(), ' ');
  return line + " " + value;
}

class LdmReportTest : public ::testing::Test {
 protected:
  // Loads an MBR device whose config area is `config`.
  void Load(const ConfigAreaBuilder& config) {
    area_.Config = config.Build();
    PutMbrDevice(platform_, disk_, kDiskBytes, area_);
    database_ = std::make_unique<LDM_DATABASE>();
    ASSERT_EQ(database_->Initialize(&disk_), 0u);
  }

  const CONFIG_WRAPPER& Config() const { return *database_->Config; }
  std::string ConfigText() {
    return CaptureText([&](FILE* stream) { EXPECT_EQ(Config().PrintText(stream), 0u); });
  }
  std::string RecordText() {
    return CaptureText([&](FILE* stream) { EXPECT_EQ(PrintRecordSection(stream, Config()), 0u); });
  }
  uint32_t RecordSize(uint32_t group) const { return Config().Header->FindGroup(group)->RecordSize; }

  MemoryReadPlatform platform_;
  ScopedPlatform installed_{platform_};
  LdmAreaImage area_;
  TestDisk disk_;
  std::unique_ptr<LDM_DATABASE> database_;
};

TEST_F(LdmReportTest, ConfigHeaderSectionShowsTheHeaderThenTheUsedBlocks) {
  ConfigAreaBuilder config(40);
  config.AddRecord(1, BuildPackRecord({}));
  config.AddRecord(2, BuildDiskRecord({}));
  Load(config);
  ASSERT_EQ(RecordSize(1), 81u);
  ASSERT_EQ(RecordSize(2), 116u);
  const std::vector<std::string> lines = SplitLines(ConfigText());
  const std::string configSector = std::to_string((kDiskBytes - 0x100000 + area_.ConfigOffset()) / 512);
  const std::vector<std::string> expected = {
      "----- LDM Database Config Header -----",
      "",
      "Config copy: 01",
      "Magic Str:   VMDB",
      "SectorOffset: " + configSector,
      "Header:      NumBlocks=40 BlockSize=128 HeaderSize=512",
      "Status:      Clean",
      "Pack:        Red-nzv8x6obywgDg0",
      "PackId:      03c0c4fc-8b6f-402b-9431-4be2e5823b1c",
      "Flags:       0x0000",
      "Active:      Sequence=1133 Volumes=6 Plexes=7 SubDisks=12 DiskMedia=10 PhysicalDisks=0",
      "Pending      Sequence=1133 Volumes=6 Plexes=7 SubDisks=12 DiskMedia=10 PhysicalDisks=0",
      "",
      // The disk record takes two blocks: 104 bytes, then the last 12.
      "BlockNumber: 4   Flag=0x0000 Ref=1    Offset=0        FragmentSize=81  ",
      "BlockNumber: 5   Flag=0x0000 Ref=2    Offset=0        FragmentSize=104 ",
      "BlockNumber: 6   Flag=0x0000 Ref=2    Offset=104      FragmentSize=12  ",
      "",
      "Record 1",
  };
  ASSERT_GE(lines.size(), expected.size());
  EXPECT_EQ(std::vector<std::string>(lines.begin(), lines.begin() + static_cast<ptrdiff_t>(expected.size())),
            expected);
}

TEST_F(LdmReportTest, BlockListsStopAtThirtyTwoBlocksOrTheLastBlock) {
  for (uint32_t numBlocks : {40u, 20u}) {
    SCOPED_TRACE(numBlocks);
    ConfigAreaBuilder config(numBlocks);
    for (uint32_t i = 0; i + 4 < numBlocks; ++i) {
      DiskFields disk;
      disk.RecordId = 0x100 + i;
      disk.Name = "Disk" + std::to_string(i);
      config.AddRecord(10 + i, BuildDiskRecord(disk));
    }
    Load(config);
    ASSERT_EQ(Config().ParseStatus, 0);
    const std::string text = ConfigText();
    const uint32_t listed = numBlocks < 32 ? numBlocks : 32;
    EXPECT_NE(text.find(FormatNarrow("BlockNumber: %-3lu ", listed - 1)), std::string::npos);
    EXPECT_EQ(text.find(FormatNarrow("BlockNumber: %-3lu ", listed)), std::string::npos);

    CKestrandTreeNode root("Disk");
    ASSERT_EQ(Config().AddToReport(&root), 0u);
    const CKestrandTreeNode* list = root.FindChild("BlockList");
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(ChildNames(list).size(), listed);  // header blocks included
    const CKestrandTreeNode* header = list->FirstChild();
    EXPECT_STREQ(header->AttributeValue("_ElementDisplayName"), "Block 1");
    EXPECT_STREQ(header->AttributeValue("NextBlockNumber"), "0");
    EXPECT_STREQ(header->AttributeValue("TransFlags"), "0x00000000");
    const CKestrandTreeNode* fifth = header->NextSibling()->NextSibling()->NextSibling()->NextSibling();
    EXPECT_EQ(AttributeNames(fifth), (std::vector<std::string>{"_ElementDisplayName", "_ElementIcon",
                                                               "NextBlockNumber", "TransFlags", "BlockNumber",
                                                               "Offset", "FragmentSize"}));
    EXPECT_STREQ(fifth->AttributeValue("BlockNumber"), "4");
    EXPECT_STREQ(fifth->AttributeValue("NextBlockNumber"), "5");  // each disk record takes two blocks
    EXPECT_STREQ(fifth->NextSibling()->AttributeValue("NextBlockNumber"), "4294967295");
    EXPECT_STREQ(fifth->NextSibling()->AttributeValue("Offset"), "104");
  }
}

TEST_F(LdmReportTest, UnknownStatusIsShownWithItsValue) {
  ConfigAreaBuilder config(8);
  config.Header.Status = 5;
  Load(config);
  EXPECT_NE(ConfigText().find("Status:      Unknown (0x0005)\n"), std::string::npos);
  CKestrandTreeNode root("Disk");
  ASSERT_EQ(Config().AddToReport(&root), 0u);
  const CKestrandTreeNode* header = root.FindChild("ConfigHeader");
  ASSERT_NE(header, nullptr);
  EXPECT_STREQ(header->AttributeValue("Status"), "Unknown");
}

TEST_F(LdmReportTest, ConfigHeaderElementCarriesTheHeaderFields) {
  ConfigAreaBuilder config(8);
  Load(config);
  CKestrandTreeNode root("Disk");
  ASSERT_EQ(Config().AddToReport(&root), 0u);
  EXPECT_EQ(ChildNames(&root), (std::vector<std::string>{"ConfigHeader", "BlockList", "Records"}));
  const CKestrandTreeNode* header = root.FindChild("ConfigHeader");
  EXPECT_EQ(AttributeNames(header),
            (std::vector<std::string>{
                "_ElementDisplayName", "_ElementIcon", "MagicString", "SectorOffset", "BlocksCount", "BlockSize",
                "HeaderSize", "Status", "Pack", "PackId", "Flags", "ActiveSequence", "ActiveVolumes",
                "ActivePlexes", "ActiveSubDisks", "ActiveDisksCount", "ActivePhysicalDisksCount", "PendingSequence",
                "PendingVolumes", "PendingPlexes", "PendingSubDisks", "PendingDisksCount",
                "PendingPhysicalDisksCount"}));
  EXPECT_STREQ(header->AttributeValue("_ElementDisplayName"), "Config Header Primary");
  EXPECT_STREQ(header->AttributeValue("Flags"), "0x00000000");
  EXPECT_STREQ(header->AttributeValue("ActiveDisksCount"), "10");
  EXPECT_STREQ(root.FindChild("Records")->AttributeValue("_ElementDisplayName"), "Record List");
}

TEST_F(LdmReportTest, VolumeRecordLines) {
  VolumeFields volume;
  volume.ReadPolicy = 2;
  volume.PersistentFlags = 0x00600011;
  volume.Flags = 0x0200 | 0x2000 | 0x1000 | 0x0800;
  volume.LogRecordId = 77;
  volume.AppRecovery = 3;
  volume.PrefferedPlexRecordId = 0x423;
  ConfigAreaBuilder config(16);
  config.AddRecord(7, BuildVolumeRecord(volume));
  platform_.DynamicVolumes.push_back({volume.VolumeGuid, u"\\Device\\HarddiskDmVolumes\\Dg0\\Volume1"});
  Load(config);
  const std::vector<std::string> expected = {
      "Record 7",
      "----------",
      Line("Type:", "Volume"),
      Line("RecordId:", "1057"),
      Line("RecordName:", "Volume1"),
      Line("Version:", "5"),
      Line("TransFlags:", "0x0000"),
      Line("RecordExt:", "0x003a"),
      Line("RecordAttributes:", "0x3a51"),
      Line("RecordSize:", std::to_string(RecordSize(7))),
      Line("Update Seq:", "1065"),
      Line("UsageType:", "gen"),
      Line("FileSystemType:", ""),
      Line("State:", "ACTIVE"),
      Line("ReadPolicy:", "Preffered Plex"),
      Line("Minor:", "5"),
      Line("PersistentFlags:", "0x00600011 boot system"),
      Line("NumPlexes:", "1"),
      Line("DetachSeqNum:", "1064"),
      Line("Length:", "96,256"),
      Line("LogLength:", "0"),
      Line("UsageType:", "gen"),
      Line("LogRecordId:", "77"),
      Line("PartitionType:", "7"),
      Line("VolumeName:", "\\Device\\HarddiskDmVolumes\\Dg0\\Volume1"),
      Line("VolumeGuid:", "6e30daae-8e42-40fb-9af0-807416c3fede"),
      Line("VolumeName:", "E:"),
      Line("AppRecovery:", "3"),
      Line("PrefferedPlexRecordId:", "1059"),
      "",
  };
  EXPECT_EQ(SplitLines(RecordText()), expected);
}

TEST_F(LdmReportTest, VolumeOfRevisionThreeAsksForTheMountNameOfTheZeroGuid) {
  VolumeFields volume;
  volume.Revision = 3;
  volume.Flags = 0;
  volume.FileSystemType = "\x03";
  ConfigAreaBuilder config(16);
  config.AddRecord(1, BuildVolumeRecord(volume));
  Load(config);
  const std::string text = RecordText();
  EXPECT_NE(text.find(Line("FileSystemType:", "Hidden, Read Only") + "\n"), std::string::npos);
  EXPECT_NE(text.find(Line("PartitionType:", "0") + "\n"), std::string::npos);
  EXPECT_NE(text.find(Line("VolumeGuid:", "00000000-0000-0000-0000-000000000000") + "\n"), std::string::npos);
  EXPECT_EQ(text.find("VolumeName:"), std::string::npos);
  EXPECT_GE(platform_.DynamicVolumeQueries, 1);
}

TEST_F(LdmReportTest, PlexSubdiskDiskAndPackLines) {
  PlexFields plex;
  plex.Flags = 0x1000;
  plex.Layout = 9;
  plex.PersistentFlags = 0x06;
  plex.StripeWidth = -128;
  SubdiskFields subdisk;
  subdisk.Flags = 0x1000;  // decodes column and detach sequence, shows neither
  subdisk.PersistentFlags = 0x5C;
  subdisk.DiskOffset = 1234567;
  subdisk.ColumnNumber = 1;
  subdisk.DetachSequence = 9;
  DiskFields disk;
  disk.Revision = 4;
  disk.LastDiskSetId = GuidFromText("11111111-2222-3333-4444-555555555555");
  disk.PersistentFlags = 0x60;
  PackFields pack;
  pack.Flags = 0x0800 | 0x1000;
  pack.BaseMinor = 4;
  ConfigAreaBuilder config(16);
  config.AddRecord(2, BuildPlexRecord(plex));
  config.AddRecord(3, BuildSubdiskRecord(subdisk));
  config.AddRecord(4, BuildDiskRecord(disk));
  config.AddRecord(5, BuildPackRecord(pack));
  Load(config);
  const std::string text = RecordText();
  const std::vector<std::string> lines = SplitLines(text);
  auto after = [&](const std::string& label) {
    std::vector<std::string> tail;
    for (size_t i = 0; i < lines.size(); ++i)
      if (lines[i] == label) tail.assign(lines.begin() + static_cast<ptrdiff_t>(i), lines.end());
    return tail;
  };
  // The type's own lines follow the ten common ones.
  std::vector<std::string> plexLines = after("Record 2");
  ASSERT_GE(plexLines.size(), 21u);
  EXPECT_EQ(std::vector<std::string>(plexLines.begin() + 11, plexLines.begin() + 21),
            (std::vector<std::string>{Line("State:", "ACTIVE"), Line("Layout:", "Unknown (0x09)"),
                                      Line("PersistentFlags:", "0x00000006 stale detached"),
                                      Line("SubdiskCount:", "1"), Line("DetachSequence:", "0"),
                                      Line("VolumeRecordId:", "1057"), Line("LogRecordId:", "0"),
                                      Line("StripeWidth:", "-128"), Line("ColumnCount:", "2"), ""}));
  std::vector<std::string> subdiskLines = after("Record 3");
  ASSERT_GE(subdiskLines.size(), 18u);
  EXPECT_EQ(std::vector<std::string>(subdiskLines.begin() + 11, subdiskLines.begin() + 18),
            (std::vector<std::string>{Line("PersistentFlags:", "0x0000005c volume stale detached retained"),
                                      Line("DiskRecordId:", "1027"), Line("DiskOffset:", "1,234,567"),
                                      Line("PlexRecordId:", "1059"), Line("PlexOffset:", "0"),
                                      Line("Length:", "96,256"), ""}));
  std::vector<std::string> diskLines = after("Record 4");
  ASSERT_GE(diskLines.size(), 15u);
  EXPECT_EQ(std::vector<std::string>(diskLines.begin() + 11, diskLines.begin() + 15),
            (std::vector<std::string>{Line("DiskId:", "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c"),
                                      Line("LastDiskSetId:", "11111111-2222-3333-4444-555555555555"),
                                      Line("PersistentFlags:", "0x00000060 non-voter iscsi"), ""}));
  std::vector<std::string> packLines = after("Record 5");
  EXPECT_EQ(std::vector<std::string>(packLines.begin() + 11, packLines.end()),
            (std::vector<std::string>{Line("PackId:", "03c0c4fc-8b6f-402b-9431-4be2e5823b1c"),
                                      Line("DiskSetId:", "00000000-0000-0000-0000-000000000000"),
                                      Line("PersistentFlags:", "0x00000000"),
                                      Line("ConfigCopiesCount:", "4294967295"),
                                      Line("LogCopiesCount:", "4294967295"), Line("BaseMinor:", "4"), ""}));
}

TEST_F(LdmReportTest, GroupsWithoutADecodedRecordAreLeftOut) {
  ConfigAreaBuilder config(16);
  config.AddRecord(1, BuildPackRecord({}));
  // A lone second fragment: its group is broken and has no record.
  config.PutFragment(config.NextFreeBlock(), 9, 1, 2, std::vector<uint8_t>(112, 0));
  Load(config);
  ASSERT_EQ(Config().ParseStatus, 0);
  ASSERT_EQ(Config().Header->GroupList.size(), 2u);
  const std::string text = RecordText();
  EXPECT_NE(text.find("Record 1\n"), std::string::npos);
  EXPECT_EQ(text.find("Record 9"), std::string::npos);
  CKestrandTreeNode root("Disk");
  ASSERT_EQ(AddRecordsToReport(Config(), &root), 0u);
  EXPECT_EQ(ChildNames(root.FindChild("Records")).size(), 1u);
}

TEST_F(LdmReportTest, RecordElementsCarryTheCommonThenTheTypeAttributes) {
  VolumeFields volume;
  volume.ReadPolicy = 2;
  ConfigAreaBuilder config(16);
  config.AddRecord(7, BuildVolumeRecord(volume));
  config.AddRecord(8, BuildDiskRecord({}));
  Load(config);
  CKestrandTreeNode root("Disk");
  ASSERT_EQ(AddRecordsToReport(Config(), &root), 0u);
  const CKestrandTreeNode* records = root.FindChild("Records");
  ASSERT_NE(records, nullptr);
  const CKestrandTreeNode* record = records->FirstChild();
  ASSERT_NE(record, nullptr);
  EXPECT_STREQ(record->AttributeValue("_ElementDisplayName"), "Record 7 Volume");
  EXPECT_EQ(AttributeNames(record),
            (std::vector<std::string>{"_ElementDisplayName", "_ElementIcon", "Type", "Id", "Name", "Version",
                                      "TransFlags", "RecExt", "Attributes", "Size", "UpdateSequence", "UsageType",
                                      "FileSystemTypeOnlyMattersIfGpt", "State", "ReadPolicy", "Minor",
                                      "PersistentFlags", "Plexes", "DetachSequence", "Length", "LogLength",
                                      "VolumeId", "MountName", "PartitionType"}));
  EXPECT_STREQ(record->AttributeValue("Id"), "1057");
  EXPECT_STREQ(record->AttributeValue("RecExt"), "0x00000002");
  EXPECT_STREQ(record->AttributeValue("Attributes"), "0x00000251");
  EXPECT_STREQ(record->AttributeValue("FileSystemTypeOnlyMattersIfGpt"), "(null)");
  EXPECT_STREQ(record->AttributeValue("ReadPolicy"), "Preferred Plex");
  EXPECT_STREQ(record->AttributeValue("Length"), "96256");
  EXPECT_STREQ(record->AttributeValue("MountName"), "E:");

  const CKestrandTreeNode* disk = record->NextSibling();
  ASSERT_NE(disk, nullptr);
  EXPECT_STREQ(disk->AttributeValue("_ElementDisplayName"), "Record 8 Disk");
  EXPECT_STREQ(disk->AttributeValue("DeviceInstance"), "SCSI\\DISK&VEN_RED_HAT&PROD_VIRTIO&REV_0001\\4&35110308&0&0");
  EXPECT_STREQ(disk->AttributeValue("LastDiskSetId"), "00000000-0000-0000-0000-000000000000");
}

TEST_F(LdmReportTest, DiskBranchesComeInTheirFixedOrder) {
  ConfigAreaBuilder config(8);
  Load(config);
  CKestrandTreeNode root("Disk");
  ASSERT_EQ(AddLdmDatabaseToReport(database_.get(), &root), 0u);
  EXPECT_EQ(ChildNames(&root), (std::vector<std::string>{"PrivateHeader", "PrivateHeader", "PrivateHeader",
                                                         "TableOfContents", "TableOfContents", "ConfigHeader",
                                                         "BlockList", "Records"}));
  std::vector<std::string> captions;
  for (const CKestrandTreeNode* child = root.FirstChild(); child; child = child->NextSibling())
    captions.push_back(child->AttributeValue("_ElementDisplayName"));
  EXPECT_EQ(std::vector<std::string>(captions.begin(), captions.begin() + 5),
            (std::vector<std::string>{"Private Header Primary", "Private Header Alternate", "Private Header Backup",
                                      "Table of Contents Primary", "Table of Contents Alternate"}));
  EXPECT_EQ(AddLdmDatabaseToReport(database_.get(), nullptr), 87u);
}

TEST_F(LdmReportTest, UnreadableStructuresKeepTheirPlaceOrDropOut) {
  ConfigAreaBuilder config(8);
  platform_.Failures.push_back({kDiskBytes - 0x18000, 512, STATUS_IO_DEVICE_ERROR_CODE});
  platform_.Failures.push_back({kDiskBytes - 0x100000 + area_.AlternateTocOffset(), 512, STATUS_IO_DEVICE_ERROR_CODE});
  ::testing::internal::CaptureStderr();
  Load(config);
  ::testing::internal::GetCapturedStderr();
  CKestrandTreeNode root("Disk");
  ASSERT_EQ(AddLdmDatabaseToReport(database_.get(), &root), 0u);
  // The unreadable header copy stays with icon 4; the unreadable table is
  // left out (the config's place comes from the header, so it is read).
  EXPECT_EQ(ChildNames(&root), (std::vector<std::string>{"PrivateHeader", "PrivateHeader", "PrivateHeader",
                                                         "TableOfContents", "ConfigHeader", "BlockList",
                                                         "Records"}));
  EXPECT_STREQ(root.FindChild("TableOfContents")->AttributeValue("_ElementDisplayName"),
               "Table of Contents Primary");
  EXPECT_STREQ(root.FirstChild()->NextSibling()->AttributeValue("_ElementIcon"), "4");
}

TEST_F(LdmReportTest, FailedPartitionInfoLeavesNoBranch) {
  ConfigAreaBuilder config(8);
  Load(config);
  disk_.SetPartitionInfoError(ERROR_NOT_READY_CODE);
  CKestrandTreeNode none("Disk");
  ASSERT_EQ(AddLdmDatabaseToReport(database_.get(), &none), 0u);
  EXPECT_EQ(none.FirstChild(), nullptr);
}

}  // namespace
}  // namespace kestrand::test
