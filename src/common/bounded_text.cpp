#include "common/bounded_text.h"

namespace kestrand {

namespace {

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
