// The name under which the host sees a dynamic volume, asked of the mount
// point manager by the volume's GUID.
#pragma once

#include <cstdint>
#include <string>

#include "platform/types.h"

namespace kestrand {

// 0 with the device name in `result`; 2 when no device answers to the GUID,
// 87 without a GUID, or the platform's code. `result` is empty unless 0.
// Nothing is cached: every call asks the platform again.
uint32_t GetVolumeMountName(const GUID* volumeGuid, std::u16string& result);

}  // namespace kestrand
