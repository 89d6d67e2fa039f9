// Records the host's volumes with their mount paths, and its drive letters
// with the device and drive type behind each.
#include <memory>
#include <string>
#include <vector>

#include "driver/kestrand.h"
#include "platform/types.h"
#include "platform/platform.h"

namespace kestrand {

namespace {

// One volume's key and path list, built completely before the map takes it,
// so that a failure leaves no half-made entry.
uint32_t InsertVolume(const VolumeMounts& volume, CStringMap<MountPathList>& map) {
  auto paths = std::make_unique<MountPathList>(true);
  auto key = std::make_unique<CWideString>();
  if (!key->Assign(volume.VolumeName.c_str())) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  for (const std::u16string& path : volume.Paths) {
    auto copy = std::make_unique<CWideString>();
    if (!copy->Assign(path.c_str())) return ERROR_NOT_ENOUGH_MEMORY_CODE;
    paths->Append(copy.release());
  }
  map.Insert(key.release(), paths.release());
  return 0;
}

uint32_t InsertDriveLetter(char16_t letter, const std::u16string& deviceName,
                           CStringMap<DRIVE_LETTER_INFO>& map) {
  uint32_t driveType = ThePlatform().GetDriveType(letter);
  auto key = std::make_unique<CWideString>(letter);
  auto info = std::make_unique<DRIVE_LETTER_INFO>();
  if (!key->Get() || !info->DeviceName.Assign(deviceName.c_str()))
    return ERROR_NOT_ENOUGH_MEMORY_CODE;
  info->DriveType = driveType;
  map.Insert(key.release(), info.release());
  return 0;
}

}  // namespace

uint32_t CKestrand::EnumerateVolumes() {
  std::vector<VolumeMounts> volumes;
  // The volumes listed before a failure are recorded all the same.
  WIN32_ERROR listCode = ThePlatform().ListVolumes(volumes);
  for (const VolumeMounts& volume : volumes) {
    uint32_t code = InsertVolume(volume, MountPoints);
    if (code != 0) return code;
  }
  return listCode;
}

uint32_t CKestrand::EnumerateDriveLetters() {
  uint32_t code = 0;
  for (char16_t letter = u'A'; letter <= u'Z'; ++letter) {
    std::u16string deviceName;
    code = ThePlatform().QueryDosDevice(letter, deviceName);
    if (code == ERROR_FILE_NOT_FOUND_CODE) continue;  // letter not in use
    if (code != 0) return code;
    code = InsertDriveLetter(letter, deviceName, DriveLetters);
    if (code != 0) return code;
  }
  // The code of the last letter: 2 when Z is not in use.
  return code;
}

}  // namespace kestrand
