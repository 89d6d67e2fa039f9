#include "inventory/volume_mount_name.h"

#include <utility>

#include "platform/platform.h"

namespace kestrand {

uint32_t GetVolumeMountName(const GUID* volumeGuid, std::u16string& result) {
  result.clear();
  if (!volumeGuid) return ERROR_INVALID_PARAMETER_CODE;
  std::u16string deviceName;
  WIN32_ERROR code = ThePlatform().QueryDynamicVolumeName(*volumeGuid, deviceName);
  if (code == 0) result = std::move(deviceName);
  return code;
}

}  // namespace kestrand
