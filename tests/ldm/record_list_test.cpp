// The record list's uniqueness check: ids and names of every filed record,
// across the growth of its tables, a rebuild and names of every length.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "ldm/records.h"

namespace kestrand {
namespace {

// An entry whose name buffer holds the first `length` bytes of `name`.
std::unique_ptr<RECORD_ENTRY> Entry(RECORD_LIST& list, uint64_t id, const std::string& name, size_t length = 0) {
  auto entry =
      std::make_unique<RECORD_ENTRY>(RECORD_ENTRY{&list, id, RECORD_TYPE_PLEX, std::make_unique<PLEX_RECORD>()});
  std::memcpy(entry->Record->RecordName, name.c_str(), length ? length : name.size() + 1);
  entry->Record->Entry = entry.get();
  return entry;
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

// Names compare up to their terminator; an empty name is a name, and a
// buffer without a terminator counts all its bytes.
TEST(RecordList, NamesCompareUpToTheirTerminatorAtEveryLength) {
  RECORD_LIST list;
  const std::string longest(kRecordNameSize - 1, 'n'), full(kRecordNameSize, 'f');
  list.Append(Entry(list, 1, ""));
  list.Append(Entry(list, 3, std::string("Vol\0after", 10), 10));
  list.Append(Entry(list, 5, longest));
  list.Append(Entry(list, 7, full, kRecordNameSize));
  for (const std::string& held : {std::string(), std::string("Vol"), longest, full})
    EXPECT_TRUE(list.Holds(8, held.c_str())) << held;
  for (const std::string& notHeld : {std::string("Vo"), std::string("after"), longest.substr(1), full.substr(1)})
    EXPECT_FALSE(list.Holds(8, notHeld.c_str())) << notHeld;
}

}  // namespace
}  // namespace kestrand
