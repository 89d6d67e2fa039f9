#include "platform/linux/disk_listing.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <limits>

#include "platform/linux/errno_status.h"
#include "platform/linux/text_files.h"

namespace kestrand {
namespace {

constexpr char kScsiTypeOptical[] = "5";

bool StartsWith(const std::string& text, const char* prefix) { return text.rfind(prefix, 0) == 0; }

bool IsExcludedByName(const std::string& name) {
  return StartsWith(name, "ram") || StartsWith(name, "zram") || StartsWith(name, "dm-") ||
         StartsWith(name, "md") || StartsWith(name, "sr");
}

bool ParseUnsigned(const std::string& text, uint64_t& value) {
  const char* end = text.data() + text.size();
  auto [ptr, ec] = std::from_chars(text.data(), end, value);
  return ec == std::errc() && ptr == end && !text.empty();
}

bool HasMedia(const std::string& dir) {
  std::string text;
  uint64_t sectors = 0;
  return ReadAttribute(dir + "/size", text) && ParseUnsigned(text, sectors) && sectors > 0;
}

bool IsOptical(const std::string& dir) {
  std::string type;
  return ReadAttribute(dir + "/device/type", type) && type == kScsiTypeOptical;
}

bool IsListable(const std::string& sysBlock, const std::string& name) {
  if (IsExcludedByName(name)) return false;
  const std::string dir = sysBlock + "/" + name;
  if (StartsWith(name, "loop") && !PathExists(dir + "/loop/backing_file")) return false;
  return HasMedia(dir) && !IsOptical(dir);
}

// The entry's link into the device tree, relative to the sysfs root; an
// entry that is not a link stands for itself.
std::string InstanceIdOf(const std::string& sysBlock, const std::string& name) {
  char target[4096];
  const ssize_t length = readlink((sysBlock + "/" + name).c_str(), target, sizeof target - 1);
  if (length <= 0) return "block/" + name;
  std::string id(target, static_cast<size_t>(length));
  while (StartsWith(id, "../")) id.erase(0, 3);
  return id;
}

bool DescribeDisk(const std::string& sysRoot, const std::string& devRoot, const std::string& name,
                  ListedDisk& disk) {
  const std::string sysBlock = sysRoot + "/block";
  std::string text;
  if (!IsListable(sysBlock, name) || !ReadAttribute(sysBlock + "/" + name + "/dev", text)) return false;
  if (!ParseDeviceNumber(text, disk.Major, disk.Minor)) return false;
  disk.Name = name;
  disk.Removable = ReadAttribute(sysBlock + "/" + name + "/removable", text) && text == "1";
  disk.DevicePath = devRoot + "/" + name;
  disk.InstanceId = InstanceIdOf(sysBlock, name);
  return true;
}

}  // namespace

bool ParseDeviceNumber(const std::string& text, uint32_t& major, uint32_t& minor) {
  const size_t colon = text.find(':');
  if (colon == std::string::npos) return false;
  uint64_t ma = 0;
  uint64_t mi = 0;
  if (!ParseUnsigned(text.substr(0, colon), ma) || !ParseUnsigned(text.substr(colon + 1), mi)) return false;
  if (ma > std::numeric_limits<uint32_t>::max() || mi > std::numeric_limits<uint32_t>::max()) return false;
  major = static_cast<uint32_t>(ma);
  minor = static_cast<uint32_t>(mi);
  return true;
}

WIN32_ERROR ListWholeDisks(const std::string& sysRoot, const std::string& devRoot,
                           std::vector<ListedDisk>& disks) {
  disks.clear();
  std::vector<std::string> names;
  const int error = ListDirectory(sysRoot + "/block", names);
  if (error != 0) return Win32FromErrno(error);
  for (const std::string& name : names) {
    ListedDisk disk;
    if (DescribeDisk(sysRoot, devRoot, name, disk)) disks.push_back(disk);
  }
  std::sort(disks.begin(), disks.end(), [](const ListedDisk& a, const ListedDisk& b) {
    if (a.Major != b.Major) return a.Major < b.Major;
    if (a.Minor != b.Minor) return a.Minor < b.Minor;
    return a.Name < b.Name;
  });
  for (size_t i = 0; i < disks.size(); ++i) disks[i].Number = static_cast<uint32_t>(i);
  return ERROR_SUCCESS_CODE;
}

}  // namespace kestrand
