// The whole disks of the host as the tool numbers them: entries of
// <sys>/block that have media, leaving out RAM disks, compressed RAM disks,
// device-mapper and MD devices, optical drives and loop devices without a
// backing file. Disk numbers are positions in the list ordered by the
// kernel's device number (major, then minor).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/types.h"

namespace kestrand {

struct ListedDisk {
  std::string Name;        // kernel name, e.g. "sda"
  uint32_t Major = 0;
  uint32_t Minor = 0;
  uint32_t Number = 0;     // the tool's disk number
  bool Removable = false;  // <sys>/block/NAME/removable says 1
  std::string DevicePath;  // <dev>/NAME
  std::string InstanceId;  // sysfs device path, e.g. "devices/pci0000:00/0000:00:1f.2/.../block/sda"
};

// 0 with the disks in number order, or the Win32 code of an unreadable
// <sys>/block.
WIN32_ERROR ListWholeDisks(const std::string& sysRoot, const std::string& devRoot,
                           std::vector<ListedDisk>& disks);

// Parses a sysfs "MAJ:MIN" device number.
bool ParseDeviceNumber(const std::string& text, uint32_t& major, uint32_t& minor);

}  // namespace kestrand
