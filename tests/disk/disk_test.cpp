// The probe over image-backed disks: what it records for each query, which
// layout class it picks, when it runs the LDM loader, how failures rank, and
// the synthetic disk of a database file.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "disk/disk.h"
#include "disk/disk_layout.h"
#include "driver/kestrand.h"
#include "ldm/ldm_database.h"
#include "probe_image_files.h"
#include "support/image_platform.h"
#include "support/report_tree.h"
#include "support/text_capture.h"

namespace kestrand {
namespace {

class DiskProbeTest : public ImageDisksTest {
 protected:
  void TearDown() override {
    disks_.clear();
    ImageDisksTest::TearDown();
  }

  // A disk as the disk set hands it to the probe, probed.
  CDisk& Probe(uint32_t number, uint32_t* code = nullptr) {
    auto disk = std::make_unique<CDisk>();
    std::string path = "image:" + std::to_string(number);
    disk->SetDevicePath(std::u16string(path.begin(), path.end()).c_str());
    disk->SetDiskNumber(number);
    disk->SetDiskNumberKnown(true);
    uint32_t result = disk->Initialize();
    if (code) *code = result;
    disks_.push_back(std::move(disk));
    return *disks_.back();
  }

  std::vector<std::unique_ptr<CDisk>> disks_;
};

TEST_F(DiskProbeTest, DynamicMbrDiskGetsItsLdmDatabaseRead) {
  Add(DynamicMbrImage());
  uint32_t code = 1;
  CDisk& disk = Probe(0, &code);
  EXPECT_EQ(code, 0u);
  ASSERT_NE(disk.Geometry(), nullptr);
  EXPECT_EQ(disk.Geometry()->Geometry.Cylinders, 1);  // 8 MB of 255 x 63 sector cylinders
  ASSERT_NE(disk.PartitionInfo(), nullptr);
  EXPECT_EQ(disk.PartitionInfo()->PartitionLength, static_cast<int64_t>(kImageBytes));
  ASSERT_NE(dynamic_cast<CMbrDiskLayout*>(disk.Layout()), nullptr);
  EXPECT_EQ(disk.Layout()->GetDiskKind(), DISK_KIND_DYNAMIC);
  EXPECT_EQ(disk.Layout()->Disk(), &disk);
  EXPECT_EQ(platform_.LayoutQuerySizes, std::vector<uint32_t>{624});

  ASSERT_NE(disk.LdmDatabase(), nullptr);
  LdmCopyStatus primary = disk.LdmDatabase()->GetCopyStatus(LdmCopy::PrimaryHeader);
  EXPECT_EQ(primary.ReadStatus, 0);
  EXPECT_EQ(primary.ParseStatus, 0);
  EXPECT_TRUE(disk.LdmDatabase()->GetCopyStatus(LdmCopy::BackupHeader).Exists);
  EXPECT_TRUE(disk.IsReadyForLdmAnalysis());

  // The probe's device handle is closed; the loader's read handle stays.
  EXPECT_NE(disk.ReadHandle(), kInvalidHandle);
  EXPECT_EQ(platform_.OpenHandleCount(), 1u);
  EXPECT_TRUE(platform_.OnlyReadOpens());
}

TEST_F(DiskProbeTest, UnreadableWholeDiskDeviceMakesTheDiskNotReady) {
  Add(DynamicMbrImage()).RawOpenStatus = STATUS_ACCESS_DENIED_CODE;
  CDisk& disk = Probe(0);
  ASSERT_NE(disk.LdmDatabase(), nullptr);
  EXPECT_EQ(disk.LdmDatabase()->GetCopyStatus(LdmCopy::PrimaryHeader).ReadStatus, STATUS_ACCESS_DENIED_CODE);
  EXPECT_EQ(disk.ReadHandle(), kInvalidHandle);
  EXPECT_FALSE(disk.IsReadyForLdmAnalysis());

  // The error report lists the read statuses as unsigned numbers.
  std::string text = CaptureText([&](FILE* s) { return disk.PrintErrors(s); });
  EXPECT_EQ(text.rfind("----- Errors -----\n\n"
                       "Private Header     : Primary    : ReadDiskStatus  : 3221225506\n"
                       "Private Header     : Alternate  : ReadDiskStatus  : 3221225506\n",
                       0),
            0u)
      << text;
}

TEST_F(DiskProbeTest, BasicGptDiskShowsNamesAndTypeNames) {
  const GUID linuxData = GuidFromText("0fc63daf-8483-4772-8e79-3d69d8477de4");
  Add(GptImage({{kGptTypeBasicData, GuidFromText("aaaaaaaa-0000-0000-0000-000000000001"), 2048, 4095, 0, u"Data"},
                {linuxData, GuidFromText("aaaaaaaa-0000-0000-0000-000000000002"), 4096, 6143, 0, u"Home"}}));
  uint32_t code = 1;
  CDisk& disk = Probe(0, &code);
  EXPECT_EQ(code, 0u);
  ASSERT_NE(dynamic_cast<CGptDiskLayout*>(disk.Layout()), nullptr);
  EXPECT_EQ(disk.Layout()->GetDiskKind(), DISK_KIND_BASIC);
  EXPECT_EQ(disk.Layout()->GetPartitionStyle(), PARTITION_STYLE_GPT);
  EXPECT_EQ(disk.LdmDatabase(), nullptr);
  EXPECT_EQ(disk.ReadHandle(), kInvalidHandle);  // basic disks are never read raw

  std::string text = CaptureText([&](FILE* s) { return disk.PrintText(s); });
  EXPECT_NE(text.find("                                 Data\n"
                      "                           Basic data\n"
                      " aaaaaaaa-0000-0000-0000-000000000001        1,048,576        1,048,576       2,048     1 "),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("                                 Home\n"
                      " 0fc63daf-8483-4772-8e79-3d69d8477de4\n"),
            std::string::npos)
      << text;
  EXPECT_NE(text.find("                GUID 11111111-2222-3333-4444-555555555555\n"), std::string::npos);
}

TEST_F(DiskProbeTest, GptIsDynamicOnlyWithBothLdmPartitions) {
  Add(GptImage({{kGptTypeLdmMetadata, GuidFromText("aaaaaaaa-0000-0000-0000-000000000001"), 34, 2081, 0, u"LDM metadata partition"},
                {kGptTypeLdmData, GuidFromText("aaaaaaaa-0000-0000-0000-000000000002"), 4096, 8191, 0, u"LDM data partition"}}),
      0);
  Add(GptImage({{kGptTypeLdmData, GuidFromText("aaaaaaaa-0000-0000-0000-000000000002"), 4096, 8191, 0, u"LDM data partition"}}),
      1);
  CDisk& dynamic = Probe(0);
  EXPECT_EQ(dynamic.Layout()->GetDiskKind(), DISK_KIND_DYNAMIC);
  EXPECT_NE(dynamic.LdmDatabase(), nullptr);
  CDisk& basic = Probe(1);
  EXPECT_EQ(basic.Layout()->GetDiskKind(), DISK_KIND_BASIC);
  EXPECT_EQ(basic.LdmDatabase(), nullptr);
}

TEST_F(DiskProbeTest, LogicalPartitionsNeedASecondLayoutQuery) {
  CDiskImageBuilder image = BasicMbrImage();
  image.WriteExtendedPartition(1, 12288, {LogicalPartition{0x07, 1024}});
  Add(image);
  CDisk& disk = Probe(0);
  // Four primary slots and the four slots of the one extended boot record.
  EXPECT_EQ(platform_.LayoutQuerySizes, (std::vector<uint32_t>{624, 1200}));
  ASSERT_NE(disk.Layout(), nullptr);
  EXPECT_EQ(disk.Layout()->BufferSize(), 1200u);
  EXPECT_EQ(disk.Layout()->EntryCount(), 8u);
  EXPECT_EQ(disk.Layout()->GetDiskKind(), DISK_KIND_BASIC);
  EXPECT_EQ(disk.LayoutError(), 0u);
}

TEST_F(DiskProbeTest, DeviceThatCannotBeOpenedRecordsNothing) {
  Add(BasicMbrImage()).OpenError = ERROR_ACCESS_DENIED_CODE;
  uint32_t code = 0;
  CDisk& disk = Probe(0, &code);
  EXPECT_EQ(code, ERROR_ACCESS_DENIED_CODE);
  EXPECT_EQ(disk.Geometry(), nullptr);
  EXPECT_EQ(disk.PartitionInfo(), nullptr);
  EXPECT_EQ(disk.Layout(), nullptr);
  EXPECT_EQ(disk.GeometryError() | disk.PartitionInfoError() | disk.LayoutError(), 0u);
}

TEST_F(DiskProbeTest, GeometryFailureStillQueriesTheRest) {
  Add(BasicMbrImage()).GeometryError = ERROR_NOT_READY_CODE;
  uint32_t code = 0;
  CDisk& disk = Probe(0, &code);
  EXPECT_EQ(code, ERROR_NOT_READY_CODE);
  EXPECT_EQ(disk.Geometry(), nullptr);
  EXPECT_EQ(disk.GeometryError(), ERROR_NOT_READY_CODE);
  EXPECT_NE(disk.Layout(), nullptr);
  EXPECT_NE(disk.PartitionInfo(), nullptr);
  EXPECT_EQ(disk.PhysicalSectorSize(), 512u);  // from the alignment query
}

TEST_F(DiskProbeTest, PartitionInfoFailureOfADynamicDisk) {
  Add(DynamicMbrImage()).PartitionInfoError = ERROR_GEN_FAILURE_CODE;
  uint32_t code = 0;
  CDisk& disk = Probe(0, &code);
  EXPECT_EQ(code, ERROR_GEN_FAILURE_CODE);
  EXPECT_EQ(disk.PartitionInfo(), nullptr);
  EXPECT_NE(disk.Geometry(), nullptr);
  EXPECT_NE(disk.LdmDatabase(), nullptr);  // the loader still runs, and refuses
  EXPECT_FALSE(disk.IsReadyForLdmAnalysis());
}

TEST_F(DiskProbeTest, LayoutFailureLeavesNoLayoutAndNoLoader) {
  Add(DynamicMbrImage()).LayoutError = ERROR_NOT_SUPPORTED_CODE;
  uint32_t code = 0;
  CDisk& disk = Probe(0, &code);
  EXPECT_EQ(code, ERROR_NOT_SUPPORTED_CODE);
  EXPECT_EQ(disk.Layout(), nullptr);
  EXPECT_EQ(disk.LdmDatabase(), nullptr);
  EXPECT_NE(disk.PartitionInfo(), nullptr);
  EXPECT_EQ(disk.DiskKind(), DISK_KIND_RAW);
}

TEST_F(DiskProbeTest, GeometryOutranksPartitionInfoOutranksLayout) {
  ImageDisk& image = Add(BasicMbrImage());
  image.LayoutError = 1;
  image.PartitionInfoError = 2;
  uint32_t code = 0;
  Probe(0, &code);
  EXPECT_EQ(code, 2u);
  platform_.Disks[0].GeometryError = 3;
  Probe(0, &code);
  EXPECT_EQ(code, 3u);
}

TEST_F(DiskProbeTest, AlignmentOfPhysicalSectors) {
  ImageDisk& image = Add(BasicMbrImage());
  image.BytesPerPhysicalSector = 4096;
  image.FirstAlignedOffset = 3584;  // logical sector 7 starts a physical sector
  CDisk& aligned = Probe(0);
  EXPECT_EQ(aligned.PhysicalSectorSize(), 4096u);
  EXPECT_EQ(aligned.AlignmentOffset(), 3584u);

  platform_.Disks[0].FirstAlignedOffset = 0;
  CDisk& straight = Probe(0);
  EXPECT_EQ(straight.PhysicalSectorSize(), 4096u);
  EXPECT_EQ(straight.AlignmentOffset(), 0u);

  platform_.Disks[0].AlignmentError = ERROR_NOT_SUPPORTED_CODE;
  CDisk& refused = Probe(0);
  EXPECT_EQ(refused.PhysicalSectorSize(), 512u);
  EXPECT_EQ(refused.AlignmentOffset(), 0u);
}

TEST_F(DiskProbeTest, ResetReleasesQueriesButKeepsIdentity) {
  Add(DynamicMbrImage());
  CDisk& disk = Probe(0);
  PlatformHandle handle = disk.ReadHandle();
  EXPECT_EQ(disk.Reset(), 0u);
  EXPECT_EQ(disk.Geometry(), nullptr);
  EXPECT_EQ(disk.Layout(), nullptr);
  EXPECT_EQ(disk.LdmDatabase(), nullptr);
  EXPECT_EQ(disk.ReadHandle(), handle);
  EXPECT_TRUE(disk.DiskNumberKnown());
  EXPECT_EQ(disk.Reset(), 0u);  // a second reset releases nothing twice
}

TEST_F(DiskProbeTest, ReadDiskOpensOnceAndRetriesAFailedOpen) {
  ImageDisk& image = Add(BasicMbrImage());
  image.RawOpenStatus = STATUS_NO_MEDIA_IN_DEVICE_CODE;
  CDisk& disk = Probe(0);
  uint8_t sector[512] = {};
  int64_t offset = 0;
  EXPECT_EQ(disk.ReadDisk(offset, sizeof sector, sector), STATUS_NO_MEDIA_IN_DEVICE_CODE);
  EXPECT_EQ(disk.ReadHandle(), kInvalidHandle);

  platform_.Disks[0].RawOpenStatus = 0;
  EXPECT_EQ(disk.ReadDisk(offset, sizeof sector, sector), 0);
  EXPECT_EQ(sector[510], 0x55);
  PlatformHandle handle = disk.ReadHandle();
  offset = 512;
  EXPECT_EQ(disk.ReadDisk(offset, sizeof sector, sector), 0);
  EXPECT_EQ(disk.ReadHandle(), handle);
  size_t rawOpens = 0;
  for (const ImageOpenRecord& open : platform_.Opens) rawOpens += open.Operation == "OpenDiskForRead";
  EXPECT_EQ(rawOpens, 2u);
}

TEST_F(DiskProbeTest, DatabaseFileDisk) {
  ImageFile database(test::LdmAreaImage().Build());
  CKestrand owner;
  CLdmFileDisk disk;
  ASSERT_EQ(disk.Initialize(database.Path().c_str(), &owner), 0u);
  EXPECT_FALSE(disk.IsDevice());
  EXPECT_EQ(disk.FileName(), database.Path());
  EXPECT_EQ(disk.PartitionInfo()->PartitionLength, 0x100000);
  ASSERT_NE(dynamic_cast<CMbrDiskLayout*>(disk.Layout()), nullptr);
  EXPECT_EQ(disk.Layout()->PartitionCount(), 4u);
  EXPECT_EQ(disk.Layout()->Entry(0)->PartitionLength, 0x100000);
  EXPECT_EQ(disk.Layout()->GetDiskKind(), DISK_KIND_DYNAMIC);
  ASSERT_NE(disk.LdmDatabase(), nullptr);
  EXPECT_FALSE(disk.LdmDatabase()->GetCopyStatus(LdmCopy::BackupHeader).Exists);
  EXPECT_TRUE(disk.IsReadyForLdmAnalysis());
  EXPECT_EQ(platform_.Opens.size(), 1u);
  EXPECT_EQ(platform_.Opens[0].Operation, "OpenFileForRead");
}

}  // namespace
}  // namespace kestrand
