#include "disk/disk_layout.h"

#include <cstdlib>
#include <new>
#include <string>

#include "common/formatters.h"
#include "common/text_format.h"
#include "common/xml_writer.h"
#include "disk/disk.h"

namespace kestrand {

namespace {

struct GptTypeName {
  GUID Type;
  const char16_t* Name;
};

constexpr char16_t kUnknownTypeName[] = u"Unknown";

// Compared in this order; the first match names the type.
constexpr GptTypeName kGptTypeNames[] = {
    {{0, 0, 0, {0, 0, 0, 0, 0, 0, 0, 0}}, u"Entry unused"},
    {{0xC12A7328, 0xF81F, 0x11D2, {0xBA, 0x4B, 0x00, 0xA0, 0xC9, 0x3E, 0xC9, 0x3B}}, u"EFI system"},
    {{0xE3C9E316, 0x0B5C, 0x4DB8, {0x81, 0x7D, 0xF9, 0x2D, 0xF0, 0x02, 0x15, 0xAE}}, u"Zorv reserved"},
    {{0xEBD0A0A2, 0xB9E5, 0x4433, {0x87, 0xC0, 0x68, 0xB6, 0xB7, 0x26, 0x99, 0xC7}}, u"Basic data"},
    {GPT_TYPE_LDM_METADATA, u"LDM metadata"},
    {GPT_TYPE_LDM_DATA, u"LDM data"},
};

const char* TrueFalse(uint8_t flag) { return flag ? "True" : "False"; }

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
  return CFirstCode()
      .Then([&] { return FormatGrouped(static_cast<uint64_t>(head.Gpt.StartingUsableOffset), usableOffset); })
      .Then([&] { return FormatGrouped(static_cast<uint64_t>(head.Gpt.UsableLength), usableLength); })
      .Then([&] { return FormatGuid(head.Gpt.DiskId, diskId); })
      .Code();
}

}  // namespace

CDiskLayout::~CDiskLayout() { std::free(buffer_); }

uint32_t CDiskLayout::PrintText(FILE* stream) { return stream ? 0 : ERROR_INVALID_PARAMETER_CODE; }

uint32_t CDiskLayout::AddToReport(CKestrandTreeNode* node) { return node ? 0 : ERROR_INVALID_PARAMETER_CODE; }

uint32_t CDiskLayout::GetDiskKind() { return DISK_KIND_RAW; }

uint32_t CDiskLayout::GetPartitionStyle() { return PARTITION_STYLE_RAW; }

void CDiskLayout::SetBuffer(uint8_t* buffer, uint32_t size) {
  if (buffer_ != buffer) std::free(buffer_);
  buffer_ = buffer;
  bufferSize_ = buffer ? size : 0;
}

const DRIVE_LAYOUT_INFORMATION_EX* CDiskLayout::Head() const {
  if (!buffer_ || bufferSize_ < DRIVE_LAYOUT_HEAD_BYTES) return nullptr;
  return reinterpret_cast<const DRIVE_LAYOUT_INFORMATION_EX*>(buffer_);
}

uint32_t CDiskLayout::PartitionCount() const {
  const DRIVE_LAYOUT_INFORMATION_EX* head = Head();
  return head ? head->PartitionCount : 0;
}

uint32_t CDiskLayout::EntryCount() const {
  if (!Head()) return 0;
  uint32_t fits = (bufferSize_ - DRIVE_LAYOUT_HEAD_BYTES) / PARTITION_ENTRY_BYTES;
  uint32_t count = PartitionCount();
  return count < fits ? count : fits;
}

const PARTITION_INFORMATION_EX* CDiskLayout::Entry(uint32_t i) const {
  if (i >= EntryCount()) return nullptr;
  size_t offset = DRIVE_LAYOUT_HEAD_BYTES + static_cast<size_t>(i) * PARTITION_ENTRY_BYTES;
  return reinterpret_cast<const PARTITION_INFORMATION_EX*>(buffer_ + offset);
}

uint64_t CDiskLayout::TotalSectors(const PARTITION_INFORMATION_EX& entry) const {
  uint32_t bytesPerSector = disk_ ? disk_->BytesPerSector() : 0;
  if (bytesPerSector == 0) return 0;
  return static_cast<uint64_t>(entry.PartitionLength / static_cast<int64_t>(bytesPerSector));
}

CDiskLayout* NewLayoutFor(const uint8_t* buffer, uint32_t size) {
  uint32_t style = PARTITION_STYLE_RAW;
  uint32_t count = 0;
  if (buffer && size >= DRIVE_LAYOUT_HEAD_BYTES) {
    const auto* head = reinterpret_cast<const DRIVE_LAYOUT_INFORMATION_EX*>(buffer);
    style = head->PartitionStyle;
    count = head->PartitionCount;
  }
  if (style == PARTITION_STYLE_MBR && count != 0) return new (std::nothrow) CMbrDiskLayout();
  if (style == PARTITION_STYLE_GPT) return new (std::nothrow) CGptDiskLayout();
  return new (std::nothrow) CRawDiskLayout();
}

// The pieces of the report that the MBR and GPT layouts share.

uint32_t CDiskLayout::FormatExtent(const PARTITION_INFORMATION_EX& entry, ExtentTexts& texts) const {
  return CFirstCode()
      .Then([&] { return FormatGrouped(static_cast<uint64_t>(entry.StartingOffset), texts.StartingOffset); })
      .Then([&] { return FormatGrouped(static_cast<uint64_t>(entry.PartitionLength), texts.PartitionLength); })
      .Then([&] { return FormatGrouped(TotalSectors(entry), texts.TotalSectors); })
      .Code();
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
  return CFirstCode()
      .Then([&] { return AddElement(node, "DiskLayout", "Disk Layout", layoutNode); })
      .Then([&] { return AddElement(layoutNode, "BasicInformation", "Basic Information", basic); })
      .Code();
}

uint32_t CDiskLayout::AddPartitionElement(CKestrandTreeNode* layoutNode, uint32_t i, CKestrandTreeNode*& partition) {
  const std::string name = FormatNarrow("Partition%d", i + 1);
  return AddElement(layoutNode, name.c_str(), name.c_str(), partition);
}

// GPT partition type names.

uint32_t GetGptPartitionTypeName(const GUID& type, std::u16string& name) {
  for (const GptTypeName& known : kGptTypeNames) {
    if (known.Type == type) {
      name = known.Name;
      return 0;
    }
  }
  name = kUnknownTypeName;
  return 0;
}

uint32_t GetGptPartitionTypeText(const GUID& type, std::u16string& text) {
  uint32_t code = GetGptPartitionTypeName(type, text);
  if (code != 0) return code;
  if (text == kUnknownTypeName) return FormatGuid(type, text);
  return 0;
}

// MBR layouts: kind and the report of the four primary slots and of the
// entries the extended partitions add.

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
  // The table's outcome is not passed on: the lines it wrote are the section.
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
    // A number that cannot be formatted ends the table; the rows written stay.
    if (CFirstCode()
            .Then([&] { return FormatExtent(entry, texts); })
            .Then([&] { return FormatGrouped(entry.Mbr.HiddenSectors, hidden); })
            .Failed())
      return 0;
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
  return CAttributeAdder(basic)
      .Wide("PartitionStyle", u"MBR")
      .Number("PartitionCount", PartitionCount())
      .Text("MBRSignature", signature)
      .Then([&] { return AddPartitionsToReport(layoutNode); })
      .Code();
}

uint32_t CMbrDiskLayout::AddPartitionsToReport(CKestrandTreeNode* layoutNode) {
  if (!layoutNode) return ERROR_INVALID_PARAMETER_CODE;
  for (uint32_t i = 0; i < EntryCount(); ++i) {
    const PARTITION_INFORMATION_EX& entry = *Entry(i);
    ExtentTexts texts;
    std::u16string hidden, type;
    CKestrandTreeNode* partition = nullptr;
    uint32_t code = CFirstCode()
                        .Then([&] { return FormatExtent(entry, texts); })
                        .Then([&] { return FormatGrouped(entry.Mbr.HiddenSectors, hidden); })
                        .Then([&] { return AddPartitionElement(layoutNode, i, partition); })
                        .Then([&] { return FormatHex(entry.Mbr.PartitionType, type); })
                        .Code();
    code = CAttributeAdder(partition, code)
               .Wide("StartingOffset", texts.StartingOffset)
               .Wide("PartitionLength", texts.PartitionLength)
               .Wide("HiddenSectors", hidden)
               .Wide("TotalSectors", texts.TotalSectors)
               .Number("PartitionNumber", entry.PartitionNumber)
               .Wide("PartitionType", type)
               .Text("BootIndicator", TrueFalse(entry.Mbr.BootIndicator))
               .Text("RecognizedPartition", TrueFalse(entry.Mbr.RecognizedPartition))
               .Text("RewritePartition", TrueFalse(entry.RewritePartition))
               .Code();
    if (code != 0) return code;
  }
  return 0;
}

// GPT layouts: kind and the report of the used entries.

uint32_t CGptDiskLayout::FormatRow(const PARTITION_INFORMATION_EX& entry, ExtentTexts& texts, std::u16string& id,
                                   std::u16string& type) const {
  return CFirstCode()
      .Then([&] { return FormatExtent(entry, texts); })
      .Then([&] { return FormatGuid(entry.Gpt.PartitionId, id); })
      .Then([&] { return GetGptPartitionTypeText(entry.Gpt.PartitionType, type); })
      .Code();
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
  // The table's outcome is not passed on: the lines it wrote are the section.
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
    // A number that cannot be formatted ends the table; the rows written stay.
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
  return CAttributeAdder(basic, FormatHead(*head, usableOffset, usableLength, diskId))
      .Wide("PartitionStyle", u"GPT")
      .Number("PartitionCount", head->PartitionCount)
      .Wide("GUID", diskId)
      .Wide("StartingUsableOffset", usableOffset)
      .Wide("UsableLength", usableLength)
      .Number("MaximumPartitionCount", head->Gpt.MaxPartitionCount)
      .Then([&] { return AddPartitionsToReport(layoutNode); })
      .Code();
}

uint32_t CGptDiskLayout::AddPartitionsToReport(CKestrandTreeNode* layoutNode) {
  if (!layoutNode) return ERROR_INVALID_PARAMETER_CODE;
  for (uint32_t i = 0; i < EntryCount(); ++i) {
    const PARTITION_INFORMATION_EX& entry = *Entry(i);
    ExtentTexts texts;
    std::u16string id, type;
    CKestrandTreeNode* partition = nullptr;
    uint32_t code = CFirstCode()
                        .Then([&] { return FormatRow(entry, texts, id, type); })
                        .Then([&] { return AddPartitionElement(layoutNode, i, partition); })
                        .Code();
    code = CAttributeAdder(partition, code)
               .Wide("GptName", GptName(entry))
               .Wide("PartitionType", type)
               .Wide("PartitionId", id)
               .Wide("StartingOffset", texts.StartingOffset)
               .Wide("PartitionLength", texts.PartitionLength)
               .Wide("TotalSectors", texts.TotalSectors)
               .Number("PartitionNumber", entry.PartitionNumber)
               .Text("RewritePartition", entry.RewritePartition ? "True" : "False")
               .Code();
    if (code != 0) return code;
  }
  return 0;
}

// RAW layouts: no partition table (or an MBR table without entries).

uint32_t CRawDiskLayout::PrintText(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  PrintWide(stream, u"%20s PartitionStyle\n", u"RAW");
  PrintWide(stream, u"%20d PartitionCount\n", 0);
  return 0;
}

uint32_t CRawDiskLayout::AddToReport(CKestrandTreeNode* node) {
  CKestrandTreeNode* layoutNode = nullptr;
  uint32_t code = AddElement(node, "DiskLayout", "Disk Layout", layoutNode);
  return CAttributeAdder(layoutNode, code)
      .Text("PartitionStyle", "RAW")
      .Number("PartitionCount", PartitionCount())
      .Code();
}

}  // namespace kestrand
