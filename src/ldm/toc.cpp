// The table of contents: its decoding, the reading of one copy, and the
// copy's text section and XML branch.
#include "ldm/toc.h"

#include <cstring>

#include "common/text_format.h"
#include "disk/disk.h"
#include "ldm/ldm_database.h"
#include "ldm/report_values.h"

namespace kestrand {

namespace {

// A region entry: name (8), flags (2), start (8), length (8), data length
// (2), then the data: copy number (2) and offset in copy (4) for config and
// log.
constexpr uint32_t kEntryHeadBytes = 0x1C;
constexpr uint32_t kRegionDataBytes = 6;

// Decodes the entry at `position`, bounded by `size`; on success moves
// `position` past it.
NTSTATUS DecodeRegionEntry(const uint8_t* sector, uint32_t size, uint32_t& position, TOC_REGION& region) {
  if (position > size || size - position < kEntryHeadBytes) return STATUS_INVALID_PARAMETER_CODE;
  const uint8_t* entry = sector + position;
  char name[9] = {};
  std::memcpy(name, entry, 8);
  region = TOC_REGION{};
  region.Flags = LoadBigEndian16(entry + 0x08);
  region.ExtentOffset = LoadBigEndian(entry + 0x0A, 8);
  region.ExtentLength = LoadBigEndian(entry + 0x12, 8);
  const uint32_t dataLength = LoadBigEndian16(entry + 0x1A);
  if (size - position - kEntryHeadBytes < dataLength) return STATUS_INVALID_PARAMETER_CODE;

  if (std::strcmp(name, "config") == 0)
    region.RegionType = TOC_REGION_CONFIG;
  else if (std::strcmp(name, "log") == 0)
    region.RegionType = TOC_REGION_LOG;
  if (region.RegionType == TOC_REGION_UNKNOWN) {
    // Kept with its extent; the data it announces is skipped.
    position += kEntryHeadBytes + dataLength;
    return STATUS_SUCCESS_CODE;
  }
  if (dataLength != kRegionDataBytes || region.ExtentLength == 0) return STATUS_INVALID_PARAMETER_CODE;
  region.CopyNumber = static_cast<int16_t>(LoadBigEndian16(entry + 0x1C));
  if (region.CopyNumber == 0) return STATUS_INVALID_PARAMETER_CODE;
  region.OffsetInCopy = LoadBigEndian32(entry + 0x1E);
  position += kEntryHeadBytes + kRegionDataBytes;
  return STATUS_SUCCESS_CODE;
}

const char* RegionTypeWord(uint8_t type) {
  switch (type) {
    case TOC_REGION_CONFIG: return "config";
    case TOC_REGION_LOG: return "log";
    default: return "unknown";
  }
}

const char* CopyFlagWord(uint16_t flags) { return (flags & TOC_COPY_DISABLED) ? "disabled" : "enabled"; }

}  // namespace

bool TOC::Insert(const TOC_REGION& region) {
  if (RegionCount >= kMaxRegions) return false;
  uint32_t at = RegionCount;
  while (at > 0 && Regions[at - 1].ExtentOffset > region.ExtentOffset) {
    Regions[at] = Regions[at - 1];
    --at;
  }
  Regions[at] = region;
  ++RegionCount;
  return true;
}

NTSTATUS DecodeToc(const uint8_t* sector, uint32_t size, TOC& toc) {
  if (!sector) return STATUS_INVALID_PARAMETER_CODE;
  uint32_t position = kTocFirstEntryOffset;
  for (uint32_t i = 0; i < TOC::kMaxRegions; ++i) {
    TOC_REGION region{};
    NTSTATUS status = DecodeRegionEntry(sector, size, position, region);
    if (status < 0) return status;
    // A table holds the two entries of one sector; only a table decoded
    // into twice is full, and then it keeps what it had.
    toc.Insert(region);
  }
  return STATUS_SUCCESS_CODE;
}

uint32_t TOC_WRAPPER::Initialize(LDM_DATABASE* owner, CDisk* disk, const char* name, uint64_t offset) {
  const uint32_t code = ReadSector(owner, disk, name, offset);
  if (code != 0) return code;
  if (ReadStatus < 0) {
    PrintReadFailure(ReadStatus, disk->DiskNumber(), u"TOC_WRAPPER::Initialize()", u"1 Failed in call to NtReadFile()");
    return 0;
  }
  ParseStatus = DecodeToc(RawSector.get(), RawSectorSize, Toc);
  return 0;
}

uint32_t TOC_WRAPPER::PrintText(FILE* stream) const {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  if (!ReadAttempted || ReadStatus < 0) return 0;
  PrintWide(stream, u"----- LDM Database Table of Contents -----\n\n");
  PrintWide(stream, u"%-12s %s\n", u"Magic Str:", AnsiToWide(Magic));
  PrintWide(stream, u"TOC Defined Regions:\n");
  for (uint32_t i = 0; i < Toc.RegionCount; ++i) {
    const TOC_REGION& region = Toc.Regions[i];
    PrintWide(stream, u"  %-8s", RegionTypeWord(region.RegionType));
    // The range ends at the sector after the region's last.
    PrintWide(stream, u"Range=%06I64u-%06I64u Length=%06I64u Copy=%02u Offset=%06lu ", region.ExtentOffset,
              region.ExtentOffset + region.ExtentLength, region.ExtentLength, region.CopyNumber,
              region.OffsetInCopy);
    PrintWide(stream, u"CopyFlag=%s\n", CopyFlagWord(region.Flags));
  }
  PrintWide(stream, u"\n");
  return 0;
}

uint32_t TOC_WRAPPER::AddToReport(CKestrandTreeNode* node) const {
  if (!node) return ERROR_INVALID_PARAMETER_CODE;
  if (!ReadAttempted || ReadStatus < 0) return 0;
  // A branch that nothing looks at again: written straight into bytes.
  std::string bytes;
  CElementBytes element(bytes, "TableOfContents");
  element.Add().Display((std::string("Table of Contents ") + Name).c_str(), "3");
  uint32_t code = 0;
  {
    CElementBytes basic(element.Children(), "BasicInformation");
    CAttributeAdder& add = basic.Add();
    add.Display("Basic Information", "3");
    add.Wide("MagicString", AnsiToWide(Magic));
    add.Number("SectorOffset", Offset);  // in bytes, as the branch has always shown it
    code = basic.End();
  }
  for (uint32_t i = 0; i < Toc.RegionCount && code == 0; ++i) {
    const TOC_REGION& region = Toc.Regions[i];
    CElementBytes entry(element.Children(), "Entry");
    CAttributeAdder& add = entry.Add();
    add.Display(FormatNarrow("Entry %u", i + 1).c_str(), "3");
    add.Text("Type", RegionTypeWord(region.RegionType));
    add.Number("ExtentOffset", region.ExtentOffset);
    add.Number("ExtentLength", region.ExtentLength);
    add.Number("ExtentEndOffset", region.ExtentOffset + region.ExtentLength);
    add.Number("CopyNumber", static_cast<uint64_t>(static_cast<int64_t>(region.CopyNumber)));
    add.Number("OffsetInCopy", region.OffsetInCopy);
    add.Text("CopyFlag", CopyFlagWord(region.Flags));
    code = entry.End();
  }
  // The element and its own attributes fail before its children.
  const uint32_t added = AddEndedElement(node, element, std::move(bytes));
  return added != 0 ? added : code;
}

}  // namespace kestrand
