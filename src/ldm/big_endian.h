// Every number of the LDM database is stored most significant byte first.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kestrand {

// The `count` bytes at `bytes` as one big-endian number; the caller has made
// sure they lie inside the buffer and that count is at most 8.
inline uint64_t LoadBigEndian(const uint8_t* bytes, size_t count) {
  uint64_t value = 0;
  for (size_t i = 0; i < count; ++i) value = (value << 8) | bytes[i];
  return value;
}

inline uint16_t LoadBigEndian16(const uint8_t* bytes) {
  return static_cast<uint16_t>(LoadBigEndian(bytes, 2));
}

inline uint32_t LoadBigEndian32(const uint8_t* bytes) {
  return static_cast<uint32_t>(LoadBigEndian(bytes, 4));
}

}  // namespace kestrand
