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
//
// A reference is a node that shows another node, its target: it reads and is
// written as the target (name, attributes, children), while its parent and
// its place among its siblings are its own. A branch that appears in many
// places is so built and held once (HoldNode) and shown by references.
class CKestrandTreeNode {
 public:
  // Keeps a heap copy of `name`; without memory the node has no name.
  explicit CKestrandTreeNode(const char* name);
  ~CKestrandTreeNode();
  CKestrandTreeNode(const CKestrandTreeNode&) = delete;
  CKestrandTreeNode& operator=(const CKestrandTreeNode&) = delete;

  // A new last child; the tree owns it. None for a reference, which takes
  // no children of its own.
  CKestrandTreeNode* AddChild(const char* name);
  // A new last child that is a reference to `target`. The target must stay
  // as it is and outlive this node (a node held by this tree), and must not
  // contain this node.
  CKestrandTreeNode* AddReference(const CKestrandTreeNode* target);
  // A new node that this node owns without showing it: it is no child, is
  // never written, and is freed with this node. It has no parent, so it
  // cannot be detached.
  CKestrandTreeNode* HoldNode(const char* name);
  // Unlinks this node from its parent's children (87 without a parent), so
  // it is no longer written. The former parent keeps owning it and frees it
  // with itself; the caller must not delete it.
  uint32_t Detach();

  // Appends an attribute (taken over); the checks on names are the XML
  // writer's (CKestrandXMLWriter::NewAttribute). A reference takes none: the
  // attribute is freed.
  void AppendAttribute(CKestrandAttribute* attribute);
  // The value of the attribute named `name` (case-sensitive); nullptr when
  // the node has none.
  const char* AttributeValue(const char* name) const;
  // The first child named `name`; nullptr when there is none.
  CKestrandTreeNode* FindChild(const char* name) const;

  CKestrandTreeNode* Parent() const { return parent_; }
  CKestrandTreeNode* NextSibling() const { return nextSibling_; }
  // These three are the target's for a reference.
  CKestrandTreeNode* FirstChild() const { return Shown()->firstChild_; }
  const char* Name() const { return Shown()->name_; }
  // nullptr until the first attribute is added.
  const CPtrList<CKestrandAttribute>* Attributes() const { return Shown()->attributes_; }
  // The node a reference shows; none for an ordinary node.
  const CKestrandTreeNode* Target() const { return target_; }

 private:
  // The node whose name, attributes and children this one shows: itself, or
  // the end of a chain of references.
  const CKestrandTreeNode* Shown() const {
    const CKestrandTreeNode* node = this;
    while (node->target_) node = node->target_;
    return node;
  }
  // Links `child` as the last child.
  void LinkChild(CKestrandTreeNode* child);

  CKestrandTreeNode* parent_ = nullptr;
  CKestrandTreeNode* firstChild_ = nullptr;
  CKestrandTreeNode* nextSibling_ = nullptr;
  char* name_ = nullptr;
  CPtrList<CKestrandAttribute>* attributes_ = nullptr;
  CKestrandTreeNode* lastChild_ = nullptr;
  // Children detached from this node and nodes it holds; owned until this
  // node is destroyed.
  CPtrList<CKestrandTreeNode>* detached_ = nullptr;
  const CKestrandTreeNode* target_ = nullptr;  // for a reference
};

}  // namespace kestrand
