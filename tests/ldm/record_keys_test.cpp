// The uniqueness of record ids and names in a copy, looked up in the set of
// keys the record list keeps: the same first failure as comparing with every
// earlier record, also after the walk has released the set, after the list
// was emptied and after a record failed to decode.
#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "ldm/config_header.h"
#include "support/ldm_builder.h"

namespace kestrand {
namespace {

using test::LdmRecordImage;

LdmRecordImage Plex(uint64_t id, const std::string& name) {
  test::PlexFields fields;
  fields.RecordId = id;
  fields.Name = name;
  return test::BuildPlexRecord(fields);
}

// Records made one by one into one list, as the block walk makes them.
class RecordKeysTest : public ::testing::Test {
 protected:
  NTSTATUS Create(const LdmRecordImage& image) {
    VBLK_GROUP& group = groups_.emplace_back();
    group.TypeWord = image.TypeWord;
    group.RecordSize = static_cast<uint32_t>(image.Data.size());
    const uint8_t* cursor = image.Data.data();
    return CreateRecord(list_, cursor, group.RecordSize, group);
  }

  RECORD_LIST list_;
  std::deque<VBLK_GROUP> groups_;
};

TEST_F(RecordKeysTest, RepeatsFarBehindAreFoundAndNearMissesAreNot) {
  for (uint64_t i = 1; i <= 300; ++i) ASSERT_EQ(Create(Plex(i, "Plex" + std::to_string(i))), 0) << i;
  // Names that share a prefix, differ in case or only in length are distinct.
  EXPECT_EQ(Create(Plex(1000, "Plex")), 0);
  EXPECT_EQ(Create(Plex(1001, "plex7")), 0);
  EXPECT_EQ(Create(Plex(1002, "Plex30 ")), 0);
  // A repeated id under a new name, a repeated name under a new id.
  EXPECT_EQ(Create(Plex(3, "Fresh")), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(Create(Plex(2000, "Plex299")), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(Create(Plex(1001, "Other")), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(list_.Entries.size(), 303u);
}

TEST_F(RecordKeysTest, AFailedRecordClaimsNeitherItsIdNorItsName) {
  test::PlexFields bad;
  bad.RecordId = 0x900;
  bad.Name = "Broken";
  bad.Revision = 4;  // plexes accept revision 3 only
  ASSERT_EQ(Create(test::BuildPlexRecord(bad)), STATUS_INVALID_PARAMETER_CODE);
  EXPECT_EQ(Create(Plex(0x900, "Broken")), 0);
  EXPECT_EQ(Create(Plex(0x900, "Broken")), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST_F(RecordKeysTest, ReleasedKeysAreRebuiltFromTheEntries) {
  ASSERT_EQ(Create(Plex(1, "One")), 0);
  ASSERT_EQ(Create(Plex(2, "Two")), 0);
  list_.ReleaseKeys();
  EXPECT_TRUE(list_.Holds(2, "Nothing"));
  EXPECT_TRUE(list_.Holds(99, "One"));
  EXPECT_FALSE(list_.Holds(3, "Three"));
  // The rebuilt set goes on taking new records.
  ASSERT_EQ(Create(Plex(3, "Three")), 0);
  EXPECT_EQ(Create(Plex(4, "Three")), STATUS_LDM_CONFIG_BROKEN_CODE);
  list_.ReleaseKeys();
  EXPECT_EQ(Create(Plex(5, "Two")), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST_F(RecordKeysTest, AnEmptiedListHoldsNothing) {
  ASSERT_EQ(Create(Plex(1, "One")), 0);
  list_.Entries.clear();
  EXPECT_FALSE(list_.Holds(1, "One"));
  EXPECT_EQ(Create(Plex(1, "One")), 0);
  EXPECT_EQ(Create(Plex(1, "Two")), STATUS_LDM_CONFIG_BROKEN_CODE);
}

// The walk releases the keys when it ends, by success or by failure; the
// records made before a repeat stay.
TEST(RecordKeysWalkTest, ARepeatEndsTheWalkAndLaterRecordsStillSeeEveryEarlierOne) {
  test::ConfigAreaBuilder builder(600);
  for (uint32_t i = 1; i <= 400; ++i) builder.AddRecord(i, Plex(i, "Plex" + std::to_string(i)));
  builder.AddRecord(401, Plex(401, "Plex17"));
  builder.AddRecord(402, Plex(402, "Plex402"));
  const std::vector<uint8_t> area = builder.Build();
  CONFIG_HEADER header;
  EXPECT_EQ(header.Initialize(area.data(), area.size()), STATUS_LDM_CONFIG_BROKEN_CODE);
  ASSERT_EQ(header.RecordList.Entries.size(), 400u);
  EXPECT_STREQ(header.RecordList.Entries.back()->Record->RecordName, "Plex400");
  EXPECT_TRUE(header.RecordList.Holds(17, ""));
  EXPECT_TRUE(header.RecordList.Holds(0, "Plex400"));
  EXPECT_FALSE(header.RecordList.Holds(402, "Plex402"));
}

}  // namespace
}  // namespace kestrand
