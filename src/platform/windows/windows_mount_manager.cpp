// The device name under which the mount point manager knows a dynamic
// volume. Nothing is cached: each question opens the manager again.
#include "platform/mount_manager_request.h"
#include "platform/windows/windows_platform.h"

namespace kestrand {
namespace {

class DeviceHandle {
 public:
  explicit DeviceHandle(HANDLE handle) : handle_(handle) {}
  ~DeviceHandle() {
    if (handle_ != INVALID_HANDLE_VALUE) CloseHandle(handle_);
  }
  DeviceHandle(const DeviceHandle&) = delete;
  DeviceHandle& operator=(const DeviceHandle&) = delete;
  HANDLE Get() const { return handle_; }

 private:
  HANDLE handle_;
};

}  // namespace

WIN32_ERROR CWindowsPlatform::QueryDynamicVolumeName(const GUID& volumeGuid,
                                                     std::u16string& deviceName) {
  deviceName.clear();
  DeviceHandle manager(CreateFileW(L"\\\\.\\MountPointManager", GENERIC_READ, FILE_SHARE_READ,
                                   nullptr, OPEN_EXISTING, 0, nullptr));
  if (manager.Get() == INVALID_HANDLE_VALUE) return GetLastError();

  MountPointRequest request = BuildMountPointRequest(volumeGuid);
  HeapBuffer answer;
  for (size_t size = kMountPointFirstAnswerBytes;; size += kMountPointAnswerGrowth) {
    if (size > MAXDWORD || !answer.Reset(size)) return ERROR_NOT_ENOUGH_MEMORY_CODE;
    DWORD returned = 0;
    if (DeviceIoControl(manager.Get(), IOCTL_MOUNTMGR_QUERY_POINTS_CODE, request.data(),
                        static_cast<DWORD>(request.size()), answer.Get(),
                        static_cast<DWORD>(size), &returned, nullptr))
      return ReadMountPointDeviceName(answer.As<uint8_t>(), answer.Size(), deviceName);
    const WIN32_ERROR error = GetLastError();
    if (error != ERROR_MORE_DATA_CODE) return error;
  }
}

}  // namespace kestrand
