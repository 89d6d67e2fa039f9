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
  fields.PendingSequence = 0x46e;
  fields.ActiveCounts = {6, 7, 12, 10, 0, 9, 8};
  fields.PendingCounts = {1, 2, 3, 4, 5, 6, 7};
  fields.PackName = std::string(40, 'p');  // the builder writes the first 31
  CONFIG_HEADER header;
  long consumed = 0;
  ASSERT_EQ(Parse(BuildVmdbHeader(fields), header, &consumed), STATUS_SUCCESS_CODE);
  EXPECT_EQ(consumed, 0xC5);
  EXPECT_EQ(header.NumBlocks, 5924u);
  EXPECT_EQ(header.BlockSize, 128u);
  EXPECT_EQ(header.HeaderSize, 512u);
  EXPECT_EQ(header.Status, 2);
  EXPECT_EQ(std::string(header.PackName), std::string(31, 'p'));
  EXPECT_EQ(GuidToText(header.PackId), "03c0c4fc-8b6f-402b-9431-4be2e5823b1c");
  EXPECT_EQ(header.ActiveSequence, 0x46du);
  EXPECT_EQ(header.PendingSequence, 0x46eu);
  const VMDB_COUNTS& a = header.ActiveCounts;
  EXPECT_EQ(std::vector<uint32_t>({a.Volumes, a.Plexes, a.SubDisks, a.DiskMedia, a.PhysicalDisks, a.Count6, a.Count7}),
            std::vector<uint32_t>({6, 7, 12, 10, 0, 9, 8}));
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
  EXPECT_EQ(Parse(bytes, header), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST(ConfigHeaderTest, PackNameIsCopiedUpToItsTerminator) {
  std::vector<uint8_t> bytes = BuildVmdbHeader(VmdbHeaderFields{});
  bytes[0x16 + 3] = 0;  // "Red\0nzv8..."
  CONFIG_HEADER header;
  ASSERT_EQ(Parse(bytes, header), STATUS_SUCCESS_CODE);
  EXPECT_EQ(std::string(header.PackName, sizeof(header.PackName)), "Red" + std::string(29, '\0'));
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

TEST(ConfigAreaTest, ReadsTheBlocksTheHeaderAnnounces) {
  // Exactly the header: no blocks, no groups.
  const auto headerOnly = test::ConfigAreaBuilder(4).Build();
  ASSERT_EQ(headerOnly.size(), 512u);
  CONFIG_HEADER empty;
  EXPECT_EQ(empty.Initialize(headerOnly.data(), headerOnly.size()), STATUS_SUCCESS_CODE);
  EXPECT_TRUE(empty.GroupList.empty());
  EXPECT_EQ(empty.BlockTableCount, 4u);

  // Bytes beyond the announced blocks are not looked at.
  auto longer = test::ConfigAreaBuilder(8).Build();
  longer.resize(longer.size() + 128, 0xEE);
  CONFIG_HEADER header;
  EXPECT_EQ(header.Initialize(longer.data(), longer.size()), STATUS_SUCCESS_CODE);

  // A buffer short of the announced blocks, or fewer blocks than the header
  // itself takes, is broken.
  auto shorter = test::ConfigAreaBuilder(16).Build();
  shorter.resize(shorter.size() - 1);
  CONFIG_HEADER cut;
  EXPECT_EQ(cut.Initialize(shorter.data(), shorter.size()), STATUS_LDM_CONFIG_BROKEN_CODE);
  for (uint32_t blocks = 0; blocks < 4; ++blocks) {
    test::ConfigAreaBuilder builder(blocks);
    const auto bytes = BuildVmdbHeader(builder.Header);
    CONFIG_HEADER few;
    EXPECT_EQ(few.Initialize(bytes.data(), bytes.size()), STATUS_LDM_CONFIG_BROKEN_CODE) << blocks;
  }
  CONFIG_HEADER none;
  EXPECT_EQ(none.Initialize(nullptr, 0), STATUS_LDM_CONFIG_BROKEN_CODE);
}

}  // namespace
}  // namespace kestrand
