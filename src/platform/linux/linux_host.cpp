// Host facts: host name, kernel version, processors; Linux has no product
// types, suites, cluster service or volume manager registry value.
#include <limits.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/errno_status.h"
#include "platform/linux/host_facts.h"
#include "platform/linux/linux_platform.h"
#include "platform/utf8_text.h"

namespace kestrand {

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
