// The disk report: errors, storage property, geometry with both size
// columns, and the layout, as text bytes and as the Disk branch of the XML.
// Expected lines are worked out by hand from the report's format strings.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "common/xml_writer.h"
#include "disk/disk.h"
#include "disk/disk_report.h"
#include "driver/kestrand.h"
#include "support/fake_host_platform.h"
#include "support/report_tree.h"
#include "support/test_disk.h"
#include "support/text_capture.h"

namespace kestrand {
namespace {

const char kStorageHeading[] = "----------- Disk Storage Property -----------\n\n";
const char kGeometryHeading[] = "----------- Disk Geometry -----------\n\n";
const char kLayoutHeading[] = "------------ Disk Layout ------------\n\n";

// The 500 GB disk: 60,801 cylinders of 255 x 63 sectors, 500,107,862,016 bytes.
void MakeExampleDisk(TestDisk& disk) {
  disk.SetStorageProperty(4096, 0);
  disk.SetGeometry(60801, 255, 63, 512, MEDIA_TYPE_FIXED);
  disk.SetDiskLength(500107862016);
  LayoutBuffer mbr(PARTITION_STYLE_MBR, 1);
  mbr.Head().Mbr.Signature = 0x1234abcd;
  mbr.Entry(0).StartingOffset = 1048576;
  mbr.Entry(0).PartitionLength = 500106813440;
  mbr.Entry(0).PartitionNumber = 1;
  mbr.Entry(0).Mbr.PartitionType = 0x07;
  mbr.Entry(0).Mbr.RecognizedPartition = 1;
  mbr.Entry(0).Mbr.HiddenSectors = 2048;
  disk.SetLayout(mbr.Bytes());
}

const char kExampleGeometry[] =
    "              60,801 Cylinders\n"
    "                 255 Tracks/Cylinder\n"
    "                  63 Sectors/Track\n"
    "                 512 Bytes/Sector\n"
    "               Fixed Media (12)\n"
    "\n"
    "                Size Geometric            Reported            \n"
    "             Sectors 976,768,065          976,773,168         \n"
    "               Bytes 500,105,249,280      500,107,862,016     \n"
    "                  KB 488,384,032          488,386,584         \n"
    "                  MB 476,937              476,940             \n"
    "                  GB 465.76               465.76              \n";

TEST(DiskReportText, BasicDiskWithoutErrors) {
  TestDisk disk(3);
  MakeExampleDisk(disk);
  uint32_t code = 1;
  std::string text = CaptureText([&](FILE* s) { return disk.PrintText(s); }, &code);
  EXPECT_EQ(code, 0u);
  std::string expected = std::string(kStorageHeading) +
                         "               4,096 Physical Sector Size\n"
                         "                   0 Alignment Offset\n"
                         "\n" +
                         kGeometryHeading + kExampleGeometry + "\n" + kLayoutHeading +
                         "                 MBR PartitionStyle\n"
                         "                   1 PartitionCount\n"
                         "            1234abcd Signature\n"
                         "\n"
                         "        Starting          Partition     Hidden          Total  Partition    Partition       "
                         "Boot Recognized    Rewrite\n"
                         "  Offset (bytes)     Length (bytes)    Sectors        Sectors     Number   Type (HEX)  "
                         "Indicator  Partition  Partition\n"
                         "       1,048,576    500,106,813,440      2,048    976,771,120          1            7      "
                         "    0          1          0\n"
                         "\n";
  EXPECT_EQ(text, expected);
}

TEST(DiskReportText, GeometryFailureShowsOnlyTheErrorLine) {
  TestDisk disk;
  disk.SetErrors(21, 0, 0);
  disk.SetDiskLength(1 << 20);
  disk.SetLayout(LayoutBuffer(PARTITION_STYLE_MBR, 0).Bytes());
  uint32_t code = 0;
  std::string text = CaptureText([&](FILE* s) { return disk.PrintText(s); }, &code);
  EXPECT_EQ(code, 21u);
  EXPECT_EQ(text, std::string("----- Errors -----\n\n"
                              "Geometry Error               : 21 : IOCTL_DISK_GET_DRIVE_GEOMETRY_EX\n"
                              "\n\n") +
                      kStorageHeading +
                      "                   0 Physical Sector Size\n"
                      "                   0 Alignment Offset\n"
                      "\n" +
                      kGeometryHeading + "\tERROR 0021: Failed retrieving disk geometry\n");
}

TEST(DiskReportText, PartitionInfoFailureOnADynamicDisk) {
  TestDisk disk;
  disk.SetGeometry(10, 255, 63, 512);
  disk.SetErrors(0, 1117, 0);
  LayoutBuffer mbr(PARTITION_STYLE_MBR, 1);
  mbr.Entry(0).Mbr.PartitionType = MBR_TYPE_LDM;
  disk.SetLayout(mbr.Bytes());
  uint32_t code = 0;
  std::string text = CaptureText([&](FILE* s) { return disk.PrintText(s); }, &code);
  EXPECT_EQ(code, 1117u);
  EXPECT_EQ(text, std::string("----- Errors -----\n\n"
                              "PartitionInfo Error          : 1117 : IOCTL_DISK_GET_PARTITION_INFO_EX\n"
                              "\n\n") +
                      kStorageHeading +
                      "                   0 Physical Sector Size\n"
                      "                   0 Alignment Offset\n"
                      "\n" +
                      kGeometryHeading + "\tERROR 1117: Failed retrieving partition 0\n" +
                      "Cannot print summary because the partition information could be retrieved. Refer to error "
                      "report.\n");
}

TEST(DiskReportText, LayoutFailureAfterTheGeometry) {
  TestDisk disk;
  MakeExampleDisk(disk);
  disk.SetLayout(LayoutBuffer(PARTITION_STYLE_MBR, 0).Bytes());
  disk.SetErrors(0, 0, 1);
  uint32_t code = 0;
  std::string text = CaptureText([&](FILE* s) { return disk.PrintText(s); }, &code);
  EXPECT_EQ(code, 1u);
  std::string tail = std::string(kExampleGeometry) + "\n" + kLayoutHeading +
                     "\tERROR 0001: Failed retrieving disk layout\n";
  ASSERT_GE(text.size(), tail.size());
  EXPECT_EQ(text.substr(text.size() - tail.size()), tail);
  EXPECT_EQ(text.find("DiskLayout Error             : 1 : IOCTL_DISK_GET_DRIVE_LAYOUT_EX\n"), 20u);
}

TEST(DiskReportText, DiskTheProbeCouldNotOpen) {
  TestDisk disk;
  uint32_t code = 0;
  std::string text = CaptureText([&](FILE* s) { return disk.PrintText(s); }, &code);
  EXPECT_EQ(code, 13u);
  EXPECT_EQ(text, std::string(kStorageHeading) +
                      "                   0 Physical Sector Size\n"
                      "                   0 Alignment Offset\n"
                      "\n" +
                      kGeometryHeading + "\n" + kLayoutHeading + "\n");
}

TEST(DiskReportText, AllThreeQueryErrorsInOrder) {
  TestDisk disk;
  disk.SetErrors(21, 1117, 1);
  std::string text = CaptureText([&](FILE* s) { return disk.PrintErrors(s); });
  EXPECT_EQ(text,
            "----- Errors -----\n\n"
            "Geometry Error               : 21 : IOCTL_DISK_GET_DRIVE_GEOMETRY_EX\n"
            "PartitionInfo Error          : 1117 : IOCTL_DISK_GET_PARTITION_INFO_EX\n"
            "DiskLayout Error             : 1 : IOCTL_DISK_GET_DRIVE_LAYOUT_EX\n"
            "\n\n");
  EXPECT_EQ(disk.PrintText(nullptr), 87u);
}

TEST(DiskReportText, HostileGeometryWrapsInsteadOfFaulting) {
  TestDisk disk;
  disk.SetGeometry(INT64_MAX, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF, 0xFFFFFFFF);
  disk.SetDiskLength(INT64_MIN);
  uint32_t code = 1;
  std::string text = CaptureText([&](FILE* s) { return disk.PrintGeometry(s); }, &code);
  EXPECT_EQ(code, 0u);
  EXPECT_NE(text.find("             Unknown Media (4294967295)\n"), std::string::npos) << text;

  // No bytes per sector: the reported sectors are 0 rather than a fault.
  disk.SetGeometry(1, 1, 1, 0);
  disk.SetDiskLength(4096);
  text = CaptureText([&](FILE* s) { return disk.PrintGeometry(s); });
  EXPECT_NE(text.find("             Sectors 1                    0                   \n"), std::string::npos) << text;
}

TEST(DiskReportValues, MediaTypeNames) {
  // The edges of the two floppy ranges around 11 and 12.
  const std::pair<uint32_t, std::u16string> cases[] = {{0, u"Unknown"},  {1, u"Floppy"},  {10, u"Floppy"},
                                                       {11, u"Removable"}, {13, u"Floppy"}, {25, u"Floppy"},
                                                       {26, u"Unknown"}};
  for (const auto& [type, name] : cases) EXPECT_EQ(std::u16string(MediaTypeName(type)), name) << type;
}

TEST(DiskReportXml, BranchOfAHealthyDisk) {
  TestDisk disk(0);
  MakeExampleDisk(disk);
  CKestrandTreeNode section("BasicDisks");
  ASSERT_EQ(disk.AddToReport(&section, true), 0u);
  const CKestrandTreeNode* diskNode = section.FirstChild();
  ASSERT_NE(diskNode, nullptr);
  EXPECT_STREQ(diskNode->Name(), "Disk");
  EXPECT_EQ(AttributesOf(diskNode), (NodeAttributes{{"_ElementDisplayName", "Disk 0"}, {"_ElementIcon", "13"}}));
  EXPECT_EQ(ChildNames(diskNode), (std::vector<std::string>{"Disk", "DiskLayout"}));
  EXPECT_EQ(AttributesOf(ChildAt(diskNode, 0)), (NodeAttributes{{"_ElementDisplayName", "Geometry"},
                                                                {"_ElementIcon", "3"},
                                                                {"Cylinders", "60,801"},
                                                                {"TracksPerCylinder", "255"},
                                                                {"SectorsPerTrack", "63"},
                                                                {"BytesPerSector", "512"},
                                                                {"MediaType", "Fixed"},
                                                                {"GeometricTotalSectors", "976,768,065"},
                                                                {"GeometricDiskSize", "500,105,249,280"},
                                                                {"GeometricDiskSizeKB", "488,384,032"},
                                                                {"GeometricDiskSizeMB", "476,937"},
                                                                {"GeometricDiskSizeGB", "465.76"},
                                                                {"ReportedTotalSectors", "976,773,168"},
                                                                {"ReportedDiskSize", "500,107,862,016"},
                                                                {"ReportedDiskSizeKB", "488,386,584"},
                                                                {"ReportedDiskSizeMB", "476,940"},
                                                                {"ReportedDiskSizeGB", "465.76"}}));
}

TEST(DiskReportXml, GeometryFailureStopsTheBranchWithErrors) {
  TestDisk disk(5);
  disk.SetErrors(21, 0, 0);
  disk.SetDiskLength(1 << 20);
  disk.SetLayout(LayoutBuffer(PARTITION_STYLE_MBR, 0).Bytes());
  CKestrandTreeNode section("BasicDisks");
  EXPECT_EQ(disk.AddToReport(&section, true), 13u);
  const CKestrandTreeNode* diskNode = section.FirstChild();
  EXPECT_EQ(AttributesOf(diskNode), (NodeAttributes{{"_ElementDisplayName", "Disk 5"}, {"_ElementIcon", "13"}}));
  EXPECT_EQ(ChildNames(diskNode), std::vector<std::string>{"Errors"});
  EXPECT_EQ(AttributesOf(ChildAt(diskNode, 0)),
            (NodeAttributes{{"_ElementDisplayName", "Errors"}, {"_ElementIcon", "5"}, {"GeometryError", "21"}}));
  EXPECT_EQ(disk.AddToReport(nullptr, true), 87u);
}

TEST(DiskReportXml, PartitionInfoFailureLeavesReportedValuesNull) {
  TestDisk disk(1);
  disk.SetGeometry(10, 255, 63, 512);
  disk.SetErrors(0, 1117, 0);
  disk.SetLayout(LayoutBuffer(PARTITION_STYLE_MBR, 0).Bytes());
  CKestrandTreeNode section("BasicDisks");
  ASSERT_EQ(disk.AddToReport(&section, false), 0u);
  const CKestrandTreeNode* diskNode = section.FirstChild();
  EXPECT_EQ(ChildNames(diskNode), (std::vector<std::string>{"Errors", "Disk", "DiskLayout"}));
  EXPECT_EQ(AttributesOf(ChildAt(diskNode, 0)).back(), (std::pair<std::string, std::string>{"PartitionInfoError", "1117"}));
  NodeAttributes geometry = AttributesOf(ChildAt(diskNode, 1));
  ASSERT_EQ(geometry.size(), 17u);
  for (size_t i = 12; i < 17; ++i) EXPECT_EQ(geometry[i].second, "(null)") << geometry[i].first;
  EXPECT_EQ(geometry[7].second, "160,650");
}

// The file disk as the probe builds it: 0 cylinders, 512 bytes per sector,
// a 1 MB whole-disk partition.
TEST(DiskReportText, LdmFileDiskGeometry) {
  FakeHostPlatform platform;  // every read of the file fails: nothing real is opened
  InstallPlatform(&platform);
  {
    CKestrand owner;
    CLdmFileDisk disk;
    EXPECT_EQ(disk.Initialize("no-such-database.bin", nullptr), 87u);
    EXPECT_EQ(disk.Initialize("no-such-database.bin", &owner), 0u);
    EXPECT_EQ(disk.Owner(), &owner);
    EXPECT_FALSE(disk.IsDevice());
    std::string text = CaptureText([&](FILE* s) { return disk.PrintDeviceInformation(s); });
    std::string storage = std::string(kStorageHeading) +
                          "                   0 Physical Sector Size\n"
                          "                   0 Alignment Offset\n"
                          "\n" +
                          kGeometryHeading +
                          "                   0 Cylinders\n"
                          "                   0 Tracks/Cylinder\n"
                          "                   0 Sectors/Track\n"
                          "                 512 Bytes/Sector\n"
                          "             Unknown Media (0)\n"
                          "\n"
                          "                Size Geometric            Reported            \n"
                          "             Sectors 0                    2,048               \n"
                          "               Bytes 0                    1,048,576           \n"
                          "                  KB 0                    1,024               \n"
                          "                  MB 0                    1                   \n"
                          "                  GB 0.00                 0.00                \n";
    EXPECT_EQ(text.substr(0, storage.size()), storage);
  }
  InstallPlatform(nullptr);
}

}  // namespace
}  // namespace kestrand
