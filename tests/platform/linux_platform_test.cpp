// The Linux platform against trees of its own (sysfs, /proc, /dev stand-ins).
#if defined(__linux__)

#include "platform/linux/linux_platform.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>
#include <tuple>

#include "platform/linux/linux_internal.h"
#include "platform/stream_write.h"
#include "support/disk_image_builder.h"
#include "driver/kestrand.h"
#include "support/golden.h"
#include "support/image_platform.h"
#include "support/run_binary.h"

namespace kestrand {
namespace {

namespace fs = std::filesystem;

// A scratch directory with helpers to fill it; removed with the object.
class TempTree : public test::TempDir {
 public:
  void Write(const std::string& relative, const std::string& content) const {
    fs::create_directories(fs::path(File(relative)).parent_path());
    std::ofstream(File(relative), std::ios::binary) << content;
  }
  void Link(const std::string& relative, const std::string& target) const {
    fs::create_directories(fs::path(File(relative)).parent_path());
    fs::create_directory_symlink(target, File(relative));
  }
};

// One row per distinct answer: the codes a user sees in the error report.
TEST(ErrnoStatusTest, FailedCallsMapToWindowsCodes) {
  // EDOM: anything else.
  const std::tuple<int, WIN32_ERROR, uint32_t> cases[] = {
      {0, 0, 0},                   {ENOENT, 2, 0xC0000034},  {EACCES, 5, 0xC0000022},         {EIO, 31, 0xC0000185},
      {ENXIO, 21, 0xC000000E},     {EINVAL, 87, 0xC000000D}, {ENOTDIR, 3, 0xC000003A},        {EISDIR, 5, 0xC00000BA},
      {ENODEV, 2, 0xC000000E},     {EBUSY, 32, 0xC0000043},  {ENOMEDIUM, 21, 0xC0000013},     {ENOMEM, 8, 0xC000009A},
      {EMFILE, 4, 0xC000011F},     {EBADF, 6, 0xC0000008},   {ENAMETOOLONG, 206, 0xC0000106}, {ELOOP, 1921, 0xC0000280},
      {ENOTTY, 1, 0xC0000001},     {EDOM, 31, 0xC0000001}};
  for (const auto& [error, code, status] : cases) {
    EXPECT_EQ(Win32FromErrno(error), code) << std::strerror(error);
    EXPECT_EQ(static_cast<uint32_t>(NtStatusFromErrno(error)), status) << std::strerror(error);
  }
}

// A sysfs block directory: device number, size in 512-byte units, removable.
void AddBlock(const TempTree& tree, const std::string& name, const std::string& dev, const std::string& size,
              const std::string& removable = "0") {
  tree.Write("sys/block/" + name + "/dev", dev + "\n");
  tree.Write("sys/block/" + name + "/size", size + "\n");
  tree.Write("sys/block/" + name + "/removable", removable + "\n");
}

class DiskListingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    // sda lives in the device tree and is linked from /sys/block, as on a
    // real system.
    const std::string sdaDir = "sys/devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda";
    for (const auto& [file, value] : {std::pair{"/dev", "8:0\n"}, {"/size", "16384\n"}, {"/removable", "0\n"},
                                      {"/device/type", "0\n"}})
      tree_.Write(sdaDir + file, value);
    tree_.Link("sys/block/sda", "../devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda");

    AddBlock(tree_, "sdb", "8:16", "0");  // a card reader without a card
    AddBlock(tree_, "sdc", "8:32", "2048");
    tree_.Write("sys/block/sdc/device/type", "5\n");  // an optical drive by SCSI type
    AddBlock(tree_, "sdd", "8:48", "16384", "1");    // a USB stick
    // Not whole disks with media: loop0 has no backing file.
    for (const auto& [name, dev] : {std::pair{"ram0", "1:0"}, {"zram0", "253:0"}, {"dm-0", "252:0"}, {"md127", "9:127"},
                                    {"loop0", "7:0"}})
      AddBlock(tree_, name, dev, "8192");
    AddBlock(tree_, "sr0", "11:0", "2048", "1");
    for (const char* loop : {"loop10", "loop2"}) {  // by number, not by name
      AddBlock(tree_, loop, std::string("7:") + (loop + 4), "8192");
      tree_.Write(std::string("sys/block/") + loop + "/loop/backing_file", "/images/disk.img\n");
    }
    AddBlock(tree_, "vda", "254:0", "16384");
    AddBlock(tree_, "nvme0n1", "259:0", "16384");
    AddBlock(tree_, "broken", "not-a-number", "16384");

    // The device nodes are image files here.
    fs::create_directories(tree_.File("dev"));
    CDiskImageBuilder image(8 << 20);
    image.WriteMbr({MbrSlot{0x42, false, 63, 16000}, {}, {}, {}}, 0xA1B2C3D4);
    for (const char* name : {"sda", "sdd", "loop2", "loop10", "vda", "nvme0n1"})
      ASSERT_TRUE(image.WriteToFile(tree_.File(std::string("dev/") + name)));
  }

  CLinuxPlatform Platform() { return CLinuxPlatform(tree_.File("sys"), tree_.File("proc"), tree_.File("dev")); }

  TempTree tree_;
};

// The whole report of the fixture host (its disks, their tables and LDM
// areas, the mount table) from the mount points on (the host section tells
// this machine's name and version): a golden.
TEST_F(DiskListingTest, TheReportOfTheFixtureHost) {
  tree_.Write("proc/self/mountinfo",
              "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n29 27 8:0 / /boot rw - ext4 /dev/sda rw\n");
  AddBlock(tree_, "sde", "8:64", "100");
  tree_.Write("dev/sde", "");  // an empty file in place of a disk
  CLinuxPlatform platform = Platform();
  ScopedPlatform installed(platform);
  const char* argv[] = {"kestrand"};
  std::string text = test::CaptureText([&](FILE* out) { EXPECT_EQ(RunKestrand(1, argv, out, out), 0); });
  test::CheckGolden("linux/fixture-host.txt", text.substr(std::min(text.find("Mount Points"), text.size())));
}

TEST_F(DiskListingTest, WholeDisksWithMediaInDeviceNumberOrder) {
  CLinuxPlatform platform = Platform();
  std::vector<DiskInterface> disks;
  EXPECT_EQ(platform.ListDiskInterfaces(disks), ERROR_NO_MORE_ITEMS_CODE);
  std::vector<std::u16string> paths;
  for (const DiskInterface& disk : disks) paths.push_back(disk.DevicePath);
  const std::u16string dev = Utf8ToUtf16(tree_.File("dev"));
  EXPECT_EQ(paths, (std::vector<std::u16string>{dev + u"/loop2", dev + u"/loop10", dev + u"/sda", dev + u"/sdd",
                                                 dev + u"/vda", dev + u"/nvme0n1"}));
  EXPECT_EQ(disks[2].InstanceId, u"devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda");
  EXPECT_EQ(disks[0].InstanceId, u"block/loop2");
}

// Every handle is read-only and none is passed on to a child; a handle may
// be 0 when standard input is closed.
TEST_F(DiskListingTest, OpenedDeviceAnswersWithItsPositionAndTable) {
  CLinuxPlatform platform = Platform();
  std::vector<DiskInterface> disks;
  platform.ListDiskInterfaces(disks);
  ASSERT_EQ(disks.size(), 6u);
  const int input = dup(0);
  close(0);
  PlatformHandle handle = kInvalidHandle, raw = kInvalidHandle, file = kInvalidHandle;
  EXPECT_EQ(platform.OpenFileForRead(tree_.File("dev/sda"), file), 0);
  EXPECT_EQ(file, 0);
  uint32_t number = 99;
  ASSERT_EQ(platform.OpenDevice(disks[3].DevicePath, handle), 0u);
  ASSERT_EQ(platform.OpenDiskForRead(1, raw), 0);
  for (PlatformHandle h : {handle, raw, file}) {
    EXPECT_EQ(fcntl(static_cast<int>(h), F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_NE(fcntl(static_cast<int>(h), F_GETFD) & FD_CLOEXEC, 0);
  }
  platform.CloseRead(raw);
  platform.CloseRead(file);
  // Closed when given back; a descriptor that never was the platform's stays open.
  EXPECT_EQ(fcntl(static_cast<int>(raw), F_GETFD), -1);
  platform.CloseRead(static_cast<PlatformHandle>(input));
  EXPECT_NE(fcntl(input, F_GETFD), -1);
  dup2(input, 0);
  close(input);
  EXPECT_EQ(platform.GetDeviceNumber(handle, number), 0u);
  EXPECT_EQ(number, 3u);

  // The report of the fixture host shows the geometry, table and partition
  // information; what it cannot show: a layout buffer one byte short.
  std::vector<uint8_t> layout(624);
  EXPECT_EQ(platform.GetDriveLayout(handle, layout.data(), 47 + 144 * 4), ERROR_INSUFFICIENT_BUFFER_CODE);
  platform.CloseDevice(handle);
  EXPECT_EQ(platform.GetDeviceNumber(handle, number), ERROR_INVALID_HANDLE_CODE);
  EXPECT_EQ(platform.OpenDiskForRead(6, handle), STATUS_OBJECT_PATH_NOT_FOUND_CODE);
}

// A disk added after the listing is found by listing again; files that are
// no listed disk have no number; without sysfs the listing ends with its code.
TEST_F(DiskListingTest, NumbersOfLaterDisksAndOtherFiles) {
  CLinuxPlatform platform = Platform();
  std::vector<DiskInterface> disks;
  platform.ListDiskInterfaces(disks);
  AddBlock(tree_, "sde", "8:64", "100");
  tree_.Write("dev/sde", std::string(512, '\0'));
  tree_.Write("elsewhere.img", std::string(4096, '\0'));
  for (const auto& [file, code, number] : {std::tuple{"dev/sde", 0u, 4u}, {"elsewhere.img", 1u, 99u}}) {
    PlatformHandle handle = kInvalidHandle;
    ASSERT_EQ(platform.OpenDevice(Utf8ToUtf16(tree_.File(file)), handle), 0u);
    uint32_t found = 99;
    EXPECT_EQ(platform.GetDeviceNumber(handle, found), code) << file;  // sde: between sdd (8:48) and vda
    EXPECT_EQ(found, number) << file;
    platform.CloseDevice(handle);
  }
  PlatformHandle handle = kInvalidHandle;
  EXPECT_EQ(platform.OpenDevice(Utf8ToUtf16(tree_.File("dev/nothing")), handle), ERROR_FILE_NOT_FOUND_CODE);
  EXPECT_EQ(handle, kInvalidHandle);
  EXPECT_EQ(platform.OpenDevice(Utf8ToUtf16(tree_.File("dev")), handle), ERROR_ACCESS_DENIED_CODE);

  CLinuxPlatform noSys(tree_.File("nosys"), tree_.File("proc"), tree_.File("dev"));
  disks = {{u"stale", u"stale"}};
  EXPECT_EQ(noSys.ListDiskInterfaces(disks), ERROR_FILE_NOT_FOUND_CODE);
  EXPECT_TRUE(disks.empty());
}

TEST(FileReadTest, ReadsInsideAcrossAndBeyondTheEndAndRefusesTheRest) {
  TempTree tree;
  std::string bytes(1000, '\0');
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7);
  tree.Write("ldm.bin", bytes);
  CLinuxPlatform platform;
  PlatformHandle handle = kInvalidHandle, other = kInvalidHandle;
  ASSERT_EQ(platform.OpenFileForRead(tree.File("ldm.bin"), handle), 0);
  std::vector<uint8_t> buffer(512, 0xCC);
  ASSERT_EQ(platform.ReadAt(handle, 900, 512, buffer.data(), nullptr), 0);  // transfers 100 bytes
  EXPECT_EQ(buffer[0], static_cast<uint8_t>(900 * 7));
  EXPECT_EQ(buffer[99], static_cast<uint8_t>(999 * 7));
  EXPECT_EQ(buffer[100], 0xCC);
  EXPECT_EQ(platform.ReadAt(handle, 1000, 512, buffer.data(), nullptr), STATUS_END_OF_FILE_CODE);
  EXPECT_EQ(platform.ReadAt(handle, int64_t{1} << 40, 512, buffer.data(), nullptr), STATUS_END_OF_FILE_CODE);
  EXPECT_EQ(platform.ReadAt(handle, -512, 512, buffer.data(), nullptr), STATUS_INVALID_PARAMETER_CODE);
  EXPECT_EQ(platform.ReadAt(handle, INT64_MAX - 100, 512, buffer.data(), nullptr), STATUS_INVALID_PARAMETER_CODE);
  platform.CloseRead(handle);

  EXPECT_EQ(platform.OpenFileForRead(tree.File("missing.bin"), other), STATUS_OBJECT_NAME_NOT_FOUND_CODE);
  EXPECT_EQ(platform.OpenFileForRead(tree.File("ldm.bin/below"), other), STATUS_OBJECT_PATH_NOT_FOUND_CODE);
  EXPECT_EQ(platform.OpenFileForRead(tree.Path(), other), STATUS_FILE_IS_A_DIRECTORY_CODE);
  EXPECT_EQ(other, kInvalidHandle);
  EXPECT_EQ(platform.ReadAt(handle, 0, 1, buffer.data(), nullptr), STATUS_INVALID_HANDLE_CODE);  // closed
  EXPECT_EQ(platform.ReadAt(kInvalidHandle, 0, 1, buffer.data(), nullptr), STATUS_INVALID_HANDLE_CODE);
  EXPECT_EQ(platform.ReadAt(0, 0, 1, buffer.data(), nullptr), STATUS_INVALID_HANDLE_CODE);  // stdin was never ours
  if (geteuid() == 0) return;  // root reads every file
  tree.Write("secret.bin", "x");
  fs::permissions(tree.File("secret.bin"), fs::perms::none);
  EXPECT_EQ(platform.OpenFileForRead(tree.File("secret.bin"), other), STATUS_ACCESS_DENIED_CODE);
}

TEST(MountInfoTest, FieldsEscapesAndOptionalFields) {
  const std::string text =
      "27 1 254:1 / / rw,relatime shared:1 - ext4 /dev/vda1 rw\n"
      "4 27 254:1 /data /mnt/my\\040disk\\011tab\\134x rw master:3 shared:9 - ext4 /dev/vda1 rw\n"
      "41 27 0:23 / /run rw - tmpfs tmpfs rw\n"
      "garbage line\n"
      "42 27 8:1 / /no-separator rw ext4 /dev/sda1 rw\n"
      "43 27 x:y / /bad-number rw - ext4 /dev/sda1 rw\n"
      "44 27 0:45 / /srv rw - btrfs /dev/sdb\\0401 rw";
  const std::vector<MountInfoEntry> entries = ParseMountInfo(text);
  std::string shown;
  for (const MountInfoEntry& e : entries)
    shown += std::to_string(e.Major) + ":" + std::to_string(e.Minor) + " " + e.MountPoint + "|" + e.FsType + "|" +
             e.Source + "\n";
  EXPECT_EQ(shown, "254:1 /|ext4|/dev/vda1\n254:1 /mnt/my disk\ttab\\x|ext4|/dev/vda1\n0:23 /run|tmpfs|tmpfs\n"
                   "0:45 /srv|btrfs|/dev/sdb 1\n");
}

TEST(MountInfoTest, EscapesThatAreNotThreeOctalDigitsStay) {
  // Cut short, a digit that is no octal one in any place, beyond one byte.
  for (const char* kept : {"a\\04", "\\", "\\04", "a\\089", "\\/12", "\\1/2", "\\12/", "\\777", "\\400"})
    EXPECT_EQ(DecodeMountField(kept), kept);
  EXPECT_EQ(DecodeMountField("\\303\\251\\0401\\377"), "\xC3\xA9 1\xFF");
}

// The mapper folder is read again only when it may have changed: when it is
// another folder, or its change time moved, or its last change came too
// close to the last reading for its time stamp to tell a later one apart.
TEST(MountInfoTest, MapperFolderIsReadAgainWhenItMayHaveChanged) {
  TempTree tree;
  tree.Write("mapper/control", "");
  // Change times of this test's folders come in nanoseconds: a step of none.
  CMapperFolder folder(tree.File("mapper"), 0);
  auto settle = [] { std::this_thread::sleep_for(std::chrono::milliseconds(30)); };  // past a clock tick
  settle();
  EXPECT_FALSE(folder.AnyDevice());
  EXPECT_FALSE(folder.AnyDevice());
  EXPECT_EQ(folder.Readings(), 1u);  // unchanged: the answer of the reading
  tree.Write("mapper/vg-root", "");
  EXPECT_TRUE(folder.AnyDevice());
  EXPECT_EQ(folder.Readings(), 2u);
  settle();
  // Read once more when the change fell in the clock tick in which that
  // reading began, then no more.
  EXPECT_TRUE(folder.AnyDevice());
  const uint64_t settled = folder.Readings();
  EXPECT_LE(settled, 3u);
  EXPECT_TRUE(folder.AnyDevice());
  EXPECT_EQ(folder.Readings(), settled);
  std::filesystem::rename(tree.File("mapper"), tree.File("mapper.old"));
  tree.Write("mapper/control", "");
  EXPECT_FALSE(folder.AnyDevice());  // another folder
  EXPECT_EQ(folder.Readings(), settled + 1);
  std::filesystem::remove_all(tree.File("mapper"));
  EXPECT_FALSE(folder.AnyDevice());
  // With the file systems' coarsest step, a folder changed just now is read at every ask.
  CMapperFolder coarse(tree.File("mapper.old"));
  EXPECT_TRUE(coarse.AnyDevice());
  EXPECT_TRUE(coarse.AnyDevice());
  EXPECT_EQ(coarse.Readings(), 2u);
}

// Volumes group mounts by block source, in table order; dynamic volumes are
// named by the device mapper.
TEST(MountInfoTest, VolumesAndDynamicVolumeNames) {
  TempTree tree;
  tree.Write("proc/self/mountinfo",
             "27 1 254:1 / / rw - ext4 /dev/vda1 rw\n"
             "28 27 0:23 / /run rw - tmpfs tmpfs rw\n"
             "29 27 254:2 / /boot rw - ext4 /dev/vda2 rw\n"
             "30 27 254:1 /srv /mnt/caf\\303\\251\\040bar rw - ext4 /dev/vda1 rw\n"
             "31 27 0:45 / /btr rw - btrfs /dev/sdz1 rw\n"
             "32 27 0:46 / /hole rw - fuse /devices rw\n"
             "33 27 0:47 / /file rw - btrfs /dev/sdz2 rw\n"
             "34 27 0:48 / /node rw - btrfs /dev/sdz3 rw\n");
  // Anonymous numbers: sdz1 has no node, sdz2 is a plain file, sdz3 a block
  // node (one of the host's, when it has one).
  tree.Write("dev/sdz2", "");
  std::string host;
  for (const auto& entry : fs::directory_iterator("/dev"))
    if (host.empty() && entry.is_block_file()) host = entry.path().string();
  if (!host.empty()) tree.Link("dev/sdz3", host);
  CLinuxPlatform platform(tree.File("sys"), tree.File("proc"), tree.File("dev"));
  std::vector<VolumeMounts> volumes;
  ASSERT_EQ(platform.ListVolumes(volumes), 0u);
  std::u16string shown;
  for (const VolumeMounts& volume : volumes) {
    shown += volume.VolumeName + u":";
    for (const std::u16string& path : volume.Paths) shown += u" " + path;
    shown += u"\n";
  }
  EXPECT_EQ(shown, u"/dev/vda1: / /mnt/caf\u00e9 bar\n/dev/vda2: /boot\n" +
                       std::u16string(host.empty() ? u"" : u"/dev/sdz3: /node\n"));

  CLinuxPlatform noProc(tree.File("sys"), tree.File("noproc"), tree.File("dev"));
  EXPECT_EQ(noProc.ListVolumes(volumes), ERROR_FILE_NOT_FOUND_CODE);

  // A dynamic volume's device: the mapper device whose uuid names the volume GUID.
  const GUID volume = GuidFromText("a7e5c2d1-0b3f-4e6a-9c8d-112233445566");
  tree.Write("sys/block/dm-0/dm/uuid", "LVM-Zq0bXkqV0e3Kp2Fz\n");
  tree.Write("sys/block/dm-0/dm/name", "vg-root\n");
  tree.Write("sys/block/dm-1/dm/uuid", "LDM-Volume-One-A7E5C2D1-0B3F-4E6A-9C8D-112233445566\n");
  tree.Write("sys/block/dm-1/dm/name", "ldm_vol_Red-nzv8x6obywgDg0_Volume-One\n");
  tree.Write("sys/block/dm-2/dm/uuid", "LDM-Volume2-00000000-0000-0000-0000-000000000002\n");
  tree.Write("sys/block/dm-2/dm/name", "ldm_vol_Red_Volume2\n");
  tree.Write("sys/block/sda/dm/uuid", "LDM-Volume9-a7e5c2d1-0b3f-4e6a-9c8d-112233445566\n");
  tree.Write("dev/mapper/control", "");

  std::u16string name;
  EXPECT_EQ(platform.QueryDynamicVolumeName(volume, name), ERROR_FILE_NOT_FOUND_CODE);  // no mapper device
  tree.Write("dev/mapper/vg-root", "");
  EXPECT_EQ(platform.QueryDynamicVolumeName(volume, name), 0u);
  EXPECT_EQ(name, Utf8ToUtf16(tree.File("dev") + "/mapper/ldm_vol_Red-nzv8x6obywgDg0_Volume-One"));
  // Each ask sees the folder as it is now, also after it was removed and
  // made anew.
  std::filesystem::remove(tree.File("dev/mapper/vg-root"));
  EXPECT_EQ(platform.QueryDynamicVolumeName(volume, name), ERROR_FILE_NOT_FOUND_CODE);
  std::filesystem::remove_all(tree.File("dev/mapper"));
  EXPECT_EQ(platform.QueryDynamicVolumeName(volume, name), ERROR_FILE_NOT_FOUND_CODE);
  tree.Write("dev/mapper/control", "");
  tree.Write("dev/mapper/vg-root", "");
  EXPECT_EQ(platform.QueryDynamicVolumeName(volume, name), 0u);
  // Asks between changes answer alike; an entry moved out or in, and a
  // folder moved away for another, are seen at the next ask.
  std::filesystem::rename(tree.File("dev/mapper/vg-root"), tree.File("dev/vg-root"));
  EXPECT_EQ(platform.QueryDynamicVolumeName(volume, name), ERROR_FILE_NOT_FOUND_CODE);
  EXPECT_EQ(platform.QueryDynamicVolumeName(volume, name), ERROR_FILE_NOT_FOUND_CODE);
  std::filesystem::rename(tree.File("dev/vg-root"), tree.File("dev/mapper/vg-root"));
  EXPECT_EQ(platform.QueryDynamicVolumeName(volume, name), 0u);
  EXPECT_EQ(platform.QueryDynamicVolumeName(volume, name), 0u);
  std::filesystem::rename(tree.File("dev/mapper"), tree.File("dev/mapper.old"));
  tree.Write("dev/mapper/control", "");
  EXPECT_EQ(platform.QueryDynamicVolumeName(volume, name), ERROR_FILE_NOT_FOUND_CODE);
  std::filesystem::remove_all(tree.File("dev/mapper"));
  std::filesystem::rename(tree.File("dev/mapper.old"), tree.File("dev/mapper"));
  EXPECT_EQ(platform.QueryDynamicVolumeName(volume, name), 0u);
  CLinuxPlatform noMapper(tree.File("sys"), tree.File("proc"), tree.File("sys"));  // a <dev> without mapper/
  EXPECT_EQ(noMapper.QueryDynamicVolumeName(volume, name), ERROR_FILE_NOT_FOUND_CODE);
  EXPECT_EQ(platform.QueryDynamicVolumeName(GuidFromText("a7e5c2d1-0b3f-4e6a-9c8d-112233445567"), name),
            ERROR_FILE_NOT_FOUND_CODE);
  EXPECT_TRUE(name.empty());

  // Shapes that are no LDM volume's: no volume name, no separator, not LDM, more after the GUID.
  const std::string guid = "a7e5c2d1-0b3f-4e6a-9c8d-112233445566";
  EXPECT_TRUE(IsLdmVolumeUuid("LDM-V-" + guid, guid));
  for (const std::string& uuid : {"LDM-" + guid, "LDM-V" + guid, "LVM-V-" + guid, "LDM-V-" + guid + "x"})
    EXPECT_FALSE(IsLdmVolumeUuid(uuid, guid)) << uuid;
  EXPECT_EQ(GuidToLowerText(GuidFromText("ABCDEF01-2345-6789-ABCD-EF0123456789")),
            "abcdef01-2345-6789-abcd-ef0123456789");
}

TEST(HostFactsTest, KernelReleaseAndMachineName) {
  struct Case {
    const char* release;
    uint32_t major, minor, build;
    std::u16string rest;
  };
  const Case cases[] = {{"6.1.0-18-amd64", 6, 1, 0, u"-18-amd64"},   {"6.18.44-fc-v657", 6, 18, 44, u"-fc-v657"},
                        {"5.10", 5, 10, 0, u""},                       {"4.19.0+", 4, 19, 0, u"+"},
                        {"3.10.0.1160.el7", 3, 10, 0, u".1160.el7"},   {"6.", 6, 0, 0, u"."},
                        {"6.rc1", 6, 0, 0, u".rc1"},                   {"custom", 0, 0, 0, u"custom"},
                        {"99999999999.1.2", 0xFFFFFFFFu, 1, 2, u""},   {"10.20.300", 10, 20, 300, u""}};
  for (const Case& c : cases) {
    const OsVersion v = ParseKernelRelease(c.release);
    EXPECT_EQ(std::tuple(v.Major, v.Minor, v.Build, v.ServicePack), std::tuple(c.major, c.minor, c.build, c.rest))
        << c.release;
  }
  // Machine names become architecture codes; i786 is no known x86 name.
  for (const auto& [machine, code] : {std::pair{"x86_64", 9}, {"aarch64", 12}, {"ia64", 6}, {"i386", 0}, {"i486", 0},
                                      {"i586", 0}, {"i686", 0}, {"i786", 0xFFFF}, {"i286", 0xFFFF}, {"i3866", 0xFFFF},
                                      {"", 0xFFFF}})
    EXPECT_EQ(ArchitectureFromMachine(machine), code) << machine;

  // The live run shows the host section; what it cannot show: no registry, no
  // drive letters, the error mode kept.
  CLinuxPlatform platform;
  std::u16string packId = u"x", device = u"old";
  EXPECT_EQ(platform.QueryPrimaryPackId(packId), STATUS_OBJECT_NAME_NOT_FOUND_CODE);
  const uint32_t before = platform.SetErrorMode(0x8001);
  EXPECT_EQ(platform.SetErrorMode(before), 0x8001u);
  EXPECT_EQ(platform.QueryDosDevice(u'C', device), ERROR_FILE_NOT_FOUND_CODE);
  EXPECT_TRUE(device.empty());
  EXPECT_EQ(platform.GetDriveType(u'C'), 1u);
}

// Pieces go to a file after what its stream holds, in order, also past the
// number one system call takes; a stream that takes no bytes fails.
TEST(StreamWriteTest, PiecesFollowTheBufferedBytesAndAShortWriteFails) {
  TempTree tree;
  std::string text;
  for (int i = 0; i < 3000; ++i) text += std::to_string(i) + ",";
  std::vector<StreamPiece> pieces;
  for (size_t at = 0, length = 1; at < text.size(); at += length, length = length % 7 + 1)
    pieces.push_back(StreamPiece{text.data() + at, std::min(length, text.size() - at)});
  pieces.insert(pieces.begin() + 5, StreamPiece{"", 0});

  FILE* file = std::fopen(tree.File("whole").c_str(), "w");
  ASSERT_NE(file, nullptr);
  std::fputs("head:", file);
  EXPECT_TRUE(WritePieces(file, pieces.data(), pieces.size()));
  std::fputs(":tail", file);
  std::fclose(file);
  EXPECT_EQ(test::ReadFileBytes(tree.File("whole")), "head:" + text + ":tail");

  FILE* readOnly = std::fopen(tree.File("whole").c_str(), "r");
  EXPECT_FALSE(WritePieces(readOnly, pieces.data(), pieces.size()));
  std::fclose(readOnly);

  // A write that a signal cuts short (the writer waits on a full pipe) goes
  // on from the byte where it stopped.
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  fcntl(ends[1], F_SETPIPE_SZ, 4096);
  struct sigaction quiet {}, before {};
  quiet.sa_handler = [](int) {};  // without SA_RESTART
  sigaction(SIGUSR1, &quiet, &before);
  const pthread_t writer = pthread_self();
  std::string got;
  std::thread reader([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    pthread_kill(writer, SIGUSR1);
    char buffer[4096];
    for (ssize_t n; (n = read(ends[0], buffer, sizeof buffer)) > 0;) got.append(buffer, static_cast<size_t>(n));
  });
  FILE* piped = fdopen(ends[1], "w");
  const StreamPiece large[] = {{text.data(), 3000}, {text.data() + 3000, 3000}, {text.data() + 6000, text.size() - 6000}};
  EXPECT_TRUE(WritePieces(piped, large, 3));
  std::fclose(piped);
  reader.join();
  close(ends[0]);
  sigaction(SIGUSR1, &before, nullptr);
  EXPECT_EQ(got, text);
}

}  // namespace
}  // namespace kestrand

#endif  // __linux__
