// The host's volumes and drive letters: what the host says about each drive
// letter, and the mount names of dynamic volumes. The source file also holds
// CKestrand's gathering of the volumes and letters and both reports of them
// (EnumerateVolumes, EnumerateDriveLetters, PrintMountPoints, AddMountPoints,
// PrintDriveLetters, AddDriveLetters).
#pragma once

#include <cstdint>
#include <string>

#include "common/containers.h"
#include "platform/types.h"

namespace kestrand {

// What the host says about one drive letter.
struct DRIVE_LETTER_INFO {
  uint32_t DriveType = 0;  // the drive type code of "X:"
  CWideString DeviceName;  // first device name behind the letter
};

// The name under which the host sees a dynamic volume, asked of the mount
// point manager by the volume's GUID: 0 with the device name in `result`; 2 when no device answers to the GUID,
// 87 without a GUID, or the platform's code. `result` is empty unless 0.
// Nothing is cached: every call asks the platform again.
uint32_t GetVolumeMountName(const GUID* volumeGuid, std::u16string& result);

}  // namespace kestrand
