// Disk image files for the probe, disk set and report frame tests: written
// once per test to temporary files and served by CImagePlatform.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/disk_image_builder.h"
#include "support/image_platform.h"
#include "support/ldm_loader_support.h"

namespace kestrand {

constexpr uint64_t kLdmAreaBytes = 0x100000;
constexpr uint64_t kImageBytes = 8u << 20;  // 16,384 sectors of 512 bytes

// An image file that lives as long as the object.
class ImageFile {
 public:
  explicit ImageFile(const CDiskImageBuilder& image) : file_(std::make_unique<CTempFile>("kestrand-probe")) {
    EXPECT_TRUE(image.WriteToFile(file_->Path()));
  }
  explicit ImageFile(const std::vector<uint8_t>& bytes) : file_(std::make_unique<CTempFile>("kestrand-ldm")) {
    CDiskImageBuilder image(bytes.size());
    image.WriteBytes(0, bytes.data(), bytes.size());
    EXPECT_TRUE(image.WriteToFile(file_->Path()));
  }
  const std::string& Path() const { return file_->Path(); }

 private:
  std::unique_ptr<CTempFile> file_;
};

// A dynamic MBR disk as the operating system leaves it: one partition of
// type 0x42 from sector 63, and a sound LDM area in the last megabyte.
inline CDiskImageBuilder DynamicMbrImage(uint32_t signature = 0x5e1f0042) {
  CDiskImageBuilder image(kImageBytes);
  uint32_t sectors = static_cast<uint32_t>(image.SectorCount());
  image.WriteMbr({MbrSlot{0x42, false, 63, sectors - 63 - 2048}, MbrSlot{}, MbrSlot{}, MbrSlot{}}, signature);
  std::vector<uint8_t> area = test::LdmAreaImage().Build();
  image.WriteBytes(kImageBytes - kLdmAreaBytes, area.data(), area.size());
  return image;
}

// A basic MBR disk with one NTFS partition.
inline CDiskImageBuilder BasicMbrImage(uint32_t signature = 0x0badcafe) {
  CDiskImageBuilder image(kImageBytes);
  image.WriteMbr({MbrSlot{0x07, true, 2048, 8192}, MbrSlot{}, MbrSlot{}, MbrSlot{}}, signature);
  return image;
}

// A partition table with no entry at all: the disk is raw.
inline CDiskImageBuilder EmptyMbrImage() {
  CDiskImageBuilder image(kImageBytes);
  image.WriteMbr({MbrSlot{}, MbrSlot{}, MbrSlot{}, MbrSlot{}}, 0x12345678);
  return image;
}

// A GPT disk with the given partitions.
inline CDiskImageBuilder GptImage(const std::vector<GptPartition>& partitions) {
  CDiskImageBuilder image(kImageBytes);
  GptOptions options;
  options.DiskId = GuidFromText("11111111-2222-3333-4444-555555555555");
  options.Partitions = partitions;
  image.WriteGpt(options);
  return image;
}

// Installs an image platform for the test; its disks are image files.
class ImageDisksTest : public ::testing::Test {
 protected:
  void SetUp() override { InstallPlatform(&platform_); }
  void TearDown() override { InstallPlatform(nullptr); }

  // Attaches `image` as device `number`, under `path` when one is given.
  ImageDisk& Add(const CDiskImageBuilder& image, uint32_t number = 0, const char16_t* path = nullptr) {
    files_.push_back(std::make_unique<ImageFile>(image));
    ImageDisk& disk = platform_.AddImage(files_.back()->Path(), number);
    if (path) {
      disk.DevicePath = path;
      disk.InstanceId = std::u16string(u"IMAGE\\") + path;
    }
    return disk;
  }

  CImagePlatform platform_;
  std::vector<std::unique_ptr<ImageFile>> files_;
};

}  // namespace kestrand
