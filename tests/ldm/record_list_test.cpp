// The record list's uniqueness check: ids and names of every filed record,
// across the growth of its tables, a rebuild and names of every length.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "ldm/records.h"

namespace kestrand {
namespace {

std::unique_ptr<RECORD_ENTRY> Entry(RECORD_LIST& list, uint64_t id, const char* name, size_t length) {
  auto entry = std::make_unique<RECORD_ENTRY>();
  entry->List = &list;
  entry->RecordId = id;
  entry->RecordType = RECORD_TYPE_PLEX;
  entry->Record = std::make_unique<PLEX_RECORD>();
  std::memcpy(entry->Record->RecordName, name, length);
  entry->Record->Entry = entry.get();
  return entry;
}

std::unique_ptr<RECORD_ENTRY> Entry(RECORD_LIST& list, uint64_t id, const std::string& name) {
  return Entry(list, id, name.c_str(), name.size() + 1);
}

std::string NameOf(int i) { return "Plex" + std::to_string(i); }

TEST(RecordList, EveryFiledIdAndNameIsHeldThroughGrowthAndRebuilds) {
  RECORD_LIST list;
  EXPECT_FALSE(list.Holds(1, "Plex0"));  // nothing filed yet
  const int count = 3000;
  for (int i = 0; i < count; ++i) list.Append(Entry(list, 7 * static_cast<uint64_t>(i) + 1, NameOf(i)));
  auto check = [&] {
    for (int i = 0; i < count; ++i) {
      const uint64_t id = 7 * static_cast<uint64_t>(i) + 1;
      ASSERT_TRUE(list.Holds(id, "Other")) << i;
      ASSERT_TRUE(list.Holds(id + 3, NameOf(i).c_str())) << i;
      ASSERT_FALSE(list.Holds(id + 3, (NameOf(i) + "x").c_str())) << i;
    }
    EXPECT_FALSE(list.Holds(2, "Plex"));
    EXPECT_FALSE(list.Holds(UINT64_MAX, ""));
  };
  check();
  list.ReleaseKeys();  // rebuilt when asked again
  check();
  // An entry filed behind the list's back is found after a rebuild too.
  list.Entries.push_back(Entry(list, 0, "Direct"));
  EXPECT_TRUE(list.Holds(0, "Unrelated"));
  EXPECT_TRUE(list.Holds(5, "Direct"));
  check();
}

TEST(RecordList, NamesCompareUpToTheirTerminatorAtEveryLength) {
  RECORD_LIST list;
  list.Append(Entry(list, 1, ""));  // an empty name is a name
  EXPECT_TRUE(list.Holds(2, ""));
  list.Append(Entry(list, 3, "Vol\0after", 10));
  EXPECT_TRUE(list.Holds(4, "Vol"));
  EXPECT_FALSE(list.Holds(4, "Vo"));
  EXPECT_FALSE(list.Holds(4, "after"));
  const std::string longest(kRecordNameSize - 1, 'n');
  list.Append(Entry(list, 5, longest));
  EXPECT_TRUE(list.Holds(6, longest.c_str()));
  EXPECT_FALSE(list.Holds(6, longest.substr(1).c_str()));
  // A buffer without a terminator counts all its bytes.
  const std::string full(kRecordNameSize, 'f');
  list.Append(Entry(list, 7, full.data(), kRecordNameSize));
  EXPECT_TRUE(list.Holds(8, full.c_str()));
  EXPECT_FALSE(list.Holds(8, full.substr(1).c_str()));
}

}  // namespace
}  // namespace kestrand
