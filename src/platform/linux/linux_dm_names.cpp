// The device name of a dynamic volume: the device-mapper device that the
// Linux LDM tools set up for it, found by the volume GUID in its uuid.
#include <dirent.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

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

CMapperFolder::~CMapperFolder() { Release(); }

void CMapperFolder::Release() {
  if (watch_ >= 0) close(watch_);
  if (fd_ >= 0) close(fd_);
  watch_ = fd_ = -1;
  listed_ = false;
}

long CMapperFolder::ReadEntries(char* buffer, size_t size) {
  if (fd_ < 0) fd_ = open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd_ < 0) return -1;
  if (lseek(fd_, 0, SEEK_SET) == 0) return getdents64(fd_, buffer, size);
  return -1;
}

void CMapperFolder::Watch() {
  watch_ = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  if (watch_ < 0) return;
  constexpr uint32_t kChanges = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF |
                                IN_ONLYDIR;
  // The watch goes by path: it counts only when the path still leads to the
  // folder held open.
  struct stat held {}, named {};
  if (inotify_add_watch(watch_, path_.c_str(), kChanges) < 0 || fstat(fd_, &held) != 0 ||
      stat(path_.c_str(), &named) != 0 || held.st_dev != named.st_dev || held.st_ino != named.st_ino) {
    close(watch_);
    watch_ = -1;
  }
}

bool CMapperFolder::MayHaveChanged() {
  alignas(inotify_event) char events[4096];
  bool changed = false;
  for (;;) {
    const ssize_t filled = read(watch_, events, sizeof events);
    if (filled < 0 && errno == EAGAIN) return changed;
    if (filled <= 0) break;  // a failed watch proves nothing
    changed = true;
    for (ssize_t at = 0; at + static_cast<ssize_t>(sizeof(inotify_event)) <= filled;) {
      inotify_event event;
      std::memcpy(&event, events + at, sizeof event);
      if (event.mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED | IN_UNMOUNT | IN_Q_OVERFLOW)) {
        Release();
        return true;
      }
      at += static_cast<ssize_t>(sizeof(inotify_event) + event.len);
    }
  }
  Release();
  return true;
}

bool CMapperFolder::AnyDevice() {
  if (listed_ && !MayHaveChanged()) return anyDevice_;
  listed_ = false;
  anyDevice_ = ListAnyDevice();
  // Watched from now on when the folder could be read; the watch was set up
  // before the listing whose answer it keeps.
  listed_ = watch_ >= 0 && fd_ >= 0;
  return anyDevice_;
}

// One read of the entries is enough: the kernel fills the buffer while
// entries remain, and a buffer that fills holds far more entries than ".",
// ".." and "control".
bool CMapperFolder::ListAnyDevice() {
  constexpr size_t kNameAt = offsetof(dirent64, d_name);
  alignas(dirent64) char buffer[8192];
  if (fd_ < 0) {
    fd_ = open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd_ >= 0) Watch();
  }
  long filled = ReadEntries(buffer, sizeof buffer);
  if (filled < 0 && fd_ >= 0) {
    // The folder held open is gone (removed, perhaps made anew): open it again.
    Release();
    fd_ = open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd_ >= 0) Watch();
    filled = ReadEntries(buffer, sizeof buffer);
  }
  for (size_t at = 0; filled > 0 && at + kNameAt < static_cast<size_t>(filled);) {
    unsigned short length = 0;
    std::memcpy(&length, buffer + at + offsetof(dirent64, d_reclen), sizeof length);
    if (length <= kNameAt || at + length > static_cast<size_t>(filled)) break;
    const std::string_view name(buffer + at + kNameAt, strnlen(buffer + at + kNameAt, length - kNameAt));
    if (name != "." && name != ".." && name != "control") return true;
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
