// The value forms shared by both reports: flag text, grouped decimal numbers,
// the GUID text form, and narrow text appending. Each formatter stores its
// text in `place` and returns a Win32 code (0 on success).
#pragma once

#include <cstdint>
#include <string>

#include "common/bounded_text.h"
#include "platform/types.h"

namespace kestrand {

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

}  // namespace kestrand
