// The text section of one disk: errors, storage property, geometry, layout
// and, for a disk with an LDM database, its LDM sections.
#include "common/formatters.h"
#include "common/text_writer.h"
#include "disk/disk.h"
#include "disk/disk_layout.h"
#include "disk/disk_report_values.h"
#include "ldm/ldm_database.h"

namespace kestrand {

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
  uint32_t code = FormatGrouped(physicalSectorSize_, sectorSize);
  if (code == 0) code = FormatGrouped(alignmentOffset_, alignment);
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

}  // namespace kestrand
