// The frame of the XML report: the order of the root's children, which
// section each disk goes to, the detaching of empty sections, the Tests and
// VirtualStructure elements, and when DriverCode is added.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "disk/probe_image_files.h"
#include "driver/kestrand.h"
#include "support/image_platform.h"
#include "support/text_capture.h"

namespace kestrand {
namespace {

class XmlFrameTest : public ImageDisksTest {
 protected:
  // Writes the report of `kestrand` and returns the document.
  std::string Write(CKestrand& kestrand, uint32_t* code = nullptr) {
    uint32_t result = kestrand.WriteAnalysis(output_.Path().c_str());
    if (code) *code = result;
    std::ifstream in(output_.Path(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  // The element `name` from its start tag to its end tag; empty when absent.
  static std::string Section(const std::string& document, const std::string& name) {
    size_t start = document.find("<" + name + " ");
    size_t end = document.find("</" + name + ">", start);
    if (start == std::string::npos || end == std::string::npos) return {};
    return document.substr(start, end + name.size() + 3 - start);
  }

  CTempFile output_{"kestrand-analysis"};
};

const char kDiskElement[] = "<Disk _ElementDisplayName=\"Disk ";

TEST_F(XmlFrameTest, OnlyBasicDisks) {
  Add(BasicMbrImage(), 0);
  Add(EmptyMbrImage(), 1);  // raw: in no section
  Add(BasicMbrImage(0x22222222), 2);
  CKestrand kestrand;
  kestrand.EnumerateDisks();
  uint32_t code = 1;
  std::string document = Write(kestrand, &code);
  EXPECT_EQ(code, 0u);
  EXPECT_EQ(document.rfind("<?xml version='1.0' encoding='utf-8'?>"
                           "<root _ElementDisplayName=\"Kestrand\" _ElementIcon=\"1\"><SystemInformation ",
                           0),
            0u)
      << document;
  size_t mounts = document.find("<MountPoints ");
  size_t letters = document.find("<DriveLetters ");
  size_t basic = document.find("<BasicDisks _ElementDisplayName=\"Basic Disks\" _ElementIcon=\"0\">");
  size_t virtualStructure = document.find(
      "<VirtualStructure _ElementDisplayName=\"Virtual Structure\" _ElementIcon=\"0\">"
      "<VirtualStructure _ElementDisplayName=\"NoValidDynamicDisks\" _ElementIcon=\"4\" /></VirtualStructure>");
  size_t driverCode = document.find("<DriverCode ");
  ASSERT_NE(mounts, std::string::npos);
  EXPECT_LT(mounts, letters);
  EXPECT_LT(letters, basic);
  EXPECT_LT(basic, virtualStructure);
  EXPECT_LT(virtualStructure, driverCode);
  EXPECT_NE(driverCode, std::string::npos);
  EXPECT_EQ(document.substr(document.size() - 7), "</root>");

  EXPECT_EQ(document.find("BasicDisksWithLDMDB"), std::string::npos);
  EXPECT_EQ(document.find("<DynamicDisks"), std::string::npos);
  EXPECT_EQ(document.find("<Tests"), std::string::npos);
  std::string basicDisks = Section(document, "BasicDisks");
  EXPECT_EQ(CountOf(basicDisks, kDiskElement), 2u);
  EXPECT_NE(basicDisks.find("<Disk _ElementDisplayName=\"Disk 0\" _ElementIcon=\"13\">"
                            "<Disk _ElementDisplayName=\"Geometry\" _ElementIcon=\"3\" Cylinders=\"1\""),
            std::string::npos);
  EXPECT_NE(basicDisks.find(kDiskElement + std::string("2\"")), std::string::npos);
}

TEST_F(XmlFrameTest, DynamicDiskWithTheRunsTestsLast) {
  Add(DynamicMbrImage(), 0);
  CKestrand kestrand;
  kestrand.EnumerateDisks();
  std::string document = Write(kestrand);
  EXPECT_EQ(document.find("<BasicDisks "), std::string::npos);
  std::string dynamicDisks = Section(document, "DynamicDisks");
  ASSERT_FALSE(dynamicDisks.empty()) << document;
  EXPECT_EQ(dynamicDisks.rfind("<DynamicDisks _ElementDisplayName=\"Dynamic Disks\" _ElementIcon=\"0\">"
                               "<Disk _ElementDisplayName=\"Disk 0\" _ElementIcon=\"13\">",
                               0),
            0u);
  // The run's Tests element closes the section; the disk carries its own.
  EXPECT_NE(dynamicDisks.find("</Disk><Tests _ElementDisplayName=\"Tests\" _ElementIcon=\"0\">"), std::string::npos);
  EXPECT_EQ(dynamicDisks.substr(dynamicDisks.size() - 23), "</Tests></DynamicDisks>");
  EXPECT_NE(document.find("<PrivateHeader "), std::string::npos);
}

TEST_F(XmlFrameTest, DatabaseFileHasNoDriverCode) {
  ImageFile database(test::LdmAreaImage().Build());
  CKestrand kestrand;
  ASSERT_EQ(kestrand.OpenLdmFile(database.Path().c_str()), 0u);
  std::string document = Write(kestrand);
  EXPECT_NE(Section(document, "DynamicDisks").find(kDiskElement + std::string("0\"")), std::string::npos);
  EXPECT_NE(document.find("<VirtualStructure "), std::string::npos);
  EXPECT_EQ(document.find("<DriverCode"), std::string::npos);
}

TEST_F(XmlFrameTest, NoFileWithoutAName) {
  CKestrand kestrand;
  EXPECT_EQ(kestrand.WriteAnalysis(nullptr), 87u);
  std::string missing = (std::filesystem::path(output_.Path()) / "no" / "report.xml").string();
  EXPECT_EQ(kestrand.WriteAnalysis(missing.c_str()), 87u);
  EXPECT_FALSE(std::filesystem::exists(missing));
}

}  // namespace
}  // namespace kestrand
