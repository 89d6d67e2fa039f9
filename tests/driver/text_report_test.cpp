// The frame of the text report: banners, host titles, per-disk headings and
// the section of a disk number that matches no disk.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "disk/disk.h"
#include "disk/probe_image_files.h"
#include "driver/kestrand.h"
#include "support/image_platform.h"
#include "support/report_tree.h"
#include "support/text_capture.h"

namespace kestrand {
namespace {

const std::string kRule(71, '-');

using TextFrameTest = ImageDisksTest;

TEST_F(TextFrameTest, HostSectionsEachUnderTheirTitle) {
  CKestrand kestrand;
  std::string text = CaptureText([&](FILE* s) { return kestrand.PrintSystemSummary(s); });
  std::string computer = "\n" + kRule + "\n" + "                      Computer Name and OS Version\n" + kRule + "\n\n";
  std::string mounts = "\n" + kRule + "\n" + "                              Mount Points\n" + kRule + "\n\n";
  std::string letters = "\n" + kRule + "\n" + "                      Drive Letter Usage, Drive Type\n" + kRule + "\n\n";
  EXPECT_EQ(text.find(computer), 0u) << text;
  size_t atMounts = text.find(mounts);
  size_t atLetters = text.find(letters);
  ASSERT_NE(atMounts, std::string::npos);
  ASSERT_NE(atLetters, std::string::npos);
  EXPECT_LT(computer.size(), atMounts);  // the host facts come in between
  EXPECT_LT(atMounts, atLetters);
  EXPECT_EQ(kestrand.PrintSystemSummary(nullptr), 87u);
}

TEST_F(TextFrameTest, DiskThatDoesNotExist) {
  CKestrand kestrand;
  uint32_t code = 1;
  std::string text = CaptureText([&](FILE* s) { return kestrand.PrintDisk(s, 7); }, &code);
  EXPECT_EQ(code, 0u);
  EXPECT_EQ(text, "\n\n" + kRule + "\n" + "                            Disk 7 Summary\n" + kRule + "\n\n" +
                      "\t ERROR: Disk does not exist\n");
}

TEST_F(TextFrameTest, EveryDiskOfTheNumberUnderOneHeading) {
  Add(BasicMbrImage(), 1, u"dev-a");
  Add(BasicMbrImage(), 0, u"dev-b");
  Add(EmptyMbrImage(), 1, u"dev-c");
  CKestrand kestrand;
  kestrand.EnumerateDisks();
  std::string text = CaptureText([&](FILE* s) { return kestrand.PrintDisk(s, 1); });
  std::string heading = "\n\n" + kRule + "\n" + "                            Disk 1 Summary\n" + kRule + "\n\n";
  EXPECT_EQ(text.find(heading), 0u);
  EXPECT_EQ(CountOf(text, "Summary\n"), 1u);
  EXPECT_EQ(CountOf(text, "----------- Disk Storage Property -----------\n"), 2u);
  // The basic disk first, then the raw one: list order.
  size_t mbr = text.find("                 MBR PartitionStyle\n");
  size_t raw = text.find("                 RAW PartitionStyle\n");
  ASSERT_NE(mbr, std::string::npos);
  EXPECT_LT(mbr, raw);
  EXPECT_EQ(text.find("ERROR: Disk does not exist"), std::string::npos);
}

TEST_F(TextFrameTest, FullReportHeadsEachDiskInListOrder) {
  Add(BasicMbrImage(), 1);
  Add(EmptyMbrImage(), 0);
  CKestrand kestrand;
  kestrand.EnumerateDisks();
  auto* unnumbered = new CDisk();
  unnumbered->SetDevicePath(u"dev-x");
  kestrand.Disks.Append(unnumbered);
  kestrand.Disks.Append(new CDisk());
  std::string text = CaptureText([&](FILE* s) { return kestrand.PrintDisks(s); });

  std::string banner = "\n\n" + kRule + "\n";
  size_t disk0 = text.find(banner + "                        Disk 0 Summary\n" + kRule + "\n\n" +
                           "----------- Disk Storage Property -----------\n");
  size_t disk1 = text.find(banner + "                        Disk 1 Summary\n" + kRule + "\n\n");
  size_t unknown = text.find(banner + "                        Disk dev-x Physical Summary\n" + kRule + "\n\n" +
                             "\tERROR: Failed to get device number\n");
  size_t nameless = text.find(banner + "                        Disk UNKNOWN Physical Summary\n" + kRule + "\n\n" +
                              "\tERROR: Failed to get device number\n");
  ASSERT_NE(disk0, std::string::npos) << text;
  EXPECT_LT(text.find("Drive Letter Usage, Drive Type"), disk0);
  EXPECT_LT(disk0, disk1);
  EXPECT_LT(disk1, unknown);
  EXPECT_LT(unknown, nameless);
  EXPECT_NE(nameless, std::string::npos);
  EXPECT_EQ(kestrand.PrintDisks(nullptr), 87u);
  EXPECT_EQ(kestrand.PrintDisk(nullptr, 0), 87u);
}

}  // namespace
}  // namespace kestrand
