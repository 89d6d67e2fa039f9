#include "disk/disk_report.h"

#include <string>

#include "analysis/consistency_tests.h"
#include "common/formatters.h"
#include "common/text_format.h"
#include "common/xml_writer.h"
#include "disk/disk.h"
#include "disk/disk_layout.h"
#include "ldm/ldm_database.h"

namespace kestrand {

namespace {

// Sectors, bytes, KB, MB and GB of one column; GB is worked out from the
// already truncated MB value.
uint32_t FormatSizes(uint64_t sectors, uint64_t bytes, DiskSizeTexts& texts) {
  uint64_t megabytes = bytes >> 20;
  return CFirstCode()
      .Then([&] { return FormatGrouped(sectors, texts.Sectors); })
      .Then([&] { return FormatGrouped(bytes, texts.Bytes); })
      .Then([&] { return FormatGrouped(bytes >> 10, texts.KB); })
      .Then([&] { return FormatGrouped(megabytes, texts.MB); })
      .Then([&] { return FormatGroupedReal(static_cast<double>(megabytes) * 0.0009765625, texts.GB); })
      .Code();
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
  uint32_t code = CFirstCode()
                      .Then([&] { return FormatGrouped(static_cast<uint64_t>(g.Cylinders), texts.Cylinders); })
                      .Then([&] { return FormatGrouped(g.TracksPerCylinder, texts.TracksPerCylinder); })
                      .Then([&] { return FormatGrouped(g.SectorsPerTrack, texts.SectorsPerTrack); })
                      .Then([&] { return FormatGrouped(g.BytesPerSector, texts.BytesPerSector); })
                      .Code();
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

// The text section of one disk: errors, storage property, geometry, layout
// and, for a disk with an LDM database, its LDM sections.

uint32_t CDisk::PrintText(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  uint32_t code = PrintErrors(stream);
  if (code != 0) return code;
  code = PrintDeviceInformation(stream);

  if (DiskKind() == DISK_KIND_DYNAMIC || basicDiskWithLdmDatabase_) {
    if (partitionInfoError_ != 0) {
      // The sentence is the report's own, missing "not" included.
      PrintWide(stream,
                u"Cannot print summary because the partition information could be retrieved. Refer to error "
                u"report.\n");
    } else if (ldmDatabase_) {
      // The LDM sections' code is not passed on: what they wrote completes the
      // disk's section either way.
      ldmDatabase_->PrintText(stream);
    }
  }
  return code;
}

uint32_t CDisk::PrintErrors(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  std::vector<DiskErrorEntry> entries = CollectDiskErrors(*this);
  if (entries.empty()) return 0;
  PrintWide(stream, u"----- Errors -----\n\n");
  for (const DiskErrorEntry& entry : entries) {
    if (!entry.Kind)
      PrintWide(stream, u"%-28s : %lu : %s\n", entry.Structure, entry.Value, entry.Copy);
    else
      PrintWide(stream, u"%-18s : %-10s : %-15s : %lu\n", entry.Structure, entry.Copy, entry.Kind, entry.Value);
  }
  PrintWide(stream, u"\n");
  PrintWide(stream, u"\n");
  return 0;
}

uint32_t CDisk::PrintDeviceInformation(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  std::u16string sectorSize, alignment;
  uint32_t code = CFirstCode()
                      .Then([&] { return FormatGrouped(physicalSectorSize_, sectorSize); })
                      .Then([&] { return FormatGrouped(alignmentOffset_, alignment); })
                      .Code();
  if (code != 0) return code;

  PrintWide(stream, u"----------- Disk Storage Property -----------\n\n");
  PrintWide(stream, u"%20s Physical Sector Size\n", sectorSize);
  PrintWide(stream, u"%20s Alignment Offset\n", alignment);
  PrintWide(stream, u"\n");
  PrintWide(stream, u"----------- Disk Geometry -----------\n\n");

  if (geometryError_ != 0) {
    PrintWide(stream, u"\tERROR %04u: %s\n", geometryError_, u"Failed retrieving disk geometry");
    return geometryError_;
  }
  if (partitionInfoError_ != 0) {
    PrintWide(stream, u"\tERROR %04u: %s\n", partitionInfoError_, u"Failed retrieving partition 0");
    return partitionInfoError_;
  }
  code = 0;
  if (geometry_) {
    uint32_t geometryCode = PrintGeometry(stream);
    if (geometryCode != 0) code = geometryCode;
  } else {
    code = ERROR_INVALID_DATA_CODE;
  }
  PrintWide(stream, u"\n");
  PrintWide(stream, u"------------ Disk Layout ------------\n\n");

  if (layoutError_ != 0) {
    PrintWide(stream, u"\tERROR %04u: %s\n", layoutError_, u"Failed retrieving disk layout");
    return layoutError_;
  }
  // The layout's own code is not passed on: its lines are the layout section.
  if (layout_)
    layout_->PrintText(stream);
  else
    code = ERROR_INVALID_DATA_CODE;
  PrintWide(stream, u"\n");
  return code;
}

uint32_t CDisk::PrintGeometry(FILE* stream) {
  if (!geometry_) return ERROR_INVALID_DATA_CODE;
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  DiskGeometryTexts texts;
  uint32_t code = FormatGeometryTexts(*this, texts);
  if (code != 0) return code;

  PrintWide(stream, u"%20s Cylinders\n", texts.Cylinders);
  PrintWide(stream, u"%20s Tracks/Cylinder\n", texts.TracksPerCylinder);
  PrintWide(stream, u"%20s Sectors/Track\n", texts.SectorsPerTrack);
  PrintWide(stream, u"%20s Bytes/Sector\n", texts.BytesPerSector);
  PrintWide(stream, u"%20s Media (%lu)\n", texts.MediaName, texts.MediaType);
  PrintWide(stream, u"\n");

  // Without the partition information the reported column shows "(null)".
  auto reported = [&](const std::u16string& text) -> const char16_t* {
    return texts.HasReported ? text.c_str() : nullptr;
  };
  const char16_t* row = u"%20s %-20s %-20s\n";
  PrintWide(stream, row, u"Size", u"Geometric", u"Reported");
  PrintWide(stream, row, u"Sectors", texts.Geometric.Sectors, reported(texts.Reported.Sectors));
  PrintWide(stream, row, u"Bytes", texts.Geometric.Bytes, reported(texts.Reported.Bytes));
  PrintWide(stream, row, u"KB", texts.Geometric.KB, reported(texts.Reported.KB));
  PrintWide(stream, row, u"MB", texts.Geometric.MB, reported(texts.Reported.MB));
  PrintWide(stream, row, u"GB", texts.Geometric.GB, reported(texts.Reported.GB));
  return 0;
}

// The XML branch of one disk: Disk (display "Disk n") holding the errors, the
// geometry, the layout and, for a disk with an LDM database, its LDM branches
// and tests.

uint32_t CDisk::AddToReport(CKestrandTreeNode* node, bool withTests) {
  if (!node) return ERROR_INVALID_PARAMETER_CODE;
  CKestrandTreeNode* diskNode = node->AddChild("Disk");
  if (!diskNode) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  std::string caption = FormatNarrow("Disk %d", diskNumber_);
  // A caption that cannot be set leaves the element without one; the branch
  // goes on.
  CKestrandXMLWriter::SetElementDisplay(diskNode, caption.c_str(), "13");

  uint32_t code = CFirstCode()
                      .Then([&] { return AddErrorsToReport(diskNode); })
                      .Then([&] { return AddGeometryToReport(diskNode); })
                      .Code();
  if (code != 0) return code;
  // Callers only hand in disks with a layout; one without gets nothing more.
  if (!layout_) return 0;
  code = layout_->AddToReport(diskNode);
  if (code != 0) return code;

  if (DiskKind() == DISK_KIND_DYNAMIC || basicDiskWithLdmDatabase_) {
    // A dynamic disk whose database could not be allocated has no LDM branch.
    if (ldmDatabase_) {
      code = AddLdmDatabaseToReport(ldmDatabase_, diskNode);
      if (code != 0) return code;
    }
    // The tests' code is not passed on: a test that cannot be added ends the
    // tests, not the disk's branch.
    if (withTests) AddDiskTests(diskNode, this);
  }
  return 0;
}

uint32_t CDisk::AddErrorsToReport(CKestrandTreeNode* node) {
  if (!node) return ERROR_INVALID_PARAMETER_CODE;
  std::vector<DiskErrorEntry> entries = CollectDiskErrors(*this);
  if (entries.empty()) return 0;
  CKestrandTreeNode* errors = node->AddChild("Errors");
  if (!errors) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  CAttributeAdder add(errors);
  add.Display("Errors", "5");
  for (const DiskErrorEntry& entry : entries) add.Number(entry.Attribute, entry.Value);
  return add.Code();
}

uint32_t CDisk::AddGeometryToReport(CKestrandTreeNode* node) {
  if (!geometry_) return ERROR_INVALID_DATA_CODE;
  if (!node) return ERROR_INVALID_PARAMETER_CODE;
  DiskGeometryTexts texts;
  uint32_t code = FormatGeometryTexts(*this, texts);
  if (code != 0) return code;

  // Named like the disk's own element; the caption tells them apart.
  CKestrandTreeNode* geometry = node->AddChild("Disk");
  if (!geometry) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  // A caption that cannot be set leaves the element without one; the branch
  // goes on.
  CKestrandXMLWriter::SetElementDisplay(geometry, "Geometry", "3");

  // Absent reported values are written as "(null)".
  auto reported = [&](const std::u16string& text) -> const char16_t* {
    return texts.HasReported ? text.c_str() : nullptr;
  };
  const struct {
    const char* Name;
    const char16_t* Value;
  } attributes[] = {
      {"Cylinders", texts.Cylinders.c_str()},
      {"TracksPerCylinder", texts.TracksPerCylinder.c_str()},
      {"SectorsPerTrack", texts.SectorsPerTrack.c_str()},
      {"BytesPerSector", texts.BytesPerSector.c_str()},
      {"MediaType", texts.MediaName},
      {"GeometricTotalSectors", texts.Geometric.Sectors.c_str()},
      {"GeometricDiskSize", texts.Geometric.Bytes.c_str()},
      {"GeometricDiskSizeKB", texts.Geometric.KB.c_str()},
      {"GeometricDiskSizeMB", texts.Geometric.MB.c_str()},
      {"GeometricDiskSizeGB", texts.Geometric.GB.c_str()},
      {"ReportedTotalSectors", reported(texts.Reported.Sectors)},
      {"ReportedDiskSize", reported(texts.Reported.Bytes)},
      {"ReportedDiskSizeKB", reported(texts.Reported.KB)},
      {"ReportedDiskSizeMB", reported(texts.Reported.MB)},
      {"ReportedDiskSizeGB", reported(texts.Reported.GB)},
  };
  // An attribute that cannot be added is left out; the others still are, and
  // the geometry counts as reported.
  for (const auto& attribute : attributes)
    CKestrandXMLWriter::NewAttributeW(geometry, attribute.Name, attribute.Value);
  return 0;
}

}  // namespace kestrand
