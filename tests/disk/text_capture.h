// Captures what a text report operation writes, and reads report tree nodes,
// for the disk and driver report tests.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "common/tree_node.h"

namespace kestrand {

// The bytes `print(stream)` wrote to a temporary file; its code in `code`.
template <class Print>
std::string CaptureText(Print print, uint32_t* code = nullptr) {
  std::string bytes;
  FILE* stream = std::tmpfile();
  if (!stream) {
    ADD_FAILURE() << "no temporary file";
    return bytes;
  }
  uint32_t result = print(stream);
  if (code) *code = result;
  std::rewind(stream);
  char buffer[4096];
  for (size_t n; (n = std::fread(buffer, 1, sizeof buffer, stream)) > 0;) bytes.append(buffer, n);
  std::fclose(stream);
  return bytes;
}

using NodeAttributes = std::vector<std::pair<std::string, std::string>>;

inline NodeAttributes AttributesOf(const CKestrandTreeNode* node) {
  NodeAttributes list;
  if (!node || !node->Attributes()) return list;
  for (CPtrListIterator<CKestrandAttribute> it(*node->Attributes()); !it.AtEnd(); it.Advance())
    list.emplace_back(it.Current()->Name, it.Current()->Value);
  return list;
}

inline std::vector<std::string> ChildNames(const CKestrandTreeNode* node) {
  std::vector<std::string> names;
  for (const CKestrandTreeNode* child = node ? node->FirstChild() : nullptr; child; child = child->NextSibling())
    names.push_back(child->Name() ? child->Name() : "");
  return names;
}

inline const CKestrandTreeNode* ChildAt(const CKestrandTreeNode* node, size_t index) {
  const CKestrandTreeNode* child = node ? node->FirstChild() : nullptr;
  for (; child && index > 0; --index) child = child->NextSibling();
  return child;
}

}  // namespace kestrand
