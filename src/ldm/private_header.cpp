// The private header: its decoding, the reading of one copy, and the copy's
// text section and XML branch.
#include "ldm/private_header.h"

#include "common/text_format.h"
#include "common/xml_writer.h"
#include "disk/disk.h"
#include "ldm/ldm_database.h"
#include "ldm/report_values.h"

namespace kestrand {

namespace {

using H = PRIVATE_HEADER;

// Every version has these, from byte 12 of the sector on.
constexpr FIELD_DESC kBaseFields[] = {
    Field<H, FIELD_U16, &H::VersionMajor>(),
    Field<H, FIELD_U16, &H::VersionMinor>(),
    Field<H, FIELD_U64, &H::UpdateTime>(),
    Field<H, FIELD_U64, &H::UpdateSequence>(),
    Field<H, FIELD_U64, &H::PrimaryHeader>(),
    Field<H, FIELD_U64, &H::AlternateHeader>(),
    Field<H, FIELD_GUID_TEXT, &H::DiskId, 64>(),
    Field<H, FIELD_GUID_TEXT, &H::HostId, 64>(),
    Field<H, FIELD_GUID_TEXT, &H::PackId, 64>(),
    Field<H, FIELD_BYTES, &H::PackName, 31>(),
    Field<H, FIELD_U32, &H::IOsize>(),
    Field<H, FIELD_U32, &H::Flags>(),
    Field<H, FIELD_U16, &H::PublicId>(),
    Field<H, FIELD_U16, &H::PrivateId>(),
    Field<H, FIELD_U64, &H::PublicOffset>(),
    Field<H, FIELD_U64, &H::PublicLength>(),
    Field<H, FIELD_U64, &H::PrivateOffset>(),
    Field<H, FIELD_U64, &H::PrivateLength>(),
    Field<H, FIELD_U64, &H::TocPrimarySector>(),
    Field<H, FIELD_U64, &H::TocAlternateSector>(),
    Field<H, FIELD_U32, &H::ConfigCopiesCount>(),
    Field<H, FIELD_U32, &H::LogCopiesCount>(),
    Field<H, FIELD_U64, &H::ConfigCopyLength>(),
    Field<H, FIELD_U64, &H::LogCopyLength>(),
};

constexpr FIELD_DESC kVersion10Fields[] = {
    Field<H, FIELD_U32, &H::BootSig>(),
};

constexpr FIELD_DESC kVersion11Fields[] = {
    Field<H, FIELD_GUID, &H::DiskSetId>(),
    Field<H, FIELD_GUID, &H::NewDiskSetId>(),
};

constexpr FIELD_DESC kVersion12Fields[] = {
    Field<H, FIELD_GUID, &H::NewDiskId>(),
    Field<H, FIELD_GUID, &H::NewPackId>(),
    Field<H, FIELD_BYTES, &H::NewPackName, 31>(),
};

// The update time as the reports show it: month/day/year hour:minute:second.
bool FormatUpdateTime(uint64_t fileTime, std::u16string& text) {
  CALENDAR_TIME time{};
  if (!FileTimeToCalendarTime(fileTime, time)) return false;
  text = FormatWide(u"%02u/%02u/%02u %02u:%02u:%02u", time.Month, time.Day, time.Year, time.Hour, time.Minute,
                    time.Second);
  return true;
}

}  // namespace

NTSTATUS DecodePrivateHeader(const uint8_t* sector, uint32_t size, PRIVATE_HEADER& header) {
  if (!sector || size < kPrivateHeaderFieldsOffset) return STATUS_INVALID_PARAMETER_CODE;
  CFieldChain chain(&header, sector + kPrivateHeaderFieldsOffset, size - kPrivateHeaderFieldsOffset);
  chain.Decode(kBaseFields);
  // Only the minor version decides which later fields are present.
  chain.DecodeIf(!chain.Failed() && header.VersionMinor >= 10, kVersion10Fields);
  chain.DecodeIf(!chain.Failed() && header.VersionMinor >= 11, kVersion11Fields);
  chain.DecodeIf(!chain.Failed() && header.VersionMinor >= 12, kVersion12Fields);
  return chain.Failed() ? STATUS_INVALID_PARAMETER_CODE : STATUS_SUCCESS_CODE;
}

uint32_t PRIVATE_HEADER_WRAPPER::Initialize(LDM_DATABASE* owner, CDisk* disk, const char* name, uint64_t offset) {
  const uint32_t code = ReadSector(owner, disk, name, offset);
  if (code != 0 || ReadStatus < 0) return code;
  // A sector too small for the checksum keeps it zero.
  if (RawSectorSize >= kPrivateHeaderFieldsOffset) StoredChecksum = LoadBigEndian32(RawSector.get() + 8);
  ParseStatus = DecodePrivateHeader(RawSector.get(), RawSectorSize, Header);
  return 0;
}

uint32_t PRIVATE_HEADER_WRAPPER::BytesPerSector() const {
  return Owner && Owner->Disk ? Owner->Disk->BytesPerSector() : 0;
}

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
  // A leaf that nothing looks at again: written straight into bytes.
  std::string bytes;
  CElementBytes element(bytes, "PrivateHeader");
  CAttributeAdder& add = element.Add();
  add.Display((std::string("Private Header ") + Name).c_str(), ReadStatus < 0 ? "4" : "3");
  // Adds the element as far as it got; its own failure comes before `code`.
  auto done = [&](uint32_t code) {
    const uint32_t added = AddEndedElement(node, element, std::move(bytes));
    return added != 0 ? added : code;
  };
  if (ReadStatus < 0) {
    // The status as the error report shows it: unsigned 32-bit.
    add.Number("ReadDiskStatusCode", static_cast<uint32_t>(ReadStatus));
    return done(0);
  }
  const uint32_t sectorSize = BytesPerSector();
  if (sectorSize == 0) return done(ERROR_INVALID_DATA_CODE);
  std::u16string time;
  if (!FormatUpdateTime(Header.UpdateTime, time)) return done(0);
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
  add.Guid("DiskId", h.DiskId);
  add.Guid("HostId", h.HostId);
  add.Guid("DiskSetId", h.DiskSetId);
  add.Guid("PackId", h.PackId);
  add.Text("PackName", h.PackName);
  add.Number("IOsize", h.IOsize);
  add.Number("Flags", h.Flags);
  add.Number("PublicId", h.PublicId);
  add.Grouped("PublicOffset", h.PublicOffset);
  add.Grouped("PublicLength", h.PublicLength * sectorSize);
  add.Number("PrivateId", h.PrivateId);
  add.Grouped("PrivateOffset", h.PrivateOffset);
  add.Grouped("PrivateLength", h.PrivateLength * sectorSize);
  add.Number("TocPrimarySector", h.TocPrimarySector);
  add.Number("TocAlternateSector", h.TocAlternateSector);
  add.Number("ConfigCopiesCount", h.ConfigCopiesCount);
  add.Number("ConfigCopyLength", h.ConfigCopyLength);
  add.Number("LogCopiesCount", h.LogCopiesCount);
  add.Number("LogCopyLength", h.LogCopyLength);
  add.Text("BootSig", FormatNarrow("0x%x (%u)", h.BootSig, h.BootSig));
  return done(0);
}

}  // namespace kestrand
