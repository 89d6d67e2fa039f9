// The Windows platform against the host it runs on (a Windows machine or
// wine): raw reads of a file it owns, refused writes, and the answers that
// hold on any host without needing a disk.
#ifdef _WIN32

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "platform/windows/windows_api.h"
#include "platform/windows/windows_platform.h"

namespace kestrand {
namespace {

class WindowsRawReadTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char directory[MAX_PATH] = {};
    ASSERT_NE(GetTempPathA(MAX_PATH, directory), 0u);
    char name[MAX_PATH] = {};
    ASSERT_NE(GetTempFileNameA(directory, "kst", 0, name), 0u);
    fileName_ = name;
    std::FILE* file = std::fopen(name, "wb");
    ASSERT_NE(file, nullptr);
    for (int i = 0; i < 1024; ++i) std::fputc(i & 0xFF, file);
    std::fclose(file);
  }
  void TearDown() override {
    if (!fileName_.empty()) DeleteFileA(fileName_.c_str());
  }

  CWindowsPlatform platform_;
  std::string fileName_;
};

TEST_F(WindowsRawReadTest, ReadsAtByteOffsets) {
  PlatformHandle handle = kInvalidHandle;
  ASSERT_EQ(platform_.OpenFileForRead(fileName_, handle), STATUS_SUCCESS_CODE);
  ASSERT_NE(handle, kInvalidHandle);
  std::vector<uint8_t> sector(512, 0xEE);
  EXPECT_EQ(platform_.ReadAt(handle, 512, 512, sector.data()), STATUS_SUCCESS_CODE);
  for (size_t i = 0; i < sector.size(); ++i) ASSERT_EQ(sector[i], i & 0xFF) << i;
  platform_.CloseRead(handle);
}

TEST_F(WindowsRawReadTest, ShortReadSucceedsAndLeavesTheRest) {
  PlatformHandle handle = kInvalidHandle;
  ASSERT_EQ(platform_.OpenFileForRead(fileName_, handle), STATUS_SUCCESS_CODE);
  std::vector<uint8_t> buffer(512, 0xEE);
  EXPECT_EQ(platform_.ReadAt(handle, 768, 512, buffer.data()), STATUS_SUCCESS_CODE);
  EXPECT_EQ(buffer[0], 0x00);
  EXPECT_EQ(buffer[255], 0xFF);
  EXPECT_EQ(buffer[256], 0xEE);
  EXPECT_EQ(platform_.ReadAt(handle, 1024, 512, buffer.data()), STATUS_END_OF_FILE_CODE);
  platform_.CloseRead(handle);
}

TEST_F(WindowsRawReadTest, ReadHandleCannotWrite) {
  PlatformHandle handle = kInvalidHandle;
  ASSERT_EQ(platform_.OpenFileForRead(fileName_, handle), STATUS_SUCCESS_CODE);
  const char byte = 'x';
  DWORD written = 0;
  EXPECT_FALSE(WriteFile(ToHandle(handle), &byte, 1, &written, nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_ACCESS_DENIED));
  // Others may read the file meanwhile, but not write it.
  HANDLE writer = CreateFileA(fileName_.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_EXISTING, 0, nullptr);
  EXPECT_EQ(writer, INVALID_HANDLE_VALUE);
  if (writer != INVALID_HANDLE_VALUE) CloseHandle(writer);
  platform_.CloseRead(handle);
}

TEST_F(WindowsRawReadTest, MissingFilesGiveTheirNtStatus) {
  PlatformHandle handle = kInvalidHandle;
  EXPECT_EQ(platform_.OpenFileForRead(fileName_ + ".missing", handle),
            STATUS_OBJECT_NAME_NOT_FOUND_CODE);
  EXPECT_EQ(handle, kInvalidHandle);
  EXPECT_EQ(platform_.OpenFileForRead(fileName_ + ".missing\\file.ldm", handle),
            STATUS_OBJECT_PATH_NOT_FOUND_CODE);
  EXPECT_EQ(handle, kInvalidHandle);
  // An empty name fails before any NT call; it must still be a failure.
  EXPECT_LT(platform_.OpenFileForRead("", handle), 0);
  EXPECT_EQ(handle, kInvalidHandle);
}

TEST(WindowsPlatformTest, AbsentDiskAndInvalidHandleFailToRead) {
  CWindowsPlatform platform;
  PlatformHandle handle = kInvalidHandle;
  EXPECT_LT(platform.OpenDiskForRead(987654, handle), 0);
  EXPECT_EQ(handle, kInvalidHandle);
  uint8_t buffer[512];
  EXPECT_EQ(platform.ReadAt(kInvalidHandle, 0, sizeof(buffer), buffer), STATUS_INVALID_HANDLE_CODE);
}

TEST(WindowsPlatformTest, HandlesConvertBothWays) {
  EXPECT_EQ(FromHandle(INVALID_HANDLE_VALUE), kInvalidHandle);
  EXPECT_EQ(ToHandle(kInvalidHandle), INVALID_HANDLE_VALUE);
  HANDLE process = GetCurrentProcess();
  EXPECT_EQ(ToHandle(FromHandle(process)), process);
}

TEST(WindowsPlatformTest, UnknownDynamicVolumeHasNoName) {
  CWindowsPlatform platform;
  const GUID unknown = {0x0BADF00D, 0x1234, 0x5678, {1, 2, 3, 4, 5, 6, 7, 8}};
  std::u16string name = u"stale";
  EXPECT_NE(platform.QueryDynamicVolumeName(unknown, name), 0u);
  EXPECT_TRUE(name.empty());
}

TEST(WindowsPlatformTest, DiskListingRunsToItsEnd) {
  CWindowsPlatform platform;
  std::vector<DiskInterface> disks;
  EXPECT_EQ(platform.ListDiskInterfaces(disks), ERROR_NO_MORE_ITEMS_CODE);
  for (const DiskInterface& disk : disks) {
    EXPECT_FALSE(disk.InstanceId.empty());
    EXPECT_FALSE(disk.DevicePath.empty());
  }
}

TEST(WindowsPlatformTest, VolumesAreGuidPaths) {
  CWindowsPlatform platform;
  std::vector<VolumeMounts> volumes;
  const WIN32_ERROR code = platform.ListVolumes(volumes);
  if (code != 0) GTEST_SKIP() << "no volume listing on this host: " << code;
  for (const VolumeMounts& volume : volumes) {
    EXPECT_EQ(volume.VolumeName.rfind(u"\\\\?\\Volume{", 0), 0u);
    for (const std::u16string& path : volume.Paths) EXPECT_FALSE(path.empty());
  }
}

TEST(WindowsPlatformTest, SystemDriveLetterHasADevice) {
  CWindowsPlatform platform;
  char directory[MAX_PATH] = {};
  ASSERT_NE(GetSystemDirectoryA(directory, MAX_PATH), 0u);
  std::u16string device;
  ASSERT_EQ(platform.QueryDosDevice(static_cast<char16_t>(directory[0]), device), 0u);
  EXPECT_EQ(device.rfind(u"\\", 0), 0u);
  EXPECT_EQ(platform.GetDriveType(static_cast<char16_t>(directory[0])), static_cast<uint32_t>(DRIVE_FIXED));
}

TEST(WindowsPlatformTest, HostFactsAreFilled) {
  CWindowsPlatform platform;
  std::u16string name;
  EXPECT_EQ(platform.GetComputerName(name), 0u);
  EXPECT_FALSE(name.empty());
  EXPECT_GE(platform.GetVersion().Major, 5u);
  EXPECT_GE(platform.GetProcessorInfo().Count, 1u);
  // Exactly one of workstation, server and domain controller.
  int types = 0;
  for (uint8_t type : {1, 2, 3}) types += platform.IsProductType(type) ? 1 : 0;
  EXPECT_EQ(types, 1);
}

TEST(WindowsPlatformTest, MissingPackIdLeavesNoText) {
  CWindowsPlatform platform;
  std::u16string value = u"stale";
  const NTSTATUS status = platform.QueryPrimaryPackId(value);
  if (status < 0) {
    EXPECT_TRUE(value.empty());
  }
}

TEST(WindowsPlatformTest, ErrorModeIsSwappedAndRestored) {
  CWindowsPlatform platform;
  const uint32_t original = platform.SetErrorMode(0x8001);
  EXPECT_EQ(platform.SetErrorMode(original), 0x8001u);
}

}  // namespace
}  // namespace kestrand

#endif  // _WIN32
