#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ldm/config_header.h"
#include "support/ldm_builder.h"

namespace kestrand {
namespace {

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
  EXPECT_LE(image.Data.size(), size);
  image.Data.resize(size, 0);
  return image;
}

NTSTATUS Walk(const ConfigAreaBuilder& builder, CONFIG_HEADER& header) {
  const std::vector<uint8_t> area = builder.Build();
  return header.Initialize(area.data(), area.size());
}

const BLOCK_ENTRY& Block(const CONFIG_HEADER& header, uint32_t number) {
  EXPECT_LT(number, header.BlockTableCount);
  return header.BlockTable[number];
}

TEST(BlockWalkTest, RecordOf104BytesFitsOneBlock) {
  ConfigAreaBuilder builder(16);
  EXPECT_EQ(builder.AddRecord(7, PlexOfSize(104)), 4u);
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);

  ASSERT_EQ(header.GroupList.size(), 1u);
  const VBLK_GROUP& group = *header.GroupList[0];
  EXPECT_EQ(group.GroupNumber, 7u);
  EXPECT_EQ(group.State, GROUP_STATE_COMPLETE);
  EXPECT_EQ(group.RecordSize, 104u);
  EXPECT_EQ(group.FirstBlock, 4u);
  EXPECT_EQ(group.Buffer, nullptr);
  ASSERT_NE(group.Entry, nullptr);
  ASSERT_EQ(header.RecordList.Entries.size(), 1u);
  EXPECT_EQ(header.RecordList.Entries[0].get(), group.Entry);
  EXPECT_EQ(group.Entry->Record->Group, &group);

  EXPECT_EQ(Block(header, 4).Group, &group);
  EXPECT_EQ(Block(header, 4).RecordOffset, 0u);
  EXPECT_EQ(Block(header, 4).FragmentSize, 104u);
  EXPECT_EQ(Block(header, 4).NextBlock, kNoBlock);
}

TEST(BlockWalkTest, RecordOf105BytesTakesASecondBlockForItsLastByte) {
  ConfigAreaBuilder builder(16);
  builder.AddRecord(7, PlexOfSize(105));
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);
  ASSERT_EQ(header.RecordList.Entries.size(), 1u);
  EXPECT_EQ(Block(header, 4).NextBlock, 5u);
  EXPECT_EQ(Block(header, 5).RecordOffset, 104u);
  EXPECT_EQ(Block(header, 5).FragmentSize, 1u);
  EXPECT_EQ(Block(header, 5).NextBlock, kNoBlock);
  EXPECT_EQ(header.GroupList[0]->State, GROUP_STATE_COMPLETE);
}

TEST(BlockWalkTest, HeaderBlocksKeepZeroAndEmptyBlocksHaveNoGroup) {
  ConfigAreaBuilder builder(8);
  builder.AddRecord(3, PlexOfSize(60));
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);
  for (uint32_t b = 0; b < 4; ++b) {
    EXPECT_EQ(Block(header, b).NextBlock, 0u) << b;
    EXPECT_EQ(Block(header, b).Group, nullptr) << b;
  }
  for (uint32_t b = 5; b < 8; ++b) {
    EXPECT_EQ(Block(header, b).NextBlock, kNoBlock) << b;
    EXPECT_EQ(Block(header, b).Group, nullptr) << b;
    EXPECT_EQ(Block(header, b).FragmentSize, 0u) << b;
  }
}

TEST(BlockWalkTest, InterleavedFragmentsAreGatheredPerGroup) {
  const LdmRecordImage big = PlexOfSize(300, 0x600, "Big");  // three fragments
  const LdmRecordImage small = PlexOfSize(50, 0x601, "Small");
  const auto bigFragments = SplitRecord(big);
  ASSERT_EQ(bigFragments.size(), 3u);
  ConfigAreaBuilder builder(16);
  builder.PutFragment(4, 20, 0, 3, bigFragments[0]);
  builder.PutFragment(5, 21, 0, 1, SplitRecord(small)[0]);
  builder.PutFragment(6, 20, 1, 3, bigFragments[1]);
  builder.PutFragment(8, 20, 2, 3, bigFragments[2]);
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);

  ASSERT_EQ(header.RecordList.Entries.size(), 2u);
  // Records are filed in the order their last fragment arrived.
  EXPECT_STREQ(header.RecordList.Entries[0]->Record->RecordName, "Small");
  EXPECT_STREQ(header.RecordList.Entries[1]->Record->RecordName, "Big");
  // Groups are listed in the order they were first met.
  EXPECT_EQ(header.GroupList[0]->GroupNumber, 20u);
  EXPECT_EQ(header.GroupList[1]->GroupNumber, 21u);
  EXPECT_EQ(Block(header, 4).NextBlock, 6u);
  EXPECT_EQ(Block(header, 6).NextBlock, 8u);
  EXPECT_EQ(Block(header, 8).RecordOffset, 2 * kPayload - 8);
  EXPECT_EQ(Block(header, 8).FragmentSize, 300 - (2 * kPayload - 8));
}

TEST(BlockWalkTest, WrongSequenceNumberBreaksTheWalkAndKeepsEarlierRecords) {
  ConfigAreaBuilder builder(16);
  builder.AddRecord(7, PlexOfSize(60));
  builder.PutBlock(5, test::BuildVblk(9, 0, 0, 0, {}));
  builder.AddRecord(8, PlexOfSize(60, 0x501, "Other"));
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(header.RecordList.Entries.size(), 1u);
  EXPECT_EQ(header.GroupList.size(), 1u);
}

TEST(BlockWalkTest, BlockWithoutMagicBreaksTheWalk) {
  ConfigAreaBuilder builder(16);
  auto block = test::BuildVblk(6, 0, 0, 0, {});
  block[3] = 'X';
  builder.PutBlock(6, block);
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST(BlockWalkTest, SecondFirstFragmentOfAGroupBreaksTheWalk) {
  ConfigAreaBuilder builder(16);
  builder.AddRecord(7, PlexOfSize(60));
  builder.AddRecord(7, PlexOfSize(60, 0x501, "Other"));
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(header.GroupList.size(), 1u);
}

TEST(BlockWalkTest, RepeatedFragmentBreaksTheWalk) {
  const auto fragments = SplitRecord(PlexOfSize(300));
  ConfigAreaBuilder builder(16);
  builder.PutFragment(4, 7, 0, 3, fragments[0]);
  builder.PutFragment(5, 7, 1, 3, fragments[1]);
  builder.PutFragment(6, 7, 1, 3, fragments[1]);
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST(BlockWalkTest, FragmentForACompleteGroupBreaksTheWalk) {
  const auto fragments = SplitRecord(PlexOfSize(200));
  ASSERT_EQ(fragments.size(), 2u);
  ConfigAreaBuilder builder(16);
  builder.PutFragment(4, 7, 0, 2, fragments[0]);
  builder.PutFragment(5, 7, 1, 2, fragments[1]);
  builder.PutFragment(6, 7, 1, 2, fragments[1]);
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(header.RecordList.Entries.size(), 1u);
}

TEST(BlockWalkTest, MissingMiddleFragmentBreaksOnlyItsGroup) {
  const auto fragments = SplitRecord(PlexOfSize(400));
  ASSERT_EQ(fragments.size(), 4u);
  ConfigAreaBuilder builder(16);
  builder.PutFragment(4, 7, 0, 4, fragments[0]);
  builder.PutFragment(5, 7, 2, 4, fragments[2]);  // fragment 1 never comes
  builder.PutFragment(6, 7, 3, 4, fragments[3]);
  builder.AddRecord(8, PlexOfSize(60, 0x501, "Other"));
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);

  const VBLK_GROUP& broken = *header.GroupList[0];
  EXPECT_TRUE(broken.IsBroken());
  EXPECT_FALSE(broken.IsComplete());
  EXPECT_EQ(broken.FirstBlock, kNoBlock);
  EXPECT_EQ(broken.Buffer, nullptr);
  EXPECT_EQ(broken.Entry, nullptr);
  EXPECT_EQ(Block(header, 4).NextBlock, kNoBlock);
  EXPECT_EQ(Block(header, 5).Group, &broken);
  EXPECT_EQ(Block(header, 6).Group, &broken);  // a later fragment is only linked
  ASSERT_EQ(header.RecordList.Entries.size(), 1u);
  EXPECT_STREQ(header.RecordList.Entries[0]->Record->RecordName, "Other");
}

TEST(BlockWalkTest, LoneContinuationMakesABrokenGroupOfSizeZero) {
  const auto fragments = SplitRecord(PlexOfSize(200));
  ConfigAreaBuilder builder(16);
  builder.PutFragment(4, 7, 1, 2, fragments[1]);
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);
  ASSERT_EQ(header.GroupList.size(), 1u);
  EXPECT_EQ(header.GroupList[0]->State, GROUP_STATE_BROKEN);
  EXPECT_EQ(header.GroupList[0]->RecordSize, 0u);
  EXPECT_EQ(header.GroupList[0]->FirstBlock, kNoBlock);
  EXPECT_EQ(Block(header, 4).RecordOffset, kPayload - 8);
  EXPECT_EQ(Block(header, 4).FragmentSize, kPayload);

  // A further continuation is tested against the recorded size 0 first: its
  // count of 2 disagrees with the one fragment that size needs.
  builder.PutFragment(5, 7, 1, 2, fragments[1]);
  CONFIG_HEADER again;
  EXPECT_EQ(Walk(builder, again), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST(BlockWalkTest, FragmentNumberBeyondTheCountLeavesAGap) {
  const auto fragments = SplitRecord(PlexOfSize(200));
  ConfigAreaBuilder builder(16);
  builder.PutFragment(4, 7, 0, 2, fragments[0]);
  builder.PutFragment(5, 7, 5, 2, fragments[1]);
  builder.PutFragment(6, 7, 0xFFFF, 2, fragments[1]);
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);
  EXPECT_TRUE(header.GroupList[0]->IsBroken());
  EXPECT_TRUE(header.RecordList.Entries.empty());
}

TEST(BlockWalkTest, FragmentNumberAtTheCountOfAOneBlockRecordBreaksTheWalk) {
  ConfigAreaBuilder builder(16);
  builder.AddRecord(7, PlexOfSize(60));
  builder.PutFragment(5, 7, 1, 1, std::vector<uint8_t>(kPayload, 0));
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST(BlockWalkTest, LaterFragmentDisagreeingOnTheCountBreaksTheWalk) {
  const auto fragments = SplitRecord(PlexOfSize(300));
  ConfigAreaBuilder builder(16);
  builder.PutFragment(4, 7, 0, 3, fragments[0]);
  builder.PutFragment(5, 7, 1, 4, fragments[1]);
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST(BlockWalkTest, FirstFragmentCountMustMatchTheRecordSize) {
  ConfigAreaBuilder builder(16);
  builder.PutFragment(4, 7, 0, 2, SplitRecord(PlexOfSize(60))[0]);
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_TRUE(header.GroupList.empty());  // the group is discarded
}

TEST(BlockWalkTest, HugeRecordSizeDoesNotWrapIntoOneFragment) {
  // (size + 7 + 112) / 112 in 32 bits would be 1 for this size.
  test::LdmBytes preamble;
  preamble.U16(0).U16(test::MakeTypeWord(2, 3, 0)).U32(0xFFFFFFFF);
  preamble.bytes.resize(kPayload, 0);
  ConfigAreaBuilder builder(16);
  builder.PutFragment(4, 7, 0, 1, preamble.bytes);
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST(BlockWalkTest, RecordOfSizeZeroFailsToDecode) {
  test::LdmBytes preamble;
  preamble.U16(0).U16(test::MakeTypeWord(2, 3, 0)).U32(0);
  preamble.bytes.resize(kPayload, 0);
  ConfigAreaBuilder builder(16);
  builder.PutFragment(4, 7, 0, 1, preamble.bytes);
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_TRUE(header.GroupList[0]->IsComplete());
}

TEST(BlockWalkTest, BothTransactionBitsBreakTheWalk) {
  ConfigAreaBuilder builder(16);
  builder.AddRecord(7, PlexOfSize(60), TRANS_FLAG_BIT0 | TRANS_FLAG_BIT1);
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_TRUE(header.GroupList.empty());
}

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
  builder.AddRecord(8, PlexOfSize(300, 0x501, "Long"), c.transFlags);
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);
  ASSERT_EQ(header.GroupList.size(), 2u);
  for (const auto& group : header.GroupList) {
    EXPECT_EQ(group->IsIgnored(), c.ignored) << group->GroupNumber;
    EXPECT_EQ(group->Entry == nullptr, c.ignored) << group->GroupNumber;
    EXPECT_EQ(group->Buffer, nullptr);
  }
  EXPECT_EQ(header.RecordList.Entries.size(), c.ignored ? 0u : 2u);
  if (c.ignored) {
    // The long record's later fragments are linked to it, not chained.
    EXPECT_EQ(Block(header, 6).Group, header.GroupList[1].get());
    EXPECT_EQ(Block(header, 5).NextBlock, kNoBlock);
  }
}

INSTANTIATE_TEST_SUITE_P(StatusAndFlags, TransactionRuleTest,
                         ::testing::Values(TransactionCase{3, TRANS_FLAG_BIT0, true},
                                           TransactionCase{3, TRANS_FLAG_BIT1, false},
                                           TransactionCase{1, TRANS_FLAG_BIT1, true},
                                           TransactionCase{2, TRANS_FLAG_BIT1, true},
                                           TransactionCase{4, TRANS_FLAG_BIT1, true},
                                           TransactionCase{1, TRANS_FLAG_BIT0, false},
                                           TransactionCase{4, TRANS_FLAG_BIT0, false},
                                           TransactionCase{6, TRANS_FLAG_BIT0, false},
                                           TransactionCase{6, TRANS_FLAG_BIT1, false},
                                           TransactionCase{5, TRANS_FLAG_BIT1, false},
                                           TransactionCase{0, TRANS_FLAG_BIT1, false},
                                           TransactionCase{3, 0, false}));

TEST(BlockWalkTest, IgnoredOneBlockRecordStillRefusesAFurtherFragment) {
  ConfigAreaBuilder builder(16);
  builder.Header.Status = 3;
  builder.AddRecord(7, PlexOfSize(60), TRANS_FLAG_BIT0);
  builder.PutFragment(5, 7, 1, 1, std::vector<uint8_t>(kPayload, 0));
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST(BlockWalkTest, DuplicateRecordIdEndsTheWalkKeepingTheFirst) {
  ConfigAreaBuilder builder(16);
  builder.AddRecord(7, PlexOfSize(60, 0x500, "First"));
  builder.AddRecord(8, PlexOfSize(60, 0x500, "Second"));
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
  ASSERT_EQ(header.RecordList.Entries.size(), 1u);
  EXPECT_STREQ(header.RecordList.Entries[0]->Record->RecordName, "First");
  EXPECT_EQ(header.GroupList[1]->Entry, nullptr);
}

TEST(BlockWalkTest, RecordThatFailsToParseEndsTheWalkWithItsStatus) {
  LdmRecordImage bad = PlexOfSize(60, 0x501, "Bad");
  bad.TypeWord = test::MakeTypeWord(2, 4, 0);  // plexes have revision 3 only
  ConfigAreaBuilder builder(16);
  builder.AddRecord(7, PlexOfSize(60));
  builder.AddRecord(8, bad);
  builder.AddRecord(9, PlexOfSize(60, 0x502, "Later"));
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_INVALID_PARAMETER_CODE);
  EXPECT_EQ(header.RecordList.Entries.size(), 1u);
  EXPECT_EQ(header.GroupList.size(), 2u);
}

TEST(BlockWalkTest, UnknownRecordTypeBreaksTheWalk) {
  LdmRecordImage odd = PlexOfSize(60);
  odd.TypeWord = test::MakeTypeWord(6, 3, 0);
  ConfigAreaBuilder builder(16);
  builder.AddRecord(7, odd);
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST(BlockWalkTest, BlockSizeMustExceedTwentyFour) {
  const std::vector<uint8_t> bytes(4096, 0);
  for (uint32_t size : {0u, 1u, 16u, 24u}) {
    CONFIG_HEADER header;
    header.NumBlocks = 64;
    header.BlockSize = size;
    const uint8_t* cursor = bytes.data();
    EXPECT_EQ(header.ParseConfigBlocks(cursor, 0, 512), STATUS_LDM_CONFIG_BROKEN_CODE) << size;
    EXPECT_EQ(header.ParseConfigBlocks(cursor, 2048, 512), STATUS_LDM_CONFIG_BROKEN_CODE) << size;
    EXPECT_EQ(cursor, bytes.data());
  }
}

TEST(BlockWalkTest, SmallestBlockSizeWalks) {
  // 25-byte blocks: 9 bytes of payload, the preamble and one data byte.
  std::vector<uint8_t> bytes;
  for (uint32_t n = 20; n < 24; ++n) {
    auto block = test::BuildVblk(n, 0, 0, 0, {}, 25);
    bytes.insert(bytes.end(), block.begin(), block.end());
  }
  CONFIG_HEADER header;
  header.NumBlocks = 24;
  header.BlockSize = 25;
  const uint8_t* cursor = bytes.data();
  EXPECT_EQ(header.ParseConfigBlocks(cursor, bytes.size(), 500), STATUS_SUCCESS_CODE);
  EXPECT_EQ(cursor, bytes.data() + bytes.size());
}

TEST(BlockWalkTest, ByteCountMustBeWholeBlocks) {
  const std::vector<uint8_t> bytes(1024, 0);
  CONFIG_HEADER header;
  header.NumBlocks = 16;
  header.BlockSize = 128;
  const uint8_t* cursor = bytes.data();
  EXPECT_EQ(header.ParseConfigBlocks(cursor, 200, 512), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(header.ParseConfigBlocks(cursor, 0, 512), STATUS_SUCCESS_CODE);
  EXPECT_EQ(cursor, bytes.data());
}

TEST(BlockWalkTest, BlocksBeyondNumBlocksBreakTheWalk) {
  ConfigAreaBuilder builder(12);
  const std::vector<uint8_t> area = builder.Build();
  CONFIG_HEADER header;
  const uint8_t* cursor = area.data();
  ASSERT_EQ(header.ParseConfigHeader(cursor, area.size()), STATUS_SUCCESS_CODE);
  header.NumBlocks = 10;  // the bytes go on for two more blocks
  cursor = area.data() + 512;
  EXPECT_EQ(header.ParseConfigBlocks(cursor, area.size() - 512, 512), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(header.BlockTableCount, 10u);
}

TEST(BlockWalkTest, AreaFullOfContinuationsEnds) {
  // Every block continues a record whose first fragment never comes.
  ConfigAreaBuilder builder(4096);
  for (uint32_t b = 4; b < 4096; ++b) builder.PutFragment(b, 7, 1, 1, std::vector<uint8_t>(kPayload, 0xAB));
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);
  EXPECT_EQ(header.GroupList.size(), 1u);
  EXPECT_TRUE(header.GroupList[0]->IsBroken());
}

TEST(BlockWalkTest, RecordThatNeverCompletesEnds) {
  // A record announcing 65535 fragments, of which the area holds 2000.
  const uint32_t size = 65535 * kPayload - 8;
  test::LdmBytes first;
  first.U16(0).U16(test::MakeTypeWord(2, 3, 0)).U32(size);
  first.bytes.resize(kPayload, 0x11);
  ConfigAreaBuilder builder(2004);
  builder.PutFragment(4, 7, 0, 0xFFFF, first.bytes);
  for (uint16_t k = 1; k < 2000; ++k) builder.PutFragment(4 + k, 7, k, 0xFFFF, std::vector<uint8_t>(kPayload, 0x22));
  CONFIG_HEADER header;
  ASSERT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);
  const VBLK_GROUP& group = *header.GroupList[0];
  EXPECT_EQ(group.State, 0);
  EXPECT_TRUE(header.RecordList.Entries.empty());
  EXPECT_EQ(Block(header, 2003).RecordOffset, 1999 * kPayload - 8);
  EXPECT_EQ(Block(header, 2002).NextBlock, 2003u);
}

TEST(BlockWalkTest, EmptyBlocksMayCarryAnyPayload) {
  ConfigAreaBuilder builder(8);
  builder.PutBlock(5, test::BuildVblk(5, 0, 9, 9, std::vector<uint8_t>(kPayload, 0xFF)));
  CONFIG_HEADER header;
  EXPECT_EQ(Walk(builder, header), STATUS_SUCCESS_CODE);
  EXPECT_TRUE(header.GroupList.empty());
}

}  // namespace
}  // namespace kestrand
