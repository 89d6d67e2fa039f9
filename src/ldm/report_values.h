// Small helpers shared by the LDM report sections: value forms as wide text
// and new captioned children.
#pragma once

#include <cstdint>
#include <string>

#include "common/formatters.h"
#include "common/xml_writer.h"
#include "platform/types.h"

namespace kestrand {

// Both formatters write into a string that grows as needed and give 0 for
// every value, so there is no code to look at.
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
