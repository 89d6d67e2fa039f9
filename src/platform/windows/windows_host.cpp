// Host facts: computer name, operating system version, product type and
// suites, processor, and the cluster service's state on this node; the one
// registry value the tool reads (the volume manager's primary pack id); the
// process error mode; and the native platform.
#include "platform/query_buffers.h"
#include "platform/windows/windows_platform.h"

namespace kestrand {
namespace {

static_assert(sizeof(OSVERSIONINFOW) == 276);
static_assert(sizeof(OSVERSIONINFOEXW) == 284);
static_assert(VER_PRODUCT_TYPE == 0x80 && VER_SUITENAME == 0x40);
static_assert(VER_EQUAL == 1 && VER_OR == 7);

using GetNodeClusterStateRoutine = DWORD(WINAPI*)(LPCWSTR nodeName, DWORD* clusterState);

// The cluster client library from the system directory only, never from the
// current or the tool's directory. Hosts without it answer nullptr.
HMODULE LoadClusterLibrary() {
  WCHAR path[MAX_PATH + 16] = {};
  const UINT length = GetSystemDirectoryW(path, MAX_PATH);
  if (length == 0) return nullptr;
  if (length >= MAX_PATH) {
    SetLastError(ERROR_FILENAME_EXCED_RANGE);
    return nullptr;
  }
  const WCHAR file[] = L"\\clusapi.dll";
  for (UINT i = 0; i < sizeof(file) / sizeof(file[0]); ++i) path[length + i] = file[i];
  return LoadLibraryW(path);
}

bool VerifyOne(OSVERSIONINFOEXW& wanted, DWORD typeMask, BYTE condition) {
  wanted.dwOSVersionInfoSize = sizeof(wanted);
  const DWORDLONG conditions = VerSetConditionMask(0, typeMask, condition);
  return VerifyVersionInfoW(&wanted, typeMask, conditions) != FALSE;
}

constexpr ULONG kRegistryAbsolutePath = 0;   // RTL_REGISTRY_ABSOLUTE
constexpr ULONG kQueryValueRequired = 0x4;  // RTL_QUERY_REGISTRY_REQUIRED

// Runs inside the registry query: keeps a REG_SZ value, refuses any other.
::NTSTATUS NTAPI CopyPrimaryPackId(PWSTR, ULONG valueType, PVOID valueData, ULONG valueLength,
                                   PVOID, PVOID entryContext) {
  auto* copy = static_cast<CRegistryStringCopy*>(entryContext);
  return copy->Assign(valueType, valueData, valueLength);
}

}  // namespace

CPlatform& NativePlatform() {
  static CWindowsPlatform platform;
  return platform;
}

uint32_t CWindowsPlatform::SetErrorMode(uint32_t mode) { return ::SetErrorMode(mode); }

WIN32_ERROR CWindowsPlatform::GetComputerName(std::u16string& name) {
  name.clear();
  DWORD chars = 0;
  // Asked without a buffer, the call fails by design; only the length counts.
  GetComputerNameExW(ComputerNameDnsFullyQualified, nullptr, &chars);
  if (chars == 0) return ERROR_SUCCESS_CODE;  // no size: the caller reports it
  CHeapBuffer buffer(static_cast<size_t>(chars) * sizeof(WCHAR));
  if (!buffer.Allocated()) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  if (!GetComputerNameExW(ComputerNameDnsFullyQualified, buffer.As<WCHAR>(), &chars))
    return GetLastError();
  name = FromWide(buffer.As<WCHAR>(), buffer.Size() / sizeof(WCHAR));
  return ERROR_SUCCESS_CODE;
}

OsVersion CWindowsPlatform::GetVersion() {
  OSVERSIONINFOW info{};
  info.dwOSVersionInfoSize = sizeof(info);
  GetVersionExW(&info);  // a failure leaves zeros, which is what gets printed
  OsVersion version;
  version.Major = info.dwMajorVersion;
  version.Minor = info.dwMinorVersion;
  version.Build = info.dwBuildNumber;
  version.ServicePack = FromWide(info.szCSDVersion, sizeof(info.szCSDVersion) / sizeof(WCHAR));
  return version;
}

bool CWindowsPlatform::IsProductType(uint8_t productType) {
  OSVERSIONINFOEXW wanted{};
  wanted.wProductType = productType;
  return VerifyOne(wanted, VER_PRODUCT_TYPE, VER_EQUAL);
}

bool CWindowsPlatform::HasSuite(uint16_t suiteBit) {
  OSVERSIONINFOEXW wanted{};
  wanted.wSuiteMask = suiteBit;
  return VerifyOne(wanted, VER_SUITENAME, VER_OR);
}

ProcessorInfo CWindowsPlatform::GetProcessorInfo() {
  SYSTEM_INFO system{};
  GetSystemInfo(&system);
  ProcessorInfo processor;
  processor.Architecture = system.wProcessorArchitecture;
  processor.Count = system.dwNumberOfProcessors;
  return processor;
}

WIN32_ERROR CWindowsPlatform::GetNodeClusterState(const std::u16string& computerName,
                                                  uint32_t& state) {
  // Loaded at run time: hosts without the cluster client still run the tool,
  // and its absence is this query's failure.
  CScopedHandle<HMODULE> library(LoadClusterLibrary(), nullptr, FreeLibrary);
  if (library.Get() == nullptr) return GetLastError();
  const FARPROC address = GetProcAddress(library.Get(), "GetNodeClusterState");
  if (address == nullptr) return GetLastError();
  const auto routine = reinterpret_cast<GetNodeClusterStateRoutine>(
      reinterpret_cast<void (*)()>(address));
  DWORD clusterState = 0;
  const DWORD error = routine(ToWide(computerName), &clusterState);
  if (error == ERROR_SUCCESS) state = clusterState;
  return error;
}

NTSTATUS CWindowsPlatform::QueryPrimaryPackId(std::u16string& value) {
  value.clear();
  WCHAR valueName[] = L"PrimaryPackId";
  CRegistryStringCopy copy;
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
