#include "common/formatters.h"

#include <charconv>

namespace kestrand {

namespace {

bool IsDigit(char16_t c) { return c >= u'0' && c <= u'9'; }

// Inserts "," after every third digit counted from the right.
std::u16string GroupDigits(std::u16string_view digits) {
  std::u16string grouped;
  for (size_t i = 0; i < digits.size(); ++i) {
    if (i != 0 && (digits.size() - i) % 3 == 0) grouped += u',';
    grouped += digits[i];
  }
  return grouped;
}

template <class C>
int32_t CopyUnits(C* dest, size_t sizeInChars, std::basic_string_view<C> source) {
  if (!dest || sizeInChars == 0 || sizeInChars > BOUNDED_TEXT_MAX_SIZE) return BOUNDED_TEXT_INVALID_SIZE;
  size_t length = source.find(C(0));
  if (length == std::basic_string_view<C>::npos) length = source.size();
  int32_t result = BOUNDED_TEXT_OK;
  if (length > sizeInChars - 1) {
    length = sizeInChars - 1;
    result = BOUNDED_TEXT_TRUNCATED;
  }
  source.copy(dest, length);
  dest[length] = C(0);
  return result;
}

}  // namespace

uint32_t FormatHex(uint32_t value, std::u16string& place) {
  place = FormatWide(u"0x%08lx", value);
  return 0;
}

uint32_t FormatGrouped(uint64_t value, std::u16string& place) {
  char text[kLongestFormatted];
  place.assign(text, PutGrouped(text, value));  // ASCII: each byte is its unit
  return 0;
}

// Groups the run of digits before the decimal point (after a sign); text the
// C library gives for infinities and NaNs has no such run and stays as it is.
uint32_t FormatGroupedReal(double value, std::u16string& place) {
  std::u16string text = AnsiToWide(FormatNarrow("%.2f", value));
  size_t start = (!text.empty() && text[0] == u'-') ? 1 : 0;
  size_t end = start;
  while (end < text.size() && IsDigit(text[end])) ++end;
  place = text.substr(0, start) + GroupDigits(std::u16string_view(text).substr(start, end - start)) + text.substr(end);
  return 0;
}

uint32_t FormatGuid(const GUID& guid, std::u16string& place) {
  char text[kLongestFormatted];
  place.assign(text, PutGuid(text, guid));
  return 0;
}

uint32_t AppendString(std::string& place, const char* text) {
  if (!text) return ERROR_INVALID_PARAMETER_CODE;
  place += text;
  return 0;
}

char* PutDecimal(char* at, uint64_t value) { return std::to_chars(at, at + 20, value).ptr; }

char* PutGrouped(char* at, uint64_t value) {
  char digits[20];
  const size_t count = static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, value).ptr - digits);
  for (size_t i = 0; i < count; ++i) {
    if (i != 0 && (count - i) % 3 == 0) *at++ = ',';
    *at++ = digits[i];
  }
  return at;
}

namespace {

constexpr char kHexDigits[] = "0123456789abcdef";

// `count` lowercase hexadecimal digits of `value`, leading zeros included.
char* PutHexDigits(char* at, uint64_t value, int count) {
  for (int i = count - 1; i >= 0; --i, value >>= 4) at[i] = kHexDigits[value & 0xF];
  return at + count;
}

}  // namespace

char* PutHex8(char* at, uint32_t value) {
  *at++ = '0';
  *at++ = 'x';
  return PutHexDigits(at, value, 8);
}

char* PutGuid(char* at, const GUID& guid) {
  at = PutHexDigits(at, guid.Data1, 8);
  *at++ = '-';
  at = PutHexDigits(at, guid.Data2, 4);
  *at++ = '-';
  at = PutHexDigits(at, guid.Data3, 4);
  *at++ = '-';
  at = PutHexDigits(at, guid.Data4[0], 2);
  at = PutHexDigits(at, guid.Data4[1], 2);
  *at++ = '-';
  for (int i = 2; i < 8; ++i) at = PutHexDigits(at, guid.Data4[i], 2);
  return at;
}

// Each of these formats on the stack and appends once: the record reports
// call them for nearly every value they show.
template <typename Value>
void AppendPut(std::string& out, char* (*put)(char*, Value), Value value) {
  char text[kLongestFormatted];
  out.append(text, static_cast<size_t>(put(text, value) - text));
}

void AppendDecimal(std::string& out, uint64_t value) { AppendPut(out, PutDecimal, value); }
void AppendGrouped(std::string& out, uint64_t value) { AppendPut(out, PutGrouped, value); }
void AppendHex8(std::string& out, uint32_t value) { AppendPut(out, PutHex8, value); }
void AppendGuid(std::string& out, const GUID& guid) { AppendPut<const GUID&>(out, PutGuid, guid); }

int32_t CopyBounded(char16_t* dest, size_t sizeInChars, std::u16string_view source) {
  return CopyUnits(dest, sizeInChars, source);
}

int32_t CopyBounded(char16_t* dest, size_t sizeInChars, const char16_t* source) {
  return CopyUnits(dest, sizeInChars, source ? std::u16string_view(source) : std::u16string_view());
}

int32_t CopyBounded(char* dest, size_t sizeInChars, std::string_view source) {
  return CopyUnits(dest, sizeInChars, source);
}

int32_t CopyBounded(char* dest, size_t sizeInChars, const char* source) {
  return CopyUnits(dest, sizeInChars, source ? std::string_view(source) : std::string_view());
}

}  // namespace kestrand
