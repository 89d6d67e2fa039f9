// GPT layouts: kind and the report of the used entries.
#include <string>

#include "common/formatters.h"
#include "common/text_writer.h"
#include "common/tree_node.h"
#include "common/xml_writer.h"
#include "disk/disk_layout.h"
#include "disk/gpt_partition_types.h"

namespace kestrand {

namespace {

constexpr size_t kGptNameChars = 36;

// The name field need not be terminated: stop at its end.
std::u16string GptName(const PARTITION_INFORMATION_EX& entry) {
  size_t length = 0;
  while (length < kGptNameChars && entry.Gpt.Name[length] != 0) ++length;
  return std::u16string(entry.Gpt.Name, length);
}

// The grouped usable offset and length, and the disk GUID.
uint32_t FormatHead(const DRIVE_LAYOUT_INFORMATION_EX& head, std::u16string& usableOffset,
                    std::u16string& usableLength, std::u16string& diskId) {
  uint32_t code = FormatGrouped(static_cast<uint64_t>(head.Gpt.StartingUsableOffset), usableOffset);
  if (code == 0) code = FormatGrouped(static_cast<uint64_t>(head.Gpt.UsableLength), usableLength);
  if (code == 0) code = FormatGuid(head.Gpt.DiskId, diskId);
  return code;
}

}  // namespace

uint32_t CGptDiskLayout::FormatRow(const PARTITION_INFORMATION_EX& entry, ExtentTexts& texts, std::u16string& id,
                                   std::u16string& type) const {
  uint32_t code = FormatExtent(entry, texts);
  if (code == 0) code = FormatGuid(entry.Gpt.PartitionId, id);
  if (code == 0) code = GetGptPartitionTypeText(entry.Gpt.PartitionType, type);
  return code;
}

uint32_t CGptDiskLayout::GetDiskKind() {
  bool hasData = false;
  bool hasMetadata = false;
  for (uint32_t i = 0; i < EntryCount(); ++i) {
    const GUID& type = Entry(i)->Gpt.PartitionType;
    if (type == GPT_TYPE_LDM_DATA) hasData = true;
    if (type == GPT_TYPE_LDM_METADATA) hasMetadata = true;
  }
  return hasData && hasMetadata ? DISK_KIND_DYNAMIC : DISK_KIND_BASIC;
}

uint32_t CGptDiskLayout::PrintText(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  const DRIVE_LAYOUT_INFORMATION_EX* head = Head();
  if (!head) return ERROR_INVALID_DATA_CODE;
  std::u16string usableOffset, usableLength, diskId;
  uint32_t code = FormatHead(*head, usableOffset, usableLength, diskId);
  if (code != 0) return code;

  PrintWide(stream, u"%20s PartitionStyle\n", u"GPT");
  PrintWide(stream, u"%20d PartitionCount\n", head->PartitionCount);
  PrintWide(stream, u"%20s %s\n", u"GUID", diskId);
  PrintWide(stream, u"%20s Starting Usable Offset\n", usableOffset);
  PrintWide(stream, u"%20s Usable Length\n", usableLength);
  PrintWide(stream, u"%20ld Maximum Partition Count\n", head->Gpt.MaxPartitionCount);
  PrintWide(stream, u"\n");
  PrintPartitionTable(stream);
  return 0;
}

uint32_t CGptDiskLayout::PrintPartitionTable(FILE* stream) {
  if (!stream) return 0;
  // "Parition Name" is the heading as the report has always spelt it.
  PrintWide(stream, u"%37s\n", u"Parition Name");
  PrintWide(stream, u"%37s %16s %16s %11s %5s %10s\n", u"Partition Style", u"Starting", u"Partition", u"Total",
            u"Part", u"Rewrite");
  PrintWide(stream, u"%37s %16s %16s %11s %5s %10s\n\n", u"Partition GUID", u"Offset (bytes)", u"Length (bytes)",
            u"Sectors", u"No", u"Partition");
  for (uint32_t i = 0; i < EntryCount(); ++i) {
    const PARTITION_INFORMATION_EX& entry = *Entry(i);
    ExtentTexts texts;
    std::u16string id, type;
    if (FormatRow(entry, texts, id, type) != 0) return 0;
    PrintWide(stream, u"%37s\n", GptName(entry));
    PrintWide(stream, u"%37s\n", type);
    PrintWide(stream, u"%37s %16s %16s %11s %5d %10d\n\n", id, texts.StartingOffset,
              texts.PartitionLength, texts.TotalSectors, entry.PartitionNumber, entry.RewritePartition ? 1 : 0);
  }
  return 0;
}

uint32_t CGptDiskLayout::AddToReport(CKestrandTreeNode* node) {
  if (!node) return ERROR_INVALID_PARAMETER_CODE;
  CKestrandTreeNode* layoutNode = nullptr;
  CKestrandTreeNode* basic = nullptr;
  uint32_t code = AddLayoutElements(node, layoutNode, basic);
  if (code != 0) return code;

  const DRIVE_LAYOUT_INFORMATION_EX* head = Head();
  if (!head) return ERROR_INVALID_DATA_CODE;
  std::u16string usableOffset, usableLength, diskId;
  code = FormatHead(*head, usableOffset, usableLength, diskId);
  if (code == 0) code = CKestrandXMLWriter::NewAttributeW(basic, "PartitionStyle", u"GPT");
  if (code == 0) code = CKestrandXMLWriter::NewAttributeULL(basic, "PartitionCount", head->PartitionCount);
  if (code == 0) code = CKestrandXMLWriter::NewAttributeW(basic, "GUID", diskId);
  if (code == 0) code = CKestrandXMLWriter::NewAttributeW(basic, "StartingUsableOffset", usableOffset);
  if (code == 0) code = CKestrandXMLWriter::NewAttributeW(basic, "UsableLength", usableLength);
  if (code == 0)
    code = CKestrandXMLWriter::NewAttributeULL(basic, "MaximumPartitionCount", head->Gpt.MaxPartitionCount);
  if (code != 0) return code;
  return AddPartitionsToReport(layoutNode);
}

uint32_t CGptDiskLayout::AddPartitionsToReport(CKestrandTreeNode* layoutNode) {
  if (!layoutNode) return ERROR_INVALID_PARAMETER_CODE;
  for (uint32_t i = 0; i < EntryCount(); ++i) {
    const PARTITION_INFORMATION_EX& entry = *Entry(i);
    ExtentTexts texts;
    std::u16string id, type;
    uint32_t code = FormatRow(entry, texts, id, type);
    if (code != 0) return code;
    CKestrandTreeNode* partition = nullptr;
    code = AddPartitionElement(layoutNode, i, partition);
    if (code == 0) code = CKestrandXMLWriter::NewAttributeW(partition, "GptName", GptName(entry));
    if (code == 0) code = CKestrandXMLWriter::NewAttributeW(partition, "PartitionType", type);
    if (code == 0) code = CKestrandXMLWriter::NewAttributeW(partition, "PartitionId", id);
    if (code == 0) code = CKestrandXMLWriter::NewAttributeW(partition, "StartingOffset", texts.StartingOffset);
    if (code == 0) code = CKestrandXMLWriter::NewAttributeW(partition, "PartitionLength", texts.PartitionLength);
    if (code == 0) code = CKestrandXMLWriter::NewAttributeW(partition, "TotalSectors", texts.TotalSectors);
    if (code == 0) code = CKestrandXMLWriter::NewAttributeULL(partition, "PartitionNumber", entry.PartitionNumber);
    if (code == 0)
      code = CKestrandXMLWriter::NewAttribute(partition, "RewritePartition", entry.RewritePartition ? "True" : "False");
    if (code != 0) return code;
  }
  return 0;
}

}  // namespace kestrand
