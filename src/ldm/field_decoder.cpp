#include "ldm/field_decoder.h"

#include <cstring>

#include "ldm/big_endian.h"
#include "ldm/guid_text.h"

namespace kestrand {

namespace {

// GUID texts are at most 64 bytes; one more keeps the scratch terminated.
constexpr size_t kGuidTextScratch = 65;
constexpr uint8_t kWideCountFollows = 0xFF;
constexpr uint8_t kSignFlag = 0x80;

// The input still to decode: [cursor, end).
struct Input {
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

bool DecodeFixedNumber(const FIELD_DESC& row, void* member, Input& in, size_t width) {
  if (row.DestinationSize != width || !in.Has(width)) return false;
  const uint64_t value = LoadBigEndian(in.cursor, width);
  in.cursor += width;
  return StoreUnsigned(row, member, value);
}

// The count byte and the n bytes of a counted number; the count is checked
// against its bound before the bytes against the end.
bool ReadCountedMagnitude(Input& in, uint8_t count, uint64_t bound, uint64_t& magnitude) {
  if (count > bound || count > 8) return false;
  if (!in.Has(count)) return false;
  magnitude = LoadBigEndian(in.cursor, count);
  in.cursor += count;
  return true;
}

bool DecodeVarUnsigned(const FIELD_DESC& row, void* member, Input& in, size_t width) {
  if (row.DestinationSize != width || !in.Has(1)) return false;
  const uint8_t count = *in.cursor++;
  uint64_t value = 0;
  if (!ReadCountedMagnitude(in, count, row.DestinationSize, value)) return false;
  return StoreUnsigned(row, member, value);
}

bool DecodeVarSigned(const FIELD_DESC& row, void* member, Input& in) {
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

bool DecodeBytes(const FIELD_DESC& row, void* member, Input& in) {
  if (row.WireSize == 0 || row.WireSize >= row.DestinationSize || !in.Has(row.WireSize)) return false;
  std::memset(member, 0, row.DestinationSize);
  std::memcpy(member, in.cursor, row.WireSize);
  in.cursor += row.WireSize;
  return true;
}

bool DecodeString(const FIELD_DESC& row, void* member, Input& in) {
  if (row.DestinationSize == 0 || !in.Has(1)) return false;
  const uint8_t count = *in.cursor++;
  if (count >= row.DestinationSize || !in.Has(count)) return false;
  std::memset(member, 0, row.DestinationSize);
  std::memcpy(member, in.cursor, count);
  in.cursor += count;
  return true;
}

bool DecodeWideString(const FIELD_DESC& row, void* member, Input& in) {
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

bool DecodeGuid(const FIELD_DESC& row, void* member, Input& in) {
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

bool DecodeGuidText(const FIELD_DESC& row, void* member, Input& in) {
  if (row.WireSize == 0 || !in.Has(row.WireSize)) return false;
  if (!ConvertGuidText(row, member, in.cursor, row.WireSize)) return false;
  in.cursor += row.WireSize;
  return true;
}

bool DecodeGuidTextVar(const FIELD_DESC& row, void* member, Input& in) {
  if (!in.Has(1)) return false;
  const uint8_t count = *in.cursor++;
  if (count >= kGuidTextScratch || !in.Has(count)) return false;
  if (!ConvertGuidText(row, member, in.cursor, count)) return false;
  in.cursor += count;
  return true;
}

bool DecodeRow(const FIELD_DESC& row, void* member, Input& in) {
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
  Input in{cursor, cursor + bytesRemaining};
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
