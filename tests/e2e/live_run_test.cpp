// The real binary without arguments examines the host it runs on (under wine
// for the Windows build): it runs to its end and reports what it found.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <regex>

#include "support/run_binary.h"

namespace kestrand::test {
namespace {

TEST(LiveRun, WithoutArgumentsReportsTheHostAndEveryDiskInOrder) {
  TempDir dir;
  ProcessResult r = RunKestrandBinary({}, dir.Path());
  // A crash would end the process with a signal or an exception code.
  ASSERT_EQ(r.ExitStatus, 0) << r.Err;
  EXPECT_EQ(r.ExitCode, 0u);
  EXPECT_EQ(r.Err.find("KESTRAND ERROR"), std::string::npos) << r.Err;
  EXPECT_TRUE(std::filesystem::is_empty(dir.Path()));

  const std::string dashes(71, '-');
  const size_t host = r.Out.find("\n" + dashes + "\n" + std::string(22, ' ') + "Computer Name and OS Version\n");
  const size_t mounts = r.Out.find(std::string(30, ' ') + "Mount Points\n" + dashes + "\n\n", host);
  const size_t letters = r.Out.find(std::string(22, ' ') + "Drive Letter Usage, Drive Type\n", mounts);
  EXPECT_EQ(host, 0u);
  ASSERT_NE(mounts, std::string::npos);
  ASSERT_NE(letters, std::string::npos);
  EXPECT_NE(r.Out.find("       Computer Name: "), std::string::npos);

  // Every disk found has its section, in ascending disk number.
  static const std::regex heading(R"(\n {24}Disk (\d+) Summary\n)");
  long previous = -1;
  for (std::sregex_iterator it(r.Out.begin() + static_cast<std::ptrdiff_t>(letters), r.Out.end(), heading), end;
       it != end; ++it) {
    const long number = std::strtol((*it)[1].str().c_str(), nullptr, 10);
    EXPECT_GE(number, previous) << (*it)[0];
    previous = number;
  }
}

}  // namespace
}  // namespace kestrand::test
