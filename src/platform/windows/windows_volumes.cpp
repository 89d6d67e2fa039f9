// Volumes with their mount paths, drive letters with the devices behind
// them, and the device name under which the mount point manager knows a
// dynamic volume (nothing is cached: each question opens the manager again).
#include <utility>

#include "platform/query_buffers.h"
#include "platform/windows/windows_platform.h"

namespace kestrand {
namespace {

constexpr DWORD kVolumeNameChars = MAX_PATH;
constexpr DWORD kDosDeviceGrowth = 500;

// The strings of a list ended by an empty string, read within `chars`.
std::vector<std::u16string> SplitMultiString(const WCHAR* list, size_t chars) {
  std::vector<std::u16string> strings;
  size_t at = 0;
  while (at < chars && list[at] != 0) {
    std::u16string one = FromWide(list + at, chars - at);
    at += one.size() + 1;
    strings.push_back(std::move(one));
  }
  return strings;
}

// The mount paths of one volume: 0, 8, or the code of the failed query.
WIN32_ERROR GetMountPaths(const WCHAR* volumeName, std::vector<std::u16string>& paths) {
  DWORD chars = 0;
  // Asked without a buffer, the call fails by design; only the length counts.
  GetVolumePathNamesForVolumeNameW(volumeName, nullptr, 0, &chars);
  if (chars == 0) return ERROR_SUCCESS_CODE;
  CHeapBuffer list(static_cast<size_t>(chars) * sizeof(WCHAR));
  if (!list.Allocated()) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  if (!GetVolumePathNamesForVolumeNameW(volumeName, list.As<WCHAR>(), chars, &chars))
    return GetLastError();
  paths = SplitMultiString(list.As<WCHAR>(), list.Size() / sizeof(WCHAR));
  return ERROR_SUCCESS_CODE;
}

}  // namespace

WIN32_ERROR CWindowsPlatform::ListVolumes(std::vector<VolumeMounts>& out) {
  CHeapBuffer name(kVolumeNameChars * sizeof(WCHAR));
  if (!name.Allocated()) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  CScopedHandle<HANDLE> search(FindFirstVolumeW(name.As<WCHAR>(), kVolumeNameChars),
                               INVALID_HANDLE_VALUE, FindVolumeClose);
  if (search.Get() == INVALID_HANDLE_VALUE) return GetLastError();

  for (;;) {
    VolumeMounts volume;
    volume.VolumeName = FromWide(name.As<WCHAR>(), kVolumeNameChars);
    const WIN32_ERROR error = GetMountPaths(ToWide(volume.VolumeName), volume.Paths);
    if (error != ERROR_SUCCESS_CODE) return error;  // this volume is left out
    out.push_back(std::move(volume));

    if (!FindNextVolumeW(search.Get(), name.As<WCHAR>(), kVolumeNameChars)) {
      const WIN32_ERROR next = GetLastError();
      return next == ERROR_NO_MORE_FILES_CODE ? ERROR_SUCCESS_CODE : next;
    }
  }
}

WIN32_ERROR CWindowsPlatform::QueryDosDevice(char16_t letter, std::u16string& deviceName) {
  const WCHAR drive[] = {static_cast<WCHAR>(letter), L':', 0};
  CHeapBuffer targets;
  // The answer's size is unknown: grow the buffer until it fits.
  for (DWORD chars = kDosDeviceGrowth;; chars += kDosDeviceGrowth) {
    if (!targets.Reset(static_cast<size_t>(chars) * sizeof(WCHAR)))
      return ERROR_NOT_ENOUGH_MEMORY_CODE;
    const DWORD written = QueryDosDeviceW(drive, targets.As<WCHAR>(), chars);
    if (written != 0) {
      deviceName = FromWide(targets.As<WCHAR>(), written);
      return ERROR_SUCCESS_CODE;
    }
    const WIN32_ERROR error = GetLastError();
    if (error != ERROR_INSUFFICIENT_BUFFER_CODE) return error;
  }
}

uint32_t CWindowsPlatform::GetDriveType(char16_t letter) {
  // The letter and its colon alone: no root backslash.
  const WCHAR drive[] = {static_cast<WCHAR>(letter), L':', 0};
  return GetDriveTypeW(drive);
}

WIN32_ERROR CWindowsPlatform::QueryDynamicVolumeName(const GUID& volumeGuid,
                                                     std::u16string& deviceName) {
  deviceName.clear();
  CScopedHandle<HANDLE> manager(CreateFileW(L"\\\\.\\MountPointManager", GENERIC_READ,
                                            FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr),
                                INVALID_HANDLE_VALUE, CloseHandle);
  if (manager.Get() == INVALID_HANDLE_VALUE) return GetLastError();

  MountPointRequest request = BuildMountPointRequest(volumeGuid);
  CHeapBuffer answer;
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
