// The byte encodings of the partition tables: little-endian loads and
// stores, GUIDs in GPT's byte order, and the CRC-32 that guards GPT headers
// and entry arrays. Callers check that the bytes lie inside their buffer;
// these helpers only assemble them.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/types.h"

namespace kestrand {

inline uint16_t LoadLe16(const uint8_t* p) {
  return static_cast<uint16_t>(p[0] | (p[1] << 8));
}

inline uint32_t LoadLe32(const uint8_t* p) {
  return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
         (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}

inline uint64_t LoadLe64(const uint8_t* p) {
  return static_cast<uint64_t>(LoadLe32(p)) | (static_cast<uint64_t>(LoadLe32(p + 4)) << 32);
}

inline void StoreLe16(uint8_t* p, uint16_t v) {
  p[0] = static_cast<uint8_t>(v);
  p[1] = static_cast<uint8_t>(v >> 8);
}

inline void StoreLe32(uint8_t* p, uint32_t v) {
  for (int i = 0; i < 4; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

inline void StoreLe64(uint8_t* p, uint64_t v) {
  for (int i = 0; i < 8; ++i) p[i] = static_cast<uint8_t>(v >> (8 * i));
}

// GPT keeps GUIDs in the in-memory order of a little-endian machine: the
// first three parts little-endian, the last eight bytes as they stand.
inline GUID LoadGuidLe(const uint8_t* p) {
  GUID g{};
  g.Data1 = LoadLe32(p);
  g.Data2 = LoadLe16(p + 4);
  g.Data3 = LoadLe16(p + 6);
  for (int i = 0; i < 8; ++i) g.Data4[i] = p[8 + i];
  return g;
}

inline void StoreGuidLe(uint8_t* p, const GUID& g) {
  StoreLe32(p, g.Data1);
  StoreLe16(p + 4, g.Data2);
  StoreLe16(p + 6, g.Data3);
  for (int i = 0; i < 8; ++i) p[8 + i] = g.Data4[i];
}

// IEEE 802.3: reflected polynomial 0xEDB88320, initial and final value all
// ones.
uint32_t Crc32(const void* data, size_t length);

}  // namespace kestrand
