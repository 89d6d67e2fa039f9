#include "disk/gpt_partition_types.h"

#include "common/formatters.h"

namespace kestrand {

namespace {

struct GptTypeName {
  GUID Type;
  const char16_t* Name;
};

constexpr char16_t kUnknownTypeName[] = u"Unknown";

// Compared in this order; the first match names the type.
constexpr GptTypeName kGptTypeNames[] = {
    {{0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}}, u"Entry unused"},
    {{0xC12A7328, 0xF81F, 0x11D2, {0xBA, 0x4B, 0x00, 0xA0, 0xC9, 0x3E, 0xC9, 0x3B}}, u"EFI system"},
    {{0xE3C9E316, 0x0B5C, 0x4DB8, {0x81, 0x7D, 0xF9, 0x2D, 0xF0, 0x02, 0x15, 0xAE}}, u"Zorv reserved"},
    {{0xEBD0A0A2, 0xB9E5, 0x4433, {0x87, 0xC0, 0x68, 0xB6, 0xB7, 0x26, 0x99, 0xC7}}, u"Basic data"},
    {GPT_TYPE_LDM_METADATA, u"LDM metadata"},
    {GPT_TYPE_LDM_DATA, u"LDM data"},
};

}  // namespace

uint32_t GetGptPartitionTypeName(const GUID& type, std::u16string& name) {
  for (const GptTypeName& known : kGptTypeNames) {
    if (known.Type == type) {
      name = known.Name;
      return 0;
    }
  }
  name = kUnknownTypeName;
  return 0;
}

uint32_t GetGptPartitionTypeText(const GUID& type, std::u16string& text) {
  uint32_t code = GetGptPartitionTypeName(type, text);
  if (code != 0) return code;
  if (text == kUnknownTypeName) return FormatGuid(type, text);
  return 0;
}

}  // namespace kestrand
