// The table-driven decoder of LDM fields. A caller describes a run of
// consecutive on-disk fields as FIELD_DESC rows; DecodeFields walks the bytes,
// checks every field against the end of the input and stores each value into
// a member of the destination object.
//
// Rows are built with Field<Owner, Kind, &Owner::Member>() (plus the wire size
// for FIELD_BYTES and FIELD_GUID_TEXT), which checks at compile time that the
// member has the type the kind stores.
//
// Also here: the forms the fields take on disk that the structures read
// directly (big-endian numbers, GUID text) and the calendar form of the
// FILETIME values they hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <type_traits>

#include "platform/types.h"

namespace kestrand {

// ---- field forms ----

// Every number of the LDM database is stored most significant byte first.
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

// GUIDs that the LDM database stores as text (the private header, the VMDB
// header and revision 3 disk and pack records): parses a zero-terminated
// 8-4-4-4-12 hexadecimal GUID text (either case, no braces, nothing after
// it). Returns false, leaving `guid` unspecified, for anything else.
bool ParseGuidText(const char* text, GUID& guid);

// FILETIME values (100 ns ticks since 1601-01-01 UTC) as calendar time, with
// plain arithmetic so that both builds print the same text.
struct CALENDAR_TIME {
  uint32_t Year;
  uint32_t Month;   // 1 to 12
  uint32_t Day;     // 1 to 31
  uint32_t Hour;
  uint32_t Minute;
  uint32_t Second;
  uint32_t Milliseconds;
};

// False for a value with the top bit set, which the platform's own
// conversion refuses as well; `time` is then left alone.
bool FileTimeToCalendarTime(uint64_t fileTime, CALENDAR_TIME& time);

// ---- the decoder ----

// Frees what the C runtime's allocator gave.
struct CFreeDeleter {
  void operator()(void* block) const { std::free(block); }
};

// A wide string that a record owns: null when the field held no characters.
using OwnedWideString = std::unique_ptr<char16_t[], CFreeDeleter>;

enum FIELD_KIND : uint32_t {
  FIELD_U8 = 1,
  FIELD_U16,
  FIELD_U32,
  FIELD_U64,
  FIELD_VAR_U32,        // count byte n <= 4, then n big-endian bytes
  FIELD_VAR_U64,        // count byte n <= 8, then n big-endian bytes
  FIELD_VAR_S64,        // count byte: bit 7 sign, bits 0-6 n <= 8; then the magnitude
  FIELD_BYTES,          // wire-size bytes into a zero-filled array one byte longer
  FIELD_STRING,         // count byte n < destination size, then n characters
  FIELD_WSTRING,        // count byte (0xFF: count byte of 2-byte characters follows)
  FIELD_GUID,           // 16 bytes, the first three parts big-endian
  FIELD_GUID_TEXT,      // wire-size bytes (64) of GUID text
  FIELD_GUID_TEXT_VAR,  // count byte n <= 64, then n bytes of GUID text
};

struct FIELD_DESC {
  uint32_t Kind;
  uint64_t DestinationSize;  // size of the member; bound of the count for counted kinds
  uint64_t WireSize;         // bytes on disk; 0 when a count byte announces them
  void* (*Member)(void* destination);  // where the member lies in the destination
};

// Decodes `rowCount` rows in order from `cursor`. Returns the cursor just past
// the last field, or nullptr when a field does not fit before the end or does
// not decode. Members decoded before a failing row keep their values.
const uint8_t* DecodeFields(const FIELD_DESC* table, size_t rowCount, void* destination,
                            const uint8_t* cursor, uint32_t bytesRemaining);

template <size_t N>
const uint8_t* DecodeFields(const FIELD_DESC (&table)[N], void* destination,
                            const uint8_t* cursor, uint32_t bytesRemaining) {
  return DecodeFields(table, N, destination, cursor, bytesRemaining);
}

// Decodes one table after another on the same input, each from where the
// previous one ended; optional groups of fields are chained this way. After
// the first failure nothing more is decoded.
class CFieldChain {
 public:
  CFieldChain(void* destination, const uint8_t* cursor, uint32_t bytesRemaining)
      : destination_(destination), cursor_(cursor), end_(cursor + bytesRemaining) {}

  template <size_t N>
  void Decode(const FIELD_DESC (&table)[N]) {
    if (cursor_ == nullptr) return;
    cursor_ = DecodeFields(table, N, destination_, cursor_, static_cast<uint32_t>(end_ - cursor_));
  }

  template <size_t N>
  void DecodeIf(bool condition, const FIELD_DESC (&table)[N]) {
    if (condition) Decode(table);
  }

  bool Failed() const { return cursor_ == nullptr; }
  // Just past the last decoded field; nullptr after a failure.
  const uint8_t* Cursor() const { return cursor_; }

 private:
  void* destination_;
  const uint8_t* cursor_;
  const uint8_t* end_;
};

// ---- building rows ----

namespace field_detail {

template <class P>
struct MemberOf;
template <class C, class T>
struct MemberOf<T C::*> {
  using Type = T;
};

template <class T>
constexpr bool IsByteArray() {
  using E = std::remove_extent_t<T>;
  return std::is_array_v<T> && std::extent_v<T> > 0 &&
         (std::is_same_v<E, char> || std::is_same_v<E, uint8_t>);
}

// Whether a member of type T can receive a field of kind K.
template <FIELD_KIND K, class T>
constexpr bool Fits() {
  switch (K) {
    case FIELD_U8: return std::is_same_v<T, uint8_t>;
    case FIELD_U16: return std::is_same_v<T, uint16_t>;
    case FIELD_U32:
    case FIELD_VAR_U32: return std::is_same_v<T, uint32_t>;
    case FIELD_U64:
    case FIELD_VAR_U64: return std::is_same_v<T, uint64_t>;
    case FIELD_VAR_S64: return std::is_same_v<T, int64_t>;
    case FIELD_BYTES: return IsByteArray<T>();
    case FIELD_STRING: return IsByteArray<T>() && std::is_same_v<std::remove_extent_t<T>, char>;
    case FIELD_WSTRING: return std::is_same_v<T, OwnedWideString>;
    case FIELD_GUID:
    case FIELD_GUID_TEXT:
    case FIELD_GUID_TEXT_VAR: return std::is_same_v<T, GUID>;
  }
  return false;
}

constexpr uint64_t FixedWireSize(FIELD_KIND kind) {
  switch (kind) {
    case FIELD_U8: return 1;
    case FIELD_U16: return 2;
    case FIELD_U32: return 4;
    case FIELD_U64: return 8;
    case FIELD_GUID: return 16;
    default: return 0;
  }
}

template <class Owner, auto Member>
void* MemberAddress(void* destination) {
  return &(static_cast<Owner*>(destination)->*Member);
}

}  // namespace field_detail

// One row: the field of kind K stored into `Owner::*Member`. WireSize is
// needed only for FIELD_BYTES and FIELD_GUID_TEXT; the other kinds know it.
template <class Owner, FIELD_KIND K, auto Member, uint64_t WireSize = 0>
constexpr FIELD_DESC Field() {
  using T = typename field_detail::MemberOf<decltype(Member)>::Type;
  static_assert(field_detail::Fits<K, T>(), "member type does not match the field kind");
  static_assert(K != FIELD_BYTES || (WireSize > 0 && WireSize < sizeof(T)),
                "FIELD_BYTES needs a wire size below the array size");
  static_assert(K != FIELD_GUID_TEXT || (WireSize > 0 && WireSize <= 64),
                "FIELD_GUID_TEXT needs a wire size of at most 64");
  const uint64_t wire = field_detail::FixedWireSize(K) != 0 ? field_detail::FixedWireSize(K) : WireSize;
  return FIELD_DESC{K, sizeof(T), wire, &field_detail::MemberAddress<Owner, Member>};
}

}  // namespace kestrand
