// Volumes and mount points: the mount table of <proc>/self/mountinfo and
// the volumes it shows (every block device that is mounted, with its mount
// points in table order). Linux has no drive letters.
#include <sys/stat.h>

#include <map>

#include "platform/linux/linux_internal.h"

namespace kestrand {

// ---- the mount table

namespace {

bool IsOctalDigit(char c) { return c >= '0' && c <= '7'; }

std::vector<std::string_view> SplitFields(std::string_view line) {
  std::vector<std::string_view> fields;
  size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && line[i] == ' ') ++i;
    const size_t start = i;
    while (i < line.size() && line[i] != ' ') ++i;
    if (i > start) fields.push_back(line.substr(start, i - start));
  }
  return fields;
}

// Fields: id, parent id, major:minor, root, mount point, options, optional
// fields up to a lone "-", then file system type, source, super options.
bool ParseLine(std::string_view line, MountInfoEntry& entry) {
  const std::vector<std::string_view> fields = SplitFields(line);
  if (fields.size() < 6) return false;
  size_t separator = 6;
  while (separator < fields.size() && fields[separator] != "-") ++separator;
  if (separator + 2 >= fields.size()) return false;
  if (!ParseDeviceNumber(std::string(fields[2]), entry.Major, entry.Minor)) return false;
  entry.MountPoint = DecodeMountField(fields[4]);
  entry.FsType = DecodeMountField(fields[separator + 1]);
  entry.Source = DecodeMountField(fields[separator + 2]);
  return true;
}

}  // namespace

std::string DecodeMountField(std::string_view field) {
  std::string out;
  out.reserve(field.size());
  for (size_t i = 0; i < field.size(); ++i) {
    if (field[i] == '\\' && i + 3 < field.size() && IsOctalDigit(field[i + 1]) &&
        IsOctalDigit(field[i + 2]) && IsOctalDigit(field[i + 3])) {
      const int value = (field[i + 1] - '0') * 64 + (field[i + 2] - '0') * 8 + (field[i + 3] - '0');
      if (value <= 0xFF) {
        out += static_cast<char>(value);
        i += 3;
        continue;
      }
    }
    out += field[i];
  }
  return out;
}

std::vector<MountInfoEntry> ParseMountInfo(std::string_view text) {
  std::vector<MountInfoEntry> entries;
  size_t start = 0;
  while (start < text.size()) {
    size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    MountInfoEntry entry;
    if (ParseLine(text.substr(start, end - start), entry)) entries.push_back(entry);
    start = end + 1;
  }
  return entries;
}

std::vector<VolumeMounts> VolumesFromMounts(const std::vector<MountInfoEntry>& entries,
                                            const std::function<bool(const MountInfoEntry&)>& isBlockSource) {
  std::vector<VolumeMounts> volumes;
  std::map<std::string, size_t> indexBySource;
  for (const MountInfoEntry& entry : entries) {
    if (!isBlockSource(entry)) continue;
    auto [it, added] = indexBySource.emplace(entry.Source, volumes.size());
    if (added) volumes.push_back(VolumeMounts{Utf8ToUtf16(entry.Source), {}});
    volumes[it->second].Paths.push_back(Utf8ToUtf16(entry.MountPoint));
  }
  return volumes;
}

// ---- volumes and drive letters

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

}  // namespace kestrand
