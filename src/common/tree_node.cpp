#include "common/tree_node.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/text_writer.h"
#include "platform/types.h"

namespace kestrand {

namespace {

// A heap copy from the C runtime; nullptr when no memory.
char* CopyText(const char* text) {
  size_t size = std::strlen(text) + 1;
  char* copy = static_cast<char*>(std::malloc(size));
  if (copy) std::memcpy(copy, text, size);
  return copy;
}

}  // namespace

CKestrandAttribute* CKestrandAttribute::Create(const char* name, const char* value) {
  CKestrandAttribute* attribute = new CKestrandAttribute();
  attribute->Name = CopyText(name);
  attribute->Value = CopyText(value);
  if (!attribute->Name || !attribute->Value) {
    delete attribute;
    return nullptr;
  }
  return attribute;
}

CKestrandAttribute::~CKestrandAttribute() {
  std::free(Name);
  std::free(Value);
}

CKestrandTreeNode::CKestrandTreeNode(const char* name) {
  if (!name) return;
  name_ = CopyText(name);
  if (!name_) PrintWide(stderr, u"%s\n", u"CKestrandTreeNode::CKestrandTreeNode() : Failed allocating string");
}

CKestrandTreeNode::~CKestrandTreeNode() {
  CKestrandTreeNode* child = firstChild_;
  while (child) {
    CKestrandTreeNode* next = child->nextSibling_;
    delete child;
    child = next;
  }
  delete detached_;
  delete attributes_;
  std::free(name_);
}

CKestrandTreeNode* CKestrandTreeNode::AddChild(const char* name) {
  if (target_) return nullptr;
  CKestrandTreeNode* child = new CKestrandTreeNode(name);
  LinkChild(child);
  return child;
}

CKestrandTreeNode* CKestrandTreeNode::AddReference(const CKestrandTreeNode* target) {
  if (target_ || !target) return nullptr;
  CKestrandTreeNode* child = new CKestrandTreeNode(nullptr);
  child->target_ = target;
  LinkChild(child);
  return child;
}

CKestrandTreeNode* CKestrandTreeNode::HoldNode(const char* name) {
  CKestrandTreeNode* held = new CKestrandTreeNode(name);
  if (!detached_) detached_ = new CPtrList<CKestrandTreeNode>(true);
  detached_->Append(held);
  return held;
}

void CKestrandTreeNode::LinkChild(CKestrandTreeNode* child) {
  child->parent_ = this;
  if (lastChild_)
    lastChild_->nextSibling_ = child;
  else
    firstChild_ = child;
  lastChild_ = child;
}

uint32_t CKestrandTreeNode::Detach() {
  if (!parent_) return ERROR_INVALID_PARAMETER_CODE;
  CKestrandTreeNode* previous = nullptr;
  for (CKestrandTreeNode* sibling = parent_->firstChild_; sibling != this; sibling = sibling->nextSibling_)
    previous = sibling;
  if (previous)
    previous->nextSibling_ = nextSibling_;
  else
    parent_->firstChild_ = nextSibling_;
  if (parent_->lastChild_ == this) parent_->lastChild_ = previous;
  if (!parent_->detached_) parent_->detached_ = new CPtrList<CKestrandTreeNode>(true);
  parent_->detached_->Append(this);
  parent_ = nullptr;
  nextSibling_ = nullptr;
  return 0;
}

void CKestrandTreeNode::AppendAttribute(CKestrandAttribute* attribute) {
  if (target_) {
    delete attribute;
    return;
  }
  if (!attributes_) attributes_ = new CPtrList<CKestrandAttribute>(true);
  attributes_->Append(attribute);
}

const char* CKestrandTreeNode::AttributeValue(const char* name) const {
  if (!Attributes() || !name) return nullptr;
  for (CPtrListIterator<CKestrandAttribute> it(*Attributes()); !it.AtEnd(); it.Advance())
    if (std::strcmp(it.Current()->Name, name) == 0) return it.Current()->Value;
  return nullptr;
}

CKestrandTreeNode* CKestrandTreeNode::FindChild(const char* name) const {
  if (!name) return nullptr;
  for (CKestrandTreeNode* child = FirstChild(); child; child = child->nextSibling_)
    if (child->Name() && std::strcmp(child->Name(), name) == 0) return child;
  return nullptr;
}

}  // namespace kestrand
