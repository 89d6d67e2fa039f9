// The drive letters in use, always A to Z whatever the map's buckets, with
// their devices and drive types, for both reports.
#include <cstdio>

#include "common/text_writer.h"
#include "common/tree_node.h"
#include "common/xml_writer.h"
#include "driver/kestrand.h"
#include "platform/types.h"
#include "inventory/word_tables.h"

namespace kestrand {

namespace {

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
    uint32_t code = LookupDriveTypeWord(info->DriveType, driveType);
    if (code == 0) code = visit(letter, *info, driveType.Get());
    if (code != 0) return code;
  }
  return 0;
}

uint32_t AddDrive(CKestrandTreeNode* section, char16_t letter, const DRIVE_LETTER_INFO& info,
                  const char16_t* driveType) {
  CKestrandTreeNode* drive = section->AddChild("Drive");
  if (!drive) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  const char16_t name[] = {letter, u'\0'};
  uint32_t code = CKestrandXMLWriter::NewAttributeW(drive, "_ElementDisplayName", name);
  if (code == 0) code = CKestrandXMLWriter::NewAttribute(drive, "_ElementIcon", "3");
  if (code == 0) code = CKestrandXMLWriter::NewAttributeW(drive, "DeviceName", info.DeviceName.Get());
  if (code == 0) code = CKestrandXMLWriter::NewAttributeW(drive, "DriveType", driveType);
  return code;
}

}  // namespace

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

}  // namespace kestrand
