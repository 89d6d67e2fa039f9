// The text section and the XML branch of one private header copy.
#include "common/text_format.h"
#include "common/xml_writer.h"
#include "ldm/file_time.h"
#include "ldm/private_header.h"
#include "ldm/report_values.h"

namespace kestrand {

namespace {

// The update time as the reports show it: month/day/year hour:minute:second.
bool FormatUpdateTime(uint64_t fileTime, std::u16string& text) {
  CALENDAR_TIME time{};
  if (!FileTimeToCalendarTime(fileTime, time)) return false;
  text = FormatWide(u"%02u/%02u/%02u %02u:%02u:%02u", time.Month, time.Day, time.Year, time.Hour, time.Minute,
                    time.Second);
  return true;
}

}  // namespace

uint32_t PRIVATE_HEADER_WRAPPER::PrintText(FILE* stream) const {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  if (!ReadAttempted || ReadStatus < 0) return 0;
  const uint32_t sectorSize = BytesPerSector();
  if (sectorSize == 0) return ERROR_INVALID_DATA_CODE;
  std::u16string time;
  if (!FormatUpdateTime(Header.UpdateTime, time)) return 0;
  const PRIVATE_HEADER& h = Header;

  PrintWide(stream, u"----- LDM Database Private Header -----\n\n");
  PrintWide(stream, u"%-12s %s\n", u"Magic Str:", AnsiToWide(Magic));
  PrintWide(stream, u"%-12s %d\n", u"SectorOffset:", Offset / sectorSize);
  PrintWide(stream, u"%-12s %d\n", u"Checksum:", StoredChecksum);
  PrintWide(stream, u"%-12s %d.%d\n", u"Version:", h.VersionMajor, h.VersionMinor);
  PrintWide(stream, u"%-12s Sequence=%I64u Time=%s\n", u"Update:", h.UpdateSequence, time);
  PrintWide(stream, u"%-12s Primary=%I64u Alternate=%I64u\n", u"Headers:", h.PrimaryHeader, h.AlternateHeader);
  PrintWide(stream, u"%-12s %36s\n", u"DiskId:", GuidText(h.DiskId));
  PrintWide(stream, u"%-12s %36s\n", u"HostId:", GuidText(h.HostId));
  PrintWide(stream, u"%-12s %36s\n", u"DiskSetId:", GuidText(h.DiskSetId));
  PrintWide(stream, u"%-12s %36s\n", u"PackId:", GuidText(h.PackId));
  PrintWide(stream, u"%-12s %s\n", u"Pack:", AnsiToWide(h.PackName));
  PrintWide(stream, u"%-12s %d\n", u"I/O Size:", h.IOsize);
  PrintWide(stream, u"%-12s 0x%04x\n", u"Flags:", h.Flags);
  PrintWide(stream, u"%-12s Id=%d Offset=%s sectors Length=%s sectors\n", u"Public:", h.PublicId,
            GroupedText(h.PublicOffset), GroupedText(h.PublicLength));
  PrintWide(stream, u"%-12s Id=%d Offset=%s sectors Length=%s sectors\n", u"Private:", h.PrivateId,
            GroupedText(h.PrivateOffset), GroupedText(h.PrivateLength));
  PrintWide(stream, u"%-12s Primary Sector=%I64u Alternate Sector=%I64u\n", u"TOCs:", h.TocPrimarySector,
            h.TocAlternateSector);
  PrintWide(stream, u"%-12s Count=%-3lu Length=%I64u sectors\n", u"Configs:", h.ConfigCopiesCount,
            h.ConfigCopyLength);
  PrintWide(stream, u"%-12s Count=%-3lu Length=%I64u sectors\n", u"Logs:", h.LogCopiesCount, h.LogCopyLength);
  if (h.VersionMinor >= 10) PrintWide(stream, u"%-12s 0x%x (%u)\n", u"Boot Sig:", h.BootSig, h.BootSig);
  PrintWide(stream, u"\n");
  return 0;
}

uint32_t PRIVATE_HEADER_WRAPPER::AddToReport(CKestrandTreeNode* node) const {
  if (!node) return ERROR_INVALID_PARAMETER_CODE;
  // A copy the loader never got to is not shown at all.
  if (!ReadAttempted) return 0;
  uint32_t code = 0;
  CKestrandTreeNode* element = AddDisplayedChild(node, "PrivateHeader", std::string("Private Header ") + Name,
                                                 ReadStatus < 0 ? "4" : "3", code);
  if (!element) return code;
  CAttributeAdder add(element);
  if (ReadStatus < 0) {
    // The status as the error report shows it: unsigned 32-bit.
    add.Number("ReadDiskStatusCode", static_cast<uint32_t>(ReadStatus));
    return add.Code();
  }
  const uint32_t sectorSize = BytesPerSector();
  if (sectorSize == 0) return ERROR_INVALID_DATA_CODE;
  std::u16string time;
  if (!FormatUpdateTime(Header.UpdateTime, time)) return 0;
  const PRIVATE_HEADER& h = Header;

  add.Wide("MagicString", AnsiToWide(Magic));
  add.Number("SectorOffset", Offset / sectorSize);
  add.Number("CheckSum", StoredChecksum);
  add.Number("VersionMajor", h.VersionMajor);
  add.Number("VersionMinor", h.VersionMinor);
  add.Number("Sequence", h.UpdateSequence);
  add.Wide("Time", time);
  add.Number("PrimaryHeader", h.PrimaryHeader);
  add.Number("AlternateHeader", h.AlternateHeader);
  add.Wide("DiskId", GuidText(h.DiskId));
  add.Wide("HostId", GuidText(h.HostId));
  add.Wide("DiskSetId", GuidText(h.DiskSetId));
  add.Wide("PackId", GuidText(h.PackId));
  add.Text("PackName", h.PackName);
  add.Number("IOsize", h.IOsize);
  add.Number("Flags", h.Flags);
  add.Number("PublicId", h.PublicId);
  add.Wide("PublicOffset", GroupedText(h.PublicOffset));
  add.Wide("PublicLength", GroupedText(h.PublicLength * sectorSize));
  add.Number("PrivateId", h.PrivateId);
  add.Wide("PrivateOffset", GroupedText(h.PrivateOffset));
  add.Wide("PrivateLength", GroupedText(h.PrivateLength * sectorSize));
  add.Number("TocPrimarySector", h.TocPrimarySector);
  add.Number("TocAlternateSector", h.TocAlternateSector);
  add.Number("ConfigCopiesCount", h.ConfigCopiesCount);
  add.Number("ConfigCopyLength", h.ConfigCopyLength);
  add.Number("LogCopiesCount", h.LogCopiesCount);
  add.Number("LogCopyLength", h.LogCopyLength);
  add.Text("BootSig", FormatNarrow("0x%x (%u)", h.BootSig, h.BootSig));
  return add.Code();
}

}  // namespace kestrand
