// Reading the report tree: attributes in order, children by name or caption.
#pragma once

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "common/xml_writer.h"

namespace kestrand {

using NodeAttributes = std::vector<std::pair<std::string, std::string>>;

inline const char* Attr(const CKestrandTreeNode* node, const char* name) {
  return node ? node->AttributeValue(name) : nullptr;
}

inline NodeAttributes AttributesOf(const CKestrandTreeNode* node) {
  NodeAttributes list;
  if (!node || !node->Attributes()) return list;
  for (CPtrListIterator<CKestrandAttribute> it(*node->Attributes()); !it.AtEnd(); it.Advance())
    list.emplace_back(it.Current()->Name, it.Current()->Value);
  return list;
}

inline std::vector<std::string> AttributeNames(const CKestrandTreeNode* node) {
  std::vector<std::string> names;
  for (const auto& attribute : AttributesOf(node)) names.push_back(attribute.first);
  return names;
}

inline std::vector<CKestrandTreeNode*> ChildrenOf(const CKestrandTreeNode* node) {
  std::vector<CKestrandTreeNode*> children;
  for (CKestrandTreeNode* child = node ? node->FirstChild() : nullptr; child; child = child->NextSibling())
    children.push_back(child);
  return children;
}

inline std::vector<std::string> ChildNames(const CKestrandTreeNode* node) {
  std::vector<std::string> names;
  for (const CKestrandTreeNode* child : ChildrenOf(node)) names.push_back(child->Name() ? child->Name() : "");
  return names;
}

// The child at `index`; nullptr past the last.
inline CKestrandTreeNode* ChildAt(const CKestrandTreeNode* node, size_t index) {
  const std::vector<CKestrandTreeNode*> children = ChildrenOf(node);
  return index < children.size() ? children[index] : nullptr;
}

// The first child whose display name is `caption`; nullptr without one.
inline CKestrandTreeNode* ChildCaptioned(const CKestrandTreeNode* node, const std::string& caption) {
  for (CKestrandTreeNode* child : ChildrenOf(node)) {
    const char* value = child->AttributeValue("_ElementDisplayName");
    if (value && caption == value) return child;
  }
  return nullptr;
}

// Every child named `name`, in order.
inline std::vector<CKestrandTreeNode*> ChildrenNamed(const CKestrandTreeNode* node, const char* name) {
  std::vector<CKestrandTreeNode*> named;
  for (CKestrandTreeNode* child : ChildrenOf(node))
    if (std::strcmp(child->Name(), name) == 0) named.push_back(child);
  return named;
}

// Every node of the subtree (the node itself included) named `name`.
inline std::vector<CKestrandTreeNode*> DescendantsNamed(const CKestrandTreeNode* node, const char* name) {
  std::vector<CKestrandTreeNode*> found;
  if (!node) return found;
  if (std::strcmp(node->Name(), name) == 0) found.push_back(const_cast<CKestrandTreeNode*>(node));
  for (CKestrandTreeNode* child : ChildrenOf(node)) {
    std::vector<CKestrandTreeNode*> below = DescendantsNamed(child, name);
    found.insert(found.end(), below.begin(), below.end());
  }
  return found;
}

}  // namespace kestrand
