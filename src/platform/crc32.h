// The CRC-32 of GPT headers and partition entry arrays (IEEE 802.3,
// reflected polynomial 0xEDB88320, initial and final value all ones).
#pragma once

#include <cstddef>
#include <cstdint>

namespace kestrand {

uint32_t Crc32(const void* data, size_t length);

}  // namespace kestrand
