// The layout classes: which class a buffer gets, the disk kind it gives, and
// the text and XML of MBR, GPT and RAW layouts. Expected lines are worked out
// from the report's format strings.
#include <gtest/gtest.h>

#include <string>

#include "common/xml_writer.h"
#include "disk/disk_layout.h"
#include "support/report_tree.h"
#include "support/test_disk.h"
#include "support/text_capture.h"

namespace kestrand {
namespace {

constexpr GUID kBasicData = {0xEBD0A0A2, 0xB9E5, 0x4433, {0x87, 0xC0, 0x68, 0xB6, 0xB7, 0x26, 0x99, 0xC7}};
constexpr GUID kZorvReserved = {0xE3C9E316, 0x0B5C, 0x4DB8, {0x81, 0x7D, 0xF9, 0x2D, 0xF0, 0x02, 0x15, 0xAE}};
constexpr GUID kLinuxData = {0x0FC63DAF, 0x8483, 0x4772, {0x8E, 0x79, 0x3D, 0x69, 0xD8, 0x47, 0x7D, 0xE4}};

const char kMbrHeadings[] =
    "        Starting          Partition     Hidden          Total  Partition    Partition       Boot Recognized    "
    "Rewrite\n"
    "  Offset (bytes)     Length (bytes)    Sectors        Sectors     Number   Type (HEX)  Indicator  Partition  "
    "Partition\n";
const char kEmptyMbrRow[] =
    "               0                  0          0              0          0            0          0          0   "
    "       0\n";

void SetName(PARTITION_INFORMATION_EX& entry, const std::u16string& name) {
  for (size_t i = 0; i < name.size() && i < 36; ++i) entry.Gpt.Name[i] = name[i];
}

// One NTFS partition in the first of four slots, signature with leading zeros.
LayoutBuffer NtfsMbr() {
  LayoutBuffer layout(PARTITION_STYLE_MBR, 4);
  layout.Head().Mbr.Signature = 0x00ab12cd;
  PARTITION_INFORMATION_EX& entry = layout.Entry(0);
  entry.StartingOffset = 1048576;
  entry.PartitionLength = 1073741824;
  entry.PartitionNumber = 1;
  entry.Mbr.PartitionType = 0x07;
  entry.Mbr.BootIndicator = 1;
  entry.Mbr.RecognizedPartition = 1;
  entry.Mbr.HiddenSectors = 2048;
  return layout;
}

LayoutBuffer GptWithTypes(std::initializer_list<GUID> types) {
  LayoutBuffer layout(PARTITION_STYLE_GPT, static_cast<uint32_t>(types.size()));
  uint32_t i = 0;
  for (const GUID& type : types) layout.Entry(i++).Gpt.PartitionType = type;
  return layout;
}

TEST(LayoutClass, ChosenFromStyleAndCountWithKindAndStyle) {
  TestDisk disk;
  LayoutBuffer emptyMbr(PARTITION_STYLE_MBR, 0);
  CDiskLayout* layout = disk.SetLayout(emptyMbr.Bytes());
  EXPECT_NE(dynamic_cast<CRawDiskLayout*>(layout), nullptr);
  EXPECT_EQ(layout->GetDiskKind(), DISK_KIND_RAW);
  EXPECT_EQ(layout->GetPartitionStyle(), PARTITION_STYLE_RAW);
  // The stored style keeps what the driver said.
  EXPECT_EQ(layout->PartitionStyleField(), PARTITION_STYLE_MBR);

  layout = disk.SetLayout(NtfsMbr().Bytes());
  EXPECT_NE(dynamic_cast<CMbrDiskLayout*>(layout), nullptr);
  EXPECT_EQ(layout->GetDiskKind(), DISK_KIND_BASIC);
  EXPECT_EQ(layout->GetPartitionStyle(), PARTITION_STYLE_MBR);

  layout = disk.SetLayout(GptWithTypes({}).Bytes());
  EXPECT_NE(dynamic_cast<CGptDiskLayout*>(layout), nullptr);
  EXPECT_EQ(layout->GetDiskKind(), DISK_KIND_BASIC);
  EXPECT_EQ(layout->GetPartitionStyle(), PARTITION_STYLE_GPT);

  for (uint32_t style : {PARTITION_STYLE_RAW, 7u}) {
    LayoutBuffer other(style, 2);
    layout = disk.SetLayout(other.Bytes());
    EXPECT_NE(dynamic_cast<CRawDiskLayout*>(layout), nullptr) << style;
    EXPECT_EQ(layout->GetDiskKind(), DISK_KIND_RAW);
  }
}

TEST(LayoutClass, MbrIsDynamicWhenAnyEntryHasTypeLdm) {
  TestDisk disk;
  LayoutBuffer mbr = NtfsMbr();
  mbr.Entry(3).Mbr.PartitionType = MBR_TYPE_LDM;
  EXPECT_EQ(disk.SetLayout(mbr.Bytes())->GetDiskKind(), DISK_KIND_DYNAMIC);

  // An LDM type beyond PartitionCount does not count.
  mbr.Head().PartitionCount = 3;
  EXPECT_EQ(disk.SetLayout(mbr.Bytes())->GetDiskKind(), DISK_KIND_BASIC);
}

TEST(LayoutClass, HostilePartitionCountNeverReadsPastTheBuffer) {
  TestDisk disk;
  disk.SetGeometry(100, 255, 63, 512);
  LayoutBuffer mbr = NtfsMbr();
  mbr.Head().PartitionCount = 0xFFFFFFFF;
  CDiskLayout* layout = disk.SetLayout(mbr.Bytes());
  EXPECT_EQ(layout->EntryCount(), 4u);
  EXPECT_EQ(layout->Entry(4), nullptr);
  EXPECT_EQ(layout->GetDiskKind(), DISK_KIND_BASIC);

  std::string text = CaptureText([&](FILE* s) { return layout->PrintText(s); });
  // The count is shown as the driver gave it; only four rows follow.
  EXPECT_NE(text.find("                  -1 PartitionCount\n"), std::string::npos);
  size_t rows = 0;
  for (size_t at = text.find(kEmptyMbrRow); at != std::string::npos; at = text.find(kEmptyMbrRow, at + 1)) ++rows;
  EXPECT_EQ(rows, 3u);

  CKestrandTreeNode root("root");
  EXPECT_EQ(layout->AddToReport(&root), 0u);
  EXPECT_EQ(ChildNames(root.FirstChild()),
            (std::vector<std::string>{"BasicInformation", "Partition1", "Partition2", "Partition3", "Partition4"}));

  // A buffer too short even for its head has no entries at all.
  CDiskLayout* tiny = disk.SetLayout(std::vector<uint8_t>(20, 0xFF));
  EXPECT_EQ(tiny->EntryCount(), 0u);
  EXPECT_EQ(tiny->PartitionCount(), 0u);
}

TEST(MbrLayoutReport, TextShowsEverySlot) {
  TestDisk disk;
  disk.SetGeometry(100, 255, 63, 512);
  CDiskLayout* layout = disk.SetLayout(NtfsMbr().Bytes());
  uint32_t code = 1;
  std::string text = CaptureText([&](FILE* s) { return layout->PrintText(s); }, &code);
  EXPECT_EQ(code, 0u);
  std::string expected = std::string(
                             "                 MBR PartitionStyle\n"
                             "                   4 PartitionCount\n"
                             "              ab12cd Signature\n"
                             "\n") +
                         kMbrHeadings +
                         "       1,048,576      1,073,741,824      2,048      2,097,152          1            7      "
                         "    1          1          0\n" +
                         kEmptyMbrRow + kEmptyMbrRow + kEmptyMbrRow;
  EXPECT_EQ(text, expected);
}

TEST(MbrLayoutReport, DynamicTypeAndMissingGeometry) {
  TestDisk disk;  // no geometry: every row shows 0 total sectors
  LayoutBuffer mbr(PARTITION_STYLE_MBR, 1);
  PARTITION_INFORMATION_EX& entry = mbr.Entry(0);
  entry.StartingOffset = 32256;
  entry.PartitionLength = 52396826624;
  entry.PartitionNumber = 1;
  entry.Mbr.PartitionType = MBR_TYPE_LDM;
  entry.Mbr.RecognizedPartition = 1;
  entry.Mbr.HiddenSectors = 63;
  CMbrDiskLayout* layout = dynamic_cast<CMbrDiskLayout*>(disk.SetLayout(mbr.Bytes()));
  ASSERT_NE(layout, nullptr);
  std::string text = CaptureText([&](FILE* s) { return layout->PrintPartitionTable(s); });
  EXPECT_EQ(text, std::string(kMbrHeadings) +
                      "          32,256     52,396,826,624         63              0          1           42      "
                      "    0          1          0\n");

  CKestrandTreeNode root("root");
  ASSERT_EQ(layout->AddToReport(&root), 0u);
  const CKestrandTreeNode* partition = ChildAt(root.FirstChild(), 1);
  EXPECT_EQ(AttributesOf(partition), (NodeAttributes{{"_ElementDisplayName", "Partition1"},
                                                     {"_ElementIcon", "3"},
                                                     {"StartingOffset", "32,256"},
                                                     {"PartitionLength", "52,396,826,624"},
                                                     {"HiddenSectors", "63"},
                                                     {"TotalSectors", "0"},
                                                     {"PartitionNumber", "1"},
                                                     {"PartitionType", "0x00000042"},
                                                     {"BootIndicator", "False"},
                                                     {"RecognizedPartition", "True"},
                                                     {"RewritePartition", "False"}}));
}

TEST(MbrLayoutReport, XmlHasBasicInformationAndFourPartitions) {
  TestDisk disk;
  disk.SetGeometry(100, 255, 63, 512);
  CDiskLayout* layout = disk.SetLayout(NtfsMbr().Bytes());
  CKestrandTreeNode root("root");
  ASSERT_EQ(layout->AddToReport(&root), 0u);
  const CKestrandTreeNode* diskLayout = root.FirstChild();
  ASSERT_NE(diskLayout, nullptr);
  EXPECT_STREQ(diskLayout->Name(), "DiskLayout");
  EXPECT_EQ(AttributesOf(diskLayout), (NodeAttributes{{"_ElementDisplayName", "Disk Layout"}, {"_ElementIcon", "3"}}));
  EXPECT_EQ(ChildNames(diskLayout),
            (std::vector<std::string>{"BasicInformation", "Partition1", "Partition2", "Partition3", "Partition4"}));
  EXPECT_EQ(AttributesOf(ChildAt(diskLayout, 0)), (NodeAttributes{{"_ElementDisplayName", "Basic Information"},
                                                                 {"_ElementIcon", "3"},
                                                                 {"PartitionStyle", "MBR"},
                                                                 {"PartitionCount", "4"},
                                                                 {"MBRSignature", "ab12cd"}}));
  NodeAttributes first = AttributesOf(ChildAt(diskLayout, 1));
  ASSERT_EQ(first.size(), 11u);
  EXPECT_EQ(first[5], (std::pair<std::string, std::string>{"TotalSectors", "2,097,152"}));
  EXPECT_EQ(first[7], (std::pair<std::string, std::string>{"PartitionType", "0x00000007"}));
  EXPECT_EQ(first[8], (std::pair<std::string, std::string>{"BootIndicator", "True"}));
}

LayoutBuffer TwoPartitionGpt() {
  LayoutBuffer gpt(PARTITION_STYLE_GPT, 2);
  gpt.Head().Gpt.DiskId = {0x00112233, 0x4455, 0x6677, {0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}};
  gpt.Head().Gpt.StartingUsableOffset = 17408;
  gpt.Head().Gpt.UsableLength = 1073707008;
  gpt.Head().Gpt.MaxPartitionCount = 128;
  PARTITION_INFORMATION_EX& data = gpt.Entry(0);
  data.StartingOffset = 1048576;
  data.PartitionLength = 104857600;
  data.PartitionNumber = 1;
  data.Gpt.PartitionType = kBasicData;
  data.Gpt.PartitionId = {0xA0A1A2A3, 0xB0B1, 0xC0C1, {0xD0, 0xD1, 0xE0, 0xE1, 0xE2, 0xE3, 0xE4, 0xE5}};
  SetName(data, u"Basic data partition");
  PARTITION_INFORMATION_EX& other = gpt.Entry(1);
  other.StartingOffset = 105906176;
  other.PartitionLength = 1048576;
  other.PartitionNumber = 2;
  other.RewritePartition = 1;
  other.Gpt.PartitionType = kLinuxData;  // not in the table: shown as its GUID
  other.Gpt.PartitionId = {0xA0A1A2A3, 0xB0B1, 0xC0C1, {0xD0, 0xD1, 0xE0, 0xE1, 0xE2, 0xE3, 0xE4, 0xE6}};
  return gpt;
}

TEST(GptLayoutReport, TextStacksNameTypeAndGuid) {
  TestDisk disk;
  disk.SetGeometry(130, 255, 63, 512);
  CDiskLayout* layout = disk.SetLayout(TwoPartitionGpt().Bytes());
  uint32_t code = 1;
  std::string text = CaptureText([&](FILE* s) { return layout->PrintText(s); }, &code);
  EXPECT_EQ(code, 0u);
  EXPECT_EQ(text,
            "                 GPT PartitionStyle\n"
            "                   2 PartitionCount\n"
            "                GUID 00112233-4455-6677-8899-aabbccddeeff\n"
            "              17,408 Starting Usable Offset\n"
            "       1,073,707,008 Usable Length\n"
            "                 128 Maximum Partition Count\n"
            "\n"
            "                        Parition Name\n"
            "                      Partition Style         Starting        Partition       Total  Part    Rewrite\n"
            "                       Partition GUID   Offset (bytes)   Length (bytes)     Sectors    No  Partition\n\n"
            "                 Basic data partition\n"
            "                           Basic data\n"
            " a0a1a2a3-b0b1-c0c1-d0d1-e0e1e2e3e4e5        1,048,576      104,857,600     204,800     1          0\n\n"
            "                                     \n"
            " 0fc63daf-8483-4772-8e79-3d69d8477de4\n"
            " a0a1a2a3-b0b1-c0c1-d0d1-e0e1e2e3e4e6      105,906,176        1,048,576       2,048     2          1\n\n");
}

TEST(GptLayoutReport, XmlAttributesInOrder) {
  TestDisk disk;
  disk.SetGeometry(130, 255, 63, 512);
  CDiskLayout* layout = disk.SetLayout(TwoPartitionGpt().Bytes());
  CKestrandTreeNode root("root");
  ASSERT_EQ(layout->AddToReport(&root), 0u);
  const CKestrandTreeNode* diskLayout = root.FirstChild();
  EXPECT_EQ(ChildNames(diskLayout), (std::vector<std::string>{"BasicInformation", "Partition1", "Partition2"}));
  EXPECT_EQ(AttributesOf(ChildAt(diskLayout, 0)),
            (NodeAttributes{{"_ElementDisplayName", "Basic Information"},
                            {"_ElementIcon", "3"},
                            {"PartitionStyle", "GPT"},
                            {"PartitionCount", "2"},
                            {"GUID", "00112233-4455-6677-8899-aabbccddeeff"},
                            {"StartingUsableOffset", "17,408"},
                            {"UsableLength", "1,073,707,008"},
                            {"MaximumPartitionCount", "128"}}));
  EXPECT_EQ(AttributesOf(ChildAt(diskLayout, 1)), (NodeAttributes{{"_ElementDisplayName", "Partition1"},
                                                                 {"_ElementIcon", "3"},
                                                                 {"GptName", "Basic data partition"},
                                                                 {"PartitionType", "Basic data"},
                                                                 {"PartitionId", "a0a1a2a3-b0b1-c0c1-d0d1-e0e1e2e3e4e5"},
                                                                 {"StartingOffset", "1,048,576"},
                                                                 {"PartitionLength", "104,857,600"},
                                                                 {"TotalSectors", "204,800"},
                                                                 {"PartitionNumber", "1"},
                                                                 {"RewritePartition", "False"}}));
  NodeAttributes second = AttributesOf(ChildAt(diskLayout, 2));
  ASSERT_GE(second.size(), 4u);
  EXPECT_EQ(second[2].second, "");
  EXPECT_EQ(second[3].second, "0fc63daf-8483-4772-8e79-3d69d8477de4");
}

TEST(GptLayoutReport, UnterminatedNameStopsAtTheFieldEnd) {
  TestDisk disk;
  LayoutBuffer gpt = GptWithTypes({kZorvReserved});
  SetName(gpt.Entry(0), u"ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789");  // all 36 units used
  CGptDiskLayout* layout = dynamic_cast<CGptDiskLayout*>(disk.SetLayout(gpt.Bytes()));
  std::string text = CaptureText([&](FILE* s) { return layout->PrintPartitionTable(s); });
  EXPECT_NE(text.find(" ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789\n                        Zorv reserved\n"),
            std::string::npos)
      << text;
}

TEST(GptPartitionTypes, NamesFromTheTable) {
  std::u16string name;
  EXPECT_EQ(GetGptPartitionTypeName(GUID{}, name), 0u);
  EXPECT_EQ(name, u"Entry unused");
  GetGptPartitionTypeName(GPT_TYPE_LDM_DATA, name);
  EXPECT_EQ(name, u"LDM data");
  // The whole GUID is compared: one byte off is unknown.
  GUID almost = kBasicData;
  almost.Data4[7] ^= 1;
  GetGptPartitionTypeName(almost, name);
  EXPECT_EQ(name, u"Unknown");
  GetGptPartitionTypeText(almost, name);
  EXPECT_EQ(name, u"ebd0a0a2-b9e5-4433-87c0-68b6b72699c6");
}

TEST(RawLayoutReport, TwoLinesAndABareElement) {
  TestDisk disk;
  LayoutBuffer emptyMbr(PARTITION_STYLE_MBR, 0);
  CDiskLayout* layout = disk.SetLayout(emptyMbr.Bytes());
  EXPECT_EQ(CaptureText([&](FILE* s) { return layout->PrintText(s); }),
            "                 RAW PartitionStyle\n"
            "                   0 PartitionCount\n");
  CKestrandTreeNode root("root");
  ASSERT_EQ(layout->AddToReport(&root), 0u);
  EXPECT_EQ(ChildNames(root.FirstChild()), std::vector<std::string>{});
  EXPECT_EQ(AttributesOf(root.FirstChild()), (NodeAttributes{{"_ElementDisplayName", "Disk Layout"},
                                                            {"_ElementIcon", "3"},
                                                            {"PartitionStyle", "RAW"},
                                                            {"PartitionCount", "0"}}));
}

}  // namespace
}  // namespace kestrand
