// The real binary on the real dynamic disk images (repaired: see
// real_images.h) attached read-only as loop devices: the live path from
// enumeration to both reports; the images as found are the goldens' (as
// database files). Every run is traced by strace: the tool opens nothing for
// writing but its own report, on live disks and on a saved database file.
// Other programs may have loop devices of their own attached meanwhile, so the
// tests look only at the disks of their own devices, found by disk number.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <regex>
#include <sstream>
#include <vector>

#include "platform/linux/linux_internal.h"
#include "support/ldmtool_facts.h"
#include "support/real_images.h"
#include "support/run_binary.h"

namespace kestrand::test {
namespace {

const std::vector<std::string> kDiskIds = LdmtoolFacts().DiskGuids;

// losetup with `args`: what it printed, without the line end, or "" when it failed.
std::string Losetup(const std::vector<std::string>& args) {
  const ProcessResult run = RunProcess("/sbin/losetup", args, ".");
  std::string out = run.ExitStatus == 0 ? run.Out : "";
  while (!out.empty() && (out.back() == '\n' || out.back() == ' ')) out.pop_back();
  return out;
}

// A disk image attached read-only as a loop device for the life of the object.
struct LoopDevice {
  explicit LoopDevice(const std::string& image) {
    // Another program attaching at the same moment may take the free device
    // first: try again.
    for (int attempt = 0; attempt < 5 && Device.empty(); ++attempt) {
      Device = Losetup({"-r", "-f", "--show", image});
      if (Device.rfind("/dev/", 0) != 0) Device.clear();
    }
  }
  ~LoopDevice() {
    if (!Device.empty() && RunProcess("/sbin/losetup", {"-d", Device}, ".").ExitStatus != 0)
      std::fprintf(stderr, "could not detach %s\n", Device.c_str());
  }
  std::string Device;
};

bool HasStrace() {
  static const bool has = std::system("strace -V >/dev/null 2>&1") == 0;
  return has;
}

// Runs the tool with `args` in `dir` under strace (untraced without it):
// nothing but `report` and the standard streams may be opened for writing,
// and a named report must have been.
ProcessResult TracedRun(const TempDir& dir, const std::vector<std::string>& args, const std::string& report) {
  if (!HasStrace()) return RunKestrandBinary(args, dir.Path());
  // The leak checker of a sanitizer build cannot run under ptrace.
  std::vector<std::string> traced = {"-f", "-qq", "-E", "ASAN_OPTIONS=detect_leaks=0", "-o", dir.File("trace"),
                                     "-e", "trace=%file,%desc", std::filesystem::absolute(KESTRAND_BINARY).string()};
  traced.insert(traced.end(), args.begin(), args.end());
  const ProcessResult run = RunProcess("/usr/bin/strace", traced, dir.Path());
  EXPECT_EQ(run.Err.find("KESTRAND ERROR"), std::string::npos) << run.Err;  // the run got past its command line
  static const std::regex writing(R"((O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|O_APPEND))");
  static const std::regex changing(
      R"(\b(creat|truncate|ftruncate|rename|renameat2?|unlink|unlinkat|mknod|mknodat|pwrite64|pwritev2?)\()");
  std::istringstream lines(ReadFileBytes(dir.File("trace")));
  bool reportOpened = false;
  for (std::string line; std::getline(lines, line);) {
    const bool opening = line.find("open") != std::string::npos;
    if (!(opening && std::regex_search(line, writing)) && !std::regex_search(line, changing)) continue;
    const bool isReport = !report.empty() && line.find("\"" + report + "\"") != std::string::npos;
    reportOpened = reportOpened || isReport;
    EXPECT_TRUE(isReport || line.find("/dev/null") != std::string::npos) << "unexpected writing call: " << line;
  }
  EXPECT_EQ(reportOpened, !report.empty()) << report;
  return run;
}

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
    if (IsSkipped()) return;
    if (geteuid() != 0) GTEST_SKIP() << "attaching loop devices needs root";
    if (Losetup({"-f"}).empty()) GTEST_SKIP() << "this machine has no free loop device (losetup -f failed)";
  }

  // Attaches the ten repaired images and runs the tool with `args`; a run
  // during which the disk numbers of our devices changed is repeated. Sets
  // numbers_[i] to the disk number of image i.
  ProcessResult AttachAndRun(const std::vector<std::string>& args, const std::string& report) {
    devices_.clear();
    std::vector<std::string> paths;
    for (const std::string& name : RealImages::Names()) {
      devices_.push_back(std::make_unique<LoopDevice>(images_->RepairedPath(name)));
      EXPECT_FALSE(devices_.back()->Device.empty()) << "could not attach " << name;
      paths.push_back(devices_.back()->Device);
    }
    ProcessResult run;
    for (int attempt = 0; attempt < 5; ++attempt) {
      numbers_ = DiskNumbers(paths);
      run = TracedRun(dir_, args, report);
      if (DiskNumbers(paths) == numbers_) break;
    }
    for (long number : numbers_) EXPECT_GE(number, 0) << "a device of ours is not listed";
    EXPECT_EQ(run.ExitStatus, 0);
    return run;
  }

  // The disk number the tool gives each device now (its position in the
  // host's listing of whole disks), -1 for one not listed.
  static std::vector<long> DiskNumbers(const std::vector<std::string>& devices) {
    std::vector<long> numbers(devices.size(), -1);
    std::vector<ListedDisk> disks;
    ListWholeDisks("/sys", "/dev", disks);
    for (size_t i = 0; i < devices.size(); ++i)
      for (const ListedDisk& disk : disks)
        if (disk.DevicePath == devices[i]) numbers[i] = static_cast<long>(disk.Number);
    return numbers;
  }

  // The text section of image i, from its heading to the next one.
  std::string Section(const std::string& report, size_t i) const {
    return Between(report, "Disk " + std::to_string(numbers_[i]) + " Summary\n", " Summary\n");
  }

  // The branch of image i among the XML's dynamic disks, without its tests
  // (which name the copies too).
  std::string Branch(const std::string& xml, size_t i) const {
    const std::string disks = xml.substr(std::min(xml.find("<DynamicDisks "), xml.size()));
    const std::string disk = "<Disk _ElementDisplayName=\"Disk ";
    const std::string branch = Between(disks, disk + std::to_string(numbers_[i]) + "\"", disk);
    return branch.substr(0, branch.find("<Tests "));
  }

  std::vector<std::unique_ptr<LoopDevice>> devices_;
  std::vector<long> numbers_;
  TempDir dir_;
};

TEST_F(LoopDevices, RepairedImagesShowThePackAndItsVolumes) {
  AttachAndRun({"-f", "report.txt"}, "report.txt");
  const std::string text = ReadFileBytes(dir_.File("report.txt"));
  const std::string group = Between(text, " DiskGroup: Red-nzv8x6obywgDg0", " DiskGroup: ");
  EXPECT_NE(group.find("  Group-ID: 03c0c4fc-8b6f-402b-9431-4be2e5823b1c"), std::string::npos);
  for (const char* volume : {"Volume1", "Volume2", "Volume3", "Volume4", "Stripe1", "Raid1"})
    EXPECT_NE(group.find(volume), std::string::npos) << volume;
  for (size_t i = 0; i < 10; ++i) {
    const std::string section = Section(text, i);
    EXPECT_NE(section.find("DiskId:      " + kDiskIds[i]), std::string::npos) << i;
    EXPECT_NE(section.find("                   4 PartitionCount\n"), std::string::npos) << i;
    EXPECT_NE(section.find("          32,256         49,319,424         63         96,327          1           42"),
              std::string::npos)
        << i;
    EXPECT_NE(section.find("             Sectors 96,390               102,400"), std::string::npos) << i;
    EXPECT_NE(section.find("Magic Str:   TOCBLOCK"), std::string::npos) << i;
  }

  AttachAndRun({"-a", "-f", "pack.xml"}, "pack.xml");
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
    EXPECT_NE(branch.find("PartitionType=\"0x00000042\""), std::string::npos) << i;
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

class NoWrites : public RealImagesTestBase {};

TEST_F(NoWrites, DatabaseFileIsOnlyRead) {
  if (!HasStrace()) GTEST_SKIP() << "strace is not installed: no run of this suite is traced";
  // A relative name: an absolute one would begin with the switch character "/".
  TempDir dir;
  std::filesystem::copy_file(images_->DatabaseFile(RealImages::Names()[0], true), dir.File("disk.ldm"));
  EXPECT_EQ(TracedRun(dir, {"-a", "-l", "disk.ldm"}, "kestrandanalysis.xml").ExitStatus, 0);
  EXPECT_EQ(TracedRun(dir, {"-l", "disk.ldm"}, "").ExitStatus, 0);
}

}  // namespace
}  // namespace kestrand::test
