// The device name of a dynamic volume: the device-mapper device that the
// Linux LDM tools set up for it, found by the volume GUID in its uuid.
#include <algorithm>
#include <cstdio>
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

bool AnyMapperDevice(const std::string& devRoot) {
  std::vector<std::string> names;
  if (ListDirectory(devRoot + "/mapper", names) != 0) return false;
  return std::any_of(names.begin(), names.end(), [](const std::string& name) { return name != "control"; });
}

bool FindLdmVolumeMapperName(const std::string& sysRoot, const std::string& devRoot, const GUID& volumeGuid,
                             std::string& mapperName) {
  // Every ask looks again (the reports ask once per volume record, tens of
  // thousands of times for a full database on many disks). Without a
  // device-mapper device under <dev>/mapper no volume can answer, and that
  // folder lists in a fraction of the time of the block devices.
  if (!AnyMapperDevice(devRoot)) return false;
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
  if (!FindLdmVolumeMapperName(sysRoot_, devRoot_, volumeGuid, mapperName)) return ERROR_FILE_NOT_FOUND_CODE;
  deviceName = Utf8ToUtf16(devRoot_ + "/mapper/" + mapperName);
  return ERROR_SUCCESS_CODE;
}

}  // namespace kestrand
