// Positioned reads with the NTSTATUS a Windows reader would see.
#pragma once

#include <cstdint>

#include "platform/types.h"

namespace kestrand {

// Reads up to `length` bytes at `offset`, retrying short transfers until the
// end of the file or device. A read that starts at or beyond the end gives
// STATUS_END_OF_FILE; one that runs past the end transfers what there is and
// succeeds, leaving the rest of the buffer as it was.
NTSTATUS ReadAtOffset(int fd, int64_t offset, uint32_t length, void* buffer);

}  // namespace kestrand
