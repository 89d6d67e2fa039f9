// The field decoder: every field kind with its bounds, the chain of optional
// groups, and the field forms read directly: GUID text and file time; the
// private header's checksum and the GPT's CRC.
#include "ldm/field_decoder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "analysis/consistency_tests.h"
#include "common/text_format.h"
#include "partition/table_bytes.h"
#include "support/ldm_builder.h"

namespace kestrand {
namespace {

struct Sample {
  uint8_t Byte = 0;
  uint16_t Word = 0;
  uint32_t Long = 0;
  uint64_t Quad = 0;
  int64_t Signed = 0;
  char Bytes[5] = {};
  char Text[32] = {};
  OwnedWideString Wide;
  GUID Guid = {};
};

using S = Sample;
constexpr FIELD_DESC kFixed[] = {Field<S, FIELD_U8, &S::Byte>(), Field<S, FIELD_U16, &S::Word>(),
                                 Field<S, FIELD_U32, &S::Long>(), Field<S, FIELD_U64, &S::Quad>()};
constexpr FIELD_DESC kVarLong[] = {Field<S, FIELD_VAR_U32, &S::Long>()};
constexpr FIELD_DESC kVarQuad[] = {Field<S, FIELD_VAR_U64, &S::Quad>()};
constexpr FIELD_DESC kSigned[] = {Field<S, FIELD_VAR_S64, &S::Signed>()};
constexpr FIELD_DESC kBytes[] = {Field<S, FIELD_BYTES, &S::Bytes, 4>()};
constexpr FIELD_DESC kText[] = {Field<S, FIELD_STRING, &S::Text>()};
constexpr FIELD_DESC kWide[] = {Field<S, FIELD_WSTRING, &S::Wide>()};
constexpr FIELD_DESC kGuid[] = {Field<S, FIELD_GUID, &S::Guid>()};
constexpr FIELD_DESC kGuidText[] = {Field<S, FIELD_GUID_TEXT, &S::Guid, 64>()};
constexpr FIELD_DESC kGuidTextVar[] = {Field<S, FIELD_GUID_TEXT_VAR, &S::Guid>()};

const std::string kGuidString = "00112233-4455-6677-8899-aabbccddeeff";

std::string Shown(const FIELD_DESC* table, const Sample& s) {
  if (table == kVarLong) return std::to_string(s.Long);
  if (table == kVarQuad) return std::to_string(s.Quad);
  if (table == kSigned) return std::to_string(s.Signed);
  if (table == kBytes) return std::string(s.Bytes, sizeof(s.Bytes));
  if (table == kText) return s.Text;
  if (table == kWide) {
    if (!s.Wide) return "(none)";
    std::string narrow;
    for (const char16_t* c = s.Wide.get(); *c; ++c) narrow += static_cast<char>(*c);
    return narrow;
  }
  return test::GuidToText(s.Guid);
}

std::vector<uint8_t> Text(const std::string& text, size_t width, uint8_t countByte = 0xFF) {
  test::LdmBytes out;
  if (countByte != 0xFF) out.U8(countByte);
  return out.FixedText(text, width).bytes;
}

struct FieldCase {
  const char* name;
  const FIELD_DESC* table;
  std::vector<uint8_t> bytes;
  long consumed;     // -1: the decode fails
  std::string shown; // the decoded value as text (when it decodes)
};

// Each field kind alone, at and past its bounds.
TEST(FieldDecoderTest, EachKindDecodesOrFails) {
  const FieldCase cases[] = {
      {"var_u32_count0", kVarLong, {0x00, 0x55}, 1, "0"},
      {"var_u32_two", kVarLong, {0x02, 0x01, 0x00, 0x99}, 3, "256"},
      {"var_u32_four", kVarLong, {0x04, 0xFF, 0xFF, 0xFF, 0xFE}, 5, "4294967294"},
      {"var_u32_count5", kVarLong, {0x05, 0, 0, 0, 0, 1}, -1, ""},
      {"var_u32_past_end", kVarLong, {0x03, 0x01, 0x02}, -1, ""},
      {"var_u32_empty", kVarLong, {}, -1, ""},
      {"var_u64_eight", kVarQuad, {8, 1, 2, 3, 4, 5, 6, 7, 8}, 9, "72623859790382856"},
      {"var_u64_count9", kVarQuad, {9, 0, 1, 2, 3, 4, 5, 6, 7, 8}, -1, ""},
      {"var_s64_negative", kSigned, {0x82, 0x01, 0x00}, 3, "-256"},
      {"var_s64_positive", kSigned, {0x02, 0x01, 0x00}, 3, "256"},
      {"var_s64_negative_zero", kSigned, {0x80}, 1, "0"},
      {"var_s64_min", kSigned, {0x88, 0x80, 0, 0, 0, 0, 0, 0, 0}, 9, "-9223372036854775808"},
      {"var_s64_wraps", kSigned, {0x88, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, 9, "1"},
      {"var_s64_count9", kSigned, {0x89, 0, 0, 0, 0, 0, 0, 0, 0, 1}, -1, ""},
      {"var_s64_past_end", kSigned, {0x82, 0x01}, -1, ""},
      {"bytes_zero_filled", kBytes, {'A', 'B', 0, 'D', 'E'}, 4, std::string("AB\0D\0", 5)},
      {"bytes_short", kBytes, {'A', 'B', 'C'}, -1, ""},
      {"string_31", kText, Text(std::string(31, 'n'), 31, 31), 32, std::string(31, 'n')},
      {"string_32", kText, Text(std::string(32, 'n'), 32, 32), -1, ""},
      {"string_shorter", kText, {0x02, 'a', 'b'}, 3, "ab"},
      {"string_empty", kText, {0x00}, 1, ""},
      {"string_past_end", kText, {0x05, 'a', 'b'}, -1, ""},
      {"wstring_two_byte", kWide, {0xFF, 0x02, 0x00, 0x41, 0x00, 0x42}, 6, "AB"},
      {"wstring_one_byte", kWide, {0x02, 0x41, 0x42}, 3, "AB"},
      {"wstring_empty", kWide, {0x00, 0x41}, 1, "(none)"},
      {"wstring_two_byte_empty", kWide, {0xFF, 0x00}, 2, "(none)"},
      {"wstring_no_count", kWide, {0xFF}, -1, ""},
      {"wstring_nothing_left", kWide, {}, -1, ""},
      {"wstring_half_character", kWide, {0xFF, 0x02, 0x00, 0x41, 0x00}, -1, ""},
      {"wstring_past_end", kWide, {0x03, 'a', 'b'}, -1, ""},
      {"guid_bytes", kGuid, {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE,
                             0xFF}, 16, kGuidString},
      {"guid_bytes_short", kGuid, std::vector<uint8_t>(15, 0), -1, ""},
      {"guid_text", kGuidText, Text(kGuidString, 64), 64, kGuidString},
      {"guid_text_braces", kGuidText, Text("{" + kGuidString + "}", 64), -1, ""},
      {"guid_text_trailing", kGuidText, Text(kGuidString + " ", 64), -1, ""},
      // The text ends at its terminator: later bytes are not looked at.
      {"guid_text_after_zero", kGuidText, Text(kGuidString + std::string(26, '\0') + "x", 64), 64, kGuidString},
      {"guid_text_63_bytes", kGuidText, Text(kGuidString, 63), -1, ""},
      {"guid_text_var", kGuidTextVar, Text(kGuidString, 36, 36), 37, kGuidString},
      {"guid_text_var_64", kGuidTextVar, Text(kGuidString, 64, 64), 65, kGuidString},
      {"guid_text_var_65", kGuidTextVar, Text(kGuidString, 65, 65), -1, ""},
      {"guid_text_var_cut", kGuidTextVar, Text(kGuidString, 20, 36), -1, ""}};
  for (const FieldCase& c : cases) {
    Sample s;
    std::memset(s.Bytes, 'x', sizeof(s.Bytes));
    std::memset(s.Text, 'x', sizeof(s.Text) - 1);  // a shorter value must replace it completely
    s.Wide.reset(static_cast<char16_t*>(std::calloc(2, sizeof(char16_t))));
    const uint8_t* end = DecodeFields(c.table, 1, &s, c.bytes.data(), static_cast<uint32_t>(c.bytes.size()));
    EXPECT_EQ(end ? end - c.bytes.data() : -1, c.consumed) << c.name;
    EXPECT_EQ(end ? Shown(c.table, s) : c.shown, c.shown) << c.name;  // when it decodes
  }
}

TEST(FieldDecoderTest, FixedNumbersAreBigEndianAndConsecutive) {
  Sample s;
  const std::vector<uint8_t> bytes = {0x12, 0x34, 0x56, 0x89, 0xAB, 0xCD, 0xEF, 1, 2, 3, 4, 5, 6, 7, 8, 0xFF};
  EXPECT_EQ(DecodeFields(kFixed, &s, bytes.data(), 16), bytes.data() + 15);
  EXPECT_EQ(std::tuple(s.Byte, s.Word, s.Long, s.Quad), std::tuple(0x12, 0x3456, 0x89ABCDEFu, 0x0102030405060708u));

  // Seven of the U64's eight bytes: the rows before it keep their values.
  Sample cut;
  EXPECT_EQ(DecodeFields(kFixed, &cut, bytes.data(), 14), nullptr);
  EXPECT_EQ(std::tuple(cut.Long, cut.Quad), std::tuple(0x89ABCDEFu, 0u));
  EXPECT_EQ(DecodeFields(kFixed, 0, &cut, bytes.data(), 0), bytes.data());  // no rows

  // The private header's checksum adds every byte of its sector but its own four, and none past the sector.
  std::vector<uint8_t> sector(513, 1);
  std::fill_n(sector.begin() + 8, 4, 0xFF);
  sector[512] = 0xFF;
  EXPECT_EQ(PrivateHeaderByteSum(sector.data(), 512), 508u);
  // The GPT's CRC-32 (the builders use it too): its standard check value.
  EXPECT_EQ(Crc32("123456789", 9), 0xCBF43926u);
}

TEST(FieldDecoderTest, HandWrittenRowsCannotOverrunTheirMember) {
  Sample s;
  const std::vector<uint8_t> bytes = {0x04, 1, 2, 3, 4};
  const FIELD_DESC wrongWidth[] = {{FIELD_U32, 8, 4, kFixed[2].Member}};
  const FIELD_DESC wideBound[] = {{FIELD_VAR_U32, 16, 0, kVarLong[0].Member}};
  const FIELD_DESC unknownKind[] = {{99, 4, 4, kFixed[2].Member}};
  const FIELD_DESC noRoomForTheEnd[] = {{FIELD_BYTES, 5, 5, kBytes[0].Member}};
  EXPECT_EQ(DecodeFields(noRoomForTheEnd, &s, bytes.data(), 5), nullptr);
  EXPECT_EQ(DecodeFields(wrongWidth, &s, bytes.data(), 5), nullptr);
  EXPECT_EQ(DecodeFields(wideBound, &s, bytes.data(), 5), nullptr);
  EXPECT_EQ(DecodeFields(unknownKind, &s, bytes.data(), 5), nullptr);
}

TEST(FieldDecoderTest, ChainStopsAtTheFirstFailure) {
  Sample s;
  const std::vector<uint8_t> bytes = {0x01, 0x7F, 0x05, 0, 0, 0, 0, 0, 0x01, 0x01};
  CFieldChain chain(&s, bytes.data(), static_cast<uint32_t>(bytes.size()));
  chain.Decode(kVarLong);
  chain.DecodeIf(false, kVarQuad);
  EXPECT_EQ(chain.Cursor(), bytes.data() + 2);
  chain.Decode(kVarLong);  // count 5 fails
  chain.Decode(kVarQuad);  // not attempted
  EXPECT_TRUE(chain.Failed());
  EXPECT_EQ(s.Long, 0x7Fu);
  EXPECT_EQ(s.Quad, 0u);
}

// The bare 8-4-4-4-12 form in either case; no braces, blanks, missing or
// extra digits, misplaced or missing hyphens, other characters.
TEST(GuidTextTest, ReadsOnlyTheBareFormInEitherCase) {
  GUID lower{}, upper{};
  ASSERT_TRUE(ParseGuidText("03c0c4fc-8b6f-402b-9431-4be2e5823b1c", lower));
  ASSERT_TRUE(ParseGuidText("03C0C4FC-8B6F-402B-9431-4BE2E5823B1C", upper));
  EXPECT_EQ(lower, upper);
  EXPECT_EQ(test::GuidToText(lower), "03c0c4fc-8b6f-402b-9431-4be2e5823b1c");
  for (const char* text :
       {"{03c0c4fc-8b6f-402b-9431-4be2e5823b1c}", "03c0c4fc-8b6f-402b-9431-4be2e5823b1c}",
        " 03c0c4fc-8b6f-402b-9431-4be2e5823b1c", "03c0c4fc-8b6f-402b-9431-4be2e5823b1c ",
        "03c0c4fc-8b6f-402b-9431-4be2e5823b1", "03c0c4fc-8b6f-402b-9431-4be2e5823b1c0",
        "03c0c4f-c8b6f-402b-9431-4be2e5823b1c", "03c0c4fc-8b6f-402b-94314be2e5823b1c",
        "03c0c4fc-8b6f-402b-9431-4be2e5823b1g", "03c0c4fc-8b6f-402b-9431-4be2e5823b1/", ""}) {
    GUID guid{};
    EXPECT_FALSE(ParseGuidText(text, guid)) << text;
  }
  GUID guid{};
  EXPECT_FALSE(ParseGuidText(nullptr, guid));
}

std::string TimeText(uint64_t fileTime) {
  CALENDAR_TIME t{};
  if (!FileTimeToCalendarTime(fileTime, t)) return "refused";
  return FormatNarrow("%04u-%02u-%02u %02u:%02u:%02u.%03u", t.Year, t.Month, t.Day, t.Hour, t.Minute, t.Second,
                      t.Milliseconds);
}

TEST(FileTimeTest, ConvertsAcrossTheWholeRangeAndRefusesTheTopBit) {
  // The leap day of a year divisible by 400 and the day after it; 1900 is
  // not a leap year: February 28th is followed by March 1st.
  const std::pair<uint64_t, const char*> cases[] = {
      {0, "1601-01-01 00:00:00.000"},
      {116444736000000000ULL, "1970-01-01 00:00:00.000"},
      {0x01cd901ceb898e23ULL, "2012-09-11 12:56:54.875"},
      {125962560000000000ULL, "2000-02-29 00:00:00.000"},
      {125963424000000000ULL, "2000-03-01 00:00:00.000"},
      {94404960000000000ULL + 863999999999ULL, "1900-02-28 23:59:59.999"},
      {94405824000000000ULL, "1900-03-01 00:00:00.000"},
      {0x7FFFFFFFFFFFFFFFULL, "30828-09-14 02:48:05.477"},
      {0x8000000000000000ULL, "refused"},
      {~0ULL, "refused"}};
  for (const auto& [fileTime, text] : cases) EXPECT_EQ(TimeText(fileTime), text) << fileTime;
}

}  // namespace
}  // namespace kestrand
