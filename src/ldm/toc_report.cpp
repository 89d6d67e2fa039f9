// The text section and the XML branch of one table of contents copy.
#include "common/text_format.h"
#include "ldm/report_values.h"
#include "ldm/toc.h"

namespace kestrand {

namespace {

const char* RegionTypeWord(uint8_t type) {
  switch (type) {
    case TOC_REGION_CONFIG: return "config";
    case TOC_REGION_LOG: return "log";
    default: return "unknown";
  }
}

const char* CopyFlagWord(uint16_t flags) { return (flags & TOC_COPY_DISABLED) ? "disabled" : "enabled"; }

}  // namespace

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
  uint32_t code = 0;
  CKestrandTreeNode* element =
      AddDisplayedChild(node, "TableOfContents", std::string("Table of Contents ") + Name, "3", code);
  if (!element) return code;

  CKestrandTreeNode* basic = AddDisplayedChild(element, "BasicInformation", "Basic Information", "3", code);
  if (!basic) return code;
  CAttributeAdder basicAttributes(basic);
  basicAttributes.Wide("MagicString", AnsiToWide(Magic));
  basicAttributes.Number("SectorOffset", Offset);  // in bytes, as the branch has always shown it
  if (basicAttributes.Code() != 0) return basicAttributes.Code();

  for (uint32_t i = 0; i < Toc.RegionCount; ++i) {
    const TOC_REGION& region = Toc.Regions[i];
    CKestrandTreeNode* entry = AddDisplayedChild(element, "Entry", FormatNarrow("Entry %u", i + 1), "3", code);
    if (!entry) return code;
    CAttributeAdder add(entry);
    add.Text("Type", RegionTypeWord(region.RegionType));
    add.Number("ExtentOffset", region.ExtentOffset);
    add.Number("ExtentLength", region.ExtentLength);
    add.Number("ExtentEndOffset", region.ExtentOffset + region.ExtentLength);
    add.Number("CopyNumber", static_cast<uint64_t>(static_cast<int64_t>(region.CopyNumber)));
    add.Number("OffsetInCopy", region.OffsetInCopy);
    add.Text("CopyFlag", CopyFlagWord(region.Flags));
    if (add.Code() != 0) return add.Code();
  }
  return 0;
}

}  // namespace kestrand
