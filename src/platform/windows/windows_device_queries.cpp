// The storage stack's answers about an open disk device: geometry, sector
// alignment, partition layout and whole-disk partition information. The
// SDK's structures and ours share one layout, so answers are copied as bytes.
#include <cstring>

#include "platform/windows/windows_platform.h"

namespace kestrand {
namespace {

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
