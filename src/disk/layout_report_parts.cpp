// The pieces of the report that the MBR and GPT layouts share.
#include <string>

#include "common/formatters.h"
#include "common/text_format.h"
#include "common/tree_node.h"
#include "common/xml_writer.h"
#include "disk/disk_layout.h"

namespace kestrand {

uint32_t CDiskLayout::FormatExtent(const PARTITION_INFORMATION_EX& entry, ExtentTexts& texts) const {
  uint32_t code = FormatGrouped(static_cast<uint64_t>(entry.StartingOffset), texts.StartingOffset);
  if (code == 0) code = FormatGrouped(static_cast<uint64_t>(entry.PartitionLength), texts.PartitionLength);
  if (code == 0) code = FormatGrouped(TotalSectors(entry), texts.TotalSectors);
  return code;
}

uint32_t CDiskLayout::AddElement(CKestrandTreeNode* parent, const char* name, const char* caption,
                                 CKestrandTreeNode*& added) {
  if (!parent) return ERROR_INVALID_PARAMETER_CODE;
  added = parent->AddChild(name);
  if (!added) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  return CKestrandXMLWriter::SetElementDisplay(added, caption, "3");
}

uint32_t CDiskLayout::AddLayoutElements(CKestrandTreeNode* node, CKestrandTreeNode*& layoutNode,
                                        CKestrandTreeNode*& basic) {
  uint32_t code = AddElement(node, "DiskLayout", "Disk Layout", layoutNode);
  if (code == 0) code = AddElement(layoutNode, "BasicInformation", "Basic Information", basic);
  return code;
}

uint32_t CDiskLayout::AddPartitionElement(CKestrandTreeNode* layoutNode, uint32_t i, CKestrandTreeNode*& partition) {
  const std::string name = FormatNarrow("Partition%d", i + 1);
  return AddElement(layoutNode, name.c_str(), name.c_str(), partition);
}

}  // namespace kestrand
