// Host facts: host name, kernel version, processors; Linux has no product
// types, suites, cluster service or volume manager registry value. Also the
// process error mode, which has no meaning here, and the native platform.
#include <limits.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

#include "platform/linux/linux_internal.h"

namespace kestrand {
namespace {

// The process error mode has no meaning on Linux; it is kept so that callers
// get back what they set.
uint32_t gErrorMode = 0;

}  // namespace

CPlatform& NativePlatform() {
  static CLinuxPlatform platform;
  return platform;
}

uint32_t CLinuxPlatform::SetErrorMode(uint32_t mode) {
  const uint32_t previous = gErrorMode;
  gErrorMode = mode;
  return previous;
}

// ---- host facts from uname

namespace {

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// Reads the digits at `i`; false when there are none.
bool TakeNumber(std::string_view text, size_t& i, uint32_t& value) {
  if (i >= text.size() || !IsDigit(text[i])) return false;
  uint64_t v = 0;
  while (i < text.size() && IsDigit(text[i])) {
    v = v * 10 + static_cast<uint64_t>(text[i] - '0');
    if (v > std::numeric_limits<uint32_t>::max()) v = std::numeric_limits<uint32_t>::max();
    ++i;
  }
  value = static_cast<uint32_t>(v);
  return true;
}

}  // namespace

OsVersion ParseKernelRelease(std::string_view release) {
  OsVersion version;
  uint32_t* parts[] = {&version.Major, &version.Minor, &version.Build};
  size_t i = 0;
  for (size_t part = 0; part < 3; ++part) {
    size_t at = i;
    if (part > 0) {
      if (at >= release.size() || release[at] != '.') break;
      ++at;
    }
    if (!TakeNumber(release, at, *parts[part])) break;
    i = at;
  }
  version.ServicePack = Utf8ToUtf16(release.substr(i));
  return version;
}

uint16_t ArchitectureFromMachine(std::string_view machine) {
  if (machine == "x86_64") return 9;
  if (machine == "ia64") return 6;
  if (machine == "aarch64") return 12;
  if (machine.size() == 4 && machine[0] == 'i' && machine[1] >= '3' && machine[1] <= '6' &&
      machine.substr(2) == "86")
    return 0;
  return 0xFFFF;
}

WIN32_ERROR CLinuxPlatform::GetComputerName(std::u16string& name) {
  name.clear();
  char buffer[HOST_NAME_MAX + 2] = {};
  if (gethostname(buffer, sizeof buffer - 1) != 0) return Win32FromErrno(errno);
  name = Utf8ToUtf16(buffer);
  return ERROR_SUCCESS_CODE;
}

OsVersion CLinuxPlatform::GetVersion() {
  struct utsname names;
  if (uname(&names) != 0) return OsVersion{};
  return ParseKernelRelease(names.release);
}

bool CLinuxPlatform::IsProductType(uint8_t) { return false; }

bool CLinuxPlatform::HasSuite(uint16_t) { return false; }

ProcessorInfo CLinuxPlatform::GetProcessorInfo() {
  ProcessorInfo info;
  struct utsname names;
  if (uname(&names) == 0) info.Architecture = ArchitectureFromMachine(names.machine);
  const long count = sysconf(_SC_NPROCESSORS_ONLN);
  info.Count = count > 0 ? static_cast<uint32_t>(count) : 0;
  return info;
}

// State 0 is "Not Installed".
WIN32_ERROR CLinuxPlatform::GetNodeClusterState(const std::u16string&, uint32_t& state) {
  state = 0;
  return ERROR_SUCCESS_CODE;
}

NTSTATUS CLinuxPlatform::QueryPrimaryPackId(std::u16string& value) {
  value.clear();
  return STATUS_OBJECT_NAME_NOT_FOUND_CODE;
}

}  // namespace kestrand
