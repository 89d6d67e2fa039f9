#include "platform/linux/host_facts.h"

#include <limits>

#include "platform/utf8_text.h"

namespace kestrand {
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

}  // namespace kestrand
