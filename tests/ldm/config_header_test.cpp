#include "ldm/config_header.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/ldm_builder.h"

namespace kestrand {
namespace {

using test::BuildVmdbHeader;
using test::GuidToText;
using test::VmdbHeaderFields;

NTSTATUS Parse(const std::vector<uint8_t>& bytes, CONFIG_HEADER& header, long* consumed = nullptr) {
  const uint8_t* cursor = bytes.data();
  const NTSTATUS status = header.ParseConfigHeader(cursor, bytes.size());
  if (consumed) *consumed = static_cast<long>(cursor - bytes.data());
  return status;
}

TEST(ConfigHeaderTest, DecodesEveryField) {
  VmdbHeaderFields fields;
  fields.NumBlocks = 5924;
  fields.Status = 2;
  fields.ActiveSequence = 0x46d;
  fields.PendingSequence = 0x46e;
  fields.ActiveCounts = {6, 7, 12, 10, 0, 9, 8};
  fields.PendingCounts = {1, 2, 3, 4, 5, 6, 7};
  CONFIG_HEADER header;
  long consumed = 0;
  ASSERT_EQ(Parse(BuildVmdbHeader(fields), header, &consumed), STATUS_SUCCESS_CODE);
  EXPECT_EQ(consumed, 0xC5);
  EXPECT_EQ(header.NumBlocks, 5924u);
  EXPECT_EQ(header.BlockSize, 128u);
  EXPECT_EQ(header.HeaderSize, 512u);
  EXPECT_EQ(header.Status, 2);
  EXPECT_EQ(header.VersionMajor, 4);
  EXPECT_EQ(header.VersionMinor, 10);
  EXPECT_STREQ(header.PackName, "Red-nzv8x6obywgDg0");
  EXPECT_EQ(GuidToText(header.PackId), "03c0c4fc-8b6f-402b-9431-4be2e5823b1c");
  EXPECT_EQ(header.ActiveSequence, 0x46du);
  EXPECT_EQ(header.PendingSequence, 0x46eu);
  EXPECT_EQ(header.ActiveCounts.Volumes, 6u);
  EXPECT_EQ(header.ActiveCounts.Plexes, 7u);
  EXPECT_EQ(header.ActiveCounts.SubDisks, 12u);
  EXPECT_EQ(header.ActiveCounts.DiskMedia, 10u);
  EXPECT_EQ(header.ActiveCounts.PhysicalDisks, 0u);
  EXPECT_EQ(header.ActiveCounts.Count6, 9u);
  EXPECT_EQ(header.ActiveCounts.Count7, 8u);
  EXPECT_EQ(header.PendingCounts.Volumes, 1u);
  EXPECT_EQ(header.PendingCounts.Count7, 7u);
  EXPECT_EQ(header.Flags, 0);
}

TEST(ConfigHeaderTest, TrailingValueOnlyFromMinorVersionTen) {
  VmdbHeaderFields fields;
  fields.VersionMinor = 9;
  std::vector<uint8_t> bytes = BuildVmdbHeader(fields);
  bytes.resize(0xBD);  // nothing after the pending counts
  CONFIG_HEADER header;
  long consumed = 0;
  EXPECT_EQ(Parse(bytes, header, &consumed), STATUS_SUCCESS_CODE);
  EXPECT_EQ(consumed, 0xBD);

  fields.VersionMinor = 10;
  bytes = BuildVmdbHeader(fields);
  bytes.resize(0xC4);  // one byte short of the 64-bit value
  CONFIG_HEADER other;
  EXPECT_EQ(Parse(bytes, other), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST(ConfigHeaderTest, PackNameOfThirtyOneCharactersStaysTerminated) {
  VmdbHeaderFields fields;
  fields.PackName = std::string(40, 'p');  // the builder writes the first 31
  CONFIG_HEADER header;
  ASSERT_EQ(Parse(BuildVmdbHeader(fields), header), STATUS_SUCCESS_CODE);
  EXPECT_EQ(std::string(header.PackName), std::string(31, 'p'));
}

TEST(ConfigHeaderTest, PackNameIsCopiedUpToItsTerminator) {
  std::vector<uint8_t> bytes = BuildVmdbHeader(VmdbHeaderFields{});
  bytes[0x16 + 3] = 0;  // "Red\0nzv8..."
  CONFIG_HEADER header;
  ASSERT_EQ(Parse(bytes, header), STATUS_SUCCESS_CODE);
  EXPECT_STREQ(header.PackName, "Red");
  EXPECT_EQ(header.PackName[4], '\0');
}

std::vector<uint8_t> HeaderWith(void (*change)(VmdbHeaderFields&)) {
  VmdbHeaderFields fields;
  change(fields);
  return BuildVmdbHeader(fields);
}

std::vector<uint8_t> HeaderCutAt(size_t size) {
  std::vector<uint8_t> bytes = BuildVmdbHeader(VmdbHeaderFields{});
  bytes.resize(size);
  return bytes;
}

struct BrokenHeaderCase {
  const char* name;
  std::vector<uint8_t> bytes;
};

class BrokenHeaderTest : public ::testing::TestWithParam<BrokenHeaderCase> {};

TEST_P(BrokenHeaderTest, FailsAndLeavesHeaderAndCursorAlone) {
  CONFIG_HEADER header;
  std::strcpy(header.PackName, "before");
  header.NumBlocks = 77;
  long consumed = -1;
  EXPECT_EQ(Parse(GetParam().bytes, header, &consumed), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(consumed, 0);
  EXPECT_STREQ(header.PackName, "before");
  EXPECT_EQ(header.NumBlocks, 77u);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, BrokenHeaderTest,
    ::testing::Values(
        BrokenHeaderCase{"empty_region", {}},
        BrokenHeaderCase{"three_bytes", {'V', 'M', 'D'}},
        BrokenHeaderCase{"magic_only", {'V', 'M', 'D', 'B'}},
        BrokenHeaderCase{"wrong_magic", HeaderWith([](VmdbHeaderFields& f) { f.Magic = "VMDC"; })},
        BrokenHeaderCase{"major_3", HeaderWith([](VmdbHeaderFields& f) { f.VersionMajor = 3; })},
        BrokenHeaderCase{"block_size_256", HeaderWith([](VmdbHeaderFields& f) { f.BlockSize = 256; })},
        BrokenHeaderCase{"block_size_0", HeaderWith([](VmdbHeaderFields& f) { f.BlockSize = 0; })},
        BrokenHeaderCase{"header_size_1024", HeaderWith([](VmdbHeaderFields& f) { f.HeaderSize = 1024; })},
        BrokenHeaderCase{"pack_id_in_braces", HeaderWith([](VmdbHeaderFields& f) {
                           f.PackIdText = "{03c0c4fc-8b6f-402b-9431-4be2e5823b1c}";
                         })},
        BrokenHeaderCase{"cut_in_the_counts", HeaderCutAt(0x90)}),
    [](const ::testing::TestParamInfo<BrokenHeaderCase>& info) { return std::string(info.param.name); });

TEST(ConfigAreaTest, AreaOfExactlyTheHeaderHoldsNoBlocks) {
  test::ConfigAreaBuilder builder(4);
  const auto area = builder.Build();
  ASSERT_EQ(area.size(), 512u);
  CONFIG_HEADER header;
  EXPECT_EQ(header.Initialize(area.data(), area.size()), STATUS_SUCCESS_CODE);
  EXPECT_TRUE(header.GroupList.empty());
  EXPECT_EQ(header.BlockTableCount, 4u);
}

TEST(ConfigAreaTest, AreaShorterThanAnnouncedIsBroken) {
  test::ConfigAreaBuilder builder(16);
  auto area = builder.Build();
  area.resize(area.size() - 1);
  CONFIG_HEADER header;
  EXPECT_EQ(header.Initialize(area.data(), area.size()), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST(ConfigAreaTest, FewerBlocksThanTheHeaderTakesIsBroken) {
  for (uint32_t blocks = 0; blocks < 4; ++blocks) {
    test::ConfigAreaBuilder builder(blocks);
    auto area = BuildVmdbHeader(builder.Header);
    CONFIG_HEADER header;
    EXPECT_EQ(header.Initialize(area.data(), area.size()), STATUS_LDM_CONFIG_BROKEN_CODE) << blocks;
  }
}

TEST(ConfigAreaTest, LongerBufferIsReadOnlyAsFarAsAnnounced) {
  test::ConfigAreaBuilder builder(8);
  auto area = builder.Build();
  area.resize(area.size() + 128, 0xEE);  // garbage beyond the last block
  CONFIG_HEADER header;
  EXPECT_EQ(header.Initialize(area.data(), area.size()), STATUS_SUCCESS_CODE);
}

TEST(ConfigAreaTest, NullDataIsBroken) {
  CONFIG_HEADER header;
  EXPECT_EQ(header.Initialize(nullptr, 0), STATUS_LDM_CONFIG_BROKEN_CODE);
}

}  // namespace
}  // namespace kestrand
