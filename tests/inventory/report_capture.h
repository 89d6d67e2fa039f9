// Helpers to look at what a report operation produced: the bytes it wrote to
// a stream, and the attributes of a report tree element.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "common/tree_node.h"

namespace kestrand {

// Runs `print(stream)` on a temporary file; returns the bytes written and
// stores the operation's code in `code`.
template <class Print>
std::string Printed(Print print, uint32_t& code) {
  std::string bytes;
  FILE* stream = std::tmpfile();
  if (!stream) {
    ADD_FAILURE() << "no temporary file";
    code = ~0u;
    return bytes;
  }
  code = print(stream);
  std::rewind(stream);
  char buffer[4096];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, stream)) > 0;) bytes.append(buffer, n);
  std::fclose(stream);
  return bytes;
}

using AttributeList = std::vector<std::pair<std::string, std::string>>;

inline AttributeList AttributesOf(const CKestrandTreeNode* node) {
  AttributeList list;
  if (!node || !node->Attributes()) return list;
  for (CPtrListIterator<CKestrandAttribute> it(*node->Attributes()); !it.AtEnd(); it.Advance())
    list.emplace_back(it.Current()->Name, it.Current()->Value);
  return list;
}

inline std::vector<const CKestrandTreeNode*> ChildrenOf(const CKestrandTreeNode* node) {
  std::vector<const CKestrandTreeNode*> children;
  for (const CKestrandTreeNode* child = node ? node->FirstChild() : nullptr; child;
       child = child->NextSibling())
    children.push_back(child);
  return children;
}

}  // namespace kestrand
