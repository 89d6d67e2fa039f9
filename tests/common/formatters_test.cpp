// The value forms every report shares, and the bounded buffer rules.
#include <gtest/gtest.h>

#include <string>

#include "common/formatters.h"

namespace kestrand {
namespace {

std::u16string Grouped(uint64_t value) {
  std::u16string text;
  EXPECT_EQ(FormatGrouped(value, text), 0u);
  return text;
}

std::u16string GroupedReal(double value) {
  std::u16string text;
  EXPECT_EQ(FormatGroupedReal(value, text), 0u);
  return text;
}

TEST(FormattersTest, GroupedPutsCommasBetweenThrees) {
  EXPECT_EQ(Grouped(0), u"0");
  EXPECT_EQ(Grouped(999), u"999");
  EXPECT_EQ(Grouped(1000), u"1,000");
  EXPECT_EQ(Grouped(123456), u"123,456");
  EXPECT_EQ(Grouped(UINT64_MAX), u"18,446,744,073,709,551,615");
}

TEST(FormattersTest, GroupedRealHasTwoDecimals) {
  EXPECT_EQ(GroupedReal(0), u"0.00");
  EXPECT_EQ(GroupedReal(1234567.891), u"1,234,567.89");
  // Rounding may add a digit; it is grouped like any other.
  EXPECT_EQ(GroupedReal(999.999), u"1,000.00");
}

TEST(FormattersTest, HexAndGuidTextForms) {
  std::u16string text;
  EXPECT_EQ(FormatHex(0xDEADBEEF, text), 0u);
  EXPECT_EQ(text, u"0xdeadbeef");
  GUID small{1, 2, 3, {0, 0, 0, 0, 0, 0, 0, 4}};
  EXPECT_EQ(FormatGuid(small, text), 0u);
  EXPECT_EQ(text, u"00000001-0002-0003-0000-000000000004");
}

TEST(FormattersTest, AppendString) {
  std::string place = "Disk";
  EXPECT_EQ(AppendString(place, " 0"), 0u);
  EXPECT_EQ(place, "Disk 0");
  EXPECT_EQ(AppendString(place, nullptr), 87u);
  EXPECT_EQ(place, "Disk 0");
}

TEST(BoundedTextTest, RefusedSizesWriteNothing) {
  char16_t wide[4] = {u'x', u'x', u'x', u'x'};
  char narrow[4] = {'x', 'x', 'x', 'x'};
  EXPECT_EQ(FormatBounded(wide, 0, u"%d", 1), BOUNDED_TEXT_INVALID_SIZE);
  EXPECT_EQ(FormatBounded(wide, size_t{2147483648u}, u"%d", 1), BOUNDED_TEXT_INVALID_SIZE);
  EXPECT_EQ(CopyBounded(wide, 0, u"a"), BOUNDED_TEXT_INVALID_SIZE);
  EXPECT_EQ(FormatBounded(narrow, 0, "%d", 1), BOUNDED_TEXT_INVALID_SIZE);
  EXPECT_EQ(CopyBounded(narrow, size_t{2147483648u}, "a"), BOUNDED_TEXT_INVALID_SIZE);
  EXPECT_EQ(wide[0], u'x');
  EXPECT_EQ(narrow[0], 'x');
  EXPECT_EQ(static_cast<uint32_t>(BOUNDED_TEXT_INVALID_SIZE), 0x80070057u);
}

TEST(BoundedTextTest, CutsToSizeMinusOneAndTerminates) {
  char16_t wide[6];
  EXPECT_EQ(FormatBounded(wide, 6, u"Disk %d", 12), BOUNDED_TEXT_TRUNCATED);
  EXPECT_EQ(std::u16string(wide), u"Disk ");
  EXPECT_EQ(static_cast<uint32_t>(BOUNDED_TEXT_TRUNCATED), 0x8007007Au);

  char narrow[8];
  EXPECT_EQ(FormatBounded(narrow, 8, "Disk %d", 12), BOUNDED_TEXT_OK);  // exact fit
  EXPECT_STREQ(narrow, "Disk 12");
  EXPECT_EQ(CopyBounded(narrow, 1, "abc"), BOUNDED_TEXT_TRUNCATED);
  EXPECT_STREQ(narrow, "");
}

TEST(BoundedTextTest, CopyStopsAtTheTerminatorAndAcceptsAMissingSource) {
  char16_t wide[8];
  EXPECT_EQ(CopyBounded(wide, 8, std::u16string(u"ab\0cdefghij", 11)), BOUNDED_TEXT_OK);
  EXPECT_EQ(std::u16string(wide), u"ab");
  EXPECT_EQ(CopyBounded(wide, 8, static_cast<const char16_t*>(nullptr)), BOUNDED_TEXT_OK);
  EXPECT_EQ(std::u16string(wide), u"");
}

}  // namespace
}  // namespace kestrand
