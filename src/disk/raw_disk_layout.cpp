// RAW layouts: no partition table (or an MBR table without entries).
#include "common/text_writer.h"
#include "common/tree_node.h"
#include "common/xml_writer.h"
#include "disk/disk_layout.h"

namespace kestrand {

uint32_t CRawDiskLayout::PrintText(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  PrintWide(stream, u"%20s PartitionStyle\n", u"RAW");
  PrintWide(stream, u"%20d PartitionCount\n", 0);
  return 0;
}

uint32_t CRawDiskLayout::AddToReport(CKestrandTreeNode* node) {
  CKestrandTreeNode* layoutNode = nullptr;
  uint32_t code = AddElement(node, "DiskLayout", "Disk Layout", layoutNode);
  if (code == 0) code = CKestrandXMLWriter::NewAttribute(layoutNode, "PartitionStyle", "RAW");
  if (code == 0) code = CKestrandXMLWriter::NewAttributeULL(layoutNode, "PartitionCount", PartitionCount());
  return code;
}

}  // namespace kestrand
