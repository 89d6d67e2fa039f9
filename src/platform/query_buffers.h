// The byte layouts behind two Windows queries, which need no operating
// system and so live here, tested on every build: the mount point manager's
// query by unique id, and the copy the registry query routine keeps of the
// "PrimaryPackId" value.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/types.h"

namespace kestrand {

// A dynamic volume is registered under the unique id "DMIO:ID:" followed by
// the 16 bytes of its volume GUID; the query answers with the device name
// registered for it.
constexpr uint32_t IOCTL_MOUNTMGR_QUERY_POINTS_CODE = 0x6D0008;
constexpr WIN32_ERROR ERROR_MORE_DATA_CODE = 234;

// A MOUNTMGR_MOUNT_POINT (24 bytes) followed by the 24-byte unique id.
constexpr size_t kMountPointRequestBytes = 48;
// The first answer buffer is as large as the request; each ERROR_MORE_DATA
// grows it by this much.
constexpr size_t kMountPointFirstAnswerBytes = 48;
constexpr size_t kMountPointAnswerGrowth = 4096;

using MountPointRequest = std::array<uint8_t, kMountPointRequestBytes>;

MountPointRequest BuildMountPointRequest(const GUID& volumeGuid);

// Reads the device name of the first mount point of a MOUNTMGR_MOUNT_POINTS
// answer of `size` bytes. Returns 0 with the name, ERROR_FILE_NOT_FOUND when
// the answer lists no mount point, or ERROR_INVALID_DATA when the answer is
// too short for its header or names bytes outside itself.
WIN32_ERROR ReadMountPointDeviceName(const uint8_t* answer, size_t size, std::u16string& deviceName);

// What the registry query routine keeps of the "PrimaryPackId" value: the
// value's bytes as stored (a terminator included when the writer stored one)
// followed by one more zero character.
constexpr uint32_t REG_SZ_TYPE = 1;

class CRegistryStringCopy {
 public:
  CRegistryStringCopy() = default;
  ~CRegistryStringCopy();
  CRegistryStringCopy(const CRegistryStringCopy&) = delete;
  CRegistryStringCopy& operator=(const CRegistryStringCopy&) = delete;

  // Copies a value handed to the query routine. Only REG_SZ is accepted
  // (other types: STATUS_UNSUCCESSFUL); no memory gives
  // STATUS_INSUFFICIENT_RESOURCES. A later copy replaces an earlier one.
  NTSTATUS Assign(uint32_t valueType, const void* data, uint32_t dataBytes);

  // The value as text: its characters up to the first zero one.
  std::u16string Text() const;

 private:
  uint8_t* bytes_ = nullptr;  // dataBytes plus a zero character
  uint32_t length_ = 0;       // dataBytes
};

}  // namespace kestrand
