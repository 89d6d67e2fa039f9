// The config database: the VMDB header, the walk over the VBLK blocks with
// its fragments, groups and transaction rule, and FindGroup through its index
// beside the group list (the first group with a number in list order, also
// when the list grew past the index, and the walk's lookups of groups met far
// back).
#include "ldm/config_header.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
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

// ---- the block walk ----

using test::ConfigAreaBuilder;
using test::LdmRecordImage;
using test::SplitRecord;

constexpr uint32_t kPayload = 112;

// A plex record padded to exactly `size` bytes (bytes after the last field
// are ignored by the decoder).
LdmRecordImage PlexOfSize(size_t size, uint64_t id = 0x500, const std::string& name = "Plex") {
  test::PlexFields fields;
  fields.RecordId = id;
  fields.Name = name;
  LdmRecordImage image = test::BuildPlexRecord(fields);
  image.Data.resize(size, 0);
  return image;
}

NTSTATUS Walk(const ConfigAreaBuilder& builder, CONFIG_HEADER& header) {
  const std::vector<uint8_t> area = builder.Build();
  return header.Initialize(area.data(), area.size());
}

std::vector<uint8_t> Preamble(uint32_t recordSize) {
  test::LdmBytes out;
  out.U16(0).U16(test::MakeTypeWord(RECORD_TYPE_PLEX, 3, 0)).U32(recordSize);
  out.bytes.resize(kPayload, 0);
  return out.bytes;
}

TEST(BlockWalkTest, RecordsOf104And105Bytes) {
  ConfigAreaBuilder builder(16);
  EXPECT_EQ(builder.AddRecord(7, PlexOfSize(104, 1, "One")), 4u);
  EXPECT_EQ(builder.AddRecord(8, PlexOfSize(105, 2, "Two")), 5u);
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);
  ASSERT_EQ(header.GroupList.size(), 2u);
  ASSERT_EQ(header.RecordList.Entries.size(), 2u);
  const BLOCK_ENTRY* b = header.BlockTable.get();

  // 104 bytes: one block.
  const VBLK_GROUP& one = *header.GroupList[0];
  EXPECT_EQ(one.State, GROUP_STATE_COMPLETE);
  EXPECT_EQ(one.FirstBlock, 4u);
  EXPECT_EQ(one.Buffer, nullptr);
  EXPECT_EQ(one.Entry, header.RecordList.Entries[0].get());
  EXPECT_EQ(one.Entry->Record->Group, &one);
  EXPECT_EQ(b[4].Group, &one);
  EXPECT_EQ(b[4].FragmentSize, 104u);
  EXPECT_EQ(b[4].NextBlock, kNoBlock);

  // 105 bytes: the second block carries the last byte.
  EXPECT_EQ(b[5].NextBlock, 6u);
  EXPECT_EQ(b[6].RecordOffset, 104u);
  EXPECT_EQ(b[6].FragmentSize, 1u);
  EXPECT_EQ(b[6].NextBlock, kNoBlock);

  // Header blocks keep 0; empty blocks are visited but belong to no group.
  for (uint32_t n = 0; n < 4; ++n) EXPECT_EQ(b[n].NextBlock, 0u) << n;
  EXPECT_EQ(b[7].NextBlock, kNoBlock);
  EXPECT_EQ(b[7].Group, nullptr);
}

TEST(BlockWalkTest, InterleavedFragmentsAreGatheredPerGroup) {
  const auto big = SplitRecord(PlexOfSize(300, 0x600, "Big"));
  ConfigAreaBuilder builder(16);
  builder.PutFragment(4, 20, 0, 3, big[0]);
  builder.PutFragment(5, 21, 0, 1, SplitRecord(PlexOfSize(50, 0x601, "Small"))[0]);
  builder.PutFragment(6, 20, 1, 3, big[1]);
  builder.PutFragment(8, 20, 2, 3, big[2]);
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);

  // Records are filed when their last fragment arrives; groups when first met.
  ASSERT_EQ(header.RecordList.Entries.size(), 2u);
  EXPECT_STREQ(header.RecordList.Entries[0]->Record->RecordName, "Small");
  EXPECT_STREQ(header.RecordList.Entries[1]->Record->RecordName, "Big");
  EXPECT_EQ(header.GroupList[0]->GroupNumber, 20u);
  const BLOCK_ENTRY* b = header.BlockTable.get();
  EXPECT_EQ(b[4].NextBlock, 6u);
  EXPECT_EQ(b[6].NextBlock, 8u);
  EXPECT_EQ(b[8].RecordOffset, 2 * kPayload - 8);
  EXPECT_EQ(b[8].FragmentSize, 300 - (2 * kPayload - 8));
}

// ---- fragments out of the ordinary ----

struct Placement {
  uint32_t block;
  uint16_t fragment;
  uint16_t count;
  int payload;  // 0-2: fragments of a 300-byte record; 3: a one-block record
                // 4: zeros; 5: a preamble announcing 0xFFFFFFFF bytes; 6: 0 bytes
  uint32_t sequence = 0;  // 0: the block number
};

struct FragmentCase {
  const char* name;
  std::vector<Placement> blocks;  // all of group 7
  NTSTATUS status;
  uint16_t groupState;  // of the first group, when the walk succeeds
};

std::vector<uint8_t> PayloadOf(int kind) {
  static const auto threeBlocks = SplitRecord(PlexOfSize(300));
  if (kind <= 2) return threeBlocks[static_cast<size_t>(kind)];
  if (kind == 3) return SplitRecord(PlexOfSize(60))[0];
  if (kind == 5) return Preamble(0xFFFFFFFF);
  if (kind == 6) return Preamble(0);
  return std::vector<uint8_t>(kPayload, 0);
}

class FragmentTest : public ::testing::TestWithParam<FragmentCase> {};

TEST_P(FragmentTest, WalkResult) {
  ConfigAreaBuilder builder(16);
  for (const Placement& p : GetParam().blocks) {
    const uint32_t sequence = p.sequence != 0 ? p.sequence : p.block;
    builder.PutBlock(p.block, test::BuildVblk(sequence, 7, p.fragment, p.count, PayloadOf(p.payload)));
  }
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), GetParam().status);
  if (GetParam().status != STATUS_SUCCESS_CODE) return;
  ASSERT_EQ(header.GroupList.size(), 1u);
  const VBLK_GROUP& group = *header.GroupList[0];
  EXPECT_EQ(group.State, GetParam().groupState);
  EXPECT_TRUE(header.RecordList.Entries.empty());
  if (group.IsBroken()) {
    EXPECT_EQ(group.FirstBlock, kNoBlock);
    EXPECT_EQ(group.Buffer, nullptr);
  }
  // Every fragment of the group is linked to it, whatever became of it.
  for (const Placement& p : GetParam().blocks) EXPECT_EQ(header.BlockTable[p.block].Group, &group) << p.block;
}

constexpr NTSTATUS kBroken = STATUS_LDM_CONFIG_BROKEN_CODE;
constexpr NTSTATUS kOk = STATUS_SUCCESS_CODE;

INSTANTIATE_TEST_SUITE_P(
    Cases, FragmentTest,
    ::testing::Values(
        FragmentCase{"missing_middle", {{4, 0, 3, 0}, {5, 2, 3, 2}}, kOk, GROUP_STATE_BROKEN},
        FragmentCase{"lone_continuation", {{4, 1, 3, 1}}, kOk, GROUP_STATE_BROKEN},
        FragmentCase{"beyond_the_count", {{4, 0, 3, 0}, {5, 5, 3, 1}, {6, 0xFFFF, 3, 2}}, kOk, GROUP_STATE_BROKEN},
        FragmentCase{"never_completed", {{4, 0, 3, 0}, {5, 1, 3, 1}}, kOk, 0},
        // A second continuation of a group of unknown size is tested against
        // size 0, which needs one fragment, not three.
        FragmentCase{"second_lone_continuation", {{4, 1, 3, 1}, {5, 2, 3, 2}}, kBroken, 0},
        FragmentCase{"repeated_fragment", {{4, 0, 3, 0}, {5, 1, 3, 1}, {6, 1, 3, 1}}, kBroken, 0},
        FragmentCase{"second_first_fragment", {{4, 0, 1, 3}, {5, 0, 1, 3}}, kBroken, 0},
        FragmentCase{"fragment_of_complete_group", {{4, 0, 1, 3}, {5, 1, 1, 4}}, kBroken, 0},
        FragmentCase{"count_disagrees", {{4, 0, 3, 0}, {5, 1, 4, 1}}, kBroken, 0},
        FragmentCase{"first_count_wrong", {{4, 0, 2, 3}}, kBroken, 0},
        FragmentCase{"size_does_not_wrap", {{4, 0, 1, 5}}, kBroken, 0},
        FragmentCase{"size_zero", {{4, 0, 1, 6}}, kBroken, 0},
        FragmentCase{"wrong_sequence", {{4, 0, 1, 3, 9}}, kBroken, 0}),
    [](const ::testing::TestParamInfo<FragmentCase>& info) { return std::string(info.param.name); });

// ---- the transaction rule ----

struct TransactionCase {
  uint16_t status;
  uint16_t transFlags;
  bool ignored;
};

class TransactionRuleTest : public ::testing::TestWithParam<TransactionCase> {};

TEST_P(TransactionRuleTest, DecidesWhichRecordsCount) {
  const TransactionCase& c = GetParam();
  ConfigAreaBuilder builder(16);
  builder.Header.Status = c.status;
  builder.AddRecord(7, PlexOfSize(60), c.transFlags);
  builder.AddRecord(8, PlexOfSize(300, 0x501, "Long"), c.transFlags);  // blocks 5 to 7
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);
  for (const auto& group : header.GroupList) {
    EXPECT_EQ(group->IsIgnored(), c.ignored) << group->GroupNumber;
    EXPECT_EQ(group->Buffer, nullptr);
  }
  EXPECT_EQ(header.RecordList.Entries.size(), c.ignored ? 0u : 2u);
  // An ignored record's later fragments are linked to its group, not chained.
  EXPECT_EQ(header.BlockTable[6].Group, header.GroupList[1].get());
  EXPECT_EQ(header.BlockTable[5].NextBlock, c.ignored ? kNoBlock : 6u);
}

INSTANTIATE_TEST_SUITE_P(StatusAndFlags, TransactionRuleTest,
                         ::testing::Values(TransactionCase{3, TRANS_FLAG_BIT0, true},
                                           TransactionCase{3, TRANS_FLAG_BIT1, false},
                                           TransactionCase{1, TRANS_FLAG_BIT1, true},
                                           TransactionCase{2, TRANS_FLAG_BIT1, true},
                                           TransactionCase{4, TRANS_FLAG_BIT1, true},
                                           TransactionCase{4, TRANS_FLAG_BIT0, false},
                                           TransactionCase{6, TRANS_FLAG_BIT1, false},
                                           TransactionCase{5, TRANS_FLAG_BIT1, false},
                                           TransactionCase{0, TRANS_FLAG_BIT1, false}));

TEST(BlockWalkTest, BothTransactionBitsBreakTheWalk) {
  ConfigAreaBuilder builder(16);
  builder.AddRecord(7, PlexOfSize(60), TRANS_FLAG_BIT0 | TRANS_FLAG_BIT1);
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_TRUE(header.GroupList.empty());
}

// ---- failures of records end the walk; what came before stays ----

TEST(BlockWalkTest, RecordFailuresEndTheWalkWithTheirStatus) {
  LdmRecordImage badRevision = PlexOfSize(60, 0x502, "Bad");
  badRevision.TypeWord = test::MakeTypeWord(RECORD_TYPE_PLEX, 4, 0);
  LdmRecordImage unknownType = PlexOfSize(60, 0x503, "Odd");
  unknownType.TypeWord = test::MakeTypeWord(6, 3, 0);
  const std::pair<LdmRecordImage, NTSTATUS> cases[] = {
      {PlexOfSize(60, 0x500, "Again"), STATUS_LDM_CONFIG_BROKEN_CODE},  // repeated RecordId
      {PlexOfSize(60, 0x501, "First"), STATUS_LDM_CONFIG_BROKEN_CODE},  // repeated RecordName
      {badRevision, STATUS_INVALID_PARAMETER_CODE},
      {unknownType, STATUS_LDM_CONFIG_BROKEN_CODE},
  };
  for (const auto& [record, status] : cases) {
    ConfigAreaBuilder builder(16);
    builder.AddRecord(7, PlexOfSize(60, 0x500, "First"));
    builder.AddRecord(8, record);
    builder.AddRecord(9, PlexOfSize(60, 0x504, "Later"));
    CONFIG_HEADER header;
    EXPECT_EQ(Walk(builder, header), status);
    ASSERT_EQ(header.RecordList.Entries.size(), 1u);
    EXPECT_STREQ(header.RecordList.Entries[0]->Record->RecordName, "First");
    EXPECT_EQ(header.GroupList.size(), 2u);
    EXPECT_EQ(header.GroupList[1]->Entry, nullptr);
  }
}

// ---- sizes and bounds ----

TEST(BlockWalkTest, BlockSizeMustExceedTwentyFourAndDivideTheBytes) {
  const std::vector<uint8_t> bytes(4096, 0);
  for (uint32_t size : {0u, 1u, 16u, 24u, 128u}) {
    CONFIG_HEADER header;
    header.NumBlocks = 64;
    header.BlockSize = size;
    const uint8_t* cursor = bytes.data();
    EXPECT_EQ(header.ParseConfigBlocks(cursor, 2000, 512), STATUS_LDM_CONFIG_BROKEN_CODE) << size;
    EXPECT_EQ(cursor, bytes.data());
  }

  // 25-byte blocks still walk: 9 bytes of payload.
  std::vector<uint8_t> small;
  for (uint32_t n = 20; n < 24; ++n) {
    const auto block = test::BuildVblk(n, 0, 0, 0, {}, 25);
    small.insert(small.end(), block.begin(), block.end());
  }
  CONFIG_HEADER header;
  header.NumBlocks = 24;
  header.BlockSize = 25;
  const uint8_t* cursor = small.data();
  EXPECT_EQ(header.ParseConfigBlocks(cursor, small.size(), 500), STATUS_SUCCESS_CODE);
  EXPECT_EQ(cursor, small.data() + small.size());
}

TEST(BlockWalkTest, BlocksBeyondNumBlocksBreakTheWalk) {
  const std::vector<uint8_t> area = ConfigAreaBuilder(12).Build();
  CONFIG_HEADER header;
  const uint8_t* cursor = area.data();
  ASSERT_EQ(header.ParseConfigHeader(cursor, area.size()), STATUS_SUCCESS_CODE);
  header.NumBlocks = 10;  // the bytes go on for two more blocks
  cursor = area.data() + 512;
  EXPECT_EQ(header.ParseConfigBlocks(cursor, area.size() - 512, 512), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST(BlockWalkTest, AreasWithoutAnEndStillEnd) {
  // Every block continues a record whose first fragment never comes.
  ConfigAreaBuilder continuations(4096);
  for (uint32_t b = 4; b < 4096; ++b)
    continuations.PutFragment(b, 7, 1, 1, std::vector<uint8_t>(kPayload, 0xAB));
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(continuations, header), STATUS_SUCCESS_CODE);
  EXPECT_EQ(header.GroupList.size(), 1u);

  // A record announcing 65535 fragments of which the area holds 2000.
  ConfigAreaBuilder endless(2004);
  endless.PutFragment(4, 7, 0, 0xFFFF, Preamble(65535 * kPayload - 8));
  for (uint16_t k = 1; k < 2000; ++k)
    endless.PutFragment(4u + k, 7, k, 0xFFFF, std::vector<uint8_t>(kPayload, 0x22));
  CONFIG_HEADER other;
  ASSERT_EQ(Walk(endless, other), STATUS_SUCCESS_CODE);
  EXPECT_EQ(other.GroupList[0]->State, 0);
  EXPECT_EQ(other.BlockTable[2002].NextBlock, 2003u);
  EXPECT_TRUE(other.RecordList.Entries.empty());
}

// ---- the group index ----

std::unique_ptr<VBLK_GROUP> Group(uint32_t number, uint16_t state = 0) {
  auto group = std::make_unique<VBLK_GROUP>();
  group->GroupNumber = number;
  group->State = state;
  return group;
}

test::LdmRecordImage PaddedPlex(uint64_t id, size_t size) {
  test::PlexFields fields;
  fields.RecordId = id;
  fields.Name = "Plex" + std::to_string(id);
  test::LdmRecordImage image = test::BuildPlexRecord(fields);
  image.Data.resize(size, 0);
  return image;
}

TEST(GroupIndexTest, TheFirstGroupWithANumberIsFoundInListOrder) {
  CONFIG_HEADER header;
  EXPECT_EQ(header.FindGroup(5), nullptr);
  VBLK_GROUP& first = header.AddGroup(Group(5));
  header.AddGroup(Group(5, GROUP_STATE_BROKEN));
  VBLK_GROUP& other = header.AddGroup(Group(9));
  EXPECT_EQ(header.FindGroup(5), &first);
  EXPECT_EQ(header.FindGroup(9), &other);
  EXPECT_EQ(header.FindGroup(0), nullptr);

  // Groups put into the list directly are found as well.
  header.GroupList.push_back(Group(12));
  header.GroupList.insert(header.GroupList.begin(), Group(9));
  EXPECT_EQ(header.FindGroup(12), header.GroupList.back().get());
  EXPECT_EQ(header.FindGroup(9), header.GroupList.front().get());
  VBLK_GROUP& added = header.AddGroup(Group(13));
  EXPECT_EQ(header.FindGroup(13), &added);
  EXPECT_EQ(header.FindGroup(5), &first);
}

// Three-block records whose fragments come in a scrambled order of groups:
// every continuation must find its group among hundreds.
TEST(GroupIndexTest, ContinuationsFindTheirGroupsFarBack) {
  constexpr uint32_t kRecords = 150;
  test::ConfigAreaBuilder builder(4 + 3 * kRecords);
  std::vector<std::vector<std::vector<uint8_t>>> fragments;
  for (uint32_t i = 0; i < kRecords; ++i) fragments.push_back(SplitRecord(PaddedPlex(0x100 + i, 300)));
  uint32_t block = builder.FirstBlock();
  for (uint16_t fragment = 0; fragment < 3; ++fragment)
    for (uint32_t i = 0; i < kRecords; ++i) {
      // Group numbers far apart and not in block order.
      const uint32_t record = fragment == 1 ? kRecords - 1 - i : i;
      builder.PutFragment(block++, 1000 + 7 * record, fragment, 3, fragments[record][fragment]);
    }
  const std::vector<uint8_t> area = builder.Build();
  CONFIG_HEADER header;
  ASSERT_EQ(header.Initialize(area.data(), area.size()), STATUS_SUCCESS_CODE);
  ASSERT_EQ(header.GroupList.size(), kRecords);
  ASSERT_EQ(header.RecordList.Entries.size(), kRecords);
  for (uint32_t i = 0; i < kRecords; ++i) {
    const VBLK_GROUP* group = header.FindGroup(1000 + 7 * i);
    ASSERT_NE(group, nullptr) << i;
    EXPECT_EQ(group, header.GroupList[i].get());
    EXPECT_TRUE(group->IsComplete());
    ASSERT_NE(group->Entry, nullptr);
    EXPECT_EQ(group->Entry->RecordId, 0x100u + i);
  }
  EXPECT_EQ(header.FindGroup(1001), nullptr);
}

TEST(GroupIndexTest, ARepeatedFirstFragmentFarBackBreaksTheWalk) {
  test::ConfigAreaBuilder builder(300);
  for (uint32_t i = 1; i <= 200; ++i) builder.AddRecord(i, PaddedPlex(i, 60));
  builder.AddRecord(3, PaddedPlex(999, 60));
  const std::vector<uint8_t> area = builder.Build();
  CONFIG_HEADER header;
  EXPECT_EQ(header.Initialize(area.data(), area.size()), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(header.GroupList.size(), 200u);
  EXPECT_EQ(header.RecordList.Entries.size(), 200u);
}

}  // namespace
}  // namespace kestrand
