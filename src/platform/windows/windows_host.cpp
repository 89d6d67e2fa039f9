// Host facts: computer name, operating system version, product type and
// suites, processor, and the cluster service's state on this node.
#include "platform/windows/windows_platform.h"

namespace kestrand {
namespace {

static_assert(sizeof(OSVERSIONINFOW) == 276);
static_assert(sizeof(OSVERSIONINFOEXW) == 284);
static_assert(VER_PRODUCT_TYPE == 0x80 && VER_SUITENAME == 0x40);
static_assert(VER_EQUAL == 1 && VER_OR == 7);

using GetNodeClusterStateRoutine = DWORD(WINAPI*)(LPCWSTR nodeName, DWORD* clusterState);

class LoadedLibrary {
 public:
  explicit LoadedLibrary(HMODULE module) : module_(module) {}
  ~LoadedLibrary() {
    if (module_ != nullptr) FreeLibrary(module_);
  }
  LoadedLibrary(const LoadedLibrary&) = delete;
  LoadedLibrary& operator=(const LoadedLibrary&) = delete;
  HMODULE Get() const { return module_; }

 private:
  HMODULE module_;
};

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

}  // namespace

WIN32_ERROR CWindowsPlatform::GetComputerName(std::u16string& name) {
  name.clear();
  DWORD chars = 0;
  GetComputerNameExW(ComputerNameDnsFullyQualified, nullptr, &chars);
  if (chars == 0) return ERROR_SUCCESS_CODE;  // no size: the caller reports it
  HeapBuffer buffer(static_cast<size_t>(chars) * sizeof(WCHAR));
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
  LoadedLibrary library(LoadClusterLibrary());
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

}  // namespace kestrand
