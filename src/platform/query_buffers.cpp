#include "platform/query_buffers.h"

#include <cstdlib>
#include <cstring>

namespace kestrand {
namespace {

constexpr size_t kUniqueIdOffset = 24;
constexpr uint16_t kUniqueIdBytes = 24;
constexpr char kDynamicVolumePrefix[8] = {'D', 'M', 'I', 'O', ':', 'I', 'D', ':'};

// MOUNTMGR_MOUNT_POINTS: Size, NumberOfMountPoints, then 24-byte entries
// whose DeviceNameOffset and DeviceNameLength sit 16 and 20 bytes in.
constexpr size_t kCountOffset = 4;
constexpr size_t kFirstDeviceNameOffset = 8 + 16;
constexpr size_t kFirstDeviceNameLength = 8 + 20;
constexpr size_t kAnswerHeadBytes = 8 + 24;

void PutLittle32(uint8_t* at, uint32_t value) {
  for (int i = 0; i < 4; ++i) at[i] = static_cast<uint8_t>(value >> (8 * i));
}

void PutLittle16(uint8_t* at, uint16_t value) {
  at[0] = static_cast<uint8_t>(value);
  at[1] = static_cast<uint8_t>(value >> 8);
}

uint32_t Little32(const uint8_t* at) {
  return static_cast<uint32_t>(at[0]) | static_cast<uint32_t>(at[1]) << 8 |
         static_cast<uint32_t>(at[2]) << 16 | static_cast<uint32_t>(at[3]) << 24;
}

uint16_t Little16(const uint8_t* at) { return static_cast<uint16_t>(at[0] | at[1] << 8); }

}  // namespace

MountPointRequest BuildMountPointRequest(const GUID& volumeGuid) {
  MountPointRequest request{};
  PutLittle32(&request[8], kUniqueIdOffset);
  PutLittle16(&request[12], kUniqueIdBytes);
  std::memcpy(&request[kUniqueIdOffset], kDynamicVolumePrefix, sizeof(kDynamicVolumePrefix));
  // The GUID goes in as it is held in memory: Data1..Data3 little-endian.
  static_assert(sizeof(GUID) == 16);
  std::memcpy(&request[kUniqueIdOffset + sizeof(kDynamicVolumePrefix)], &volumeGuid, sizeof(GUID));
  return request;
}

WIN32_ERROR ReadMountPointDeviceName(const uint8_t* answer, size_t size, std::u16string& deviceName) {
  deviceName.clear();
  if (answer == nullptr || size < kCountOffset + 4) return ERROR_INVALID_DATA_CODE;
  if (Little32(answer + kCountOffset) == 0) return ERROR_FILE_NOT_FOUND_CODE;
  if (size < kAnswerHeadBytes) return ERROR_INVALID_DATA_CODE;
  const size_t offset = Little32(answer + kFirstDeviceNameOffset);
  const size_t length = Little16(answer + kFirstDeviceNameLength);
  if (offset > size || length > size - offset) return ERROR_INVALID_DATA_CODE;
  // An odd byte at the end of the name is not part of any character.
  deviceName.resize(length / 2);
  for (size_t i = 0; i < length / 2; ++i)
    deviceName[i] = static_cast<char16_t>(Little16(answer + offset + 2 * i));
  return ERROR_SUCCESS_CODE;
}

CRegistryStringCopy::~CRegistryStringCopy() { std::free(bytes_); }

NTSTATUS CRegistryStringCopy::Assign(uint32_t valueType, const void* data, uint32_t dataBytes) {
  if (valueType != REG_SZ_TYPE) return STATUS_UNSUCCESSFUL_CODE;
  if (data == nullptr && dataBytes != 0) return STATUS_INVALID_PARAMETER_CODE;
  // Room for the data, a zero character, and the odd byte a broken value may have.
  uint8_t* bytes = static_cast<uint8_t*>(std::calloc(static_cast<size_t>(dataBytes) + 3, 1));
  if (bytes == nullptr) return STATUS_INSUFFICIENT_RESOURCES_CODE;
  if (dataBytes != 0) std::memcpy(bytes, data, dataBytes);
  std::free(bytes_);
  bytes_ = bytes;
  length_ = dataBytes;
  return STATUS_SUCCESS_CODE;
}

std::u16string CRegistryStringCopy::Text() const {
  std::u16string text;
  for (size_t at = 0; at + 2 <= length_; at += 2) {
    const char16_t unit = static_cast<char16_t>(bytes_[at] | bytes_[at + 1] << 8);
    if (unit == 0) break;
    text.push_back(unit);
  }
  return text;
}

}  // namespace kestrand
