#include "ldm/field_decoder.h"

#include <cstring>

namespace kestrand {

// ---- GUID text ----

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

// ---- file time ----

namespace {

constexpr uint64_t kTicksPerSecond = 10000000;
constexpr uint64_t kSecondsPerDay = 86400;
// Days from 1601-01-01 to 0000-03-01 in the proleptic Gregorian calendar,
// negated: the civil conversion below counts from the latter.
constexpr int64_t kDaysFrom0000March1To1601 = 584694;

}  // namespace

bool FileTimeToCalendarTime(uint64_t fileTime, CALENDAR_TIME& time) {
  if (fileTime >> 63) return false;
  const uint64_t seconds = fileTime / kTicksPerSecond;
  const uint64_t secondOfDay = seconds % kSecondsPerDay;

  // Years start on March 1st, so the leap day is the last day of a year.
  const int64_t days = static_cast<int64_t>(seconds / kSecondsPerDay) + kDaysFrom0000March1To1601;
  const int64_t era = days / 146097;
  const int64_t dayOfEra = days - era * 146097;
  const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
  const int64_t month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
  const int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);

  time.Year = static_cast<uint32_t>(year);
  time.Month = static_cast<uint32_t>(month);
  time.Day = static_cast<uint32_t>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
  time.Hour = static_cast<uint32_t>(secondOfDay / 3600);
  time.Minute = static_cast<uint32_t>(secondOfDay / 60 % 60);
  time.Second = static_cast<uint32_t>(secondOfDay % 60);
  time.Milliseconds = static_cast<uint32_t>(fileTime % kTicksPerSecond / 10000);
  return true;
}

// ---- the decoder ----

namespace {

// GUID texts are at most 64 bytes; one more keeps the scratch terminated.
constexpr size_t kGuidTextScratch = 65;
constexpr uint8_t kWideCountFollows = 0xFF;
constexpr uint8_t kSignFlag = 0x80;

// The input still to decode: [cursor, end).
struct CInput {
  const uint8_t* cursor;
  const uint8_t* end;

  size_t Left() const { return static_cast<size_t>(end - cursor); }
  bool Has(uint64_t count) const { return count <= Left(); }
};

template <class T>
void Store(void* member, T value) {
  std::memcpy(member, &value, sizeof(T));
}

// Stores a number of `width` bytes into a member of the kind's width; a row
// whose destination size disagrees is refused rather than overrun.
bool StoreUnsigned(const FIELD_DESC& row, void* member, uint64_t value) {
  switch (row.DestinationSize) {
    case 1: Store(member, static_cast<uint8_t>(value)); return true;
    case 2: Store(member, static_cast<uint16_t>(value)); return true;
    case 4: Store(member, static_cast<uint32_t>(value)); return true;
    case 8: Store(member, value); return true;
    default: return false;
  }
}

bool DecodeFixedNumber(const FIELD_DESC& row, void* member, CInput& in, size_t width) {
  if (row.DestinationSize != width || !in.Has(width)) return false;
  const uint64_t value = LoadBigEndian(in.cursor, width);
  in.cursor += width;
  return StoreUnsigned(row, member, value);
}

// The count byte and the n bytes of a counted number; the count is checked
// against its bound before the bytes against the end.
bool ReadCountedMagnitude(CInput& in, uint8_t count, uint64_t bound, uint64_t& magnitude) {
  if (count > bound || count > 8) return false;
  if (!in.Has(count)) return false;
  magnitude = LoadBigEndian(in.cursor, count);
  in.cursor += count;
  return true;
}

bool DecodeVarUnsigned(const FIELD_DESC& row, void* member, CInput& in, size_t width) {
  if (row.DestinationSize != width || !in.Has(1)) return false;
  const uint8_t count = *in.cursor++;
  uint64_t value = 0;
  if (!ReadCountedMagnitude(in, count, row.DestinationSize, value)) return false;
  return StoreUnsigned(row, member, value);
}

bool DecodeVarSigned(const FIELD_DESC& row, void* member, CInput& in) {
  if (row.DestinationSize != sizeof(int64_t) || !in.Has(1)) return false;
  const uint8_t countByte = *in.cursor++;
  uint64_t magnitude = 0;
  if (!ReadCountedMagnitude(in, static_cast<uint8_t>(countByte & ~kSignFlag), row.DestinationSize,
                            magnitude))
    return false;
  // Negate in unsigned arithmetic: a magnitude of 2^63 or more must not overflow.
  const uint64_t bits = (countByte & kSignFlag) ? (0 - magnitude) : magnitude;
  Store(member, static_cast<int64_t>(bits));
  return true;
}

bool DecodeBytes(const FIELD_DESC& row, void* member, CInput& in) {
  if (row.WireSize == 0 || row.WireSize >= row.DestinationSize || !in.Has(row.WireSize)) return false;
  std::memset(member, 0, row.DestinationSize);
  std::memcpy(member, in.cursor, row.WireSize);
  in.cursor += row.WireSize;
  return true;
}

bool DecodeString(const FIELD_DESC& row, void* member, CInput& in) {
  if (row.DestinationSize == 0 || !in.Has(1)) return false;
  const uint8_t count = *in.cursor++;
  if (count >= row.DestinationSize || !in.Has(count)) return false;
  std::memset(member, 0, row.DestinationSize);
  std::memcpy(member, in.cursor, count);
  in.cursor += count;
  return true;
}

bool DecodeWideString(const FIELD_DESC& row, void* member, CInput& in) {
  if (row.DestinationSize != sizeof(OwnedWideString) || !in.Has(1)) return false;
  uint8_t count = *in.cursor++;
  size_t bytesPerCharacter = 1;
  if (count == kWideCountFollows) {
    if (!in.Has(1)) return false;
    count = *in.cursor++;
    bytesPerCharacter = 2;
  }
  auto& target = *static_cast<OwnedWideString*>(member);
  if (!in.Has(static_cast<uint64_t>(count) * bytesPerCharacter)) return false;
  if (count == 0) {
    target.reset();
    return true;
  }
  auto* text = static_cast<char16_t*>(std::malloc((count + 1u) * sizeof(char16_t)));
  if (text == nullptr) return false;
  for (size_t i = 0; i < count; ++i) {
    text[i] = static_cast<char16_t>(LoadBigEndian(in.cursor, bytesPerCharacter));
    in.cursor += bytesPerCharacter;
  }
  text[count] = u'\0';
  target.reset(text);
  return true;
}

bool DecodeGuid(const FIELD_DESC& row, void* member, CInput& in) {
  if (row.DestinationSize != sizeof(GUID) || !in.Has(16)) return false;
  GUID guid{};
  guid.Data1 = LoadBigEndian32(in.cursor);
  guid.Data2 = LoadBigEndian16(in.cursor + 4);
  guid.Data3 = LoadBigEndian16(in.cursor + 6);
  std::memcpy(guid.Data4, in.cursor + 8, sizeof(guid.Data4));
  in.cursor += 16;
  Store(member, guid);
  return true;
}

bool ConvertGuidText(const FIELD_DESC& row, void* member, const uint8_t* text, size_t length) {
  if (row.DestinationSize != sizeof(GUID) || length >= kGuidTextScratch) return false;
  char scratch[kGuidTextScratch] = {};
  std::memcpy(scratch, text, length);
  GUID guid{};
  if (!ParseGuidText(scratch, guid)) return false;
  Store(member, guid);
  return true;
}

bool DecodeGuidText(const FIELD_DESC& row, void* member, CInput& in) {
  if (row.WireSize == 0 || !in.Has(row.WireSize)) return false;
  if (!ConvertGuidText(row, member, in.cursor, row.WireSize)) return false;
  in.cursor += row.WireSize;
  return true;
}

bool DecodeGuidTextVar(const FIELD_DESC& row, void* member, CInput& in) {
  if (!in.Has(1)) return false;
  const uint8_t count = *in.cursor++;
  if (count >= kGuidTextScratch || !in.Has(count)) return false;
  if (!ConvertGuidText(row, member, in.cursor, count)) return false;
  in.cursor += count;
  return true;
}

bool DecodeRow(const FIELD_DESC& row, void* member, CInput& in) {
  switch (row.Kind) {
    case FIELD_U8: return DecodeFixedNumber(row, member, in, 1);
    case FIELD_U16: return DecodeFixedNumber(row, member, in, 2);
    case FIELD_U32: return DecodeFixedNumber(row, member, in, 4);
    case FIELD_U64: return DecodeFixedNumber(row, member, in, 8);
    case FIELD_VAR_U32: return DecodeVarUnsigned(row, member, in, 4);
    case FIELD_VAR_U64: return DecodeVarUnsigned(row, member, in, 8);
    case FIELD_VAR_S64: return DecodeVarSigned(row, member, in);
    case FIELD_BYTES: return DecodeBytes(row, member, in);
    case FIELD_STRING: return DecodeString(row, member, in);
    case FIELD_WSTRING: return DecodeWideString(row, member, in);
    case FIELD_GUID: return DecodeGuid(row, member, in);
    case FIELD_GUID_TEXT: return DecodeGuidText(row, member, in);
    case FIELD_GUID_TEXT_VAR: return DecodeGuidTextVar(row, member, in);
    default: return false;
  }
}

}  // namespace

const uint8_t* DecodeFields(const FIELD_DESC* table, size_t rowCount, void* destination,
                            const uint8_t* cursor, uint32_t bytesRemaining) {
  if (rowCount == 0) return cursor;
  if (table == nullptr || destination == nullptr || cursor == nullptr) return nullptr;
  CInput in{cursor, cursor + bytesRemaining};
  for (size_t i = 0; i < rowCount; ++i) {
    const FIELD_DESC& row = table[i];
    // A fixed field needs its whole width, a counted one at least its count byte.
    if (!in.Has(row.WireSize != 0 ? row.WireSize : 1)) return nullptr;
    if (row.Member == nullptr) return nullptr;
    if (!DecodeRow(row, row.Member(destination), in)) return nullptr;
  }
  return in.cursor;
}

}  // namespace kestrand
