// The tool opens nothing for writing but its own report file: the real
// binary, traced by strace, on the real images attached as loop devices and
// on a saved database file.
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <regex>
#include <sstream>
#include <vector>

#include "support/loop_device.h"
#include "support/real_images.h"
#include "support/run_binary.h"

namespace kestrand::test {
namespace {

// Every traced call that could change a file, as "call(path, flags)" lines.
std::vector<std::string> WritingCalls(const std::string& trace) {
  static const std::regex writing(R"((O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|O_APPEND))");
  static const std::regex changing(R"(\b(creat|truncate|ftruncate|rename|renameat2?|unlink|unlinkat|mknod|mknodat|pwrite64|pwritev2?)\()");
  std::vector<std::string> calls;
  std::istringstream lines(trace);
  for (std::string line; std::getline(lines, line);) {
    const bool opening = line.find("open") != std::string::npos;
    if ((opening && std::regex_search(line, writing)) || std::regex_search(line, changing)) calls.push_back(line);
  }
  return calls;
}

class NoWrites : public RealImagesTestBase {
 protected:
  void SetUp() override {
    if (std::system("strace -V >/dev/null 2>&1") != 0) GTEST_SKIP() << "strace is not installed";
    RealImagesTestBase::SetUp();
  }

  // Runs the tool under strace; returns the calls that could write.
  std::vector<std::string> TracedRun(const std::vector<std::string>& args) {
    // The leak checker of a sanitizer build cannot run under ptrace.
    std::vector<std::string> traced = {"-f", "-qq", "-E", "ASAN_OPTIONS=detect_leaks=0", "-o", dir_.File("trace"),
                                       "-e", "trace=%file,%desc", std::filesystem::absolute(KESTRAND_BINARY).string()};
    traced.insert(traced.end(), args.begin(), args.end());
    const ProcessResult run = RunProcess("/usr/bin/strace", traced, dir_.Path());
    EXPECT_EQ(run.ExitStatus, 0) << run.Err;
    EXPECT_EQ(run.Err.find("KESTRAND ERROR"), std::string::npos) << run.Err;  // the run got past its command line
    return WritingCalls(ReadFileBytes(dir_.File("trace")));
  }

  static void ExpectOnlyTheReport(const std::vector<std::string>& calls, const std::string& report) {
    for (const std::string& call : calls) {
      const bool standardStreams = call.find("/dev/null") != std::string::npos;
      EXPECT_TRUE(call.find("\"" + report + "\"") != std::string::npos || standardStreams)
          << "unexpected writing call: " << call;
    }
  }

  TempDir dir_;
};

TEST_F(NoWrites, LiveDisksAreOnlyRead) {
  std::string reason;
  if (!LoopDevice::Available(reason)) GTEST_SKIP() << reason;
  std::vector<std::unique_ptr<LoopDevice>> devices;
  for (const std::string& name : RealImages::Names()) {
    devices.push_back(std::make_unique<LoopDevice>(images_->RepairedPath(name)));
    ASSERT_TRUE(devices.back()->Attached());
  }
  const std::vector<std::string> xmlRun = TracedRun({"-a", "-f", "report.xml"});
  ExpectOnlyTheReport(xmlRun, "report.xml");
  EXPECT_FALSE(xmlRun.empty());  // the report itself was opened for writing
  ExpectOnlyTheReport(TracedRun({"-f", "report.txt"}), "report.txt");
}

TEST_F(NoWrites, DatabaseFileIsOnlyRead) {
  // A relative name: an absolute one would begin with the switch character "/".
  std::filesystem::copy_file(images_->DatabaseFile(RealImages::Names()[0], true), dir_.File("disk.ldm"));
  ExpectOnlyTheReport(TracedRun({"-a", "-l", "disk.ldm"}), "kestrandanalysis.xml");
  ExpectOnlyTheReport(TracedRun({"-l", "disk.ldm"}), "none");
}

}  // namespace
}  // namespace kestrand::test
