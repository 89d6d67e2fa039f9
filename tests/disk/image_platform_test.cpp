// The image-backed test platform: disks answered from image files, injected
// failures, and the record of every open.
#include "support/image_platform.h"

#include <gtest/gtest.h>

#include <cstring>

#include "platform/status_codes.h"
#include "support/disk_image_builder.h"

namespace kestrand {
namespace {

class ImagePlatformTest : public ::testing::Test {
 protected:
  void SetUp() override {
    CDiskImageBuilder mbr(16 << 20);
    mbr.WriteMbr({MbrSlot{0x42, false, 63, 20000}, {}, {}, {}}, 0x01020304);
    mbr.WriteExtendedPartition(1, 21000, {{0x07, 100}});
    ASSERT_TRUE(mbr.WriteToFile(mbrFile_.Path()));
    CDiskImageBuilder gpt(16 << 20);
    GptOptions options;
    options.Partitions = {{kGptTypeLdmMetadata, {}, 34, 2081, 0, u"meta", -1},
                          {kGptTypeLdmData, {}, 2082, 30000, 0, u"data", -1}};
    gpt.WriteGpt(options);
    ASSERT_TRUE(gpt.WriteToFile(gptFile_.Path()));
    platform_.AddImage(mbrFile_.Path(), 2);
    platform_.AddImage(gptFile_.Path(), 0).Removable = true;
  }

  PlatformHandle MustOpen(const std::u16string& path) {
    PlatformHandle handle = kInvalidHandle;
    EXPECT_EQ(platform_.OpenDevice(path, handle), 0u);
    return handle;
  }

  CTempFile mbrFile_{"kestrand-mbr"};
  CTempFile gptFile_{"kestrand-gpt"};
  CImagePlatform platform_;
};

TEST_F(ImagePlatformTest, InterfacesInEnumerationOrderWithTheirNumbers) {
  std::vector<DiskInterface> disks;
  EXPECT_EQ(platform_.ListDiskInterfaces(disks), ERROR_NO_MORE_ITEMS_CODE);
  ASSERT_EQ(disks.size(), 2u);
  EXPECT_EQ(disks[0].DevicePath, u"image:2");
  EXPECT_EQ(disks[1].InstanceId, u"IMAGE\\0");
  PlatformHandle handle = MustOpen(u"image:2");
  uint32_t number = 0;
  EXPECT_EQ(platform_.GetDeviceNumber(handle, number), 0u);
  EXPECT_EQ(number, 2u);
  platform_.CloseDevice(handle);

  platform_.ListLimit = 1;
  platform_.ListEndCode = ERROR_NOT_ENOUGH_MEMORY_CODE;
  EXPECT_EQ(platform_.ListDiskInterfaces(disks), ERROR_NOT_ENOUGH_MEMORY_CODE);
  EXPECT_EQ(disks.size(), 1u);
}

TEST_F(ImagePlatformTest, DeviceQueriesComeFromTheImage) {
  PlatformHandle handle = MustOpen(u"image:0");
  DISK_GEOMETRY_EX geometry{};
  ASSERT_EQ(platform_.GetDriveGeometry(handle, geometry), 0u);
  EXPECT_EQ(geometry.Geometry.MediaType, MEDIA_TYPE_REMOVABLE);
  EXPECT_EQ(geometry.DiskSize, 16 << 20);
  PARTITION_INFORMATION_EX info{};
  ASSERT_EQ(platform_.GetPartitionInfo(handle, info), 0u);
  EXPECT_EQ(info.PartitionStyle, PARTITION_STYLE_GPT);
  std::vector<uint8_t> layout(624);
  ASSERT_EQ(platform_.GetDriveLayout(handle, layout.data(), 624), 0u);
  DRIVE_LAYOUT_INFORMATION_EX head;
  std::memcpy(&head, layout.data(), 48);
  EXPECT_EQ(head.PartitionCount, 2u);
  platform_.CloseDevice(handle);

  // Eight MBR entries need the second, larger buffer.
  handle = MustOpen(u"image:2");
  layout.assign(1200, 0);
  EXPECT_EQ(platform_.GetDriveLayout(handle, layout.data(), 624), ERROR_INSUFFICIENT_BUFFER_CODE);
  ASSERT_EQ(platform_.GetDriveLayout(handle, layout.data(), 1200), 0u);
  std::memcpy(&head, layout.data(), 48);
  EXPECT_EQ(head.PartitionCount, 8u);

  platform_.Disks[0].BytesPerPhysicalSector = 4096;
  platform_.Disks[0].FirstAlignedOffset = 3584;
  STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR alignment{};
  ASSERT_EQ(platform_.GetAccessAlignment(handle, alignment), 0u);
  EXPECT_EQ(alignment.BytesPerPhysicalSector, 4096u);
  EXPECT_EQ(alignment.BytesOffsetForSectorAlignment, 512u);
  platform_.CloseDevice(handle);
}

TEST_F(ImagePlatformTest, InjectedQueryFailures) {
  ImageDisk& disk = platform_.Disks[0];
  disk.DeviceNumberError = 50;
  disk.GeometryError = 1117;
  disk.AlignmentError = 1;
  disk.LayoutError = 21;
  disk.PartitionInfoError = 31;
  PlatformHandle handle = MustOpen(u"image:2");
  uint32_t number = 0;
  DISK_GEOMETRY_EX geometry;
  STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR alignment;
  PARTITION_INFORMATION_EX info;
  std::vector<uint8_t> layout(4096);
  EXPECT_EQ(platform_.GetDeviceNumber(handle, number), 50u);
  EXPECT_EQ(platform_.GetDriveGeometry(handle, geometry), 1117u);
  EXPECT_EQ(platform_.GetAccessAlignment(handle, alignment), 1u);
  EXPECT_EQ(platform_.GetDriveLayout(handle, layout.data(), 4096), 21u);
  EXPECT_EQ(platform_.GetPartitionInfo(handle, info), 31u);
  platform_.CloseDevice(handle);

  disk.OpenError = ERROR_ACCESS_DENIED_CODE;
  handle = 7;
  EXPECT_EQ(platform_.OpenDevice(u"image:2", handle), ERROR_ACCESS_DENIED_CODE);
  EXPECT_EQ(handle, kInvalidHandle);
  EXPECT_EQ(platform_.OpenDevice(u"image:9", handle), ERROR_FILE_NOT_FOUND_CODE);
  ASSERT_EQ(platform_.Opens.size(), 3u);  // refused and unknown opens are recorded too
  EXPECT_EQ(platform_.Opens[1].Path, mbrFile_.Path());
  EXPECT_EQ(platform_.Opens[2].Path, "image:9");
}

TEST_F(ImagePlatformTest, RawReadsAndTheirFailures) {
  PlatformHandle raw = kInvalidHandle;
  ASSERT_EQ(platform_.OpenDiskForRead(2, raw), 0);
  uint8_t sector[512];
  ASSERT_EQ(platform_.ReadAt(raw, 0, 512, sector), 0);
  EXPECT_EQ(sector[446 + 4], 0x42);
  EXPECT_EQ(platform_.ReadAt(raw, 16 << 20, 512, sector), STATUS_END_OF_FILE_CODE);
  platform_.Disks[0].RawReadStatus = STATUS_IO_DEVICE_ERROR_CODE;
  EXPECT_EQ(platform_.ReadAt(raw, 0, 512, sector), STATUS_IO_DEVICE_ERROR_CODE);
  platform_.CloseRead(raw);

  platform_.Disks[1].RawOpenStatus = STATUS_ACCESS_DENIED_CODE;
  EXPECT_EQ(platform_.OpenDiskForRead(0, raw), STATUS_ACCESS_DENIED_CODE);
  EXPECT_EQ(platform_.OpenDiskForRead(5, raw), STATUS_OBJECT_PATH_NOT_FOUND_CODE);
  EXPECT_EQ(platform_.OpenFileForRead(mbrFile_.Path() + ".missing", raw), STATUS_OBJECT_NAME_NOT_FOUND_CODE);
  EXPECT_EQ(platform_.ReadAt(raw, 0, 512, sector), STATUS_INVALID_HANDLE_CODE);
}

TEST_F(ImagePlatformTest, EveryOpenIsRecordedAsReadOnly) {
  PlatformHandle device = MustOpen(u"image:0");
  PlatformHandle raw = kInvalidHandle;
  PlatformHandle file = kInvalidHandle;
  ASSERT_EQ(platform_.OpenDiskForRead(0, raw), 0);
  ASSERT_EQ(platform_.OpenFileForRead(mbrFile_.Path(), file), 0);
  EXPECT_EQ(platform_.OpenHandleCount(), 3u);
  platform_.CloseDevice(device);
  platform_.CloseRead(raw);
  platform_.CloseRead(file);
  EXPECT_EQ(platform_.OpenHandleCount(), 0u);

  ASSERT_EQ(platform_.Opens.size(), 3u);
  EXPECT_EQ(platform_.Opens[0].Operation, "OpenDevice");
  EXPECT_EQ(platform_.Opens[0].Path, gptFile_.Path());
  EXPECT_EQ(platform_.Opens[2].Operation, "OpenFileForRead");
  EXPECT_TRUE(platform_.OnlyReadOpens());
  platform_.Opens.push_back({"sneaky", "x", std::ios::out});
  EXPECT_FALSE(platform_.OnlyReadOpens());
}

}  // namespace
}  // namespace kestrand
