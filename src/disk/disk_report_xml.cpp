// The XML branch of one disk: Disk (display "Disk n") holding the errors, the
// geometry, the layout and, for a disk with an LDM database, its LDM branches
// and tests.
#include <string>

#include "analysis/consistency_tests.h"
#include "common/text_format.h"
#include "common/tree_node.h"
#include "common/xml_writer.h"
#include "disk/disk.h"
#include "disk/disk_layout.h"
#include "disk/disk_report_values.h"
#include "ldm/ldm_database.h"

namespace kestrand {

uint32_t CDisk::AddToReport(CKestrandTreeNode* node, bool withTests) {
  if (!node) return ERROR_INVALID_PARAMETER_CODE;
  CKestrandTreeNode* diskNode = node->AddChild("Disk");
  if (!diskNode) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  std::string caption = FormatNarrow("Disk %d", diskNumber_);
  CKestrandXMLWriter::SetElementDisplay(diskNode, caption.c_str(), "13");

  uint32_t code = AddErrorsToReport(diskNode);
  if (code == 0) code = AddGeometryToReport(diskNode);
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
  uint32_t code = CKestrandXMLWriter::SetElementDisplay(errors, "Errors", "5");
  for (const DiskErrorEntry& entry : entries) {
    if (code != 0) break;
    code = CKestrandXMLWriter::NewAttributeULL(errors, entry.Attribute, entry.Value);
  }
  return code;
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
  for (const auto& attribute : attributes)
    CKestrandXMLWriter::NewAttributeW(geometry, attribute.Name, attribute.Value);
  return 0;
}

}  // namespace kestrand
