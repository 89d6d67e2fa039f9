// The report format dialect: what the format strings of the reports must
// produce on every build; text conversions and small decoders of host answers.
#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "common/formatters.h"
#include "common/text_format.h"
#include "disk/disk_report.h"
#include "platform/platform.h"
#include "platform/query_buffers.h"

namespace kestrand {
namespace {

// Strings and widths; missing strings and arguments print as "(null)" and
// 0; sizes.
TEST(TextFormat, StringsWidthsAndSizes) {
  EXPECT_EQ(FormatWide(u"%28s %lu Summary\n", u"Disk", 3u), u"                        Disk 3 Summary\n");
  EXPECT_EQ(FormatWide(u"%-20s|", u"Primary"), u"Primary             |");
  EXPECT_EQ(FormatWide(u"%20s: %s\n", u"Computer Name", u"HOST"), u"       Computer Name: HOST\n");
  // A narrow argument in a wide format (and the reverse) still prints its text.
  EXPECT_EQ(FormatWide(u"%S and %s", "narrow", u"wide"), u"narrow and wide");
  EXPECT_EQ(FormatNarrow("\n%10s: %s", "DiskGroup", "Red"), "\n DiskGroup: Red");
  EXPECT_EQ(FormatNarrow("%.3s|%.0s|%.9s|", "abcdef", "abc", "abc"), "abc||abc|");
  // A wide argument in a narrow format: every unit, beyond ASCII as "?".
  EXPECT_EQ(FormatNarrow("%s|%-6s|%.2s|%.5s|", u"wide", u"ab\u00e9", u"xyz", u"ab"), "wide|ab?   |xy|ab|");
  const char16_t* none = nullptr;
  EXPECT_EQ(FormatWide(u"%20s: %s\n", u"Product Type", none), u"        Product Type: (null)\n");
  EXPECT_EQ(FormatNarrow("%s %d"), "(null) 0");
  const uint64_t big = 5000000000ull;
  // %lu cuts to 32 bits.
  EXPECT_EQ(FormatNarrow("%I64u|%llu|%lu|%d|%u|%I64d|%hu|%hhu", big, big, big, -1, -1, int64_t{-5000000000}, 70000,
                         300),
            "5000000000|5000000000|705032704|-1|4294967295|-5000000000|4464|44");
  // Every size prefix: z, j, t and I take 64 bits, L and I32 none of them.
  EXPECT_EQ(FormatNarrow("%zu|%ju|%tu|%Iu", big, big, big, big), "5000000000|5000000000|5000000000|5000000000");
  EXPECT_EQ(FormatNarrow("%Lu|%I32u", big, big), "705032704|705032704");
  EXPECT_EQ(FormatWide(u"%zu|%I64x|%lld", big, big, int64_t{-1}), u"5000000000|12a05f200|-1");
  // Sizes in GB: digits grouped by thousands before the point, after a sign.
  std::u16string positive, negative;
  FormatGroupedReal(2899.994, positive);
  FormatGroupedReal(-1234567.5, negative);
  EXPECT_EQ(positive + u"|" + negative, u"2,899.99|-1,234,567.50");
}

// Every conversion, flag and size in both widths; characters marked wide
// or narrow, and wide ones beyond ASCII in a narrow format as "?".
TEST(TextFormat, EveryConversionFlagAndSizeInBothWidths) {
  EXPECT_EQ(FormatWide(u"Status code %04u : Disk %04lu : ", 7u, 12u), u"Status code 0007 : Disk 0012 : ");
  EXPECT_EQ(FormatNarrow("0x%08lx|%X|%#x|%#x|%12lu |%-5d|%05d|%+d|%02x%02x", 66u, 0xBEEFu, 255u, 0u, 42u, 7, -42, 3,
                         0x0a, 0xff),
            "0x00000042|BEEF|0xff|0|          42 |7    |-0042|+3|0aff");
  EXPECT_EQ(FormatNarrow("%.2f|%*d|%-*d|100%% %c%c", 1234.5, 4, 1, 3, 2, 'o', 'k'), "1234.50|   1|2  |100% ok");
  EXPECT_EQ(FormatWide(u"\t%c: = %s|%3c|%-3c|", u'C', u"dev", u'x', u'y'), u"\tC: = dev|  x|y  |");
  const uint64_t big = 5000000000ull;
  EXPECT_EQ(FormatNarrow("%p|% d|% d|%*d|%.3d|%#o|%o|%hc|%lc|%wc|%C|%c", uint64_t{0xbeef}, 5, -5, -4, 7, 7, 8, 8, 'a',
                         u'\u00e9', u'b', u'c', 'd'),
            "000000000000BEEF| 5|-5|7   |007|010|10|a|?|b|c|d");
  EXPECT_EQ(FormatWide(u"%p|% d|%*d|%.3d|%#o|%hc|%c|%C|%hu|%hhu|%lld|%I32u|%Iu|%I64u|%.2f|%y|%n|%%|%Lu",
                       uint64_t{0xbeef}, 5, -4, 7, 7, 8, 'a', u'\u00e9', 'x', 70000, 300, int64_t{-1}, big, big, big,
                       3.14159, 1, big),
            u"000000000000BEEF| 5|7   |007|010|a|\u00e9|x|4464|44|-1|705032704|5000000000|5000000000|3.14|%y||%|"
            u"705032704");
}

// Integers are written in place: precision zeros, the octal "0" of "#",
// signs, "0x", zero and blank padding in every combination that changes
// where they go. Hostile formats stay bounded.
TEST(TextFormat, IntegerPrecisionPrefixesPaddingAndHostileFormats) {
  EXPECT_EQ(FormatNarrow("%#o|%#o|%#.0o|%#.4o|%#5o|%.0d|%5.0d|%.0x|%.1d|", 8u, 0u, 0u, 8u, 8u, 0, 0, 0u, 0),
            "010|0|0|0010|  010||     ||0|");
  EXPECT_EQ(FormatNarrow("%08.3d|%-8.3x|%#010x|%#X|%#-8x|%05.0d|", 5, 255u, 255u, 255u, 1u, 42),
            "     005|0ff     |0x000000ff|0XFF|0x1     |   42|");
  EXPECT_EQ(FormatNarrow("% 05d|%+.3d|%-+6d|% d|%+u|", 7, -7, 42, -3, 5u), " 0007|-007|+42   |-3|5|");
  EXPECT_EQ(FormatNarrow("%p|%p", 0xabcu, uint64_t{0x123456789abcdef0}), "0000000000000ABC|123456789ABCDEF0");
  EXPECT_EQ(FormatNarrow("%I64o|%I64d|%I64u", UINT64_MAX, INT64_MIN, UINT64_MAX),
            "1777777777777777777777|-9223372036854775808|18446744073709551615");
  EXPECT_EQ(FormatNarrow("%25.22I64x|%-4hd|%hhd", uint64_t{0xfedcba9876543210}, -1, 200),
            "   000000fedcba9876543210|-1  |-56");
  EXPECT_EQ(FormatWide(u"%-18s %lu\n", u"Minor:", 4294967295u), u"Minor:             4294967295\n");

  // A trailing "%", an unknown conversion and %n neither crash nor write.
  EXPECT_EQ(FormatNarrow("50%"), "50");
  EXPECT_EQ(FormatNarrow("%y|%n|", 1), "%y||");
  EXPECT_EQ(FormatNarrow("%99999999d", 1).size(), 4096u);
  EXPECT_EQ(FormatNarrow("%.70f", 0.5), "0." + std::string(60, '0').replace(0, 1, "5"));  // 60 digits at most
}

// ANSI the same everywhere; names from the host (labels, mount paths) in
// UTF-8 and UTF-16, with characters beyond the first plane as surrogate pairs.
TEST(TextFormat, AnsiUtf8AndUtf16Conversions) {
  bool lossless = false, lossy = true;
  EXPECT_EQ(WideToAnsi(u"Disk 1", &lossless) + WideToAnsi(u"caf\u00e9 \u4e2d", &lossy), "Disk 1caf? ?");
  EXPECT_TRUE(lossless && !lossy);
  EXPECT_EQ(AnsiToWide("a\xff"), std::u16string(u"a\u00ff"));
  const std::u16string wide = u"a\u007f\u0080\u00e9\u07ff\u0800\u4e2d\uffff\U00010000\U0001F600z";
  const std::string narrow =
      "a\x7f\xc2\x80\xc3\xa9\xdf\xbf\xe0\xa0\x80\xe4\xb8\xad\xef\xbf\xbf\xf0\x90\x80\x80\xf0\x9f\x98\x80z";
  EXPECT_EQ(Utf16ToUtf8(wide), narrow);
  EXPECT_EQ(Utf8ToUtf16(narrow), wide);
  EXPECT_EQ(Utf16ToUtf8(u"\U0001F600\U0001F600\uFFFD"), "\xf0\x9f\x98\x80\xf0\x9f\x98\x80\xef\xbf\xbd");
  // Lone surrogates, a high one last; the values either side of them; a pair last.
  EXPECT_EQ(Utf16ToUtf8(u"\xDC00|\xD800x|\uD7FF\uE000|\xD800"),
            "\xef\xbf\xbd|\xef\xbf\xbdx|\xed\x9f\xbf\xee\x80\x80|\xef\xbf\xbd");
  EXPECT_EQ(Utf16ToUtf8(u"\U0001F600\U0010FFFF"), "\xf0\x9f\x98\x80\xf4\x8f\xbf\xbf");
  // Surrogates, overlong forms, values past U+10FFFF, bad and cut sequences:
  // one replacement each; the last values on either side of them stay.
  EXPECT_EQ(Utf8ToUtf16("\xed\xa0\x80|\xed\xbf\xbf|\xe0\x9f\xbf|\xf4\x90\x80\x80|\xc1\x81|\xc3(|"
                        "\xed\x9f\xbf\xee\x80\x80\xf4\x8f\xbf\xbf|\xc3"),
            u"\uFFFD|\uFFFD|\uFFFD|\uFFFD|\uFFFD\uFFFD|\uFFFD(|\uD7FF\uE000\U0010FFFF|\uFFFD");
}

TEST(HostAnswers, MediaTypeNamesAndMountPointDeviceNames) {
  const std::pair<uint32_t, std::u16string> media[] = {{0, u"Unknown"},  {1, u"Floppy"},    {11, u"Removable"},
                                                       {12, u"Fixed"},   {25, u"Floppy"},    {26, u"Unknown"},
                                                       {0x80000000u, u"Unknown"}};
  for (const auto& [type, name] : media) EXPECT_EQ(MediaTypeName(type), name) << type;

  // The query for a dynamic volume: the offset and length of its unique id
  // at 8 and 12, then "DMIO:ID:" and the volume GUID as held in memory.
  const MountPointRequest request =
      BuildMountPointRequest({0x04030201, 0x0605, 0x0807, {9, 10, 11, 12, 13, 14, 15, 16}});
  EXPECT_EQ(std::string(request.begin(), request.end()),
            std::string(8, '\0') + std::string("\x18\0\0\0\x18\0", 6) + std::string(10, '\0') + "DMIO:ID:" +
                "\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0a\x0b\x0c\x0d\x0e\x0f\x10");

  // Size, count, then the first entry: its device name's offset and length.
  uint8_t answer[48] = {48, 0, 0, 0, 1};
  answer[24] = 40;
  answer[28] = 7;  // three characters and an odd byte
  for (int i = 0; i < 4; ++i) answer[40 + 2 * i] = static_cast<uint8_t>('A' + i);
  std::u16string name = u"old";
  EXPECT_EQ(ReadMountPointDeviceName(answer, sizeof answer, name), 0u);
  EXPECT_EQ(name, u"ABC");
  answer[28] = 9;  // past the end
  EXPECT_EQ(ReadMountPointDeviceName(answer, sizeof answer, name), ERROR_INVALID_DATA_CODE);
  answer[4] = 0;
  EXPECT_EQ(ReadMountPointDeviceName(answer, sizeof answer, name), ERROR_FILE_NOT_FOUND_CODE);
  EXPECT_EQ(ReadMountPointDeviceName(answer, 31, name), ERROR_FILE_NOT_FOUND_CODE);
  answer[4] = 1;
  EXPECT_EQ(ReadMountPointDeviceName(answer, 31, name), ERROR_INVALID_DATA_CODE);
  EXPECT_TRUE(name.empty());
  // A name more than 64 KiB into the answer: its offset takes all four bytes.
  std::vector<uint8_t> large(0x10100, 0);
  large[4] = 1;
  large[26] = 1;  // offset 0x10000
  large[28] = 2;
  large[0x10000] = 'Z';
  EXPECT_EQ(ReadMountPointDeviceName(large.data(), large.size(), name), 0u);
  EXPECT_EQ(name, u"Z");

  // The registry's primary pack id: its characters up to the first zero one,
  // an odd byte at the end left out; only a string value is taken.
  CRegistryStringCopy value;
  EXPECT_EQ(value.Assign(REG_SZ_TYPE, "{\0A\0}\0\0\0x\0", 10), 0);
  EXPECT_EQ(value.Text(), u"{A}");
  EXPECT_EQ(value.Assign(REG_SZ_TYPE, "a\0b\0c", 5), 0);
  EXPECT_EQ(value.Text(), u"ab");
  EXPECT_EQ(value.Assign(3, "a\0", 2), STATUS_UNSUCCESSFUL_CODE);
  EXPECT_EQ(value.Assign(REG_SZ_TYPE, nullptr, 2), STATUS_INVALID_PARAMETER_CODE);
  EXPECT_EQ(value.Text(), u"ab");
  EXPECT_EQ(value.Assign(REG_SZ_TYPE, nullptr, 0), 0);  // an empty value
  EXPECT_EQ(value.Text(), u"");
}

}  // namespace
}  // namespace kestrand
