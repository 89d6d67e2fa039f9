// The mount table of <proc>/self/mountinfo and the volumes it shows: every
// block device that is mounted, with its mount points in table order.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/platform.h"

namespace kestrand {

struct MountInfoEntry {
  uint32_t Major = 0;
  uint32_t Minor = 0;
  std::string MountPoint;  // decoded
  std::string FsType;
  std::string Source;      // decoded, e.g. "/dev/sda1"
};

// Turns the kernel's octal escapes ("\040" for a blank) back into bytes.
std::string DecodeMountField(std::string_view field);

// Parses the whole table; malformed lines are skipped.
std::vector<MountInfoEntry> ParseMountInfo(std::string_view text);

// Groups the entries whose source is a block device by source, in the order
// of first appearance, each with its mount points in table order.
std::vector<VolumeMounts> VolumesFromMounts(const std::vector<MountInfoEntry>& entries,
                                            const std::function<bool(const MountInfoEntry&)>& isBlockSource);

}  // namespace kestrand
