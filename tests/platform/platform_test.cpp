// Portable platform helpers: synthesized geometry and alignment answers, the
// UTF-8 bridge, and NTSTATUS to Win32 codes.
#include <gtest/gtest.h>

#include "platform/platform.h"

namespace kestrand {
namespace {

TEST(StorageAnswersTest, GeometryCountsWholeCylinders) {
  const int64_t cylinder = 255LL * 63 * 512;
  DISK_GEOMETRY_EX g = MakeDiskGeometry(10 * cylinder + 511, 512, false);
  EXPECT_EQ(g.Geometry.Cylinders, 10);
  EXPECT_EQ(g.Geometry.MediaType, MEDIA_TYPE_FIXED);
  EXPECT_EQ(g.DiskSize, 10 * cylinder + 511);
  g = MakeDiskGeometry(int64_t{1} << 40, 4096, true, 16, 63);
  EXPECT_EQ(g.Geometry.Cylinders, (int64_t{1} << 40) / (16 * 63 * 4096));
  EXPECT_EQ(g.Geometry.TracksPerCylinder, 16u);
  EXPECT_EQ(g.Geometry.MediaType, MEDIA_TYPE_REMOVABLE);
  EXPECT_EQ(MakeDiskGeometry(1 << 20, 0, false).Geometry.Cylinders, 0);
  EXPECT_EQ(MakeDiskGeometry(-5, 512, false).DiskSize, 0);
}

TEST(StorageAnswersTest, AlignmentOffsetIsReportedAsWindowsCountsIt) {
  // A 512-byte-sector disk with 4 KiB physical sectors whose first aligned
  // logical sector is sector 1 (offset 512): logical sector 0 lies 3584
  // bytes into its physical sector.
  STORAGE_ACCESS_ALIGNMENT_DESCRIPTOR d = MakeAlignmentDescriptor(512, 4096, 512);
  EXPECT_EQ(d.Size, 28u);
  EXPECT_EQ(d.BytesPerPhysicalSector, 4096u);
  EXPECT_EQ(d.BytesOffsetForSectorAlignment, 3584u);
  EXPECT_EQ(MakeAlignmentDescriptor(512, 4096, 0).BytesOffsetForSectorAlignment, 0u);
  EXPECT_EQ(MakeAlignmentDescriptor(512, 4096, 4096).BytesOffsetForSectorAlignment, 0u);
}

TEST(Utf8TextTest, RoundTripsAndRepairsBadInput) {
  const std::u16string wide = u"caf\u00e9 \u20ac \U0001F600";
  EXPECT_EQ(Utf16ToUtf8(wide), "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80");
  EXPECT_EQ(Utf8ToUtf16(Utf16ToUtf8(wide)), wide);
  EXPECT_EQ(Utf8ToUtf16("a\xFF" "b"), u"a\uFFFDb");
  EXPECT_EQ(Utf8ToUtf16("\xC3"), u"\uFFFD");           // cut short
  EXPECT_EQ(Utf8ToUtf16("\xC0\xAF"), u"\uFFFD\uFFFD");  // overlong
  EXPECT_EQ(Utf8ToUtf16("\xED\xA0\x80"), u"\uFFFD");    // an encoded surrogate
  EXPECT_EQ(Utf16ToUtf8(u"\xD800x"), "\xEF\xBF\xBDx");   // unpaired surrogate
}

TEST(StatusCodesTest, FailedReadsBecomeWin32Codes) {
  EXPECT_EQ(Win32FromNtStatus(0x103), 0u);  // informational
  EXPECT_EQ(Win32FromNtStatus(STATUS_ACCESS_DENIED_CODE), 5u);
  EXPECT_EQ(Win32FromNtStatus(STATUS_IO_DEVICE_ERROR_CODE), 31u);
}

}  // namespace
}  // namespace kestrand
