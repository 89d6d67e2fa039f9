// The private header: its decode, the holder of one copy, and both reports.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/xml_writer.h"
#include "common/text_format.h"
#include "ldm/field_decoder.h"
#include "ldm/ldm_database.h"
#include "ldm/private_header.h"
#include "support/ldm_builder.h"
#include "support/ldm_loader_support.h"

namespace kestrand::test {
namespace {

constexpr NTSTATUS kUndecodable = STATUS_INVALID_PARAMETER_CODE;

std::vector<uint8_t> SectorWith(const PrivateHeaderFields& fields, uint32_t size = 512) {
  return BuildPrivateHeader(fields, size);
}

TEST(PrivateHeaderDecodeTest, DecodesEveryFieldOfAVersion11Header) {
  PrivateHeaderFields fields;
  fields.DiskSetId = GuidFromText("11111111-2222-3333-4444-555555555555");
  fields.NewDiskSetId = GuidFromText("66666666-7777-8888-9999-aaaaaaaaaaaa");
  const std::vector<uint8_t> sector = SectorWith(fields);
  PRIVATE_HEADER h{};
  ASSERT_EQ(DecodePrivateHeader(sector.data(), 512, h), 0);
  // The text and XML sections below show every field; here the ones they
  // leave out, and the two ends of the chain.
  EXPECT_EQ(h.VersionMinor, 11);
  EXPECT_EQ(h.UpdateTime, 0x01cd901ceb898e23ULL);
  EXPECT_EQ(h.TocAlternateSector, 2046u);
  EXPECT_EQ(h.BootSig, 0xf33ef33eu);
  EXPECT_EQ(GuidToText(h.DiskSetId), "11111111-2222-3333-4444-555555555555");
  EXPECT_EQ(GuidToText(h.NewDiskSetId), "66666666-7777-8888-9999-aaaaaaaaaaaa");
  EXPECT_EQ(GuidToText(h.NewDiskId), "00000000-0000-0000-0000-000000000000");
}

TEST(PrivateHeaderDecodeTest, MinorVersionDecidesWhichLaterFieldsArePresent) {
  PrivateHeaderFields fields;
  fields.DiskSetId = GuidFromText("11111111-2222-3333-4444-555555555555");
  fields.NewDiskId = GuidFromText("22222222-2222-3333-4444-555555555555");
  fields.NewPackName = "NewPack";
  // The sector carries every field; only the minor version says which count.
  fields.VersionMinor = 12;
  std::vector<uint8_t> sector = SectorWith(fields);

  struct Case {
    uint16_t Minor;
    bool BootSig, SetIds, NewIds;
  };
  for (const Case& c : {Case{9, false, false, false}, Case{10, true, false, false}, Case{11, true, true, false},
                        Case{12, true, true, true}}) {
    SCOPED_TRACE(c.Minor);
    sector[0x0F] = static_cast<uint8_t>(c.Minor);
    PRIVATE_HEADER h{};
    ASSERT_EQ(DecodePrivateHeader(sector.data(), 512, h), 0);
    EXPECT_EQ(h.BootSig != 0, c.BootSig);
    EXPECT_EQ(h.DiskSetId.Data1 != 0, c.SetIds);
    EXPECT_EQ(h.NewDiskId.Data1 != 0, c.NewIds);
    EXPECT_EQ(std::string(h.NewPackName) == "NewPack", c.NewIds);
  }
}

TEST(PrivateHeaderDecodeTest, RefusesMalformedGuidTextKeepingEarlierFields) {
  for (const char* text : {"{d17c2c04-6afc-46c3-84b7-cdc2f3956c5c}", "d17c2c04-6afc-46c3-84b7-cdc2f3956c5g",
                           "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c ", "d17c2c046afc-46c3-84b7-cdc2f3956c5c"}) {
    SCOPED_TRACE(text);
    PrivateHeaderFields fields;
    fields.HostIdText = text;
    const std::vector<uint8_t> sector = SectorWith(fields);
    PRIVATE_HEADER h{};
    EXPECT_EQ(DecodePrivateHeader(sector.data(), 512, h), kUndecodable);
    EXPECT_EQ(GuidToText(h.DiskId), "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c");
    EXPECT_EQ(h.PackId.Data1, 0u);
    EXPECT_EQ(h.IOsize, 0u);
  }
}

TEST(PrivateHeaderDecodeTest, EveryFieldNeedsItsFullWidthInsideTheSector) {
  PrivateHeaderFields fields;
  fields.VersionMinor = 12;
  const std::vector<uint8_t> sector = SectorWith(fields);
  PRIVATE_HEADER h{};
  // NewPackName ends at 0x1C6; one byte short fails, the exact size passes.
  EXPECT_EQ(DecodePrivateHeader(sector.data(), 0x1C5, h), kUndecodable);
  EXPECT_EQ(DecodePrivateHeader(sector.data(), 0x1C6, h), 0);
  EXPECT_EQ(DecodePrivateHeader(sector.data(), 11, h), kUndecodable);
  EXPECT_EQ(DecodePrivateHeader(nullptr, 512, h), kUndecodable);
}

// One copy read from the disk.
class PrivateHeaderWrapperTest : public LdmCopyTest {
 protected:
  std::string Text() {
    return CaptureText([&](FILE* stream) { EXPECT_EQ(wrapper_.PrintText(stream), 0u); });
  }

  PRIVATE_HEADER_WRAPPER wrapper_;
};

TEST_F(PrivateHeaderWrapperTest, KeepsTheSectorAsReadWithMagicAndBigEndianChecksum) {
  PrivateHeaderFields fields;
  fields.Magic = "PRIVHEAX";  // not rejected here
  fields.Checksum = 0x01020304;
  const std::vector<uint8_t> sector = SectorWith(fields);
  PutSector(0xFFE00, sector);

  ASSERT_EQ(wrapper_.Initialize(&database_, &disk_, "Primary", 0xFFE00), 0u);
  EXPECT_EQ(platform_.ReadOffsets(), std::vector<int64_t>{0xFFE00});
  EXPECT_STREQ(wrapper_.Name, "Primary");
  EXPECT_EQ(wrapper_.ReadStatus, 0);
  EXPECT_EQ(wrapper_.ParseStatus, 0);
  EXPECT_STREQ(wrapper_.Magic, "PRIVHEAX");
  EXPECT_EQ(wrapper_.StoredChecksum, 0x01020304u);
  ASSERT_EQ(wrapper_.RawSectorSize, 512u);
  EXPECT_EQ(std::vector<uint8_t>(wrapper_.RawSector.get(), wrapper_.RawSector.get() + 512), sector);
  EXPECT_EQ(wrapper_.Header.TocAlternateSector, 2046u);
}

TEST_F(PrivateHeaderWrapperTest, ArgumentsAndGeometryAreCheckedBeforeReading) {
  EXPECT_EQ(wrapper_.Initialize(nullptr, &disk_, "Primary", 0), 87u);
  EXPECT_EQ(wrapper_.Initialize(&database_, nullptr, "Primary", 0), 87u);
  EXPECT_EQ(wrapper_.Initialize(&database_, &disk_, nullptr, 0), 87u);
  disk_.ClearGeometry();
  EXPECT_EQ(wrapper_.Initialize(&database_, &disk_, "Primary", 0), 13u);
  EXPECT_TRUE(platform_.Reads.empty());
  EXPECT_FALSE(wrapper_.ReadAttempted);
  EXPECT_EQ(wrapper_.PrintText(nullptr), 87u);
  EXPECT_EQ(wrapper_.AddToReport(nullptr), 87u);
}

TEST_F(PrivateHeaderWrapperTest, UnreadableCopyHasNoTextAndAFailureElement) {
  platform_.Failures.push_back({0xE8000, 512, STATUS_IO_DEVICE_ERROR_CODE});
  PutSector(0xE8000, SectorWith({}));
  ASSERT_EQ(wrapper_.Initialize(&database_, &disk_, "Alternate", 0xE8000), 0u);
  EXPECT_EQ(wrapper_.ReadStatus, STATUS_IO_DEVICE_ERROR_CODE);
  EXPECT_EQ(wrapper_.ParseStatus, 0);
  EXPECT_STREQ(wrapper_.Magic, "");
  EXPECT_EQ(wrapper_.Header.VersionMajor, 0);
  EXPECT_EQ(Text(), "");

  CKestrandTreeNode root("Disk");
  ASSERT_EQ(wrapper_.AddToReport(&root), 0u);
  const CKestrandTreeNode* element = root.FindChild("PrivateHeader");
  ASSERT_NE(element, nullptr);
  EXPECT_STREQ(element->AttributeValue("_ElementDisplayName"), "Private Header Alternate");
  EXPECT_STREQ(element->AttributeValue("_ElementIcon"), "4");
  EXPECT_STREQ(element->AttributeValue("ReadDiskStatusCode"), "3221225861");
  EXPECT_EQ(element->Attributes()->Count(), 3u);
}

TEST_F(PrivateHeaderWrapperTest, TextSectionShowsEveryLine) {
  PrivateHeaderFields fields;
  fields.Flags = 0x12;
  fields.PublicId = 3;
  fields.PrivateId = 4;
  const std::vector<uint8_t> sector = SectorWith(fields);
  PutSector(0xFFE00, sector);
  ASSERT_EQ(wrapper_.Initialize(&database_, &disk_, "Primary", 0xFFE00), 0u);

  const std::string checksum = std::to_string(static_cast<int32_t>(PrivateHeaderChecksum(sector)));
  EXPECT_EQ(Text(),
            "----- LDM Database Private Header -----\n"
            "\n"
            "Magic Str:   PRIVHEAD\n"
            "SectorOffset: 2047\n"
            "Checksum:    " + checksum + "\n"
            "Version:     2.11\n"
            "Update:      Sequence=5 Time=09/11/2012 12:56:54\n"
            "Headers:     Primary=2047 Alternate=1856\n"
            "DiskId:      d17c2c04-6afc-46c3-84b7-cdc2f3956c5c\n"
            "HostId:      1b77da20-c717-11d0-a5be-00a0c91db73c\n"
            "DiskSetId:   00000000-0000-0000-0000-000000000000\n"
            "PackId:      03c0c4fc-8b6f-402b-9431-4be2e5823b1c\n"
            "Pack:        Red-nzv8x6obywgDg0\n"
            "I/O Size:    512\n"
            "Flags:       0x0012\n"
            "Public:      Id=3 Offset=63 sectors Length=96,327 sectors\n"
            "Private:     Id=4 Offset=100,352 sectors Length=2,048 sectors\n"
            "TOCs:        Primary Sector=1 Alternate Sector=2046\n"
            "Configs:     Count=1   Length=1481 sectors\n"
            "Logs:        Count=1   Length=224 sectors\n"
            "Boot Sig:    0xf33ef33e (4080988990)\n"
            "\n");
}

TEST_F(PrivateHeaderWrapperTest, XmlBranchGivesLengthsInBytesAndAlwaysTheBootSignature) {
  PrivateHeaderFields fields;
  fields.VersionMinor = 9;
  PutSector(0xFFE00, SectorWith(fields));
  ASSERT_EQ(wrapper_.Initialize(&database_, &disk_, "Primary", 0xFFE00), 0u);
  EXPECT_EQ(Text().find("Boot Sig:"), std::string::npos);

  CKestrandTreeNode root("Disk");
  ASSERT_EQ(wrapper_.AddToReport(&root), 0u);
  const CKestrandTreeNode* element = root.FindChild("PrivateHeader");
  ASSERT_NE(element, nullptr);
  std::vector<std::string> names, values;
  for (auto* node = element->Attributes()->First(); node; node = node->Next) {
    names.push_back(node->Item->Name);
    values.push_back(node->Item->Value);
  }
  const std::vector<std::string> expectedNames = {
      "_ElementDisplayName", "_ElementIcon", "MagicString", "SectorOffset", "CheckSum", "VersionMajor",
      "VersionMinor", "Sequence", "Time", "PrimaryHeader", "AlternateHeader", "DiskId", "HostId", "DiskSetId",
      "PackId", "PackName", "IOsize", "Flags", "PublicId", "PublicOffset", "PublicLength", "PrivateId",
      "PrivateOffset", "PrivateLength", "TocPrimarySector", "TocAlternateSector", "ConfigCopiesCount",
      "ConfigCopyLength", "LogCopiesCount", "LogCopyLength", "BootSig"};
  EXPECT_EQ(names, expectedNames);
  EXPECT_STREQ(element->AttributeValue("_ElementDisplayName"), "Private Header Primary");
  EXPECT_STREQ(element->AttributeValue("_ElementIcon"), "3");
  EXPECT_STREQ(element->AttributeValue("SectorOffset"), "2047");
  EXPECT_STREQ(element->AttributeValue("Time"), "09/11/2012 12:56:54");
  EXPECT_STREQ(element->AttributeValue("PublicOffset"), "63");
  EXPECT_STREQ(element->AttributeValue("PublicLength"), "49,319,424");
  EXPECT_STREQ(element->AttributeValue("PrivateOffset"), "100,352");
  EXPECT_STREQ(element->AttributeValue("PrivateLength"), "1,048,576");
  EXPECT_STREQ(element->AttributeValue("PackName"), "Red-nzv8x6obywgDg0");
  EXPECT_STREQ(element->AttributeValue("BootSig"), "0x0 (0)");
}

TEST_F(PrivateHeaderWrapperTest, UpdateTimeThatDoesNotConvertSuppressesTheFields) {
  PrivateHeaderFields fields;
  fields.UpdateTime = 0x8000000000000000ULL;
  PutSector(0xFFE00, SectorWith(fields));
  ASSERT_EQ(wrapper_.Initialize(&database_, &disk_, "Primary", 0xFFE00), 0u);
  EXPECT_EQ(Text(), "");
  CKestrandTreeNode root("Disk");
  ASSERT_EQ(wrapper_.AddToReport(&root), 0u);
  const CKestrandTreeNode* element = root.FindChild("PrivateHeader");
  ASSERT_NE(element, nullptr);
  EXPECT_EQ(element->Attributes()->Count(), 2u);
  EXPECT_STREQ(element->AttributeValue("_ElementIcon"), "3");
}

TEST_F(PrivateHeaderWrapperTest, LargeSectorsAreReadAndDecodedWhole) {
  disk_.SetBytesPerSector(4096);
  PutSector(0xFF000, SectorWith({}, 4096));
  ASSERT_EQ(wrapper_.Initialize(&database_, &disk_, "Primary", 0xFF000), 0u);
  EXPECT_EQ(wrapper_.RawSectorSize, 4096u);
  EXPECT_EQ(wrapper_.ParseStatus, 0);
  EXPECT_NE(Text().find("SectorOffset: 255\n"), std::string::npos);
}

}  // namespace
}  // namespace kestrand::test
