// Small helpers shared by the LDM report sections: value forms as wide text
// and a run of XML attributes that stops at the first failure.
#pragma once

#include <cstdint>
#include <string>

#include "common/formatters.h"
#include "common/xml_writer.h"
#include "platform/types.h"

namespace kestrand {

inline std::u16string GuidText(const GUID& guid) {
  std::u16string text;
  FormatGuid(guid, text);
  return text;
}

inline std::u16string GroupedText(uint64_t value) {
  std::u16string text;
  FormatGrouped(value, text);
  return text;
}

// Adds attributes in order; after the first failure nothing more is added
// and Code() keeps that failure.
class AttributeSequence {
 public:
  explicit AttributeSequence(CKestrandTreeNode* node) : node_(node) {}

  void Text(const char* name, const char* value) {
    if (code_ == 0) code_ = CKestrandXMLWriter::NewAttribute(node_, name, value);
  }
  void Text(const char* name, const std::string& value) { Text(name, value.c_str()); }
  void Wide(const char* name, const char16_t* value) {
    if (code_ == 0) code_ = CKestrandXMLWriter::NewAttributeW(node_, name, value);
  }
  void Wide(const char* name, const std::u16string& value) { Wide(name, value.c_str()); }
  void Number(const char* name, uint64_t value) {
    if (code_ == 0) code_ = CKestrandXMLWriter::NewAttributeULL(node_, name, value);
  }
  // "0x%08lx"
  void Flags(const char* name, uint32_t value) {
    std::u16string text;
    FormatHex(value, text);
    Wide(name, text);
  }
  uint32_t Code() const { return code_; }

 private:
  CKestrandTreeNode* node_;
  uint32_t code_ = 0;
};

// A new child `name` with its caption and icon; nullptr with `code` set when
// it cannot be made.
inline CKestrandTreeNode* AddDisplayedChild(CKestrandTreeNode* parent, const char* name, const std::string& caption,
                                            const char* icon, uint32_t& code) {
  CKestrandTreeNode* child = parent->AddChild(name);
  if (!child) {
    code = ERROR_NOT_ENOUGH_MEMORY_CODE;
    return nullptr;
  }
  code = CKestrandXMLWriter::SetElementDisplay(child, caption.c_str(), icon);
  return code == 0 ? child : nullptr;
}

}  // namespace kestrand
