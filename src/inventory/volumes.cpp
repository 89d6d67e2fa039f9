#include "inventory/volumes.h"

#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "common/text_format.h"
#include "common/xml_writer.h"
#include "driver/kestrand.h"
#include "inventory/host_facts.h"
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

uint32_t AddMount(CKestrandTreeNode* section, const char16_t* volume, const char16_t* path) {
  CKestrandTreeNode* mount = section->AddChild("Mount");
  if (!mount) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  return CAttributeAdder(mount)
      .Wide("_ElementDisplayName", volume)
      .Text("_ElementIcon", "3")
      .Wide("MountPoint", path)
      .Code();
}

// Walks the letters in alphabetical order and calls `visit(letter, info,
// driveTypeWord)` for each one in use; the first non-zero code stops.
template <class Visit>
uint32_t ForEachDriveLetter(const CStringMap<DRIVE_LETTER_INFO>& map, Visit visit) {
  for (char16_t letter = u'A'; letter <= u'Z'; ++letter) {
    const char16_t key[] = {letter, u'\0'};
    const DRIVE_LETTER_INFO* info = map.Find(key);
    if (!info) continue;
    if (!info->DeviceName.Get()) return ERROR_NOT_ENOUGH_MEMORY_CODE;
    CWideString driveType;
    uint32_t code = CFirstCode()
                        .Then([&] { return LookupDriveTypeWord(info->DriveType, driveType); })
                        .Then([&] { return visit(letter, *info, driveType.Get()); })
                        .Code();
    if (code != 0) return code;
  }
  return 0;
}

uint32_t AddDrive(CKestrandTreeNode* section, char16_t letter, const DRIVE_LETTER_INFO& info,
                  const char16_t* driveType) {
  CKestrandTreeNode* drive = section->AddChild("Drive");
  if (!drive) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  const char16_t name[] = {letter, u'\0'};
  return CAttributeAdder(drive)
      .Wide("_ElementDisplayName", name)
      .Text("_ElementIcon", "3")
      .Wide("DeviceName", info.DeviceName.Get())
      .Wide("DriveType", driveType)
      .Code();
}

}  // namespace

// Records the host's volumes with their mount paths, and its drive letters
// with the device and drive type behind each.

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

// The volumes and their mount paths, in the map's order (bucket by bucket),
// for both reports.

uint32_t CKestrand::PrintMountPoints(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  return MountPoints.ForEach([stream](const CWideString& volume, MountPathList* paths) -> uint32_t {
    if (!volume.Get()) return ERROR_NOT_ENOUGH_MEMORY_CODE;
    PrintWide(stream, u"\t%s\n", volume.Get());
    if (paths) {
      for (CPtrListIterator<CWideString> it(*paths); !it.AtEnd(); it.Advance()) {
        const char16_t* path = it.Current() ? it.Current()->Get() : nullptr;
        if (!path) return ERROR_NOT_ENOUGH_MEMORY_CODE;
        PrintWide(stream, u"\t\t%s\n", path);
      }
    }
    PrintWide(stream, u"\n");
    return 0;
  });
}

// One Mount element per mount path; a volume without paths adds none.
uint32_t CKestrand::AddMountPoints(CKestrandTreeNode* root) {
  if (!root) return ERROR_INVALID_PARAMETER_CODE;
  CKestrandTreeNode* section = root->AddChild("MountPoints");
  if (!section) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  uint32_t code = CKestrandXMLWriter::SetElementDisplay(section, "Mount Points", "3");
  if (code != 0) return code;
  return MountPoints.ForEach([section](const CWideString& volume, MountPathList* paths) -> uint32_t {
    if (!volume.Get()) return ERROR_NOT_ENOUGH_MEMORY_CODE;
    if (!paths) return 0;
    for (CPtrListIterator<CWideString> it(*paths); !it.AtEnd(); it.Advance()) {
      const char16_t* path = it.Current() ? it.Current()->Get() : nullptr;
      if (!path) return ERROR_NOT_ENOUGH_MEMORY_CODE;
      uint32_t added = AddMount(section, volume.Get(), path);
      if (added != 0) return added;
    }
    return 0;
  });
}

// The drive letters in use, always A to Z whatever the map's buckets, with
// their devices and drive types, for both reports.

uint32_t CKestrand::PrintDriveLetters(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  return ForEachDriveLetter(
      DriveLetters,
      [stream](char16_t letter, const DRIVE_LETTER_INFO& info, const char16_t* driveType) -> uint32_t {
        PrintWide(stream, u"\t%c: = %s [%s]\n", letter, info.DeviceName.Get(), driveType);
        return 0;
      });
}

uint32_t CKestrand::AddDriveLetters(CKestrandTreeNode* root) {
  if (!root) return ERROR_INVALID_PARAMETER_CODE;
  CKestrandTreeNode* section = root->AddChild("DriveLetters");
  if (!section) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  uint32_t code = CKestrandXMLWriter::SetElementDisplay(section, "Drive Letters/Types", "3");
  if (code != 0) return code;
  return ForEachDriveLetter(
      DriveLetters,
      [section](char16_t letter, const DRIVE_LETTER_INFO& info, const char16_t* driveType) {
        return AddDrive(section, letter, info, driveType);
      });
}

// The mount name of a dynamic volume.

uint32_t GetVolumeMountName(const GUID* volumeGuid, std::u16string& result) {
  result.clear();
  if (!volumeGuid) return ERROR_INVALID_PARAMETER_CODE;
  std::u16string deviceName;
  WIN32_ERROR code = ThePlatform().QueryDynamicVolumeName(*volumeGuid, deviceName);
  if (code == 0) result = std::move(deviceName);
  return code;
}

}  // namespace kestrand
