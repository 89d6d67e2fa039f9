#include "disk/disk_report_values.h"

#include "common/formatters.h"
#include "disk/disk.h"
#include "disk/disk_layout.h"
#include "ldm/ldm_database.h"

namespace kestrand {

namespace {

// Sectors, bytes, KB, MB and GB of one column; GB is worked out from the
// already truncated MB value.
uint32_t FormatSizes(uint64_t sectors, uint64_t bytes, DiskSizeTexts& texts) {
  uint64_t megabytes = bytes >> 20;
  uint32_t code = FormatGrouped(sectors, texts.Sectors);
  if (code == 0) code = FormatGrouped(bytes, texts.Bytes);
  if (code == 0) code = FormatGrouped(bytes >> 10, texts.KB);
  if (code == 0) code = FormatGrouped(megabytes, texts.MB);
  if (code == 0) code = FormatGroupedReal(static_cast<double>(megabytes) * 0.0009765625, texts.GB);
  return code;
}

struct LdmErrorRow {
  LdmCopy Copy;
  bool Parse;  // the parse status rather than the read status
  const char16_t* Structure;
  const char16_t* CopyName;
  const char* Attribute;
};

// "Alernate" in the TOC parse line is the word the report has always shown.
constexpr LdmErrorRow kLdmErrorRows[] = {
    {LdmCopy::PrimaryHeader, false, u"Private Header", u"Primary", "PrivateHeaderPrimaryReadDiskStatus"},
    {LdmCopy::PrimaryHeader, true, u"Private Header", u"Primary", "PrivateHeaderPrimaryUnformatStatus"},
    {LdmCopy::AlternateHeader, false, u"Private Header", u"Alternate", "PrivateHeaderAlternateReadDiskStatus"},
    {LdmCopy::AlternateHeader, true, u"Private Header", u"Alternate", "PrivateHeaderAlternateUnformatStatus"},
    {LdmCopy::BackupHeader, false, u"Private Header", u"Backup", "PrivateHeaderBackupReadDiskStatus"},
    {LdmCopy::BackupHeader, true, u"Private Header", u"Backup", "PrivateHeaderBackupUnformatStatus"},
    {LdmCopy::PrimaryToc, false, u"Table of Contents", u"Primary", "TocPrimaryReadDiskStatus"},
    {LdmCopy::PrimaryToc, true, u"Table of Contents", u"Primary", "TocPrimaryUnformatStatus"},
    {LdmCopy::AlternateToc, false, u"Table of Contents", u"Alternate", "TocAlternateReadDiskStatus"},
    {LdmCopy::AlternateToc, true, u"Table of Contents", u"Alernate", "TocAlternateUnformatStatus"},
    {LdmCopy::Config, false, u"Config", u"Primary", "ConfigReadDiskStatus"},
    {LdmCopy::Config, true, u"Config", u"Primary", "ConfigUnformatStatus"},
};

}  // namespace

const char16_t* MediaTypeName(uint32_t mediaType) {
  int32_t type = static_cast<int32_t>(mediaType);
  if (type < 1 || type > 25) return u"Unknown";
  if (mediaType == MEDIA_TYPE_REMOVABLE) return u"Removable";
  if (mediaType == MEDIA_TYPE_FIXED) return u"Fixed";
  return u"Floppy";
}

uint32_t FormatGeometryTexts(const CDisk& disk, DiskGeometryTexts& texts) {
  const DISK_GEOMETRY_EX* geometry = disk.Geometry();
  if (!geometry) return ERROR_INVALID_DATA_CODE;
  const DISK_GEOMETRY& g = geometry->Geometry;
  uint32_t code = FormatGrouped(static_cast<uint64_t>(g.Cylinders), texts.Cylinders);
  if (code == 0) code = FormatGrouped(g.TracksPerCylinder, texts.TracksPerCylinder);
  if (code == 0) code = FormatGrouped(g.SectorsPerTrack, texts.SectorsPerTrack);
  if (code == 0) code = FormatGrouped(g.BytesPerSector, texts.BytesPerSector);
  if (code != 0) return code;
  texts.MediaName = MediaTypeName(g.MediaType);
  texts.MediaType = g.MediaType;

  // Unsigned arithmetic: hostile values wrap instead of overflowing.
  uint32_t sectorsPerCylinder = g.SectorsPerTrack * g.TracksPerCylinder;
  uint64_t sectors = static_cast<uint64_t>(sectorsPerCylinder) * static_cast<uint64_t>(g.Cylinders);
  code = FormatSizes(sectors, sectors * g.BytesPerSector, texts.Geometric);
  if (code != 0) return code;

  const PARTITION_INFORMATION_EX* whole = disk.PartitionInfo();
  texts.HasReported = whole != nullptr;
  if (!whole) return 0;
  int64_t length = whole->PartitionLength;
  // A geometry without bytes per sector shows 0 reported sectors.
  int64_t reportedSectors = g.BytesPerSector ? length / static_cast<int64_t>(g.BytesPerSector) : 0;
  return FormatSizes(static_cast<uint64_t>(reportedSectors), static_cast<uint64_t>(length), texts.Reported);
}

std::vector<DiskErrorEntry> CollectDiskErrors(const CDisk& disk) {
  std::vector<DiskErrorEntry> entries;
  if (disk.GeometryError() != 0)
    entries.push_back({u"Geometry Error", u"IOCTL_DISK_GET_DRIVE_GEOMETRY_EX", nullptr, "GeometryError",
                       disk.GeometryError()});
  if (disk.PartitionInfoError() != 0)
    entries.push_back({u"PartitionInfo Error", u"IOCTL_DISK_GET_PARTITION_INFO_EX", nullptr, "PartitionInfoError",
                       disk.PartitionInfoError()});
  if (disk.LayoutError() != 0)
    entries.push_back({u"DiskLayout Error", u"IOCTL_DISK_GET_DRIVE_LAYOUT_EX", nullptr, "DiskLayoutError",
                       disk.LayoutError()});

  // LDM statuses only for a dynamic disk that has its database.
  const LDM_DATABASE* database = disk.LdmDatabase();
  if (disk.DiskKind() != DISK_KIND_DYNAMIC || !database) return entries;
  for (const LdmErrorRow& row : kLdmErrorRows) {
    LdmCopyStatus status = database->GetCopyStatus(row.Copy);
    if (!status.Exists) continue;
    NTSTATUS value = row.Parse ? status.ParseStatus : status.ReadStatus;
    if (value < 0)
      entries.push_back({row.Structure, row.CopyName, row.Parse ? u"UnformatStatus" : u"ReadDiskStatus",
                         row.Attribute, static_cast<uint32_t>(value)});
  }
  return entries;
}

}  // namespace kestrand
