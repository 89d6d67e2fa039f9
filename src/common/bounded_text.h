// Copying and formatting into fixed character buffers that never overrun:
// the size is given in characters and must be 1 to 2147483647 (else nothing
// is written); the text is cut to the size minus one and always terminated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "common/text_format.h"

namespace kestrand {

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
