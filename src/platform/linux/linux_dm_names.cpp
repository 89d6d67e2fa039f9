// The device name of a dynamic volume: the device-mapper device that the
// Linux LDM tools set up for it, found by the volume GUID in its uuid.
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/linux/linux_internal.h"

namespace kestrand {

namespace {

constexpr char kLdmUuidPrefix[] = "LDM-";
constexpr size_t kLdmUuidPrefixLength = sizeof kLdmUuidPrefix - 1;
constexpr size_t kGuidTextLength = 36;

bool EqualsIgnoringCase(const std::string& a, const std::string& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
           return lower(x) == lower(y);
         });
}

// Seconds beyond the year 2255 either way are held there, so that the
// nanoseconds and the step added to them stay within 64 bits.
int64_t Nanoseconds(const timespec& time) {
  constexpr int64_t kFarSeconds = 9'000'000'000;
  const int64_t seconds = std::clamp<int64_t>(time.tv_sec, -kFarSeconds, kFarSeconds);
  return seconds * int64_t{1'000'000'000} + std::clamp<int64_t>(time.tv_nsec, 0, 999'999'999);
}

}  // namespace

std::string GuidToLowerText(const GUID& g) {
  char text[kGuidTextLength + 1];
  std::snprintf(text, sizeof text, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                static_cast<unsigned>(g.Data1), static_cast<unsigned>(g.Data2), static_cast<unsigned>(g.Data3),
                g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
  return std::string(text, kGuidTextLength);
}

// The volume name may itself hold "-", so the GUID is taken from the end.
bool IsLdmVolumeUuid(const std::string& uuid, const std::string& guidText) {
  if (uuid.size() < kLdmUuidPrefixLength + 1 + kGuidTextLength) return false;
  if (uuid.compare(0, kLdmUuidPrefixLength, kLdmUuidPrefix) != 0) return false;
  const size_t guidStart = uuid.size() - kGuidTextLength;
  return uuid[guidStart - 1] == '-' && EqualsIgnoringCase(uuid.substr(guidStart), guidText);
}

CMapperFolder::~CMapperFolder() {
  if (fd_ >= 0) close(fd_);
}

bool CMapperFolder::AnyDevice() {
  timespec clock{};
  // Read before the folder is looked at: a change after this moment stamps
  // the folder with this time or a later one (less the file system's step).
  clock_gettime(CLOCK_REALTIME_COARSE, &clock);
  struct stat now {};
  if (fd_ >= 0 && fstat(fd_, &now) == 0 && now.st_nlink > 0 && Nanoseconds(now.st_ctim) == changed_ &&
      changed_ + stampStep_ < readAt_)
    return anyDevice_;
  return Read(Nanoseconds(clock));
}

// One read of the entries is enough: the kernel fills the buffer while
// entries remain, and a buffer that fills holds far more entries than ".",
// ".." and "control".
bool CMapperFolder::Read(int64_t clock) {
  constexpr size_t kNameAt = offsetof(dirent64, d_name);
  alignas(dirent64) char buffer[8192];
  ++readings_;
  if (fd_ >= 0) close(fd_);
  anyDevice_ = false;
  fd_ = open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  struct stat opened {};
  const long filled = fd_ >= 0 && fstat(fd_, &opened) == 0 ? getdents64(fd_, buffer, sizeof buffer) : -1;
  if (filled < 0) {
    if (fd_ >= 0) close(fd_);
    fd_ = -1;
    return false;
  }
  changed_ = Nanoseconds(opened.st_ctim);
  readAt_ = clock;
  for (size_t at = 0; filled > 0 && at + kNameAt < static_cast<size_t>(filled);) {
    unsigned short length = 0;
    std::memcpy(&length, buffer + at + offsetof(dirent64, d_reclen), sizeof length);
    if (length <= kNameAt || at + length > static_cast<size_t>(filled)) break;
    const std::string_view name(buffer + at + kNameAt, strnlen(buffer + at + kNameAt, length - kNameAt));
    if (name != "." && name != ".." && name != "control") return anyDevice_ = true;
    at += length;
  }
  return false;
}

bool FindLdmVolumeMapperName(const std::string& sysRoot, CMapperFolder& mapper, const GUID& volumeGuid,
                             std::string& mapperName) {
  // Every ask looks again (the reports ask once per volume record, tens of
  // thousands of times for a full database on many disks). Without a
  // device-mapper device under <dev>/mapper no volume can answer, and that
  // folder lists in a fraction of the time of the block devices.
  if (!mapper.AnyDevice()) return false;
  const std::string guidText = GuidToLowerText(volumeGuid);
  std::vector<std::string> names;
  if (ListDirectory(sysRoot + "/block", names) != 0) return false;
  std::sort(names.begin(), names.end());
  for (const std::string& name : names) {
    if (name.rfind("dm-", 0) != 0) continue;
    const std::string dmDir = sysRoot + "/block/" + name + "/dm";
    std::string uuid;
    if (!ReadAttribute(dmDir + "/uuid", uuid) || !IsLdmVolumeUuid(uuid, guidText)) continue;
    if (ReadAttribute(dmDir + "/name", mapperName) && !mapperName.empty()) return true;
  }
  return false;
}

WIN32_ERROR CLinuxPlatform::QueryDynamicVolumeName(const GUID& volumeGuid, std::u16string& deviceName) {
  deviceName.clear();
  std::string mapperName;
  if (!FindLdmVolumeMapperName(sysRoot_, mapper_, volumeGuid, mapperName)) return ERROR_FILE_NOT_FOUND_CODE;
  deviceName = Utf8ToUtf16(devRoot_ + "/mapper/" + mapperName);
  return ERROR_SUCCESS_CODE;
}

}  // namespace kestrand
