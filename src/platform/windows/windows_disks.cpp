// Disk device interfaces and their device numbers.
#include "platform/windows/windows_platform.h"

// After windows.h, which it needs.
#include <setupapi.h>

#include <cstddef>
#include <utility>

namespace kestrand {
namespace {

// GUID_DEVINTERFACE_DISK, spelled out so that no GUID library is needed.
constexpr ::GUID kDiskInterfaceClass = {0x53F56307, 0xB6BF, 0x11D0,
                                        {0x94, 0xF2, 0x00, 0xA0, 0xC9, 0x1E, 0xFB, 0x8B}};

static_assert(sizeof(SP_DEVICE_INTERFACE_DATA) == 32);
static_assert(sizeof(SP_DEVINFO_DATA) == 32);
static_assert(sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W) == 8);
static_assert(sizeof(STORAGE_DEVICE_NUMBER) == 12);
static_assert(IOCTL_STORAGE_GET_DEVICE_NUMBER == 0x2D1080);

class DeviceInfoSet {
 public:
  explicit DeviceInfoSet(HDEVINFO set) : set_(set) {}
  ~DeviceInfoSet() {
    if (set_ != INVALID_HANDLE_VALUE) SetupDiDestroyDeviceInfoList(set_);
  }
  DeviceInfoSet(const DeviceInfoSet&) = delete;
  DeviceInfoSet& operator=(const DeviceInfoSet&) = delete;
  HDEVINFO Get() const { return set_; }

 private:
  HDEVINFO set_;
};

// The device instance id of `device`: 0 with the id, 0 with an empty id when
// the device reports none (the interface is then skipped), or 8.
WIN32_ERROR GetInstanceId(HDEVINFO set, SP_DEVINFO_DATA& device, std::u16string& instanceId) {
  instanceId.clear();
  DWORD length = 0;
  SetupDiGetDeviceInstanceIdW(set, &device, nullptr, 0, &length);
  if (length == 0 || length > UINT32_MAX / sizeof(WCHAR)) return ERROR_SUCCESS_CODE;
  HeapBuffer id(static_cast<size_t>(length) * sizeof(WCHAR));
  if (!id.Allocated()) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  // A failed fetch leaves the zeroed buffer, hence an empty id.
  SetupDiGetDeviceInstanceIdW(set, &device, id.As<WCHAR>(), length, nullptr);
  instanceId = FromWide(id.As<WCHAR>(), length);
  return ERROR_SUCCESS_CODE;
}

// One interface's detail and device record, then its instance id. Returns 0
// (with `skip` set when the device has no instance id) or the code that
// ends the listing.
WIN32_ERROR DescribeInterface(HDEVINFO set, SP_DEVICE_INTERFACE_DATA& deviceInterface,
                              DiskInterface& described, bool& skip) {
  skip = false;
  SP_DEVINFO_DATA device{};
  device.cbSize = sizeof(device);
  DWORD detailSize = 0;
  if (SetupDiGetDeviceInterfaceDetailW(set, &deviceInterface, nullptr, 0, &detailSize, &device))
    return GetLastError();
  const DWORD sizeError = GetLastError();
  if (sizeError != ERROR_INSUFFICIENT_BUFFER_CODE) return sizeError;

  const size_t pathOffset = offsetof(SP_DEVICE_INTERFACE_DETAIL_DATA_W, DevicePath);
  HeapBuffer detail(detailSize < sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W)
                        ? sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W)
                        : detailSize);
  if (!detail.Allocated()) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  auto* data = detail.As<SP_DEVICE_INTERFACE_DETAIL_DATA_W>();
  data->cbSize = sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W);
  if (!SetupDiGetDeviceInterfaceDetailW(set, &deviceInterface, data, detailSize, nullptr, &device))
    return GetLastError();

  const WIN32_ERROR idError = GetInstanceId(set, device, described.InstanceId);
  if (idError != ERROR_SUCCESS_CODE) return idError;
  if (described.InstanceId.empty()) {
    skip = true;
    return ERROR_SUCCESS_CODE;
  }
  described.DevicePath = FromWide(data->DevicePath, (detail.Size() - pathOffset) / sizeof(WCHAR));
  return ERROR_SUCCESS_CODE;
}

}  // namespace

WIN32_ERROR CWindowsPlatform::ListDiskInterfaces(std::vector<DiskInterface>& out) {
  DeviceInfoSet set(SetupDiGetClassDevsW(&kDiskInterfaceClass, nullptr, nullptr,
                                         DIGCF_PRESENT | DIGCF_DEVICEINTERFACE));
  if (set.Get() == INVALID_HANDLE_VALUE) return GetLastError();

  for (DWORD index = 0;; ++index) {
    SP_DEVICE_INTERFACE_DATA deviceInterface{};
    deviceInterface.cbSize = sizeof(deviceInterface);
    if (!SetupDiEnumDeviceInterfaces(set.Get(), nullptr, &kDiskInterfaceClass, index,
                                     &deviceInterface))
      return GetLastError();  // ERROR_NO_MORE_ITEMS after the last one

    DiskInterface described;
    bool skip = false;
    const WIN32_ERROR error = DescribeInterface(set.Get(), deviceInterface, described, skip);
    if (error != ERROR_SUCCESS_CODE) return error;
    if (!skip) out.push_back(std::move(described));
  }
}

WIN32_ERROR CWindowsPlatform::GetDeviceNumber(PlatformHandle device, uint32_t& deviceNumber) {
  STORAGE_DEVICE_NUMBER number{};
  DWORD returned = 0;
  if (!DeviceIoControl(ToHandle(device), IOCTL_STORAGE_GET_DEVICE_NUMBER, nullptr, 0, &number,
                       sizeof(number), &returned, nullptr))
    return GetLastError();
  deviceNumber = number.DeviceNumber;
  return ERROR_SUCCESS_CODE;
}

}  // namespace kestrand
