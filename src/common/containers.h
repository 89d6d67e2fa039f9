// The containers of the whole tool: the pointer list that holds every
// collection, the heap wide string, and the string map keyed by wide
// strings; with them the process's last error, which the wide string sets.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

namespace kestrand {

// The process's "last error": the Win32 code that operations signalling
// failure by a false result leave behind (the heap wide string does so).
void SetLastErrorCode(uint32_t code);
uint32_t GetLastErrorCode();

// A holder of one heap UTF-16 string, owned. Failures are signalled by a
// false result and the process's last error (87 missing source, 8 no memory);
// a failed operation leaves the held string as it was.
class CWideString {
 public:
  CWideString() = default;
  // A one-character string; empty (last error 8) when no memory.
  explicit CWideString(char16_t character);
  ~CWideString();
  CWideString(const CWideString&) = delete;
  CWideString& operator=(const CWideString&) = delete;

  // Replaces the string by a copy of `source`.
  bool Assign(const char16_t* source);
  // Appends `text`; on an empty holder this is Assign.
  bool Append(const char16_t* text);
  // A new heap copy (free it with free()); nullptr when empty or no memory.
  char16_t* Duplicate() const;
  // The held string; nullptr when empty.
  const char16_t* Get() const { return text_; }

 private:
  char16_t* text_ = nullptr;
};

// The doubly linked list. Items are only ever appended, so a list is always
// in insertion order; the one reordering is a stable sort that relinks the
// nodes (the disk list by disk number).
template <class T>
struct PtrListNode {
  T* Item;
  PtrListNode* Previous;
  PtrListNode* Next;
};

template <class T>
class CPtrList {
 public:
  using Node = PtrListNode<T>;

  // An owning list deletes its items when it is destroyed; a non-owning one
  // only frees its nodes (the items live on in the list that owns them).
  explicit CPtrList(bool ownsItems) : ownsItems_(ownsItems) {}
  ~CPtrList() {
    Node* node = first_;
    while (node) {
      Node* next = node->Next;
      if (ownsItems_) delete node->Item;
      delete node;
      node = next;
    }
  }
  CPtrList(const CPtrList&) = delete;
  CPtrList& operator=(const CPtrList&) = delete;

  void Append(T* item) {
    Node* node = new Node{item, last_, nullptr};
    if (last_)
      last_->Next = node;
    else
      first_ = node;
    last_ = node;
    ++count_;
  }

  Node* First() const { return first_; }
  Node* Last() const { return last_; }
  uint32_t Count() const { return count_; }
  bool OwnsItems() const { return ownsItems_; }

  // Stable merge sort: `less(a, b)` on two items; items with equal keys keep
  // their order. The nodes are relinked, no item is copied.
  template <class Less>
  void StableSort(Less less) {
    first_ = SortChain(first_, count_, less);
    Node* previous = nullptr;
    for (Node* node = first_; node; node = node->Next) {
      node->Previous = previous;
      previous = node;
    }
    last_ = previous;
  }

 private:
  // Sorts the `length` nodes starting at `head` (linked by Next only; the
  // chain is cut after them) and returns the new head.
  template <class Less>
  static Node* SortChain(Node* head, uint32_t length, Less& less) {
    if (length < 2) {
      if (head) head->Next = nullptr;
      return head;
    }
    uint32_t leftLength = length / 2;
    Node* rightHead = head;
    for (uint32_t i = 0; i < leftLength; ++i) rightHead = rightHead->Next;
    Node* right = SortChain(rightHead, length - leftLength, less);
    Node* left = SortChain(head, leftLength, less);
    return Merge(left, right, less);
  }

  // Takes from the left run unless the right item is strictly smaller, which
  // keeps equal keys in their original order.
  template <class Less>
  static Node* Merge(Node* left, Node* right, Less& less) {
    Node head{nullptr, nullptr, nullptr};
    Node* tail = &head;
    while (left && right) {
      if (less(static_cast<const T*>(right->Item), static_cast<const T*>(left->Item))) {
        tail->Next = right;
        right = right->Next;
      } else {
        tail->Next = left;
        left = left->Next;
      }
      tail = tail->Next;
    }
    tail->Next = left ? left : right;
    return head.Next;
  }

  Node* first_ = nullptr;
  Node* last_ = nullptr;
  bool ownsItems_;
  uint32_t count_ = 0;
};

// A cursor over a list, from its first node to its end. Walking never
// changes the list.
template <class T>
class CPtrListIterator {
 public:
  explicit CPtrListIterator(const CPtrList<T>& list) : current_(list.First()) {}

  T* Current() const { return current_ ? current_->Item : nullptr; }
  void Advance() {
    if (current_) current_ = current_->Next;
  }
  bool AtEnd() const { return current_ == nullptr; }

 private:
  PtrListNode<T>* current_;
};

// A hash map keyed by wide strings with a fixed number of buckets. Its
// iteration order (buckets in ascending index, then insertion order) decides
// the order in which the reports list volumes, so the hash is fixed too: the
// sum of the UTF-16 code units times 29, in unsigned 32-bit arithmetic.
template <class V>
class CStringMap {
 public:
  // An entry owns its key and its value.
  struct CEntry {
    CWideString* Key;
    V* Value;
    CEntry(CWideString* key, V* value) : Key(key), Value(value) {}
    ~CEntry() {
      delete Key;
      delete Value;
    }
    CEntry(const CEntry&) = delete;
    CEntry& operator=(const CEntry&) = delete;
  };

  // A bucket count of 0 is taken as 1, so that no hash is ever divided by 0.
  explicit CStringMap(uint32_t bucketCount) : bucketCount_(bucketCount ? bucketCount : 1) {
    buckets_.reserve(bucketCount_);
    for (uint32_t i = 0; i < bucketCount_; ++i) buckets_.push_back(std::make_unique<CPtrList<CEntry>>(true));
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
    buckets_[BucketOf(key->Get())]->Append(new CEntry(key, value));
  }

  // The value of the first entry of the key's bucket with an equal key
  // (code unit by code unit); nullptr when there is none.
  V* Find(const char16_t* key) const {
    for (CPtrListIterator<CEntry> it(*buckets_[BucketOf(key)]); !it.AtEnd(); it.Advance())
      if (SameText(it.Current()->Key->Get(), key)) return it.Current()->Value;
    return nullptr;
  }

  // Calls `visit(const CWideString& key, V* value)` for every entry, buckets
  // in ascending order and each bucket in insertion order; `visit` returns a
  // Win32 code and the walk stops at the first non-zero one, which it returns.
  template <class Visit>
  uint32_t ForEach(Visit visit) const {
    for (const auto& bucket : buckets_) {
      for (CPtrListIterator<CEntry> it(*bucket); !it.AtEnd(); it.Advance()) {
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
  std::vector<std::unique_ptr<CPtrList<CEntry>>> buckets_;
};

}  // namespace kestrand
