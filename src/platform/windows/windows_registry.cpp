// The one registry value the tool reads: the volume manager's primary pack id.
#include "platform/registry_string_copy.h"
#include "platform/windows/windows_platform.h"

namespace kestrand {
namespace {

constexpr ULONG kRegistryAbsolutePath = 0;   // RTL_REGISTRY_ABSOLUTE
constexpr ULONG kQueryValueRequired = 0x4;  // RTL_QUERY_REGISTRY_REQUIRED

// Runs inside the registry query: keeps a REG_SZ value, refuses any other.
::NTSTATUS NTAPI CopyPrimaryPackId(PWSTR, ULONG valueType, PVOID valueData, ULONG valueLength,
                                   PVOID, PVOID entryContext) {
  auto* copy = static_cast<RegistryStringCopy*>(entryContext);
  return copy->Assign(valueType, valueData, valueLength);
}

}  // namespace

NTSTATUS CWindowsPlatform::QueryPrimaryPackId(std::u16string& value) {
  value.clear();
  WCHAR valueName[] = L"PrimaryPackId";
  RegistryStringCopy copy;
  KESTRAND_RTL_QUERY_REGISTRY_TABLE table[2] = {};
  table[0].QueryRoutine = CopyPrimaryPackId;
  table[0].Flags = kQueryValueRequired;
  table[0].Name = valueName;
  table[0].EntryContext = &copy;
  const NTSTATUS status = RtlQueryRegistryValues(
      kRegistryAbsolutePath, L"\\Registry\\Machine\\System\\CurrentControlSet\\Services\\VolMgrX",
      table, nullptr, nullptr);
  if (status >= 0) value = copy.Text();
  return status;
}

}  // namespace kestrand
