// Disks and device queries: the disk device interfaces and their device
// numbers, opening a device, and the storage stack's answers about an open
// disk device: geometry, sector alignment, partition layout and whole-disk
// partition information. The SDK's structures and ours share one layout, so
// answers are copied as bytes.
#include "platform/windows/windows_platform.h"

// After windows.h, which it needs.
#include <setupapi.h>

#include <cstddef>
#include <cstring>
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

// The device instance id of `device`: 0 with the id, 0 with an empty id when
// the device reports none (the interface is then skipped), or 8.
WIN32_ERROR GetInstanceId(HDEVINFO set, SP_DEVINFO_DATA& device, std::u16string& instanceId) {
  instanceId.clear();
  DWORD length = 0;
  // Asked without a buffer, the call fails by design; only the length counts.
  SetupDiGetDeviceInstanceIdW(set, &device, nullptr, 0, &length);
  if (length == 0 || length > UINT32_MAX / sizeof(WCHAR)) return ERROR_SUCCESS_CODE;
  CHeapBuffer id(static_cast<size_t>(length) * sizeof(WCHAR));
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
  CHeapBuffer detail(detailSize < sizeof(SP_DEVICE_INTERFACE_DETAIL_DATA_W)
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

static_assert(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX == 0x700A0);
static_assert(IOCTL_STORAGE_QUERY_PROPERTY == 0x2D1400);
static_assert(IOCTL_DISK_GET_DRIVE_LAYOUT_EX == 0x70050);
static_assert(IOCTL_DISK_GET_PARTITION_INFO_EX == 0x70048);

static_assert(sizeof(::DISK_GEOMETRY_EX) == sizeof(DISK_GEOMETRY_EX));
static_assert(offsetof(::DISK_GEOMETRY_EX, DiskSize) == offsetof(DISK_GEOMETRY_EX, DiskSize));
static_assert(sizeof(::STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR) ==
              sizeof(STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR));
static_assert(sizeof(::PARTITION_INFORMATION_EX) == sizeof(PARTITION_INFORMATION_EX));
static_assert(offsetof(::PARTITION_INFORMATION_EX, Mbr) == offsetof(PARTITION_INFORMATION_EX, Mbr));
static_assert(offsetof(::DRIVE_LAYOUT_INFORMATION_EX, PartitionEntry) == DRIVE_LAYOUT_HEAD_BYTES);
static_assert(sizeof(::STORAGE_PROPERTY_QUERY) == 12);
static_assert(StorageAccessAlignmentProperty == 6 && PropertyStandardQuery == 0);

// A query without input whose answer fills `output` exactly.
WIN32_ERROR Query(PlatformHandle device, DWORD code, void* output, DWORD size) {
  DWORD returned = 0;
  if (!DeviceIoControl(ToHandle(device), code, nullptr, 0, output, size, &returned, nullptr))
    return GetLastError();
  return ERROR_SUCCESS_CODE;
}

}  // namespace

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

WIN32_ERROR CWindowsPlatform::ListDiskInterfaces(std::vector<DiskInterface>& out) {
  CScopedHandle<HDEVINFO> set(SetupDiGetClassDevsW(&kDiskInterfaceClass, nullptr, nullptr,
                                                  DIGCF_PRESENT | DIGCF_DEVICEINTERFACE),
                              INVALID_HANDLE_VALUE, SetupDiDestroyDeviceInfoList);
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

WIN32_ERROR CWindowsPlatform::GetDriveGeometry(PlatformHandle device, DISK_GEOMETRY_EX& geometry) {
  ::DISK_GEOMETRY_EX answer{};
  const WIN32_ERROR error =
      Query(device, IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, &answer, sizeof(answer));
  if (error == ERROR_SUCCESS_CODE) std::memcpy(&geometry, &answer, sizeof(geometry));
  return error;
}

WIN32_ERROR CWindowsPlatform::GetAccessAlignment(PlatformHandle device,
                                                 STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR& alignment) {
  ::STORAGE_PROPERTY_QUERY query{};
  query.PropertyId = StorageAccessAlignmentProperty;
  query.QueryType = PropertyStandardQuery;
  ::STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR answer{};
  DWORD returned = 0;
  if (!DeviceIoControl(ToHandle(device), IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof(query),
                       &answer, sizeof(answer), &returned, nullptr))
    return GetLastError();
  std::memcpy(&alignment, &answer, sizeof(alignment));
  return ERROR_SUCCESS_CODE;
}

WIN32_ERROR CWindowsPlatform::GetDriveLayout(PlatformHandle device, void* buffer, uint32_t size) {
  if (buffer == nullptr && size != 0) return ERROR_INVALID_PARAMETER_CODE;
  // ERROR_INSUFFICIENT_BUFFER tells the caller to grow the buffer.
  return Query(device, IOCTL_DISK_GET_DRIVE_LAYOUT_EX, buffer, size);
}

WIN32_ERROR CWindowsPlatform::GetPartitionInfo(PlatformHandle device, PARTITION_INFORMATION_EX& info) {
  ::PARTITION_INFORMATION_EX answer{};
  const WIN32_ERROR error =
      Query(device, IOCTL_DISK_GET_PARTITION_INFO_EX, &answer, sizeof(answer));
  if (error == ERROR_SUCCESS_CODE) std::memcpy(&info, &answer, sizeof(info));
  return error;
}

}  // namespace kestrand
