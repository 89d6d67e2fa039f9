// The value forms shared by both reports (flag text, grouped decimal numbers,
// the GUID text form, narrow text appending), and bounded text: copying and
// formatting into fixed character buffers that never overrun.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "common/text_format.h"
#include "platform/types.h"

namespace kestrand {

// Each formatter stores its text in `place` and returns a Win32 code (0 on
// success).

// "0x" and exactly eight lowercase hexadecimal digits.
uint32_t FormatHex(uint32_t value, std::u16string& place);
// Decimal digits in threes separated by ",": 1234567 gives 1,234,567.
uint32_t FormatGrouped(uint64_t value, std::u16string& place);
// Two decimals, the integer part grouped: 1234.5 gives 1,234.50.
uint32_t FormatGroupedReal(double value, std::u16string& place);
// 36 lowercase characters, 8-4-4-4-12, no braces.
uint32_t FormatGuid(const GUID& guid, std::u16string& place);
// Appends `text` to `place`; 87 without text.
uint32_t AppendString(std::string& place, const char* text);

// The same forms as narrow text appended to `out`, without a string of their
// own: unsigned decimal, decimal grouped in threes, "0x" and eight lowercase
// hexadecimal digits, and the GUID form.
void AppendDecimal(std::string& out, uint64_t value);
void AppendGrouped(std::string& out, uint64_t value);
void AppendHex8(std::string& out, uint32_t value);
void AppendGuid(std::string& out, const GUID& guid);

// The same forms written at `at`, which has room for the longest of each
// (kLongestFormatted bytes); each returns the end of what it wrote.
constexpr size_t kLongestFormatted = 36;  // a GUID; a grouped number takes 26
char* PutDecimal(char* at, uint64_t value);
char* PutGrouped(char* at, uint64_t value);
char* PutHex8(char* at, uint32_t value);
char* PutGuid(char* at, const GUID& guid);

// Bounded text: the size is given in characters and must be 1 to 2147483647
// (else nothing is written); the text is cut to the size minus one and always
// terminated.
constexpr int32_t BOUNDED_TEXT_OK = 0;
constexpr int32_t BOUNDED_TEXT_INVALID_SIZE = static_cast<int32_t>(0x80070057u);
constexpr int32_t BOUNDED_TEXT_TRUNCATED = static_cast<int32_t>(0x8007007Au);
constexpr size_t BOUNDED_TEXT_MAX_SIZE = 2147483647;

// Copies `source` up to its first terminator (or its end). A missing source
// pointer copies nothing and only terminates.
int32_t CopyBounded(char16_t* dest, size_t sizeInChars, std::u16string_view source);
int32_t CopyBounded(char16_t* dest, size_t sizeInChars, const char16_t* source);
int32_t CopyBounded(char* dest, size_t sizeInChars, std::string_view source);
int32_t CopyBounded(char* dest, size_t sizeInChars, const char* source);

// The size check comes first so that a refused buffer costs no formatting.
template <class... A>
int32_t FormatBounded(char16_t* dest, size_t sizeInChars, std::u16string_view format, const A&... args) {
  if (!dest || sizeInChars == 0 || sizeInChars > BOUNDED_TEXT_MAX_SIZE) return BOUNDED_TEXT_INVALID_SIZE;
  return CopyBounded(dest, sizeInChars, std::u16string_view(FormatWide(format, args...)));
}

template <class... A>
int32_t FormatBounded(char* dest, size_t sizeInChars, std::string_view format, const A&... args) {
  if (!dest || sizeInChars == 0 || sizeInChars > BOUNDED_TEXT_MAX_SIZE) return BOUNDED_TEXT_INVALID_SIZE;
  return CopyBounded(dest, sizeInChars, std::string_view(FormatNarrow(format, args...)));
}

}  // namespace kestrand
