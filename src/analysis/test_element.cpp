#include "analysis/test_element.h"

#include "common/tree_node.h"
#include "common/xml_writer.h"
#include "platform/types.h"

namespace kestrand {

CKestrandTreeNode* AddTestElement(CKestrandTreeNode* parent, const std::string& name,
                                  const std::string& description, uint32_t& code) {
  code = ERROR_INVALID_PARAMETER_CODE;
  if (!parent) return nullptr;
  CKestrandTreeNode* test = parent->AddChild("Test");
  code = ERROR_NOT_ENOUGH_MEMORY_CODE;
  if (!test) return nullptr;
  // The icon comes after the mismatches, so the two display attributes are
  // added one by one.
  code = CKestrandXMLWriter::NewAttribute(test, "_ElementDisplayName", name);
  if (code == 0) code = CKestrandXMLWriter::NewAttribute(test, "Description", description);
  return code == 0 ? test : nullptr;
}

void CTestMismatches::Compare(const char* name, bool differs) {
  if (!differs) return;
  found_ = true;
  Note(name, kNotIdentical);
}

void CTestMismatches::Note(const char* name, const char* value) {
  if (code_ == 0) code_ = CKestrandXMLWriter::NewAttribute(test_, name, value);
}

uint32_t SetTestVerdict(CKestrandTreeNode* test, bool passed, const char* failIcon) {
  uint32_t code = CKestrandXMLWriter::NewAttribute(test, "_ElementIcon", passed ? "16" : failIcon);
  if (code != 0) return code;
  return CKestrandXMLWriter::NewAttribute(test, "Status", passed ? "Passed" : "Failed");
}

}  // namespace kestrand
