// MBR layouts: kind and the report of the four primary slots and of the
// entries the extended partitions add.
#include <string>

#include "common/formatters.h"
#include "common/text_writer.h"
#include "common/tree_node.h"
#include "common/xml_writer.h"
#include "disk/disk_layout.h"

namespace kestrand {

namespace {

const char* TrueFalse(uint8_t flag) { return flag ? "True" : "False"; }

}  // namespace

uint32_t CMbrDiskLayout::GetDiskKind() {
  for (uint32_t i = 0; i < EntryCount(); ++i)
    if (Entry(i)->Mbr.PartitionType == MBR_TYPE_LDM) return DISK_KIND_DYNAMIC;
  return DISK_KIND_BASIC;
}

uint32_t CMbrDiskLayout::PrintText(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  const DRIVE_LAYOUT_INFORMATION_EX* head = Head();
  uint32_t signature = head ? head->Mbr.Signature : 0;
  PrintWide(stream, u"%20s PartitionStyle\n", u"MBR");
  PrintWide(stream, u"%20d PartitionCount\n", PartitionCount());
  PrintWide(stream, u"%20lx Signature\n", signature);
  PrintWide(stream, u"\n");
  PrintPartitionTable(stream);
  return 0;
}

uint32_t CMbrDiskLayout::PrintPartitionTable(FILE* stream) {
  if (!stream) return 0;
  const char16_t* headings = u"%16s %18s %10s %14s %10s %12s %10s %10s %10s\n";
  PrintWide(stream, headings, u"Starting", u"Partition", u"Hidden", u"Total", u"Partition", u"Partition", u"Boot",
            u"Recognized", u"Rewrite");
  PrintWide(stream, headings, u"Offset (bytes)", u"Length (bytes)", u"Sectors", u"Sectors", u"Number",
            u"Type (HEX)", u"Indicator", u"Partition", u"Partition");
  for (uint32_t i = 0; i < EntryCount(); ++i) {
    const PARTITION_INFORMATION_EX& entry = *Entry(i);
    ExtentTexts texts;
    std::u16string hidden;
    if (FormatExtent(entry, texts) != 0 || FormatGrouped(entry.Mbr.HiddenSectors, hidden) != 0) return 0;
    PrintWide(stream, u"%16s %18s %10s %14s %10d %12x %10d %10d %10d\n", texts.StartingOffset,
              texts.PartitionLength, hidden, texts.TotalSectors, entry.PartitionNumber,
              entry.Mbr.PartitionType, entry.Mbr.BootIndicator ? 1 : 0, entry.Mbr.RecognizedPartition ? 1 : 0,
              entry.RewritePartition ? 1 : 0);
  }
  return 0;
}

uint32_t CMbrDiskLayout::AddToReport(CKestrandTreeNode* node) {
  if (!node) return ERROR_INVALID_PARAMETER_CODE;
  CKestrandTreeNode* layoutNode = nullptr;
  CKestrandTreeNode* basic = nullptr;
  uint32_t code = AddLayoutElements(node, layoutNode, basic);
  if (code != 0) return code;

  const DRIVE_LAYOUT_INFORMATION_EX* head = Head();
  std::string signature = FormatNarrow("%x", head ? head->Mbr.Signature : 0u);
  code = CKestrandXMLWriter::NewAttributeW(basic, "PartitionStyle", u"MBR");
  if (code == 0) code = CKestrandXMLWriter::NewAttributeULL(basic, "PartitionCount", PartitionCount());
  if (code == 0) code = CKestrandXMLWriter::NewAttribute(basic, "MBRSignature", signature);
  if (code != 0) return code;
  return AddPartitionsToReport(layoutNode);
}

uint32_t CMbrDiskLayout::AddPartitionsToReport(CKestrandTreeNode* layoutNode) {
  if (!layoutNode) return ERROR_INVALID_PARAMETER_CODE;
  for (uint32_t i = 0; i < EntryCount(); ++i) {
    const PARTITION_INFORMATION_EX& entry = *Entry(i);
    ExtentTexts texts;
    std::u16string hidden;
    uint32_t code = FormatExtent(entry, texts);
    if (code == 0) code = FormatGrouped(entry.Mbr.HiddenSectors, hidden);
    if (code != 0) return code;
    CKestrandTreeNode* partition = nullptr;
    code = AddPartitionElement(layoutNode, i, partition);
    if (code != 0) return code;

    std::u16string type;
    code = FormatHex(entry.Mbr.PartitionType, type);
    if (code == 0) code = CKestrandXMLWriter::NewAttributeW(partition, "StartingOffset", texts.StartingOffset);
    if (code == 0) code = CKestrandXMLWriter::NewAttributeW(partition, "PartitionLength", texts.PartitionLength);
    if (code == 0) code = CKestrandXMLWriter::NewAttributeW(partition, "HiddenSectors", hidden);
    if (code == 0) code = CKestrandXMLWriter::NewAttributeW(partition, "TotalSectors", texts.TotalSectors);
    if (code == 0) code = CKestrandXMLWriter::NewAttributeULL(partition, "PartitionNumber", entry.PartitionNumber);
    if (code == 0) code = CKestrandXMLWriter::NewAttributeW(partition, "PartitionType", type);
    if (code == 0) code = CKestrandXMLWriter::NewAttribute(partition, "BootIndicator", TrueFalse(entry.Mbr.BootIndicator));
    if (code == 0)
      code = CKestrandXMLWriter::NewAttribute(partition, "RecognizedPartition",
                                              TrueFalse(entry.Mbr.RecognizedPartition));
    if (code == 0)
      code = CKestrandXMLWriter::NewAttribute(partition, "RewritePartition", TrueFalse(entry.RewritePartition));
    if (code != 0) return code;
  }
  return 0;
}

}  // namespace kestrand
