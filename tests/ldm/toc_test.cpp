// The table of contents: decoding its two region entries, the sorted region
// list, the holder of one copy and both reports.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "common/xml_writer.h"
#include "ldm/ldm_database.h"
#include "ldm/toc.h"
#include "support/ldm_builder.h"
#include "support/ldm_loader_support.h"

namespace kestrand::test {
namespace {

constexpr NTSTATUS kUndecodable = STATUS_INVALID_PARAMETER_CODE;

struct Decoded {
  NTSTATUS Status;
  TOC Toc;
};

Decoded Decode(const TocBlockFields& fields, uint32_t size = 512) {
  std::vector<uint8_t> sector = BuildTocBlock(fields, 512);
  Decoded result{0, {}};
  result.Status = DecodeToc(sector.data(), size, result.Toc);
  return result;
}

TEST(TocDecodeTest, DecodesConfigAndLogRegions) {
  Decoded d = Decode({});
  ASSERT_EQ(d.Status, 0);
  ASSERT_EQ(d.Toc.RegionCount, 2u);
  const TOC_REGION& config = d.Toc.Regions[0];
  EXPECT_EQ(config.RegionType, TOC_REGION_CONFIG);
  EXPECT_EQ(config.ExtentOffset, 17u);
  EXPECT_EQ(config.ExtentLength, 1481u);
  EXPECT_EQ(config.CopyNumber, 1);
  const TOC_REGION& log = d.Toc.Regions[1];
  EXPECT_EQ(log.RegionType, TOC_REGION_LOG);
  EXPECT_EQ(log.ExtentOffset, 1498u);
  EXPECT_EQ(log.ExtentLength, 224u);
}

TEST(TocDecodeTest, RegionsAreSortedByStartAndEqualStartsKeepTheirOrder) {
  TocBlockFields fields;
  fields.First = {"log", 0, 1498, 224, 6, 1, 7};
  fields.Second = {"config", 0, 17, 1481, 6, 1, 0};
  Decoded d = Decode(fields);
  ASSERT_EQ(d.Toc.RegionCount, 2u);
  EXPECT_EQ(d.Toc.Regions[0].RegionType, TOC_REGION_CONFIG);
  EXPECT_EQ(d.Toc.Regions[1].RegionType, TOC_REGION_LOG);
  EXPECT_EQ(d.Toc.Regions[1].OffsetInCopy, 7u);

  fields.First = {"log", 0, 100, 1, 6, 1, 0};
  fields.Second = {"config", 0, 100, 1, 6, 1, 0};
  d = Decode(fields);
  EXPECT_EQ(d.Toc.Regions[0].RegionType, TOC_REGION_LOG);
  EXPECT_EQ(d.Toc.Regions[1].RegionType, TOC_REGION_CONFIG);
}

TEST(TocDecodeTest, ConfigAndLogEntriesMustBeWellFormed) {
  const TocRegionFields bad[] = {
      {"config", 0, 17, 1481, 8, 1, 0},  // data length other than 6
      {"config", 0, 17, 0, 6, 1, 0},     // empty extent
      {"log", 0, 17, 10, 6, 0, 0},       // copy number 0
  };
  for (const TocRegionFields& entry : bad) {
    SCOPED_TRACE(entry.Name);
    TocBlockFields fields;
    fields.Second = entry;
    Decoded d = Decode(fields);
    EXPECT_EQ(d.Status, kUndecodable);
    ASSERT_EQ(d.Toc.RegionCount, 1u);  // the first entry stays
    EXPECT_EQ(d.Toc.Regions[0].ExtentOffset, 17u);

    fields.First = entry;
    d = Decode(fields);
    EXPECT_EQ(d.Status, kUndecodable);
    EXPECT_EQ(d.Toc.RegionCount, 0u);
  }
}

TEST(TocDecodeTest, OtherNamesAreKeptAsUnknownAndTheirDataIsSkipped) {
  TocBlockFields fields;
  // An unnamed entry with 10 data bytes: the next entry starts after them.
  fields.First = {"", 0x0800, 5, 3, 10, 9, 9};
  fields.Second = {"log", 0x0008, 1498, 224, 6, 2, 0};
  Decoded d = Decode(fields);
  ASSERT_EQ(d.Status, 0);
  ASSERT_EQ(d.Toc.RegionCount, 2u);
  const TOC_REGION& unknown = d.Toc.Regions[0];
  EXPECT_EQ(unknown.RegionType, TOC_REGION_UNKNOWN);
  EXPECT_EQ(unknown.Flags, 0x0800);
  EXPECT_EQ(unknown.ExtentOffset, 5u);
  EXPECT_EQ(unknown.ExtentLength, 3u);
  EXPECT_EQ(unknown.CopyNumber, 0);
  EXPECT_EQ(unknown.OffsetInCopy, 0u);
  EXPECT_EQ(d.Toc.Regions[1].CopyNumber, 2);
  EXPECT_EQ(d.Toc.Regions[1].Flags, 0x0008);
}

TEST(TocDecodeTest, EntriesNeverReachPastTheSector) {
  // The second entry starts at 0x46 and needs 28 bytes before its data.
  EXPECT_EQ(Decode({}, 0x46 + 27).Status, kUndecodable);
  EXPECT_EQ(Decode({}, 0x46 + 27).Toc.RegionCount, 1u);
  EXPECT_EQ(Decode({}, 0x46 + 33).Status, kUndecodable);  // its 6 data bytes do not fit
  EXPECT_EQ(Decode({}, 0x46 + 34).Status, 0);
  EXPECT_EQ(Decode({}, 0x24 + 27).Toc.RegionCount, 0u);
  EXPECT_EQ(Decode({}, 16).Status, kUndecodable);

  // An unknown entry announcing more data than the sector holds.
  TocBlockFields fields;
  fields.First = {"junk", 0, 1, 1, 0xFFFF, 0, 0};
  EXPECT_EQ(Decode(fields).Status, kUndecodable);
}

class TocWrapperTest : public LdmCopyTest {
 protected:
  void Load(const TocBlockFields& fields, uint64_t offset = 0x400) {
    PutSector(offset, BuildTocBlock(fields));
    ASSERT_EQ(wrapper_.Initialize(&database_, &disk_, "Primary", offset), 0u);
  }

  std::string Text() {
    return CaptureText([&](FILE* stream) { EXPECT_EQ(wrapper_.PrintText(stream), 0u); });
  }

  TOC_WRAPPER wrapper_;
};

TEST_F(TocWrapperTest, TextSectionListsRegionsWithRangeLengthAndCopyFlag) {
  TocBlockFields fields;
  fields.Magic = "TOCBLOCX";  // shown as read
  fields.First = {"config", 0x0800, 2048, 1024, 6, 1, 5};
  fields.Second = {"log", 0x0008, 3072, 224, 6, 2, 0};
  Load(fields);
  EXPECT_EQ(Text(),
            "----- LDM Database Table of Contents -----\n"
            "\n"
            "Magic Str:   TOCBLOCX\n"
            "TOC Defined Regions:\n"
            "  config  Range=002048-003072 Length=001024 Copy=01 Offset=000005 CopyFlag=enabled\n"
            "  log     Range=003072-003296 Length=000224 Copy=02 Offset=000000 CopyFlag=disabled\n"
            "\n");
}

TEST_F(TocWrapperTest, XmlBranchHasBasicInformationThenOneEntryPerRegion) {
  TocBlockFields fields;
  fields.First = {"", 0, 5, 3, 6, 0, 0};
  Load(fields, 0xFFA00);
  CKestrandTreeNode root("Disk");
  ASSERT_EQ(wrapper_.AddToReport(&root), 0u);
  const CKestrandTreeNode* toc = root.FindChild("TableOfContents");
  ASSERT_NE(toc, nullptr);
  EXPECT_STREQ(toc->AttributeValue("_ElementDisplayName"), "Table of Contents Primary");
  EXPECT_STREQ(toc->AttributeValue("_ElementIcon"), "3");

  const CKestrandTreeNode* basic = toc->FirstChild();
  ASSERT_NE(basic, nullptr);
  EXPECT_STREQ(basic->Name(), "BasicInformation");
  EXPECT_STREQ(basic->AttributeValue("_ElementDisplayName"), "Basic Information");
  EXPECT_STREQ(basic->AttributeValue("MagicString"), "TOCBLOCK");
  EXPECT_STREQ(basic->AttributeValue("SectorOffset"), "1047040");  // bytes, not sectors

  const CKestrandTreeNode* first = basic->NextSibling();
  ASSERT_NE(first, nullptr);
  EXPECT_STREQ(first->AttributeValue("_ElementDisplayName"), "Entry 1");
  EXPECT_STREQ(first->AttributeValue("Type"), "unknown");
  EXPECT_STREQ(first->AttributeValue("ExtentEndOffset"), "8");
  const CKestrandTreeNode* second = first->NextSibling();
  ASSERT_NE(second, nullptr);
  std::vector<std::string> names;
  for (auto* node = second->Attributes()->First(); node; node = node->Next) names.push_back(node->Item->Name);
  EXPECT_EQ(names, (std::vector<std::string>{"_ElementDisplayName", "_ElementIcon", "Type", "ExtentOffset",
                                             "ExtentLength", "ExtentEndOffset", "CopyNumber", "OffsetInCopy",
                                             "CopyFlag"}));
  EXPECT_STREQ(second->AttributeValue("Type"), "log");
  EXPECT_STREQ(second->AttributeValue("ExtentOffset"), "1498");
  EXPECT_STREQ(second->AttributeValue("ExtentEndOffset"), "1722");
  EXPECT_STREQ(second->AttributeValue("CopyFlag"), "enabled");
  EXPECT_EQ(second->NextSibling(), nullptr);
}

TEST_F(TocWrapperTest, UndecodableCopyIsStillReportedWithTheRegionsBeforeTheFault) {
  TocBlockFields fields;
  fields.Second.CopyNumber = 0;
  Load(fields);
  EXPECT_EQ(wrapper_.ParseStatus, kUndecodable);
  EXPECT_NE(Text().find("  config  Range=000017-001498"), std::string::npos);
  EXPECT_EQ(Text().find("  log"), std::string::npos);
}

TEST_F(TocWrapperTest, UnreadableCopyWritesTheStatusLineAndNoReport) {
  platform_.Failures.push_back({0x400, 512, STATUS_IO_DEVICE_ERROR_CODE});
  ::testing::internal::CaptureStderr();
  Load({});
  const std::string message = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(message,
            "Status code 3221225861 : Disk 0003 : TOC_WRAPPER::Initialize() : 1 Failed in call to NtReadFile()\n");
  EXPECT_EQ(wrapper_.ReadStatus, STATUS_IO_DEVICE_ERROR_CODE);
  EXPECT_EQ(wrapper_.Toc.RegionCount, 0u);
  EXPECT_EQ(Text(), "");
  CKestrandTreeNode root("Disk");
  EXPECT_EQ(wrapper_.AddToReport(&root), 0u);
  EXPECT_EQ(root.FirstChild(), nullptr);
}

}  // namespace
}  // namespace kestrand::test
