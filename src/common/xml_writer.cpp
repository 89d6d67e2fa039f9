#include "common/xml_writer.h"

#include <cstring>

#include "common/formatters.h"
#include "common/text_format.h"
#include "common/text_writer.h"
#include "platform/types.h"

namespace kestrand {

uint32_t CKestrandXMLWriter::NewAttribute(CKestrandTreeNode* node, const char* name, const char* value) {
  if (!node || !name || node->Target()) return ERROR_INVALID_PARAMETER_CODE;
  if (!value) value = "(null)";
  if (std::strchr(name, ' ')) return ERROR_INVALID_PARAMETER_CODE;
  if (node->AttributeValue(name)) return ERROR_INVALID_PARAMETER_CODE;
  CKestrandAttribute* attribute = CKestrandAttribute::Create(name, value);
  if (!attribute) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  node->AppendAttribute(attribute);
  return 0;
}

uint32_t CKestrandXMLWriter::NewAttribute(CKestrandTreeNode* node, const char* name, const std::string& value) {
  return NewAttribute(node, name, value.c_str());
}

uint32_t CKestrandXMLWriter::NewAttributeW(CKestrandTreeNode* node, const char* name, const char16_t* value) {
  if (!name) return ERROR_INVALID_PARAMETER_CODE;
  if (!value) value = u"(null)";
  bool lossless = false;
  std::string narrow = WideToAnsi(value, &lossless);
  return NewAttribute(node, name, lossless ? narrow.c_str() : "Unknown");
}

uint32_t CKestrandXMLWriter::NewAttributeW(CKestrandTreeNode* node, const char* name, const std::u16string& value) {
  return NewAttributeW(node, name, value.c_str());
}

uint32_t CKestrandXMLWriter::NewAttributeULL(CKestrandTreeNode* node, const char* name, uint64_t value) {
  if (!name) return ERROR_INVALID_PARAMETER_CODE;
  return NewAttribute(node, name, std::to_string(static_cast<unsigned long long>(value)));
}

uint32_t CKestrandXMLWriter::SetElementDisplay(CKestrandTreeNode* node, const char* caption, const char* icon) {
  if (!caption || !icon) return ERROR_INVALID_PARAMETER_CODE;
  uint32_t code = NewAttribute(node, "_ElementDisplayName", caption);
  if (code != 0) return code;
  return NewAttribute(node, "_ElementIcon", icon);
}

uint32_t CKestrandXMLWriter::WriteString(const char* text) {
  if (!text || !stream_) return ERROR_INVALID_PARAMETER_CODE;
  size_t length = std::strlen(text);
  // An empty value is written as zero bytes, which is not a short write.
  if (length == 0) return 0;
  if (std::fwrite(text, length, 1, stream_) != 1) {
    PrintNarrow(stdout, "Failed string %s\n", text);
    return ERROR_XML_SHORT_WRITE_CODE;
  }
  return 0;
}

uint32_t CKestrandXMLWriter::WriteAttributes(const CKestrandTreeNode* node) {
  if (!node->Attributes()) return 0;
  for (CPtrListIterator<CKestrandAttribute> it(*node->Attributes()); !it.AtEnd(); it.Advance()) {
    const char* pieces[] = {" ", it.Current()->Name, "=\"", it.Current()->Value, "\""};
    for (const char* piece : pieces) {
      uint32_t code = WriteString(piece);
      if (code != 0) return code;
    }
  }
  return 0;
}

uint32_t CKestrandXMLWriter::WriteNode(const CKestrandTreeNode* node) {
  if (!node) return ERROR_INVALID_PARAMETER_CODE;
  uint32_t code = WriteString("<");
  if (code == 0) code = WriteString(node->Name());
  if (code == 0) code = WriteAttributes(node);
  if (code != 0) return code;
  if (!node->FirstChild()) return WriteString(" />");
  code = WriteString(">");
  for (const CKestrandTreeNode* child = node->FirstChild(); child && code == 0; child = child->NextSibling())
    code = WriteNode(child);
  if (code == 0) code = WriteString("</");
  if (code == 0) code = WriteString(node->Name());
  if (code == 0) code = WriteString(">");
  return code;
}

uint32_t WriteXmlDocument(const char* fileName, const CKestrandTreeNode* root) {
  if (!fileName || !root) return ERROR_INVALID_PARAMETER_CODE;
  FILE* file = std::fopen(fileName, "w");
  if (!file) return ERROR_INVALID_PARAMETER_CODE;
  CKestrandXMLWriter writer(file);
  uint32_t code = writer.WriteString("<?xml version='1.0' encoding='utf-8'?>");
  if (code == 0) code = writer.WriteNode(root);
  // Buffered bytes reach the file only here, so closing decides success.
  if (std::fclose(file) != 0 && code == 0) code = ERROR_INVALID_PARAMETER_CODE;
  return code;
}

}  // namespace kestrand

namespace kestrand {

CAttributeAdder& CAttributeAdder::Flags(const char* name, uint32_t value) {
  std::u16string text;
  FormatHex(value, text);
  return Wide(name, text);
}

}  // namespace kestrand
