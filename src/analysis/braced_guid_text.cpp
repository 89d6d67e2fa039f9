#include "analysis/braced_guid_text.h"

#include "ldm/field_decoder.h"

namespace kestrand {

namespace {

constexpr size_t kBracedLength = 38;
constexpr size_t kInnerLength = 36;

}  // namespace

bool ParseBracedGuidText(std::u16string_view text, GUID& guid) {
  if (text.size() < kBracedLength || text.front() != u'{' || text[kBracedLength - 1] != u'}') return false;
  for (size_t i = kBracedLength; i < text.size(); ++i)
    if (text[i] != u'\0') return false;
  // The inner text is plain ASCII or no GUID at all.
  char inner[kInnerLength + 1] = {};
  for (size_t i = 0; i < kInnerLength; ++i) {
    const char16_t c = text[i + 1];
    if (c == 0 || c > 0x7F) return false;
    inner[i] = static_cast<char>(c);
  }
  GUID parsed = {};
  if (!ParseGuidText(inner, parsed)) return false;
  guid = parsed;
  return true;
}

}  // namespace kestrand
