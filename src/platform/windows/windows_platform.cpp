#include "platform/windows/windows_platform.h"

namespace kestrand {

CPlatform& NativePlatform() {
  static CWindowsPlatform platform;
  return platform;
}

uint32_t CWindowsPlatform::SetErrorMode(uint32_t mode) { return ::SetErrorMode(mode); }

WIN32_ERROR CWindowsPlatform::OpenDevice(const std::u16string& devicePath, PlatformHandle& handle) {
  // Read access and read sharing only: the tool never writes to a device.
  HANDLE device = CreateFileW(ToWide(devicePath), GENERIC_READ, FILE_SHARE_READ, nullptr,
                              OPEN_EXISTING, 0, nullptr);
  if (device == INVALID_HANDLE_VALUE) {
    handle = kInvalidHandle;
    return GetLastError();
  }
  handle = FromHandle(device);
  return ERROR_SUCCESS_CODE;
}

void CWindowsPlatform::CloseDevice(PlatformHandle handle) {
  if (handle != kInvalidHandle) CloseHandle(ToHandle(handle));
}

}  // namespace kestrand
