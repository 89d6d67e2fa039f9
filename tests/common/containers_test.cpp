// The containers decide the order of everything the reports list, so these
// tests pin down order, ownership and the hash.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "common/containers.h"

namespace kestrand {
namespace {

// Counts destructions, to see who deletes what.
struct Tracked {
  int Key;
  int Tag;
  int* Destroyed;
  ~Tracked() {
    if (Destroyed) ++*Destroyed;
  }
};

std::vector<int> Tags(const CPtrList<Tracked>& list) {
  std::vector<int> tags;
  for (CPtrListIterator<Tracked> it(list); !it.AtEnd(); it.Advance()) tags.push_back(it.Current()->Tag);
  return tags;
}

// Walks backwards from the last node, checking every Previous link.
std::vector<int> TagsBackwards(const CPtrList<Tracked>& list) {
  std::vector<int> tags;
  for (auto* node = list.Last(); node; node = node->Previous) tags.push_back(node->Item->Tag);
  std::reverse(tags.begin(), tags.end());
  return tags;
}

TEST(PtrListTest, KeepsInsertionOrderBothWays) {
  CPtrList<Tracked> list(true);
  for (int tag : {1, 2, 3}) list.Append(new Tracked{0, tag, nullptr});
  EXPECT_EQ(list.Count(), 3u);
  EXPECT_EQ(Tags(list), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(TagsBackwards(list), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(list.First()->Previous, nullptr);
  EXPECT_EQ(list.Last()->Next, nullptr);

  CPtrList<Tracked> empty(true);
  CPtrListIterator<Tracked> it(empty);
  EXPECT_TRUE(it.AtEnd());
  EXPECT_EQ(it.Current(), nullptr);
  it.Advance();  // harmless at the end
  EXPECT_TRUE(it.AtEnd());
}

TEST(PtrListTest, OnlyAnOwningListDeletesItsItems) {
  int destroyed = 0;
  {
    CPtrList<Tracked> owner(true);
    {
      CPtrList<Tracked> view(false);
      for (int tag : {1, 2}) {
        Tracked* item = new Tracked{0, tag, &destroyed};
        owner.Append(item);
        view.Append(item);
      }
    }
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(Tags(owner), (std::vector<int>{1, 2}));  // still alive and linked
  }
  EXPECT_EQ(destroyed, 2);
}

TEST(PtrListTest, StableSortMatchesTheStandardOneOnManySizes) {
  for (int size = 0; size <= 40; ++size) {
    CPtrList<Tracked> list(true);
    std::vector<std::pair<int, int>> expected;
    for (int tag = 0; tag < size; ++tag) {
      int key = (tag * 7 + size) % 5;
      list.Append(new Tracked{key, tag, nullptr});
      expected.push_back({key, tag});
    }
    list.StableSort([](const Tracked* a, const Tracked* b) { return a->Key < b->Key; });
    std::stable_sort(expected.begin(), expected.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<int> expectedTags;
    for (auto& e : expected) expectedTags.push_back(e.second);
    ASSERT_EQ(Tags(list), expectedTags) << "size " << size;
    // The links are rebuilt: an append lands after the new last node.
    list.Append(new Tracked{0, -1, nullptr});
    expectedTags.push_back(-1);
    ASSERT_EQ(TagsBackwards(list), expectedTags) << "size " << size;
  }
}

TEST(WideStringTest, AssignAppendAndMissingSources) {
  CWideString text;
  EXPECT_EQ(text.Get(), nullptr);
  ASSERT_TRUE(text.Append(u"C:"));  // an empty holder appends as it assigns
  ASSERT_TRUE(text.Append(u"\\mnt"));
  EXPECT_EQ(std::u16string(text.Get()), u"C:\\mnt");
  ASSERT_TRUE(text.Assign(u"D:"));
  EXPECT_EQ(std::u16string(text.Get()), u"D:");
  char16_t* copy = text.Duplicate();
  ASSERT_TRUE(text.Append(u"\\"));
  EXPECT_EQ(std::u16string(text.Get()), u"D:\\");
  EXPECT_EQ(std::u16string(copy), u"D:");  // a copy of its own
  std::free(copy);
  EXPECT_EQ(CWideString().Duplicate(), nullptr);

  // A missing source fails with last error 87 and keeps the string.
  SetLastErrorCode(0);
  EXPECT_FALSE(text.Assign(nullptr));
  EXPECT_EQ(GetLastErrorCode(), 87u);
  SetLastErrorCode(0);
  EXPECT_FALSE(text.Append(nullptr));
  EXPECT_EQ(GetLastErrorCode(), 87u);
  EXPECT_EQ(std::u16string(text.Get()), u"D:\\");
}

using PathList = CPtrList<CWideString>;

CWideString* Key(const char16_t* text) {
  CWideString* key = new CWideString();
  EXPECT_TRUE(key->Assign(text));
  return key;
}

std::u16string Keys(const CStringMap<int>& map) {
  std::u16string keys;
  map.ForEach([&](const CWideString& key, int*) {
    keys += key.Get();
    keys += u' ';
    return 0u;
  });
  return keys;
}

TEST(StringMapTest, HashIsTheSumOfUnitsTimes29) {
  EXPECT_EQ(CStringMap<int>::Hash(nullptr), 0u);
  EXPECT_EQ(CStringMap<int>::Hash(u""), 0u);
  EXPECT_EQ(CStringMap<int>::Hash(u"A"), 65u * 29u);
  EXPECT_EQ(CStringMap<int>::Hash(u"AB"), (65u + 66u) * 29u);
  EXPECT_EQ(CStringMap<int>::Hash(u"AB"), CStringMap<int>::Hash(u"BA"));
  // The sum wraps in 32 bits.
  std::u16string wide(3000, char16_t(0xFFFF));
  EXPECT_EQ(CStringMap<int>::Hash(wide.c_str()), static_cast<uint32_t>(3000ull * 0xFFFF * 29));
}

TEST(StringMapTest, CollidingKeysAreFoundByEqualityNotPosition) {
  CStringMap<int> map(17);
  map.Insert(Key(u"AB"), new int(1));
  map.Insert(Key(u"BA"), new int(2));
  ASSERT_NE(map.Find(u"BA"), nullptr);
  EXPECT_EQ(*map.Find(u"BA"), 2);
  EXPECT_EQ(*map.Find(u"AB"), 1);
  EXPECT_EQ(map.Find(u"ab"), nullptr);  // case-sensitive
  EXPECT_EQ(map.Find(u"A"), nullptr);   // a prefix is not equal
  EXPECT_EQ(map.Find(u"ABC"), nullptr);
  // A repeated key is kept; the first one is found.
  map.Insert(Key(u"AB"), new int(3));
  EXPECT_EQ(*map.Find(u"AB"), 1);
  EXPECT_EQ(Keys(map), u"AB BA AB ");  // one bucket, insertion order
}

TEST(StringMapTest, IteratesInBucketOrderNotInsertionOrder) {
  // With 17 buckets: "A" lands in 15, "B" in 10, "C" in 5.
  CStringMap<int> map(17);
  map.Insert(Key(u"A"), new int(1));
  map.Insert(Key(u"B"), new int(2));
  map.Insert(Key(u"C"), new int(3));
  EXPECT_EQ(Keys(map), u"C B A ");
}

TEST(StringMapTest, ForEachStopsAtTheFirstNonZeroCode) {
  CStringMap<int> map(17);
  for (const char16_t* k : {u"A", u"B", u"C"}) map.Insert(Key(k), new int(0));
  int visits = 0;
  uint32_t code = map.ForEach([&](const CWideString&, int*) { return ++visits == 2 ? 8u : 0u; });
  EXPECT_EQ(code, 8u);
  EXPECT_EQ(visits, 2);
}

TEST(StringMapTest, OwnsKeysAndValuesIncludingValueLists) {
  CStringMap<PathList> map(17);
  PathList* paths = new PathList(true);
  paths->Append(Key(u"E:\\"));
  paths->Append(Key(u"C:\\mnt\\data\\"));
  map.Insert(Key(u"\\\\?\\Volume{1}\\"), paths);
  map.Insert(Key(u"\\\\?\\Volume{2}\\"), new PathList(true));
  EXPECT_EQ(map.Find(u"\\\\?\\Volume{1}\\"), paths);
  EXPECT_EQ(map.Find(u"\\\\?\\Volume{2}\\")->Count(), 0u);
  // Freed by the map's destructor; the sanitizer build reports any leak.
}

TEST(StringMapTest, ZeroBucketsAndMissingKeysAreSafe) {
  CStringMap<int> map(0);
  EXPECT_EQ(map.BucketCount(), 1u);
  map.Insert(nullptr, new int(4));
  ASSERT_NE(map.Find(u""), nullptr);
  EXPECT_EQ(*map.Find(nullptr), 4);
}

}  // namespace
}  // namespace kestrand
