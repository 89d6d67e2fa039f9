// The disk report: a text section and an XML branch per disk (CDisk::PrintText
// and CDisk::AddToReport), and what both forms show, worked out once from the
// disk object: the geometry table's texts and the list of errors.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestrand {

class CDisk;

const char16_t* MediaTypeName(uint32_t mediaType);

struct DiskSizeTexts {
  std::u16string Sectors;
  std::u16string Bytes;
  std::u16string KB;
  std::u16string MB;
  std::u16string GB;
};

struct DiskGeometryTexts {
  std::u16string Cylinders;
  std::u16string TracksPerCylinder;
  std::u16string SectorsPerTrack;
  std::u16string BytesPerSector;
  const char16_t* MediaName = nullptr;
  uint32_t MediaType = 0;
  DiskSizeTexts Geometric;
  // Absent (HasReported false) without the whole disk's partition information.
  bool HasReported = false;
  DiskSizeTexts Reported;
};

// 13 without geometry, else the first failing formatter's code, else 0.
uint32_t FormatGeometryTexts(const CDisk& disk, DiskGeometryTexts& texts);

// One line of the errors section: a query error (Kind is nullptr, Copy holds
// the IOCTL name) or a negative LDM status.
struct DiskErrorEntry {
  const char16_t* Structure;
  const char16_t* Copy;
  const char16_t* Kind;
  const char* Attribute;
  uint32_t Value;
};

// The entries, in report order; empty when there is nothing to report.
std::vector<DiskErrorEntry> CollectDiskErrors(const CDisk& disk);

}  // namespace kestrand
