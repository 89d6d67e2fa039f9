// Volumes with their mount paths, drive letters (Linux has none) and the
// device-mapper names of LDM volumes.
#include <sys/stat.h>

#include "platform/linux/dm_volume_names.h"
#include "platform/linux/errno_status.h"
#include "platform/linux/linux_platform.h"
#include "platform/linux/mountinfo.h"
#include "platform/linux/text_files.h"
#include "platform/utf8_text.h"

namespace kestrand {
namespace {

constexpr size_t kMaxMountInfoBytes = 16u << 20;
constexpr uint32_t kDriveNoRootDir = 1;

bool IsBlockNode(const std::string& path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISBLK(st.st_mode);
}

}  // namespace

// A mount's source is a block device when it names something under /dev and
// either the kernel gives it a real device number or the node is a block
// device (file systems such as btrfs show an anonymous number).
WIN32_ERROR CLinuxPlatform::ListVolumes(std::vector<VolumeMounts>& out) {
  out.clear();
  std::string text;
  if (int error = ReadTextFile(procRoot_ + "/self/mountinfo", text, kMaxMountInfoBytes))
    return Win32FromErrno(error);
  const std::string devPrefix = "/dev/";
  auto isBlockSource = [&](const MountInfoEntry& entry) {
    if (entry.Source.rfind(devPrefix, 0) != 0) return false;
    return entry.Major != 0 || IsBlockNode(devRoot_ + "/" + entry.Source.substr(devPrefix.size()));
  };
  out = VolumesFromMounts(ParseMountInfo(text), isBlockSource);
  return ERROR_SUCCESS_CODE;
}

WIN32_ERROR CLinuxPlatform::QueryDosDevice(char16_t, std::u16string& deviceName) {
  deviceName.clear();
  return ERROR_FILE_NOT_FOUND_CODE;
}

uint32_t CLinuxPlatform::GetDriveType(char16_t) { return kDriveNoRootDir; }

WIN32_ERROR CLinuxPlatform::QueryDynamicVolumeName(const GUID& volumeGuid, std::u16string& deviceName) {
  deviceName.clear();
  std::string mapperName;
  if (!FindLdmVolumeMapperName(sysRoot_, volumeGuid, mapperName)) return ERROR_FILE_NOT_FOUND_CODE;
  deviceName = Utf8ToUtf16(devRoot_ + "/mapper/" + mapperName);
  return ERROR_SUCCESS_CODE;
}

}  // namespace kestrand
