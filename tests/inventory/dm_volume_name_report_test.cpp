// A dynamic volume that the host sees as a device-mapper device shows its
// /dev/mapper name in the record report: the Linux platform reads sysfs under
// a root of the test's own (this machine's kernel has no device-mapper).
#ifndef _WIN32
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "driver/kestrand.h"
#include "platform/linux/linux_platform.h"
#include "support/fake_host_platform.h"
#include "support/real_images.h"
#include "support/run_binary.h"

namespace kestrand::test {
namespace {

namespace fs = std::filesystem;

TEST(DeviceMapperVolumeName, RecordReportShowsTheMapperPathOfTheVolumeThatHasOne) {
  std::string reason;
  const RealImages* images = RealImages::Get(reason);
  if (images == nullptr) GTEST_SKIP() << reason;
  const std::string database = images->DatabaseFile(RealImages::Names()[0], true);

  // What `ldmtool create volume` leaves behind for Volume1 of the test pack.
  TempDir tree;
  fs::create_directories(tree.File("sys/block/dm-0/dm"));
  std::ofstream(tree.File("sys/block/dm-0/dm/uuid")) << "LDM-Volume1-6e30daae-8e42-40fb-9af0-807416c3fede\n";
  std::ofstream(tree.File("sys/block/dm-0/dm/name")) << "ldm_vol_Red-nzv8x6obywgDg0_Volume1\n";
  fs::create_directories(tree.File("proc/self"));
  CLinuxPlatform platform(tree.File("sys"), tree.File("proc"), "/dev");
  ScopedPlatform installed(platform);

  CKestrand kestrand;
  ASSERT_EQ(kestrand.OpenLdmFile(database.c_str()), 0u);
  const std::string textFile = tree.File("report.txt");
  FILE* text = std::fopen(textFile.c_str(), "w");
  ASSERT_NE(text, nullptr);
  kestrand.PrintDisks(text);
  std::fclose(text);
  const std::string report = ReadFileBytes(textFile);
  EXPECT_NE(report.find("VolumeName:        /dev/mapper/ldm_vol_Red-nzv8x6obywgDg0_Volume1\n"), std::string::npos);
  // The five other volumes have no device: only their drive letter hints.
  size_t mapped = 0;
  for (size_t at = report.find("/dev/mapper/"); at != std::string::npos; at = report.find("/dev/mapper/", at + 1)) ++mapped;
  EXPECT_EQ(mapped, 1u);

  const std::string xmlFile = tree.File("report.xml");
  ASSERT_EQ(kestrand.WriteAnalysis(xmlFile.c_str()), 0u);
  const std::string xml = ReadFileBytes(xmlFile);
  EXPECT_NE(xml.find("VolumeName=\"/dev/mapper/ldm_vol_Red-nzv8x6obywgDg0_Volume1\""), std::string::npos);
}

}  // namespace
}  // namespace kestrand::test
#endif
