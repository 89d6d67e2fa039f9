// The real binary on the real dynamic disk images attached read-only as loop
// devices: the live path from enumeration to both reports.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "support/loop_device.h"
#include "support/real_images.h"
#include "support/run_binary.h"
#include "support/text_capture.h"

namespace kestrand::test {
namespace {

const char* const kDiskIds[] = {
    "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c", "c85a6ce4-edb3-4dbc-a3b9-7fba4b6e6f75",
    "004c32fa-91e1-41ac-83b3-bc1baff2dc93", "6c7ca470-6934-4dfd-9269-c3102b9ae158",
    "ce97d979-fabb-4e9b-b44c-7d9580ae1f53", "bfcb718c-3809-44b7-ae62-c94a3bd6b057",
    "47980158-abc7-46e3-a95f-7c00f8539073", "ce3fd206-854c-4207-985b-9e0125885f20",
    "fa21d8d9-e087-4585-9761-5710b88e4c92", "bb1570c9-aa66-47df-a8f1-4c89db3e0704"};

// The text of the disk section that holds `marker`, from its heading to the
// next heading.
std::string SectionWith(const std::string& report, const std::string& marker) {
  const size_t at = report.find(marker);
  if (at == std::string::npos) return {};
  const size_t start = report.rfind(" Summary\n", at);
  const size_t end = report.find(" Summary\n", at);
  return report.substr(start == std::string::npos ? 0 : start, end == std::string::npos ? std::string::npos : end - start);
}

class LoopDevices : public RealImagesTestBase {
 protected:
  void SetUp() override {
    RealImagesTestBase::SetUp();
    std::string reason;
    if (!IsSkipped() && !LoopDevice::Available(reason)) GTEST_SKIP() << reason;
  }

  // Attaches the images (or their repaired copies) whose indexes are given.
  void Attach(const std::vector<size_t>& indexes, bool repaired) {
    for (size_t i : indexes) {
      const std::string& name = RealImages::Names()[i];
      devices_.push_back(std::make_unique<LoopDevice>(repaired ? images_->RepairedPath(name) : images_->Path(name)));
      ASSERT_TRUE(devices_.back()->Attached()) << "could not attach " << name;
    }
  }

  std::vector<std::unique_ptr<LoopDevice>> devices_;
  TempDir dir_;
};

TEST_F(LoopDevices, ImagesAsTheyAreShowTheirLayoutAndHeadersButNoRecords) {
  Attach({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, false);
  const ProcessResult text = RunKestrandBinary({}, dir_.Path());
  ASSERT_EQ(text.ExitStatus, 0);
  for (const char* id : kDiskIds) {
    const std::string section = SectionWith(text.Out, std::string("DiskId:      ") + id);
    ASSERT_FALSE(section.empty()) << id;
    EXPECT_NE(section.find("                   4 PartitionCount\n"), std::string::npos) << id;
    EXPECT_NE(section.find("          32,256         49,319,424         63         96,327          1           42"),
              std::string::npos)
        << id;
    EXPECT_NE(section.find("             Sectors 96,390               102,400"), std::string::npos) << id;
    EXPECT_NE(section.find("Magic Str:   TOCBLOCK"), std::string::npos) << id;
  }
  // The config copy is read at sector 16, which is empty: no records, no volumes.
  EXPECT_EQ(text.Out.find("Dynamic Disk Information"), std::string::npos);

  const ProcessResult analysis = RunKestrandBinary({"-a"}, dir_.Path());
  ASSERT_EQ(analysis.ExitStatus, 0);
  const std::string xml = ReadFileBytes(dir_.File("kestrandanalysis.xml"));
  EXPECT_NE(xml.find("<DynamicDisks _ElementDisplayName=\"Dynamic Disks\" _ElementIcon=\"0\">"), std::string::npos);
  EXPECT_GE(CountOf(xml, "PartitionType=\"0x00000042\""), 10u);
  for (const char* id : kDiskIds) EXPECT_NE(xml.find(std::string("DiskId=\"") + id + "\""), std::string::npos) << id;
  EXPECT_NE(xml.find("<VirtualStructure _ElementDisplayName=\"NoValidDynamicDisks\" _ElementIcon=\"4\" />"),
            std::string::npos);
}

TEST_F(LoopDevices, RepairedImagesShowThePackAndItsVolumes) {
  Attach({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, true);
  const ProcessResult text = RunKestrandBinary({}, dir_.Path());
  ASSERT_EQ(text.ExitStatus, 0);
  const size_t info = text.Out.find("---------- Dynamic Disk Information ----------");
  ASSERT_NE(info, std::string::npos);
  const std::string table = text.Out.substr(info);
  EXPECT_NE(table.find(" DiskGroup: Red-nzv8x6obywgDg0"), std::string::npos);
  EXPECT_NE(table.find("  Group-ID: 03c0c4fc-8b6f-402b-9431-4be2e5823b1c"), std::string::npos);
  for (const char* volume : {"Volume1", "Volume2", "Volume3", "Volume4", "Stripe1", "Raid1"})
    EXPECT_NE(table.find(volume), std::string::npos) << volume;

  const ProcessResult analysis = RunKestrandBinary({"-a", "-f", "pack.xml"}, dir_.Path());
  ASSERT_EQ(analysis.ExitStatus, 0);
  const std::string xml = ReadFileBytes(dir_.File("pack.xml"));
  const size_t virtualStructure = xml.find("<VirtualStructure ");
  ASSERT_NE(virtualStructure, std::string::npos);
  EXPECT_NE(xml.find("Red-nzv8x6obywgDg0", virtualStructure), std::string::npos);
  EXPECT_EQ(xml.find("MissingDisk"), std::string::npos);
  EXPECT_EQ(xml.find("NoValidDynamicDisks"), std::string::npos);

  // Each dynamic disk carries its LDM branches in order: three private
  // header copies (a device has the backup in sector 6), both tables of
  // contents, the config header, the block list and the records.
  const size_t section = xml.find("<DynamicDisks ");
  const size_t disk = xml.find("<Disk _ElementDisplayName=\"Disk ", section);
  ASSERT_NE(disk, std::string::npos);
  const size_t next = std::min(xml.find("<Disk _ElementDisplayName=\"Disk ", disk + 1), xml.find("</DynamicDisks>"));
  std::string branch = xml.substr(disk, next - disk);
  branch = branch.substr(0, branch.find("<Tests "));  // the disk's own tests name the copies too
  EXPECT_EQ(CountOf(branch, "<PrivateHeader "), 3u);
  EXPECT_EQ(CountOf(branch, "<TableOfContents "), 2u);
  size_t at = 0;
  for (const char* tag : {"<PrivateHeader ", "<PrivateHeader ", "<PrivateHeader ", "<TableOfContents ",
                          "<TableOfContents ", "<ConfigHeader ", "<BlockList ", "<Records "}) {
    const size_t found = branch.find(tag, at);
    ASSERT_NE(found, std::string::npos) << tag;
    at = found + 1;
  }
}

}  // namespace
}  // namespace kestrand::test
