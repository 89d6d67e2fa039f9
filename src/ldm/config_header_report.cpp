// The config header and block list sections of one config copy (text and
// XML); the record sections follow them.
#include "common/text_format.h"
#include "ldm/config_reader.h"
#include "ldm/record_report.h"
#include "ldm/report_values.h"

namespace kestrand {

namespace {

// The block list shows the first blocks only, and no fragment larger than a
// real one could be.
constexpr uint32_t kListedBlocks = 32;
constexpr uint32_t kLargestListedFragment = 10000;

const char* StatusWord(uint16_t status) {
  switch (status) {
    case VMDB_STATUS_CLEAN: return "Clean";
    case VMDB_STATUS_CHANGE: return "Change";
    case VMDB_STATUS_COMMIT: return "Commit";
    case VMDB_STATUS_ABORT: return "Abort";
    case VMDB_STATUS_STALE: return "Stale";
    default: return nullptr;
  }
}

// Blocks the lists may show: the first 32, never more than the header
// announces or the table holds.
uint32_t ListedBlockCount(const CONFIG_HEADER& header) {
  uint32_t count = header.NumBlocks < kListedBlocks ? header.NumBlocks : kListedBlocks;
  if (!header.BlockTable) return 0;
  return count < header.BlockTableCount ? count : header.BlockTableCount;
}

void PrintCounts(FILE* stream, const char16_t* label, uint64_t sequence, const VMDB_COUNTS& counts) {
  PrintWide(stream, u"%-12s Sequence=%I64u Volumes=%lu Plexes=%lu SubDisks=%lu DiskMedia=%lu PhysicalDisks=%lu\n",
            label, sequence, counts.Volumes, counts.Plexes, counts.SubDisks, counts.DiskMedia, counts.PhysicalDisks);
}

void PrintBlockList(FILE* stream, const CONFIG_HEADER& header) {
  const uint32_t count = ListedBlockCount(header);
  for (uint32_t i = 0; i < count; ++i) {
    const BLOCK_ENTRY& entry = header.BlockTable[i];
    if (entry.FragmentSize > kLargestListedFragment || !entry.Group) continue;
    PrintWide(stream, u"BlockNumber: %-3lu Flag=0x%04x Ref=%-4lu Offset=%-8lu FragmentSize=%-4lu\n", i, entry.Flag,
              entry.Group->GroupNumber, entry.RecordOffset, entry.FragmentSize);
  }
  PrintWide(stream, u"\n");
}

void AddCountAttributes(CAttributeAdder& add, const char* prefix, uint64_t sequence, const VMDB_COUNTS& counts) {
  const std::string p(prefix);
  add.Number((p + "Sequence").c_str(), sequence);
  add.Number((p + "Volumes").c_str(), counts.Volumes);
  add.Number((p + "Plexes").c_str(), counts.Plexes);
  add.Number((p + "SubDisks").c_str(), counts.SubDisks);
  add.Number((p + "DisksCount").c_str(), counts.DiskMedia);
  add.Number((p + "PhysicalDisksCount").c_str(), counts.PhysicalDisks);
}

uint32_t AddBlockList(CKestrandTreeNode* parent, const CONFIG_HEADER& header) {
  uint32_t code = 0;
  CKestrandTreeNode* list = AddDisplayedChild(parent, "BlockList", "Block List", "3", code);
  if (!list) return code;
  const uint32_t count = ListedBlockCount(header);
  for (uint32_t i = 0; i < count; ++i) {
    const BLOCK_ENTRY& entry = header.BlockTable[i];
    // Blocks without a group are listed too: the header blocks show next block 0.
    if (entry.FragmentSize > kLargestListedFragment) continue;
    CKestrandTreeNode* block = AddDisplayedChild(list, "Block", FormatNarrow("Block %u", i + 1), "3", code);
    if (!block) return code;
    CAttributeAdder add(block);
    add.Number("NextBlockNumber", entry.NextBlock);
    add.Flags("TransFlags", entry.Flag);
    add.Number("BlockNumber", i);
    add.Number("Offset", entry.RecordOffset);
    add.Number("FragmentSize", entry.FragmentSize);
    if (add.Code() != 0) return add.Code();
  }
  return 0;
}

}  // namespace

uint32_t CONFIG_WRAPPER::PrintText(FILE* stream) const {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  if (!ReadAttempted || ReadStatus < 0 || !Header) return 0;
  const uint32_t sectorSize = BytesPerSector();
  if (sectorSize == 0) return ERROR_INVALID_DATA_CODE;
  const CONFIG_HEADER& h = *Header;

  PrintWide(stream, u"----- LDM Database Config Header -----\n\n");
  PrintWide(stream, u"%-12s 01\n", u"Config copy:");
  PrintWide(stream, u"%-12s %s\n", u"Magic Str:", AnsiToWide(Magic));
  PrintWide(stream, u"%-12s %d\n", u"SectorOffset:", Offset / sectorSize);
  PrintWide(stream, u"%-12s NumBlocks=%lu BlockSize=%lu HeaderSize=%lu\n", u"Header:", h.NumBlocks, h.BlockSize,
            h.HeaderSize);
  PrintWide(stream, u"%-12s ", u"Status:");
  if (const char* word = StatusWord(h.Status))
    PrintWide(stream, u"%s\n", word);
  else
    PrintWide(stream, u"Unknown (0x%04x)\n", h.Status);
  PrintWide(stream, u"%-12s %s\n", u"Pack:", AnsiToWide(h.PackName));
  PrintWide(stream, u"%-12s %s\n", u"PackId:", GuidText(h.PackId));
  PrintWide(stream, u"%-12s 0x%04x\n", u"Flags:", h.Flags);
  PrintCounts(stream, u"Active:", h.ActiveSequence, h.ActiveCounts);
  PrintCounts(stream, u"Pending", h.PendingSequence, h.PendingCounts);
  PrintWide(stream, u"\n");

  PrintBlockList(stream, h);
  return PrintRecordSection(stream, *this);
}

uint32_t CONFIG_WRAPPER::AddToReport(CKestrandTreeNode* node) const {
  if (!node) return ERROR_INVALID_PARAMETER_CODE;
  if (!ReadAttempted || ReadStatus < 0 || !Header) return 0;
  const uint32_t sectorSize = BytesPerSector();
  if (sectorSize == 0) return ERROR_INVALID_DATA_CODE;
  const CONFIG_HEADER& h = *Header;

  uint32_t code = 0;
  CKestrandTreeNode* element = AddDisplayedChild(node, "ConfigHeader", std::string("Config Header ") + Name, "3", code);
  if (!element) return code;
  CAttributeAdder add(element);
  add.Wide("MagicString", AnsiToWide(Magic));
  add.Number("SectorOffset", Offset / sectorSize);
  add.Number("BlocksCount", h.NumBlocks);
  add.Number("BlockSize", h.BlockSize);
  add.Number("HeaderSize", h.HeaderSize);
  const char* status = StatusWord(h.Status);
  add.Text("Status", status ? status : "Unknown");
  add.Text("Pack", h.PackName);
  add.Wide("PackId", GuidText(h.PackId));
  add.Flags("Flags", h.Flags);
  AddCountAttributes(add, "Active", h.ActiveSequence, h.ActiveCounts);
  AddCountAttributes(add, "Pending", h.PendingSequence, h.PendingCounts);
  if (add.Code() != 0) return add.Code();

  code = AddBlockList(node, h);
  if (code != 0) return code;
  return AddRecordsToReport(*this, node);
}

}  // namespace kestrand
