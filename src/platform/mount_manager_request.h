// The mount point manager's query by unique id, as bytes. A dynamic volume is
// registered under the unique id "DMIO:ID:" followed by the 16 bytes of its
// volume GUID; the query answers with the device name registered for it.
// Building the request and reading the answer need no operating system, so
// they live here and are tested on every build.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "platform/types.h"

namespace kestrand {

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

}  // namespace kestrand
