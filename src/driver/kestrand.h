// The run object: everything gathered about the host and its disks, and the
// operations that print and write the reports from it.
#pragma once

#include <cstdint>
#include <cstdio>

#include "common/ptr_list.h"
#include "common/string_map.h"
#include "common/wide_string.h"
#include "inventory/drive_letter_info.h"

namespace kestrand {

class CDisk;
class CKestrandTreeNode;

using MountPathList = CPtrList<CWideString>;

class CKestrand {
 public:
  static constexpr uint32_t kMapBuckets = 17;

  CKestrand();
  ~CKestrand();
  CKestrand(const CKestrand&) = delete;
  CKestrand& operator=(const CKestrand&) = delete;

  // Gathering.
  uint32_t EnumerateDisks();
  uint32_t OpenLdmFile(const char* fileName);
  uint32_t EnumerateVolumes();
  uint32_t EnumerateDriveLetters();

  // Text report.
  uint32_t PrintSystemSummary(FILE* stream);
  uint32_t PrintDisks(FILE* stream);
  uint32_t PrintDisk(FILE* stream, uint32_t diskNumber);
  uint32_t PrintDynamicDiskInformation(FILE* stream);
  uint32_t PrintSystemInformation(FILE* stream);
  uint32_t PrintMountPoints(FILE* stream);
  uint32_t PrintDriveLetters(FILE* stream);

  // XML report.
  uint32_t WriteAnalysis(const char* fileName);
  uint32_t AddSystemInformation(CKestrandTreeNode* root);
  uint32_t AddMountPoints(CKestrandTreeNode* root);
  uint32_t AddDriveLetters(CKestrandTreeNode* root);

  CPtrList<CDisk> Disks{true};
  CStringMap<MountPathList> MountPoints{kMapBuckets};
  CStringMap<DRIVE_LETTER_INFO> DriveLetters{kMapBuckets};
  uint32_t SavedErrorMode = 0;
  bool LiveDisks = true;
};

}  // namespace kestrand
