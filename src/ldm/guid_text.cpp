#include "ldm/guid_text.h"

#include <cstdint>

namespace kestrand {

namespace {

int HexDigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Reads exactly `digits` hex digits at `text` into `value` and moves past them.
bool ReadHexGroup(const char*& text, int digits, uint32_t& value) {
  value = 0;
  for (int i = 0; i < digits; ++i) {
    const int digit = HexDigitValue(text[i]);
    if (digit < 0) return false;  // also stops at the terminator
    value = value * 16 + static_cast<uint32_t>(digit);
  }
  text += digits;
  return true;
}

bool ReadHyphen(const char*& text) {
  if (*text != '-') return false;
  ++text;
  return true;
}

bool ReadByte(const char*& text, uint8_t& byte) {
  uint32_t value = 0;
  if (!ReadHexGroup(text, 2, value)) return false;
  byte = static_cast<uint8_t>(value);
  return true;
}

}  // namespace

bool ParseGuidText(const char* text, GUID& guid) {
  if (text == nullptr) return false;
  uint32_t part = 0;
  if (!ReadHexGroup(text, 8, part) || !ReadHyphen(text)) return false;
  guid.Data1 = part;
  if (!ReadHexGroup(text, 4, part) || !ReadHyphen(text)) return false;
  guid.Data2 = static_cast<uint16_t>(part);
  if (!ReadHexGroup(text, 4, part) || !ReadHyphen(text)) return false;
  guid.Data3 = static_cast<uint16_t>(part);
  if (!ReadByte(text, guid.Data4[0]) || !ReadByte(text, guid.Data4[1]) || !ReadHyphen(text))
    return false;
  for (int i = 2; i < 8; ++i)
    if (!ReadByte(text, guid.Data4[i])) return false;
  return *text == '\0';
}

}  // namespace kestrand
