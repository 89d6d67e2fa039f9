// Builds attributes of the report tree and writes the tree as XML: one line,
// no whitespace but the blanks inside tags, nothing escaped. Attribute names
// have no blank and are unique per element; values are narrow text.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "common/first_code.h"
#include "common/tree_node.h"

namespace kestrand {

// Returned by WriteString when the stream took fewer bytes than given.
constexpr uint32_t ERROR_XML_SHORT_WRITE_CODE = 1006;

class CKestrandXMLWriter {
 public:
  explicit CKestrandXMLWriter(FILE* stream) : stream_(stream) {}

  // 87 for a missing node or name, a name with a blank, a name the node
  // already has, or a reference node (the node is then unchanged); a missing
  // value is "(null)".
  static uint32_t NewAttribute(CKestrandTreeNode* node, const char* name, const char* value);
  static uint32_t NewAttribute(CKestrandTreeNode* node, const char* name, const std::string& value);
  // A value that is not plain ASCII cannot be converted to the report's
  // narrow code page and becomes "Unknown".
  static uint32_t NewAttributeW(CKestrandTreeNode* node, const char* name, const char16_t* value);
  static uint32_t NewAttributeW(CKestrandTreeNode* node, const char* name, const std::u16string& value);
  // Unsigned decimal, no grouping.
  static uint32_t NewAttributeULL(CKestrandTreeNode* node, const char* name, uint64_t value);
  // `_ElementDisplayName` then `_ElementIcon`; both must be given.
  static uint32_t SetElementDisplay(CKestrandTreeNode* node, const char* caption, const char* icon);

  // 87 without text or stream; 1006 (after the message "Failed string %s\n"
  // on standard output) when the stream takes fewer bytes than given.
  uint32_t WriteString(const char* text);
  // The node and its subtree, a reference as if its target stood in its
  // place; the first non-zero code stops the walk.
  uint32_t WriteNode(const CKestrandTreeNode* node);

 private:
  uint32_t WriteAttributes(const CKestrandTreeNode* node);

  FILE* stream_;
};

// Writes the declaration and the tree rooted at `root` to a new file
// `fileName`: 87 when it cannot be opened or closed, else the first
// non-zero code of the writing.
uint32_t WriteXmlDocument(const char* fileName, const CKestrandTreeNode* root);

// Adds attributes to one node in order; after the first failure nothing more
// is added and Code() keeps that failure.
class CAttributeAdder {
 public:
  explicit CAttributeAdder(CKestrandTreeNode* node, uint32_t code = 0) : node_(node), code_(code) {}

  CAttributeAdder& Text(const char* name, const char* value) {
    code_.Then([&] { return CKestrandXMLWriter::NewAttribute(node_, name, value); });
    return *this;
  }
  CAttributeAdder& Text(const char* name, const std::string& value) { return Text(name, value.c_str()); }
  CAttributeAdder& Wide(const char* name, const char16_t* value) {
    code_.Then([&] { return CKestrandXMLWriter::NewAttributeW(node_, name, value); });
    return *this;
  }
  CAttributeAdder& Wide(const char* name, const std::u16string& value) { return Wide(name, value.c_str()); }
  CAttributeAdder& Number(const char* name, uint64_t value) {
    code_.Then([&] { return CKestrandXMLWriter::NewAttributeULL(node_, name, value); });
    return *this;
  }
  // "0x%08lx"
  CAttributeAdder& Flags(const char* name, uint32_t value);
  // `_ElementDisplayName` then `_ElementIcon`.
  CAttributeAdder& Display(const char* caption, const char* icon) {
    code_.Then([&] { return CKestrandXMLWriter::SetElementDisplay(node_, caption, icon); });
    return *this;
  }
  // A step of another kind that belongs to the same chain.
  template <typename Step>
  CAttributeAdder& Then(Step&& step) {
    code_.Then(std::forward<Step>(step));
    return *this;
  }

  uint32_t Code() const { return code_.Code(); }

 private:
  CKestrandTreeNode* node_;
  CFirstCode code_;
};

}  // namespace kestrand
