// The real binary on the real dynamic disk images attached read-only as loop
// devices: the live path from enumeration to both reports. Other programs
// may have loop devices of their own attached meanwhile, so the tests look
// only at the disks of their own devices, found by disk number.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "support/ldmtool_facts.h"
#include "support/loop_device.h"
#include "support/real_images.h"
#include "support/run_binary.h"
#include "support/text_capture.h"

namespace kestrand::test {
namespace {

const std::vector<std::string> kDiskIds = LdmtoolFacts().DiskGuids;

// The text from `begin` to the first `end` after it (or the end).
std::string Between(const std::string& text, const std::string& begin, const std::string& end) {
  const size_t at = text.find(begin);
  if (at == std::string::npos) return {};
  const size_t stop = text.find(end, at + begin.size());
  return text.substr(at, stop == std::string::npos ? std::string::npos : stop - at);
}

class LoopDevices : public RealImagesTestBase {
 protected:
  void SetUp() override {
    RealImagesTestBase::SetUp();
    std::string reason;
    if (!IsSkipped() && !LoopDevice::Available(reason)) GTEST_SKIP() << reason;
  }

  // Attaches the ten images (or their repaired copies) and runs the tool
  // with `args`; a run during which the disk numbers of our devices changed
  // is repeated. Sets numbers_[i] to the disk number of image i.
  ProcessResult AttachAndRun(bool repaired, const std::vector<std::string>& args) {
    std::vector<std::string> paths;
    for (const std::string& name : RealImages::Names()) {
      devices_.push_back(std::make_unique<LoopDevice>(repaired ? images_->RepairedPath(name) : images_->Path(name)));
      EXPECT_TRUE(devices_.back()->Attached()) << "could not attach " << name;
      paths.push_back(devices_.back()->Device());
    }
    ProcessResult run;
    for (int attempt = 0; attempt < 5; ++attempt) {
      numbers_ = LoopDevice::DiskNumbers(paths);
      run = RunKestrandBinary(args, dir_.Path());
      if (LoopDevice::DiskNumbers(paths) == numbers_) break;
    }
    for (long number : numbers_) EXPECT_GE(number, 0) << "a device of ours is not listed";
    EXPECT_EQ(run.ExitStatus, 0);
    return run;
  }

  // The text section of image i, from its heading to the next one.
  std::string Section(const std::string& report, size_t i) const {
    return Between(report, "Disk " + std::to_string(numbers_[i]) + " Summary\n", " Summary\n");
  }

  // The branch of image i among the XML's dynamic disks, without its tests
  // (which name the copies too).
  std::string Branch(const std::string& xml, size_t i) const {
    const std::string disks = xml.substr(std::min(xml.find("<DynamicDisks "), xml.size()));
    std::string branch =
        Between(disks, "<Disk _ElementDisplayName=\"Disk " + std::to_string(numbers_[i]) + "\"",
                "<Disk _ElementDisplayName=\"Disk ");
    return branch.substr(0, branch.find("<Tests "));
  }

  std::vector<std::unique_ptr<LoopDevice>> devices_;
  std::vector<long> numbers_;
  TempDir dir_;
};

TEST_F(LoopDevices, ImagesAsTheyAreShowTheirLayoutAndHeadersButNoRecords) {
  const ProcessResult text = AttachAndRun(false, {});
  for (size_t i = 0; i < 10; ++i) {
    const std::string section = Section(text.Out, i);
    EXPECT_NE(section.find("DiskId:      " + kDiskIds[i]), std::string::npos) << i;
    EXPECT_NE(section.find("                   4 PartitionCount\n"), std::string::npos) << i;
    EXPECT_NE(section.find("          32,256         49,319,424         63         96,327          1           42"),
              std::string::npos)
        << i;
    EXPECT_NE(section.find("             Sectors 96,390               102,400"), std::string::npos) << i;
    EXPECT_NE(section.find("Magic Str:   TOCBLOCK"), std::string::npos) << i;
    // The config copy is read at sector 16, which is empty: no records.
    EXPECT_EQ(section.find("RecordName:"), std::string::npos) << i;
  }
  devices_.clear();

  const ProcessResult analysis = AttachAndRun(false, {"-a"});
  const std::string xml = ReadFileBytes(dir_.File("kestrandanalysis.xml"));
  for (size_t i = 0; i < 10; ++i) {
    const std::string branch = Branch(xml, i);
    EXPECT_NE(branch.find("DiskId=\"" + kDiskIds[i] + "\""), std::string::npos) << i;
    EXPECT_NE(branch.find("PartitionType=\"0x00000042\""), std::string::npos) << i;
    EXPECT_EQ(branch.find("<Record "), std::string::npos) << i;
  }
}

TEST_F(LoopDevices, RepairedImagesShowThePackAndItsVolumes) {
  const ProcessResult text = AttachAndRun(true, {});
  const std::string group = Between(text.Out, " DiskGroup: Red-nzv8x6obywgDg0", " DiskGroup: ");
  EXPECT_NE(group.find("  Group-ID: 03c0c4fc-8b6f-402b-9431-4be2e5823b1c"), std::string::npos);
  for (const char* volume : {"Volume1", "Volume2", "Volume3", "Volume4", "Stripe1", "Raid1"})
    EXPECT_NE(group.find(volume), std::string::npos) << volume;
  for (size_t i = 0; i < 10; ++i)
    EXPECT_NE(Section(text.Out, i).find("DiskId:      " + kDiskIds[i]), std::string::npos) << i;
  devices_.clear();

  AttachAndRun(true, {"-a", "-f", "pack.xml"});
  const std::string xml = ReadFileBytes(dir_.File("pack.xml"));
  const std::string pack = Between(xml.substr(std::min(xml.find("<VirtualStructure "), xml.size())),
                                   "\"Red-nzv8x6obywgDg0 (Pack)\"", "(Pack)\"");
  EXPECT_NE(pack.find("\"Raid1 (Volume)\""), std::string::npos);
  EXPECT_EQ(pack.find("MissingDisk"), std::string::npos);

  // Each dynamic disk carries its LDM branches in order: three private
  // header copies (a device has the backup in sector 6), both tables of
  // contents, the config header, the block list and the records.
  for (size_t i = 0; i < 10; ++i) {
    const std::string branch = Branch(xml, i);
    EXPECT_NE(branch.find("DiskId=\"" + kDiskIds[i] + "\""), std::string::npos) << i;
    EXPECT_EQ(CountOf(branch, "<PrivateHeader "), 3u) << i;
    EXPECT_EQ(CountOf(branch, "<TableOfContents "), 2u) << i;
    size_t at = 0;
    for (const char* tag : {"<PrivateHeader ", "<PrivateHeader ", "<PrivateHeader ", "<TableOfContents ",
                            "<TableOfContents ", "<ConfigHeader ", "<BlockList ", "<Records "}) {
      const size_t found = branch.find(tag, at);
      ASSERT_NE(found, std::string::npos) << tag;
      at = found + 1;
    }
  }
}

}  // namespace
}  // namespace kestrand::test
