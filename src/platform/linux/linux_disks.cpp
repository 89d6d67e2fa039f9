// Disk interfaces, opening devices and their device numbers.
#include <sys/stat.h>

#include "platform/linux/errno_status.h"
#include "platform/linux/linux_platform.h"
#include "platform/status_codes.h"
#include "platform/utf8_text.h"

namespace kestrand {

WIN32_ERROR CLinuxPlatform::ListDiskInterfaces(std::vector<DiskInterface>& out) {
  out.clear();
  const WIN32_ERROR error = ListWholeDisks(sysRoot_, devRoot_, disks_);
  if (error != ERROR_SUCCESS_CODE) return error;
  for (const ListedDisk& disk : disks_)
    out.push_back(DiskInterface{Utf8ToUtf16(disk.InstanceId), Utf8ToUtf16(disk.DevicePath)});
  return ERROR_NO_MORE_ITEMS_CODE;
}

WIN32_ERROR CLinuxPlatform::OpenDevice(const std::u16string& devicePath, PlatformHandle& handle) {
  return Win32FromErrno(OpenReadOnly(Utf16ToUtf8(devicePath), handle));
}

void CLinuxPlatform::CloseDevice(PlatformHandle handle) { Forget(handle); }

// Like the Windows query on something that is not a disk, a handle that is
// not one of the listed disks has no number.
WIN32_ERROR CLinuxPlatform::GetDeviceNumber(PlatformHandle device, uint32_t& deviceNumber) {
  if (DescriptorOf(device) < 0) return ERROR_INVALID_HANDLE_CODE;
  const ListedDisk* disk = DiskBehind(device);
  if (disk == nullptr) return ERROR_INVALID_FUNCTION_CODE;
  deviceNumber = disk->Number;
  return ERROR_SUCCESS_CODE;
}

}  // namespace kestrand
