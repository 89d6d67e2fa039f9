#include "platform/platform.h"

#include <cstring>

namespace kestrand {

namespace {
CPlatform* gInstalledPlatform = nullptr;
}  // namespace

CPlatform& ThePlatform() { return gInstalledPlatform ? *gInstalledPlatform : NativePlatform(); }

void InstallPlatform(CPlatform* platform) { gInstalledPlatform = platform; }

WIN32_ERROR Win32FromNtStatus(NTSTATUS status) {
  if (status >= 0) return ERROR_SUCCESS_CODE;
  switch (status) {
    case STATUS_OBJECT_NAME_NOT_FOUND_CODE:
    case STATUS_NO_SUCH_DEVICE_CODE:
      return ERROR_FILE_NOT_FOUND_CODE;
    case STATUS_OBJECT_PATH_NOT_FOUND_CODE:
      return ERROR_PATH_NOT_FOUND_CODE;
    case STATUS_ACCESS_DENIED_CODE:
    case STATUS_FILE_IS_A_DIRECTORY_CODE:
      return ERROR_ACCESS_DENIED_CODE;
    case STATUS_INVALID_HANDLE_CODE:
      return ERROR_INVALID_HANDLE_CODE;
    case STATUS_INVALID_PARAMETER_CODE:
      return ERROR_INVALID_PARAMETER_CODE;
    case STATUS_END_OF_FILE_CODE:
      return ERROR_HANDLE_EOF_CODE;
    case STATUS_SHARING_VIOLATION_CODE:
      return ERROR_SHARING_VIOLATION_CODE;
    case STATUS_INSUFFICIENT_RESOURCES_CODE:
      return ERROR_NOT_ENOUGH_MEMORY_CODE;
    case STATUS_DEVICE_NOT_READY_CODE:
    case STATUS_NO_MEDIA_IN_DEVICE_CODE:
      return ERROR_NOT_READY_CODE;
    default:
      return ERROR_GEN_FAILURE_CODE;
  }
}

namespace {
constexpr uint32_t kBytesPerCacheLine = 64;
}  // namespace

DISK_GEOMETRY_EX MakeDiskGeometry(int64_t diskSize, uint32_t bytesPerSector, bool removable,
                                  uint32_t tracksPerCylinder, uint32_t sectorsPerTrack) {
  DISK_GEOMETRY_EX geometry;
  std::memset(&geometry, 0, sizeof geometry);
  const uint64_t cylinderBytes = uint64_t{tracksPerCylinder} * sectorsPerTrack * bytesPerSector;
  const uint64_t size = diskSize > 0 ? static_cast<uint64_t>(diskSize) : 0;
  geometry.Geometry.Cylinders = cylinderBytes == 0 ? 0 : static_cast<int64_t>(size / cylinderBytes);
  geometry.Geometry.MediaType = removable ? MEDIA_TYPE_REMOVABLE : MEDIA_TYPE_FIXED;
  geometry.Geometry.TracksPerCylinder = tracksPerCylinder;
  geometry.Geometry.SectorsPerTrack = sectorsPerTrack;
  geometry.Geometry.BytesPerSector = bytesPerSector;
  geometry.DiskSize = static_cast<int64_t>(size);
  return geometry;
}

STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR MakeAlignmentDescriptor(uint32_t logicalSectorSize,
                                                            uint32_t physicalSectorSize,
                                                            uint32_t firstAlignedOffset) {
  STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR d;
  std::memset(&d, 0, sizeof d);
  d.Version = sizeof d;
  d.Size = sizeof d;
  d.BytesPerCacheLine = kBytesPerCacheLine;
  d.BytesPerLogicalSector = logicalSectorSize;
  d.BytesPerPhysicalSector = physicalSectorSize;
  if (firstAlignedOffset != 0 && firstAlignedOffset < physicalSectorSize)
    d.BytesOffsetForSectorAlignment = physicalSectorSize - firstAlignedOffset;
  return d;
}

namespace {

constexpr char32_t kReplacement = 0xFFFD;

// Decodes one sequence at `i`; advances `i` past what was used.
char32_t DecodeUtf8(std::string_view text, size_t& i) {
  const auto lead = static_cast<uint8_t>(text[i++]);
  if (lead < 0x80) return lead;
  int extra = 0;
  if (lead >= 0xC2 && lead <= 0xDF)
    extra = 1;
  else if (lead >= 0xE0 && lead <= 0xEF)
    extra = 2;
  else if (lead >= 0xF0 && lead <= 0xF4)
    extra = 3;
  else
    return kReplacement;
  char32_t code = lead & (0x3F >> extra);
  for (int k = 0; k < extra; ++k) {
    if (i >= text.size() || (static_cast<uint8_t>(text[i]) & 0xC0) != 0x80) return kReplacement;
    code = (code << 6) | (static_cast<uint8_t>(text[i++]) & 0x3F);
  }
  const char32_t minimum = extra == 1 ? 0x80 : extra == 2 ? 0x800 : 0x10000;
  if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return kReplacement;
  return code;
}

void AppendUtf8(std::string& out, char32_t code) {
  if (code < 0x80) {
    out += static_cast<char>(code);
  } else if (code < 0x800) {
    out += static_cast<char>(0xC0 | (code >> 6));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    out += static_cast<char>(0xE0 | (code >> 12));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (code >> 18));
    out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (code & 0x3F));
  }
}

}  // namespace

std::u16string Utf8ToUtf16(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  size_t i = 0;
  while (i < text.size()) {
    char32_t code = DecodeUtf8(text, i);
    if (code < 0x10000) {
      out += static_cast<char16_t>(code);
    } else {
      code -= 0x10000;
      out += static_cast<char16_t>(0xD800 | (code >> 10));
      out += static_cast<char16_t>(0xDC00 | (code & 0x3FF));
    }
  }
  return out;
}

std::string Utf16ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size(); ++i) {
    char32_t code = text[i];
    if (code >= 0xD800 && code <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 &&
        text[i + 1] <= 0xDFFF) {
      code = 0x10000 + ((code - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      ++i;
    } else if (code >= 0xD800 && code <= 0xDFFF) {
      code = kReplacement;
    }
    AppendUtf8(out, code);
  }
  return out;
}

}  // namespace kestrand
