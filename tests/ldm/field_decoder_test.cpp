#include "ldm/field_decoder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/ldm_builder.h"

namespace kestrand {
namespace {

using test::GuidToText;

struct Sample {
  uint8_t Byte = 0;
  uint16_t Word = 0;
  uint32_t Long = 0;
  uint64_t Quad = 0;
  uint32_t VarLong = 0xAAAAAAAA;
  uint64_t VarQuad = 0;
  int64_t Signed = 0;
  char Bytes[5] = {};
  char Text[32] = {};
  OwnedWideString Wide;
  GUID Guid = {};
};

// Decodes `bytes` with `table` into `sample`; the number of bytes consumed,
// or -1 when the decode failed.
template <size_t N>
long Decode(const FIELD_DESC (&table)[N], const std::vector<uint8_t>& bytes, Sample& sample) {
  const uint8_t* end = DecodeFields(table, &sample, bytes.data(), static_cast<uint32_t>(bytes.size()));
  return end == nullptr ? -1 : static_cast<long>(end - bytes.data());
}

constexpr FIELD_DESC kFixed[] = {
    Field<Sample, FIELD_U8, &Sample::Byte>(),
    Field<Sample, FIELD_U16, &Sample::Word>(),
    Field<Sample, FIELD_U32, &Sample::Long>(),
    Field<Sample, FIELD_U64, &Sample::Quad>(),
};
constexpr FIELD_DESC kVarLong[] = {Field<Sample, FIELD_VAR_U32, &Sample::VarLong>()};
constexpr FIELD_DESC kVarQuad[] = {Field<Sample, FIELD_VAR_U64, &Sample::VarQuad>()};
constexpr FIELD_DESC kSigned[] = {Field<Sample, FIELD_VAR_S64, &Sample::Signed>()};
constexpr FIELD_DESC kBytes[] = {Field<Sample, FIELD_BYTES, &Sample::Bytes, 4>()};
constexpr FIELD_DESC kText[] = {Field<Sample, FIELD_STRING, &Sample::Text>()};
constexpr FIELD_DESC kWide[] = {Field<Sample, FIELD_WSTRING, &Sample::Wide>()};
constexpr FIELD_DESC kGuid[] = {Field<Sample, FIELD_GUID, &Sample::Guid>()};
constexpr FIELD_DESC kGuidText[] = {Field<Sample, FIELD_GUID_TEXT, &Sample::Guid, 64>()};
constexpr FIELD_DESC kGuidTextVar[] = {Field<Sample, FIELD_GUID_TEXT_VAR, &Sample::Guid>()};

const std::string kGuidString = "00112233-4455-6677-8899-aabbccddeeff";

std::vector<uint8_t> TextField(const std::string& text, size_t width) {
  test::LdmBytes out;
  out.FixedText(text, width);
  return out.bytes;
}

TEST(FieldDecoderTest, FixedNumbersAreBigEndianAndConsecutive) {
  Sample s;
  const std::vector<uint8_t> bytes = {0x12, 0x34, 0x56, 0x89, 0xAB, 0xCD, 0xEF, 0x01, 0x02, 0x03,
                                      0x04, 0x05, 0x06, 0x07, 0x08, 0xFF};
  EXPECT_EQ(Decode(kFixed, bytes, s), 15);
  EXPECT_EQ(s.Byte, 0x12);
  EXPECT_EQ(s.Word, 0x3456);
  EXPECT_EQ(s.Long, 0x89ABCDEFu);
  EXPECT_EQ(s.Quad, 0x0102030405060708u);
}

TEST(FieldDecoderTest, FixedFieldNeedsItsWholeWidthAtTheEnd) {
  Sample s;
  // Enough for U8, U16 and U32, seven of the eight bytes of the U64.
  const std::vector<uint8_t> bytes(14, 0x11);
  EXPECT_EQ(Decode(kFixed, bytes, s), -1);
  // Rows before the failing one keep their values.
  EXPECT_EQ(s.Long, 0x11111111u);
  EXPECT_EQ(s.Quad, 0u);
}

TEST(FieldDecoderTest, RowCountZeroReturnsTheCursor) {
  Sample s;
  const uint8_t byte = 0;
  EXPECT_EQ(DecodeFields(kFixed, 0, &s, &byte, 0), &byte);
}

TEST(FieldDecoderTest, EmptyInputFailsEvenForCountedField) {
  Sample s;
  EXPECT_EQ(Decode(kVarLong, {}, s), -1);
  EXPECT_EQ(Decode(kText, {}, s), -1);
  EXPECT_EQ(Decode(kWide, {}, s), -1);
}

TEST(FieldDecoderTest, VarU32Rules) {
  Sample s;
  EXPECT_EQ(Decode(kVarLong, {0x00}, s), 1);
  EXPECT_EQ(s.VarLong, 0u);
  EXPECT_EQ(Decode(kVarLong, {0x02, 0x01, 0x00, 0x99}, s), 3);
  EXPECT_EQ(s.VarLong, 0x100u);
  EXPECT_EQ(Decode(kVarLong, {0x04, 0xFF, 0xFF, 0xFF, 0xFE}, s), 5);
  EXPECT_EQ(s.VarLong, 0xFFFFFFFEu);
  // Count above the destination size, even with the bytes present.
  EXPECT_EQ(Decode(kVarLong, {0x05, 0, 0, 0, 0, 1}, s), -1);
  // Count that runs past the end.
  EXPECT_EQ(Decode(kVarLong, {0x03, 0x01, 0x02}, s), -1);
}

TEST(FieldDecoderTest, VarU64Rules) {
  Sample s;
  EXPECT_EQ(Decode(kVarQuad, {0x08, 1, 2, 3, 4, 5, 6, 7, 8}, s), 9);
  EXPECT_EQ(s.VarQuad, 0x0102030405060708u);
  EXPECT_EQ(Decode(kVarQuad, {0x09, 0, 1, 2, 3, 4, 5, 6, 7, 8}, s), -1);
  EXPECT_EQ(Decode(kVarQuad, {0xFF}, s), -1);
}

TEST(FieldDecoderTest, VarS64SignFlagNegatesTheMagnitude) {
  Sample s;
  EXPECT_EQ(Decode(kSigned, {0x82, 0x01, 0x00}, s), 3);
  EXPECT_EQ(s.Signed, -256);
  EXPECT_EQ(Decode(kSigned, {0x02, 0x01, 0x00}, s), 3);
  EXPECT_EQ(s.Signed, 256);
  EXPECT_EQ(Decode(kSigned, {0x80}, s), 1);
  EXPECT_EQ(s.Signed, 0);
  // The largest magnitudes wrap without overflow.
  EXPECT_EQ(Decode(kSigned, {0x88, 0x80, 0, 0, 0, 0, 0, 0, 0}, s), 9);
  EXPECT_EQ(s.Signed, INT64_MIN);
  EXPECT_EQ(Decode(kSigned, {0x88, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, s), 9);
  EXPECT_EQ(s.Signed, 1);
  EXPECT_EQ(Decode(kSigned, {0x89, 0, 0, 0, 0, 0, 0, 0, 0, 1}, s), -1);
  EXPECT_EQ(Decode(kSigned, {0x82, 0x01}, s), -1);
}

TEST(FieldDecoderTest, BytesAreCopiedIntoAZeroFilledArray) {
  Sample s;
  std::memset(s.Bytes, 'x', sizeof(s.Bytes));
  EXPECT_EQ(Decode(kBytes, {'A', 'B', 0, 'D', 'E'}, s), 4);
  EXPECT_EQ(std::string(s.Bytes, 5), std::string("AB\0D\0", 5));
  EXPECT_EQ(Decode(kBytes, {'A', 'B', 'C'}, s), -1);
}

TEST(FieldDecoderTest, StringTakesFewerCharactersThanItsBuffer) {
  Sample s;
  test::LdmBytes ok;
  ok.String(std::string(31, 'n'));
  EXPECT_EQ(Decode(kText, ok.bytes, s), 32);
  EXPECT_EQ(std::string(s.Text), std::string(31, 'n'));

  test::LdmBytes tooLong;
  tooLong.String(std::string(32, 'n'));
  EXPECT_EQ(Decode(kText, tooLong.bytes, s), -1);

  // A shorter string replaces a longer one completely.
  EXPECT_EQ(Decode(kText, {0x02, 'a', 'b'}, s), 3);
  EXPECT_STREQ(s.Text, "ab");
  EXPECT_EQ(Decode(kText, {0x00}, s), 1);
  EXPECT_STREQ(s.Text, "");
  EXPECT_EQ(Decode(kText, {0x05, 'a', 'b'}, s), -1);
}

TEST(FieldDecoderTest, WideStringOneAndTwoByteCharacters) {
  Sample s;
  EXPECT_EQ(Decode(kWide, {0xFF, 0x02, 0x00, 0x41, 0x00, 0x42}, s), 6);
  ASSERT_NE(s.Wide, nullptr);
  EXPECT_EQ(std::u16string(s.Wide.get()), u"AB");

  Sample t;
  EXPECT_EQ(Decode(kWide, {0x02, 0x41, 0x42}, t), 3);
  ASSERT_NE(t.Wide, nullptr);
  EXPECT_EQ(std::u16string(t.Wide.get()), u"AB");

  EXPECT_EQ(Decode(kWide, {0xFF, 0x01, 0x26, 0x3A}, t), 4);
  EXPECT_EQ(std::u16string(t.Wide.get()), u"\u263A");
}

TEST(FieldDecoderTest, EmptyWideStringStoresNoString) {
  Sample s;
  EXPECT_EQ(Decode(kWide, {0x01, 'Z'}, s), 2);
  ASSERT_NE(s.Wide, nullptr);
  EXPECT_EQ(Decode(kWide, {0x00, 0x41}, s), 1);
  EXPECT_EQ(s.Wide, nullptr);
  EXPECT_EQ(Decode(kWide, {0xFF, 0x00}, s), 2);
  EXPECT_EQ(s.Wide, nullptr);
}

TEST(FieldDecoderTest, WideStringPastTheEndFails) {
  Sample s;
  EXPECT_EQ(Decode(kWide, {0xFF}, s), -1);                    // no character count
  EXPECT_EQ(Decode(kWide, {0xFF, 0x02, 0x00, 0x41, 0x00}, s), -1);  // half a character short
  EXPECT_EQ(Decode(kWide, {0x03, 'a', 'b'}, s), -1);
  EXPECT_EQ(s.Wide, nullptr);
}

TEST(FieldDecoderTest, GuidBytesHaveBigEndianParts) {
  Sample s;
  const std::vector<uint8_t> bytes = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77,
                                      0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
  EXPECT_EQ(Decode(kGuid, bytes, s), 16);
  EXPECT_EQ(GuidToText(s.Guid), kGuidString);
  EXPECT_EQ(Decode(kGuid, std::vector<uint8_t>(15, 0), s), -1);
}

TEST(FieldDecoderTest, GuidTextFieldOfSixtyFourBytes) {
  Sample s;
  EXPECT_EQ(Decode(kGuidText, TextField(kGuidString, 64), s), 64);
  EXPECT_EQ(GuidToText(s.Guid), kGuidString);

  EXPECT_EQ(Decode(kGuidText, TextField("{" + kGuidString + "}", 64), s), -1);
  EXPECT_EQ(Decode(kGuidText, TextField(kGuidString + "x", 64), s), -1);
  // The text ends at the first zero byte: a character right after the 36
  // digits and hyphens fails, bytes after the terminator are not looked at.
  auto trailing = TextField(kGuidString, 64);
  trailing[36] = ' ';
  EXPECT_EQ(Decode(kGuidText, trailing, s), -1);
  auto afterTerminator = TextField(kGuidString, 64);
  afterTerminator[63] = ' ';
  EXPECT_EQ(Decode(kGuidText, afterTerminator, s), 64);
  // The field needs all 64 bytes.
  EXPECT_EQ(Decode(kGuidText, TextField(kGuidString, 63), s), -1);
}

TEST(FieldDecoderTest, CountedGuidText) {
  Sample s;
  test::LdmBytes ok;
  ok.GuidTextVar(kGuidString);
  EXPECT_EQ(Decode(kGuidTextVar, ok.bytes, s), 37);
  EXPECT_EQ(GuidToText(s.Guid), kGuidString);

  test::LdmBytes padded;
  padded.U8(64).FixedText(kGuidString, 64);
  EXPECT_EQ(Decode(kGuidTextVar, padded.bytes, s), 65);

  test::LdmBytes tooLong;
  tooLong.U8(65).FixedText(kGuidString, 65);
  EXPECT_EQ(Decode(kGuidTextVar, tooLong.bytes, s), -1);

  test::LdmBytes braces;
  braces.GuidTextVar("{" + kGuidString + "}");
  EXPECT_EQ(Decode(kGuidTextVar, braces.bytes, s), -1);

  test::LdmBytes cut;
  cut.U8(36).FixedText(kGuidString, 20);
  EXPECT_EQ(Decode(kGuidTextVar, cut.bytes, s), -1);
}

TEST(FieldDecoderTest, HandWrittenRowWithWrongDestinationSizeIsRefused) {
  Sample s;
  // A U32 row that claims an 8-byte destination, and a counted row whose
  // bound exceeds what a number can hold: neither may write past its member.
  const FIELD_DESC wrongWidth[] = {{FIELD_U32, 8, 4, kFixed[2].Member}};
  EXPECT_EQ(Decode(wrongWidth, {1, 2, 3, 4}, s), -1);
  const FIELD_DESC wideBound[] = {{FIELD_VAR_U32, 16, 0, kVarLong[0].Member}};
  EXPECT_EQ(Decode(wideBound, {0x04, 1, 2, 3, 4}, s), -1);
  const FIELD_DESC unknownKind[] = {{99, 4, 4, kFixed[2].Member}};
  EXPECT_EQ(Decode(unknownKind, {1, 2, 3, 4}, s), -1);
}

TEST(FieldDecoderTest, ChainStopsAtTheFirstFailure) {
  Sample s;
  const std::vector<uint8_t> bytes = {0x01, 0x7F, 0x05, 0, 0, 0, 0, 0, 0x01, 0x01};
  FieldChain chain(&s, bytes.data(), static_cast<uint32_t>(bytes.size()));
  chain.Decode(kVarLong);
  chain.DecodeIf(false, kVarQuad);
  EXPECT_FALSE(chain.Failed());
  EXPECT_EQ(chain.Cursor(), bytes.data() + 2);
  chain.Decode(kVarLong);  // count 5 fails
  chain.Decode(kVarQuad);  // not attempted
  EXPECT_TRUE(chain.Failed());
  EXPECT_EQ(s.VarLong, 0x7Fu);
  EXPECT_EQ(s.VarQuad, 0u);
}

}  // namespace
}  // namespace kestrand
