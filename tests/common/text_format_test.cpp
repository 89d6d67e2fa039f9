// The report format dialect: what the format strings of the reports must
// produce on every build.
#include <gtest/gtest.h>

#include <cstdint>

#include "common/text_format.h"
#include "platform/platform.h"

namespace kestrand {
namespace {

TEST(TextFormat, WideStringsAndWidths) {
  EXPECT_EQ(FormatWide(u"%28s %lu Summary\n", u"Disk", 3u),
            u"                        Disk 3 Summary\n");
  EXPECT_EQ(FormatWide(u"%-20s|", u"Primary"), u"Primary             |");
  EXPECT_EQ(FormatWide(u"%20s: %s\n", u"Computer Name", u"HOST"), u"       Computer Name: HOST\n");
  // A narrow argument in a wide format (and the reverse) still prints its text.
  EXPECT_EQ(FormatWide(u"%S and %s", "narrow", u"wide"), u"narrow and wide");
  EXPECT_EQ(FormatNarrow("\n%10s: %s", "DiskGroup", "Red"), "\n DiskGroup: Red");
  EXPECT_EQ(FormatNarrow("%.3s|%.0s|%.9s|", "abcdef", "abc", "abc"), "abc||abc|");
  // A wide argument in a narrow format: every unit, beyond ASCII as "?".
  EXPECT_EQ(FormatNarrow("%s|%-6s|%.2s|", u"wide", u"ab\u00e9", u"xyz"), std::string("wide|ab?   |xy|"));
}

TEST(TextFormat, MissingStringsAndArgumentsPrintAsNull) {
  const char16_t* none = nullptr;
  EXPECT_EQ(FormatWide(u"%20s: %s\n", u"Product Type", none), u"        Product Type: (null)\n");
  EXPECT_EQ(FormatNarrow("%s %d"), "(null) 0");
}

TEST(TextFormat, LongIsThirtyTwoBitsAndI64IsSixtyFour) {
  const uint64_t big = 5000000000ull;
  EXPECT_EQ(FormatNarrow("%I64u", big), "5000000000");
  EXPECT_EQ(FormatNarrow("%llu", big), "5000000000");
  EXPECT_EQ(FormatNarrow("%lu", big), "705032704");  // cut to 32 bits
  EXPECT_EQ(FormatNarrow("%d", -1), "-1");
  EXPECT_EQ(FormatNarrow("%u", -1), "4294967295");
  EXPECT_EQ(FormatNarrow("%I64d", int64_t{-5000000000}), "-5000000000");
  EXPECT_EQ(FormatNarrow("%hu", 70000), "4464");
  EXPECT_EQ(FormatNarrow("%hhu", 300), "44");
  // Every size prefix: z, j, t and I take 64 bits, L and I32 none of them.
  EXPECT_EQ(FormatNarrow("%zu|%ju|%tu|%Iu", big, big, big, big), "5000000000|5000000000|5000000000|5000000000");
  EXPECT_EQ(FormatNarrow("%Lu|%I32u", big, big), "705032704|705032704");
  EXPECT_EQ(FormatWide(u"%zu|%I64x|%lld", big, big, int64_t{-1}), u"5000000000|12a05f200|-1");
}

TEST(TextFormat, PaddingFlagsAndHex) {
  EXPECT_EQ(FormatWide(u"Status code %04u : Disk %04lu : ", 7u, 12u), u"Status code 0007 : Disk 0012 : ");
  EXPECT_EQ(FormatNarrow("0x%08lx", 66u), "0x00000042");
  EXPECT_EQ(FormatNarrow("%X|%#x|%#x", 0xBEEFu, 255u, 0u), "BEEF|0xff|0");
  EXPECT_EQ(FormatNarrow("%12lu |%-5d|%05d|%+d", 42u, 7, -42, 3), "          42 |7    |-0042|+3");
  EXPECT_EQ(FormatNarrow("%02x%02x", 0x0a, 0xff), "0aff");
  EXPECT_EQ(FormatNarrow("%.2f", 1234.5), "1234.50");
  EXPECT_EQ(FormatNarrow("%*d|%-*d|", 4, 1, 3, 2), "   1|2  |");
  EXPECT_EQ(FormatNarrow("100%% %c%c", 'o', 'k'), "100% ok");
  EXPECT_EQ(FormatWide(u"\t%c: = %s", u'C', u"dev"), u"\tC: = dev");
}

// Integers are written in place: precision zeros, the octal "0" of "#",
// signs, "0x", zero and blank padding in every combination that changes
// where they go.
TEST(TextFormat, IntegerPrecisionPrefixesAndPadding) {
  EXPECT_EQ(FormatNarrow("%#o|%#o|%#.0o|%#.4o|%#5o|", 8u, 0u, 0u, 8u, 8u), "010|0|0|0010|  010|");
  EXPECT_EQ(FormatNarrow("%.0d|%5.0d|%.0x|%.1d|", 0, 0, 0u, 0), "|     ||0|");
  EXPECT_EQ(FormatNarrow("%08.3d|%-8.3x|%#010x|%#X|%#-8x|", 5, 255u, 255u, 255u, 1u),
            "     005|0ff     |0x000000ff|0XFF|0x1     |");
  EXPECT_EQ(FormatNarrow("% 05d|%+.3d|%-+6d|% d|%+u|", 7, -7, 42, -3, 5u), " 0007|-007|+42   |-3|5|");
  EXPECT_EQ(FormatNarrow("%p|%p", 0xabcu, uint64_t{0x123456789abcdef0}), "0000000000000ABC|123456789ABCDEF0");
  EXPECT_EQ(FormatNarrow("%I64o|%I64d|%I64u", UINT64_MAX, INT64_MIN, UINT64_MAX),
            "1777777777777777777777|-9223372036854775808|18446744073709551615");
  EXPECT_EQ(FormatNarrow("%25.22I64x|%-4hd|%hhd", uint64_t{0xfedcba9876543210}, -1, 200),
            "   000000fedcba9876543210|-1  |-56");
  EXPECT_EQ(FormatWide(u"%-18s %lu\n", u"Minor:", 4294967295u), u"Minor:             4294967295\n");
}

TEST(TextFormat, HostileFormatsStayBounded) {
  // A trailing "%", an unknown conversion and %n neither crash nor write.
  EXPECT_EQ(FormatNarrow("50%"), "50");
  EXPECT_EQ(FormatNarrow("%y|%n|", 1), "%y||");
  EXPECT_EQ(FormatNarrow("%99999999d", 1).size(), 4096u);
}

TEST(TextFormat, AnsiConversionIsTheSameEverywhere) {
  bool lossless = false;
  EXPECT_EQ(WideToAnsi(u"Disk 1", &lossless), "Disk 1");
  EXPECT_TRUE(lossless);
  EXPECT_EQ(WideToAnsi(u"caf\u00e9 \u4e2d", &lossless), "caf? ?");
  EXPECT_FALSE(lossless);
  EXPECT_EQ(AnsiToWide("a\xff"), std::u16string(u"a\u00ff"));
}

// Names from the host (labels, mount paths) in UTF-8 and UTF-16, with
// characters beyond the first plane as surrogate pairs.
TEST(TextFormat, Utf8AndUtf16BothWays) {
  const std::u16string wide = u"a\u00e9\u4e2d\U0001F600z";
  const std::string narrow = "a\xc3\xa9\xe4\xb8\xad\xf0\x9f\x98\x80z";
  EXPECT_EQ(Utf16ToUtf8(wide), narrow);
  EXPECT_EQ(Utf8ToUtf16(narrow), wide);
  EXPECT_EQ(Utf16ToUtf8(u"\U0001F600\U0001F600\uFFFD"), "\xf0\x9f\x98\x80\xf0\x9f\x98\x80\xef\xbf\xbd");
}

}  // namespace
}  // namespace kestrand
