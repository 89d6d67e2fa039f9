// The doubly linked list that holds every collection of the tool. Items are
// only ever appended, so a list is always in insertion order; the one
// reordering is a stable sort that relinks the nodes (the disk list by disk
// number).
#pragma once

#include <cstdint>

namespace kestrand {

template <class T>
struct CPtrListNode {
  T* Item;
  CPtrListNode* Previous;
  CPtrListNode* Next;
};

template <class T>
class CPtrList {
 public:
  using Node = CPtrListNode<T>;

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
  CPtrListNode<T>* current_;
};

}  // namespace kestrand
