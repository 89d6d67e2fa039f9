// The host section from the real Linux platform, checked against what the C
// library says about this machine.
#ifndef _WIN32

#include <gtest/gtest.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "driver/kestrand.h"
#include "support/text_capture.h"

namespace kestrand {
namespace {

std::string Line(const char* label, const std::string& value) {
  char head[64];
  std::snprintf(head, sizeof head, "%20s: ", label);
  return head + value + "\n";
}

// The word the section shows for uname's machine name.
std::string ProcessorWord(const std::string& machine) {
  if (machine == "x86_64") return "AMD64";
  if (machine == "i386" || machine == "i486" || machine == "i586" || machine == "i686") return "x86";
  if (machine == "ia64") return "IA64";
  return "UNKNOWN";
}

TEST(NativeHostTest, HostSectionMatchesTheMachine) {
  char host[256] = {};
  ASSERT_EQ(gethostname(host, sizeof host - 1), 0);
  struct utsname names {};
  ASSERT_EQ(uname(&names), 0);
  const long processors = sysconf(_SC_NPROCESSORS_ONLN);
  ASSERT_GT(processors, 0);

  CKestrand kestrand;
  uint32_t code = ~0u;
  std::string text = CaptureText([&](FILE* stream) { return kestrand.PrintSystemInformation(stream); }, &code);
  EXPECT_EQ(code, 0u);

  EXPECT_NE(text.find(Line("Computer Name", host)), std::string::npos) << text;
  EXPECT_NE(text.find(Line("CPU Type", ProcessorWord(names.machine) + " (" +
                                           std::to_string(processors) + " CPU)")),
            std::string::npos)
      << text;
  // A release such as "6.1.0-18-amd64" shows as 6.1 Build 0 -18-amd64.
  unsigned major = 0, minor = 0, build = 0;
  int consumed = 0;
  if (std::sscanf(names.release, "%u.%u.%u%n", &major, &minor, &build, &consumed) == 3) {
    std::string version = std::to_string(major) + "." + std::to_string(minor) + " Build " +
                          std::to_string(build) + " " + (names.release + consumed);
    EXPECT_NE(text.find(Line("Version", version)), std::string::npos) << text;
  }
  EXPECT_NE(text.find(Line("Product Type", "(null)")), std::string::npos) << text;
  EXPECT_NE(text.find(Line("Suites", "")), std::string::npos) << text;
  EXPECT_NE(text.find(Line("Cluster State", "Not Installed")), std::string::npos) << text;
  EXPECT_NE(text.find(Line("Kestrand Version", "1.0")), std::string::npos) << text;
}

}  // namespace
}  // namespace kestrand

#endif  // _WIN32
