// FindGroup through its index beside the group list: the first group with a
// number in list order, also when the list grew past the index, and the
// walk's lookups of groups met far back.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "ldm/config_header.h"
#include "support/ldm_builder.h"

namespace kestrand {
namespace {

using test::SplitRecord;

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
