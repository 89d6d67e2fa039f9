// A hash map keyed by wide strings with a fixed number of buckets. Its
// iteration order (buckets in ascending index, then insertion order) decides
// the order in which the reports list volumes, so the hash is fixed too: the
// sum of the UTF-16 code units times 29, in unsigned 32-bit arithmetic.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "common/ptr_list.h"
#include "common/wide_string.h"

namespace kestrand {

template <class V>
class CStringMap {
 public:
  // An entry owns its key and its value.
  struct Entry {
    CWideString* Key;
    V* Value;
    Entry(CWideString* key, V* value) : Key(key), Value(value) {}
    ~Entry() {
      delete Key;
      delete Value;
    }
    Entry(const Entry&) = delete;
    Entry& operator=(const Entry&) = delete;
  };

  // A bucket count of 0 is taken as 1, so that no hash is ever divided by 0.
  explicit CStringMap(uint32_t bucketCount) : bucketCount_(bucketCount ? bucketCount : 1) {
    buckets_.reserve(bucketCount_);
    for (uint32_t i = 0; i < bucketCount_; ++i) buckets_.push_back(std::make_unique<CPtrList<Entry>>(true));
  }
  CStringMap(const CStringMap&) = delete;
  CStringMap& operator=(const CStringMap&) = delete;

  static uint32_t Hash(const char16_t* key) {
    uint32_t sum = 0;
    if (key)
      for (; *key; ++key) sum += static_cast<uint32_t>(*key) * 29u;
    return sum;
  }

  // Takes ownership of both; the entry goes to the end of its bucket, even
  // when the key is already present. A missing key is stored as an empty one.
  void Insert(CWideString* key, V* value) {
    if (!key) key = new CWideString();
    buckets_[BucketOf(key->Get())]->Append(new Entry(key, value));
  }

  // The value of the first entry of the key's bucket with an equal key
  // (code unit by code unit); nullptr when there is none.
  V* Find(const char16_t* key) const {
    for (CPtrListIterator<Entry> it(*buckets_[BucketOf(key)]); !it.AtEnd(); it.Advance())
      if (SameText(it.Current()->Key->Get(), key)) return it.Current()->Value;
    return nullptr;
  }

  // Calls `visit(const CWideString& key, V* value)` for every entry, buckets
  // in ascending order and each bucket in insertion order; `visit` returns a
  // Win32 code and the walk stops at the first non-zero one, which it returns.
  template <class Visit>
  uint32_t ForEach(Visit visit) const {
    for (const auto& bucket : buckets_) {
      for (CPtrListIterator<Entry> it(*bucket); !it.AtEnd(); it.Advance()) {
        uint32_t code = visit(*it.Current()->Key, it.Current()->Value);
        if (code != 0) return code;
      }
    }
    return 0;
  }

  uint32_t BucketCount() const { return bucketCount_; }

 private:
  uint32_t BucketOf(const char16_t* key) const { return Hash(key) % bucketCount_; }

  // A missing string counts as the empty one.
  static bool SameText(const char16_t* a, const char16_t* b) {
    if (!a) a = u"";
    if (!b) b = u"";
    for (; *a && *a == *b; ++a, ++b) {
    }
    return *a == *b;
  }

  uint32_t bucketCount_;
  std::vector<std::unique_ptr<CPtrList<Entry>>> buckets_;
};

}  // namespace kestrand
