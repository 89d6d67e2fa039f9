// The report tree: named elements, each with ordered name/value attributes
// and ordered children, built once and written to the XML report in one pass.
#pragma once

#include <cstdint>

#include "common/ptr_list.h"

namespace kestrand {

// One attribute: owned heap copies of a narrow name and a narrow value.
struct CKestrandAttribute {
  char* Name = nullptr;
  char* Value = nullptr;

  // nullptr when a copy cannot be allocated.
  static CKestrandAttribute* Create(const char* name, const char* value);
  ~CKestrandAttribute();
  CKestrandAttribute(const CKestrandAttribute&) = delete;
  CKestrandAttribute& operator=(const CKestrandAttribute&) = delete;

 private:
  CKestrandAttribute() = default;
};

// A node owns its children. Only a root (a node that was never added as a
// child) is destroyed by its creator; destroying it frees the whole tree.
class CKestrandTreeNode {
 public:
  // Keeps a heap copy of `name`; without memory the node has no name.
  explicit CKestrandTreeNode(const char* name);
  ~CKestrandTreeNode();
  CKestrandTreeNode(const CKestrandTreeNode&) = delete;
  CKestrandTreeNode& operator=(const CKestrandTreeNode&) = delete;

  // A new last child; the tree owns it.
  CKestrandTreeNode* AddChild(const char* name);
  // Unlinks this node from its parent's children (87 without a parent), so
  // it is no longer written. The former parent keeps owning it and frees it
  // with itself; the caller must not delete it.
  uint32_t Detach();

  // Appends an attribute (taken over); the checks on names are the XML
  // writer's (CKestrandXMLWriter::NewAttribute).
  void AppendAttribute(CKestrandAttribute* attribute);
  // The value of the attribute named `name` (case-sensitive); nullptr when
  // the node has none.
  const char* AttributeValue(const char* name) const;
  // The first child named `name`; nullptr when there is none.
  CKestrandTreeNode* FindChild(const char* name) const;

  CKestrandTreeNode* Parent() const { return parent_; }
  CKestrandTreeNode* FirstChild() const { return firstChild_; }
  CKestrandTreeNode* NextSibling() const { return nextSibling_; }
  const char* Name() const { return name_; }
  // nullptr until the first attribute is added.
  const CPtrList<CKestrandAttribute>* Attributes() const { return attributes_; }

 private:
  CKestrandTreeNode* parent_ = nullptr;
  CKestrandTreeNode* firstChild_ = nullptr;
  CKestrandTreeNode* nextSibling_ = nullptr;
  char* name_ = nullptr;
  CPtrList<CKestrandAttribute>* attributes_ = nullptr;
  CKestrandTreeNode* lastChild_ = nullptr;
  // Children detached from this node; owned until this node is destroyed.
  CPtrList<CKestrandTreeNode>* detached_ = nullptr;
};

}  // namespace kestrand
