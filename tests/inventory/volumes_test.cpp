// Volumes with their mount paths and drive letters: what is recorded from the
// host, and how both reports list them.
#include <gtest/gtest.h>

#include <string>

#include "common/xml_writer.h"
#include "driver/kestrand.h"
#include "inventory/volumes.h"
#include "support/fake_host_platform.h"
#include "support/report_tree.h"
#include "support/text_capture.h"

namespace kestrand {
namespace {

// Volume names and their buckets among 17 (sum of the code units times 29).
const std::u16string kVolume1 = u"\\\\?\\Volume{0c1f4e2a-0000-0000-0000-100000000000}\\";  // 8
const std::u16string kVolume2 = u"\\\\?\\Volume{0c1f4e2a-0000-0000-0000-200000000000}\\";  // 3
const std::u16string kVolume3 = u"\\\\?\\Volume{0c1f4e2a-0000-0000-0000-300000000000}\\";  // 15
const std::string kVolume1Text = "\\\\?\\Volume{0c1f4e2a-0000-0000-0000-100000000000}\\";
const std::string kVolume2Text = "\\\\?\\Volume{0c1f4e2a-0000-0000-0000-200000000000}\\";
const std::string kVolume3Text = "\\\\?\\Volume{0c1f4e2a-0000-0000-0000-300000000000}\\";

class VolumesTest : public ::testing::Test {
 protected:
  std::string PrintMounts(uint32_t& code) {
    return CaptureText([this](FILE* stream) { return kestrand_.PrintMountPoints(stream); }, &code);
  }
  std::string PrintLetters(uint32_t& code) {
    return CaptureText([this](FILE* stream) { return kestrand_.PrintDriveLetters(stream); }, &code);
  }

  FakeHostPlatform host_;
  ScopedPlatform installed_{host_};
  CKestrand kestrand_;
};

TEST_F(VolumesTest, MountPointsComeOutInBucketOrderNotEnumerationOrder) {
  host_.Volumes = {{kVolume1, {u"C:\\"}}, {kVolume2, {u"D:\\"}}, {kVolume3, {u"F:\\"}}};
  ASSERT_EQ(kestrand_.EnumerateVolumes(), 0u);
  uint32_t code = ~0u;
  EXPECT_EQ(PrintMounts(code), "\t" + kVolume2Text + "\n\t\tD:\\\n\n"
                               "\t" + kVolume1Text + "\n\t\tC:\\\n\n"
                               "\t" + kVolume3Text + "\n\t\tF:\\\n\n");
  EXPECT_EQ(code, 0u);

  CKestrandTreeNode root("root");
  ASSERT_EQ(kestrand_.AddMountPoints(&root), 0u);
  auto mounts = ChildrenOf(root.FindChild("MountPoints"));
  ASSERT_EQ(mounts.size(), 3u);
  EXPECT_STREQ(mounts[0]->AttributeValue("MountPoint"), "D:\\");
  EXPECT_STREQ(mounts[1]->AttributeValue("MountPoint"), "C:\\");
  EXPECT_STREQ(mounts[2]->AttributeValue("MountPoint"), "F:\\");
}

TEST_F(VolumesTest, VolumesSharingABucketKeepTheirEnumerationOrder) {
  // /dev/sdb1 and /dev/sda2 share bucket 1; /dev/sda1 is in bucket 6.
  host_.Volumes = {{u"/dev/sda1", {u"/"}}, {u"/dev/sdb1", {u"/srv"}}, {u"/dev/sda2", {u"/home"}}};
  ASSERT_EQ(kestrand_.EnumerateVolumes(), 0u);
  uint32_t code = ~0u;
  EXPECT_EQ(PrintMounts(code),
            "\t/dev/sdb1\n\t\t/srv\n\n"
            "\t/dev/sda2\n\t\t/home\n\n"
            "\t/dev/sda1\n\t\t/\n\n");
}

TEST_F(VolumesTest, VolumeMountedTwiceGivesTwoPathLinesAndTwoMountElements) {
  host_.Volumes = {{kVolume1, {u"E:\\", u"C:\\mnt\\data\\"}}};
  ASSERT_EQ(kestrand_.EnumerateVolumes(), 0u);
  uint32_t code = ~0u;
  EXPECT_EQ(PrintMounts(code), "\t" + kVolume1Text + "\n\t\tE:\\\n\t\tC:\\mnt\\data\\\n\n");

  CKestrandTreeNode root("root");
  ASSERT_EQ(kestrand_.AddMountPoints(&root), 0u);
  const CKestrandTreeNode* section = root.FindChild("MountPoints");
  ASSERT_NE(section, nullptr);
  EXPECT_EQ(AttributesOf(section),
            (NodeAttributes{{"_ElementDisplayName", "Mount Points"}, {"_ElementIcon", "3"}}));
  auto mounts = ChildrenOf(section);
  ASSERT_EQ(mounts.size(), 2u);
  EXPECT_STREQ(mounts[0]->Name(), "Mount");
  EXPECT_EQ(AttributesOf(mounts[0]), (NodeAttributes{{"_ElementDisplayName", kVolume1Text},
                                                    {"_ElementIcon", "3"},
                                                    {"MountPoint", "E:\\"}}));
  EXPECT_EQ(AttributesOf(mounts[1]), (NodeAttributes{{"_ElementDisplayName", kVolume1Text},
                                                    {"_ElementIcon", "3"},
                                                    {"MountPoint", "C:\\mnt\\data\\"}}));
}

TEST_F(VolumesTest, VolumeWithoutPathsPrintsItsNameAndAddsNoElement) {
  host_.Volumes = {{kVolume2, {}}};
  ASSERT_EQ(kestrand_.EnumerateVolumes(), 0u);
  uint32_t code = ~0u;
  EXPECT_EQ(PrintMounts(code), "\t" + kVolume2Text + "\n\n");

  CKestrandTreeNode root("root");
  ASSERT_EQ(kestrand_.AddMountPoints(&root), 0u);
  ASSERT_NE(root.FindChild("MountPoints"), nullptr);
  EXPECT_EQ(ChildrenOf(root.FindChild("MountPoints")).size(), 0u);
}

TEST_F(VolumesTest, VolumesListedBeforeAFailureStayRecorded) {
  host_.Volumes = {{kVolume1, {u"C:\\"}}};
  host_.VolumesCode = 5;
  EXPECT_EQ(kestrand_.EnumerateVolumes(), 5u);
  ASSERT_NE(kestrand_.MountPoints.Find(kVolume1.c_str()), nullptr);
  EXPECT_EQ(kestrand_.MountPoints.Find(kVolume1.c_str())->Count(), 1u);
}

TEST_F(VolumesTest, DriveLettersComeOutAlphabeticallyWhateverTheirBuckets) {
  // Buckets: A 15, C 5, D 0, E 12, Z 9; the map alone would give D C Z E A.
  host_.Letters = {{u'Z', {u"\\Device\\LanmanRedirector\\;Z:0\\srv\\share", 4}},
                   {u'E', {u"\\Device\\CdRom0", 5}},
                   {u'D', {u"\\Device\\HarddiskVolume3", 3}},
                   {u'C', {u"\\Device\\HarddiskVolume2", 3}},
                   {u'A', {u"\\Device\\Floppy0", 2}}};
  EXPECT_EQ(kestrand_.EnumerateDriveLetters(), 0u);  // Z, the last letter, is in use
  uint32_t code = ~0u;
  EXPECT_EQ(PrintLetters(code),
            "\tA: = \\Device\\Floppy0 [Removable]\n"
            "\tC: = \\Device\\HarddiskVolume2 [Fixed]\n"
            "\tD: = \\Device\\HarddiskVolume3 [Fixed]\n"
            "\tE: = \\Device\\CdRom0 [CDRom]\n"
            "\tZ: = \\Device\\LanmanRedirector\\;Z:0\\srv\\share [Remote]\n");
  EXPECT_EQ(code, 0u);

  CKestrandTreeNode root("root");
  ASSERT_EQ(kestrand_.AddDriveLetters(&root), 0u);
  const CKestrandTreeNode* section = root.FindChild("DriveLetters");
  ASSERT_NE(section, nullptr);
  EXPECT_EQ(AttributesOf(section),
            (NodeAttributes{{"_ElementDisplayName", "Drive Letters/Types"}, {"_ElementIcon", "3"}}));
  auto drives = ChildrenOf(section);
  ASSERT_EQ(drives.size(), 5u);
  EXPECT_STREQ(drives[0]->Name(), "Drive");
  EXPECT_EQ(AttributesOf(drives[0]), (NodeAttributes{{"_ElementDisplayName", "A"},
                                                    {"_ElementIcon", "3"},
                                                    {"DeviceName", "\\Device\\Floppy0"},
                                                    {"DriveType", "Removable"}}));
  const char* order[] = {"A", "C", "D", "E", "Z"};
  for (size_t i = 0; i < drives.size(); ++i)
    EXPECT_STREQ(drives[i]->AttributeValue("_ElementDisplayName"), order[i]);
  EXPECT_STREQ(drives[4]->AttributeValue("DriveType"), "Remote");
}

TEST_F(VolumesTest, LetterScanResultIsTheCodeOfTheLastLetter) {
  host_.Letters = {{u'C', {u"\\Device\\HarddiskVolume2", 3}}};
  EXPECT_EQ(kestrand_.EnumerateDriveLetters(), 2u);  // Z is not in use
  EXPECT_NE(kestrand_.DriveLetters.Find(u"C"), nullptr);
  EXPECT_EQ(kestrand_.DriveLetters.Find(u"D"), nullptr);
}

TEST_F(VolumesTest, LetterQueryFailureEndsTheScanKeepingEarlierLetters) {
  host_.Letters = {{u'C', {u"\\Device\\HarddiskVolume2", 3}},
                   {u'F', {u"\\Device\\HarddiskVolume5", 3}}};
  host_.LetterFailures = {{u'D', 5}};
  EXPECT_EQ(kestrand_.EnumerateDriveLetters(), 5u);
  const DRIVE_LETTER_INFO* c = kestrand_.DriveLetters.Find(u"C");
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->DriveType, 3u);
  EXPECT_EQ(std::u16string(c->DeviceName.Get()), u"\\Device\\HarddiskVolume2");
  EXPECT_EQ(kestrand_.DriveLetters.Find(u"F"), nullptr);
}

TEST_F(VolumesTest, EmptyMapsGiveEmptySectionsAndMissingTargetsAreInvalid) {
  uint32_t code = ~0u;
  EXPECT_EQ(PrintMounts(code), "");
  EXPECT_EQ(code, 0u);
  EXPECT_EQ(PrintLetters(code), "");
  EXPECT_EQ(code, 0u);

  CKestrandTreeNode root("root");
  EXPECT_EQ(kestrand_.AddMountPoints(&root), 0u);
  EXPECT_EQ(kestrand_.AddDriveLetters(&root), 0u);
  auto sections = ChildrenOf(&root);
  ASSERT_EQ(sections.size(), 2u);
  EXPECT_STREQ(sections[0]->Name(), "MountPoints");
  EXPECT_STREQ(sections[1]->Name(), "DriveLetters");
  EXPECT_EQ(sections[0]->FirstChild(), nullptr);
  EXPECT_EQ(sections[1]->FirstChild(), nullptr);

  EXPECT_EQ(kestrand_.PrintMountPoints(nullptr), 87u);
  EXPECT_EQ(kestrand_.PrintDriveLetters(nullptr), 87u);
  EXPECT_EQ(kestrand_.AddMountPoints(nullptr), 87u);
  EXPECT_EQ(kestrand_.AddDriveLetters(nullptr), 87u);
}

// The name under which the host sees a dynamic volume, by its volume GUID.

constexpr GUID kKnown = {0x1b77da20, 0xc717, 0x11d0, {0xa5, 0xbe, 0x00, 0xa0, 0xc9, 0x1d, 0xb7, 0x3c}};
constexpr GUID kUnknown = {0x1b77da20, 0xc717, 0x11d0, {0xa5, 0xbe, 0x00, 0xa0, 0xc9, 0x1d, 0xb7, 0x3d}};

class VolumeMountNameTest : public ::testing::Test {
 protected:
  VolumeMountNameTest() { host_.DynamicVolumes = {{kKnown, u"\\Device\\HarddiskDmVolumes\\PackDg0\\Volume1"}}; }

  FakeHostPlatform host_;
  ScopedPlatform installed_{host_};
};

TEST_F(VolumeMountNameTest, KnownGuidGivesItsDeviceNameAndIsAskedEveryTime) {
  std::u16string name;
  EXPECT_EQ(GetVolumeMountName(&kKnown, name), 0u);
  EXPECT_EQ(name, u"\\Device\\HarddiskDmVolumes\\PackDg0\\Volume1");
  std::u16string again;
  EXPECT_EQ(GetVolumeMountName(&kKnown, again), 0u);
  EXPECT_EQ(again, name);
  EXPECT_EQ(host_.DynamicVolumeQueries, 2);
}

TEST_F(VolumeMountNameTest, FailuresLeaveNoName) {
  std::u16string name = u"left over";
  EXPECT_EQ(GetVolumeMountName(&kUnknown, name), 2u);
  EXPECT_TRUE(name.empty());
  name = u"left over";
  EXPECT_EQ(GetVolumeMountName(nullptr, name), 87u);
  EXPECT_TRUE(name.empty());
  EXPECT_EQ(host_.DynamicVolumeQueries, 1);  // a missing GUID asks nothing
  host_.DynamicVolumeFailure = 5;
  name = u"left over";
  EXPECT_EQ(GetVolumeMountName(&kKnown, name), 5u);
  EXPECT_TRUE(name.empty());
}

}  // namespace
}  // namespace kestrand
