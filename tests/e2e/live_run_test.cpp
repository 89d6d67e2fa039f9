// The real binary without arguments examines the host it runs on (under wine
// for the Windows build): it runs to its end and reports what it found; on
// Linux its host section says what the C library says about the machine.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>
#include <vector>
#ifndef _WIN32
#include <sys/utsname.h>
#include <unistd.h>
#endif

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
  ASSERT_NE(letters, std::string::npos);

#ifdef _WIN32
  // Windows (wine too) answers the volume and drive letter calls, and every
  // line of the report file ends in CR LF.
  for (const char* part : {"             Version: ", "\t\\\\?\\Volume{", "\t\tC:\\\n", "\tC: = \\Device\\"})
    EXPECT_NE(r.Out.find(part), std::string::npos) << part << " in " << r.Out;
  ASSERT_EQ(RunKestrandBinary({"-f", "report.txt"}, dir.Path()).ExitStatus, 0);
  const std::string file = ReadFileBytes(dir.File("report.txt"));
  EXPECT_EQ(CountOf(file, "\r\n"), CountOf(file, "\n"));
#else
  auto line = [](const std::string& label, const std::string& value) {
    return "\n" + std::string(20 - label.size(), ' ') + label + ": " + value + "\n";
  };
  char name[256] = {};
  ASSERT_EQ(gethostname(name, sizeof name - 1), 0);
  struct utsname names {};
  ASSERT_EQ(uname(&names), 0);
  const std::string machine = names.machine;
  const std::string processor = machine == "x86_64" ? "AMD64" : machine == "ia64" ? "IA64"
                                : machine.size() == 4 && machine[0] == 'i' && machine.substr(2) == "86" ? "x86"
                                                                                                      : "UNKNOWN";
  const std::string cpus = std::to_string(sysconf(_SC_NPROCESSORS_ONLN));
  std::vector<std::string> lines = {line("Computer Name", name), line("Product Type", "(null)"), line("Suites", ""),
                                    line("CPU Type", processor + " (" + cpus + " CPU)"),
                                    line("Cluster State", "Not Installed"), line("Kestrand Version", "1.0")};
  // A release such as "6.1.0-18-amd64" shows as 6.1 Build 0 -18-amd64.
  unsigned major = 0, minor = 0, build = 0;
  int consumed = 0;
  if (std::sscanf(names.release, "%u.%u.%u%n", &major, &minor, &build, &consumed) == 3)
    lines.push_back(line("Version", std::to_string(major) + "." + std::to_string(minor) + " Build " +
                                        std::to_string(build) + " " + (names.release + consumed)));
  for (const std::string& expected : lines) EXPECT_NE(r.Out.find(expected), std::string::npos) << expected;
#endif

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
