// The loader: where each structure of an LDM area lies on an MBR disk, a GPT
// disk or a saved database file, the order in which they are read, how one
// sector of them is read, and the XML branches of them all in their fixed
// order.
#include "ldm/ldm_database.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "common/formatters.h"
#include "common/first_code.h"
#include "common/text_format.h"
#include "disk/disk.h"
#include "disk/disk_layout.h"

namespace kestrand {

// ---- reading one sector ----

void PrintReadFailure(NTSTATUS status, uint32_t diskNumber, const char16_t* where, const char16_t* what) {
  PrintWide(stderr, u"Status code %04u : Disk %04lu : %-20s : %s\n", static_cast<uint32_t>(status), diskNumber,
            where, what);
}

uint32_t LDM_SECTOR_COPY::ReadSector(LDM_DATABASE* owner, CDisk* disk, const char* name, uint64_t offset) {
  if (!owner || !disk || !name) return ERROR_INVALID_PARAMETER_CODE;
  Owner = owner;
  Offset = offset;
  CopyBounded(Name, sizeof Name, name);

  const uint32_t sectorSize = disk->BytesPerSector();
  if (sectorSize == 0) return ERROR_INVALID_DATA_CODE;
  RawSector.reset(static_cast<uint8_t*>(std::calloc(1, sectorSize)));
  if (!RawSector) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  RawSectorSize = sectorSize;

  int64_t readOffset = static_cast<int64_t>(offset);
  ReadAttempted = true;
  ReadStatus = disk->ReadDisk(readOffset, sectorSize, RawSector.get());
  // A sector too small for the magic keeps it empty.
  if (ReadStatus >= 0 && sectorSize >= 8) std::memcpy(Magic, RawSector.get(), 8);
  return 0;
}

// ---- the loader ----

namespace {

template <class T>
bool Create(std::unique_ptr<T>& place) {
  place.reset(new (std::nothrow) T());
  return place != nullptr;
}

LdmCopyStatus StatusOf(const PRIVATE_HEADER_WRAPPER* header) {
  if (!header) return {};
  return {true, header->ReadAttempted, header->ReadStatus, header->ParseStatus};
}

LdmCopyStatus StatusOf(const TOC_WRAPPER* toc) {
  if (!toc) return {};
  return {true, toc->ReadAttempted, toc->ReadStatus, toc->ParseStatus};
}

LdmCopyStatus StatusOf(const CONFIG_WRAPPER* config) {
  if (!config) return {};
  return {true, config->ReadAttempted, config->ReadStatus, config->ParseStatus};
}

}  // namespace

uint32_t LDM_DATABASE::Initialize(CDisk* disk) {
  if (!disk) return ERROR_INVALID_PARAMETER_CODE;
  Disk = disk;
  if (!Create(PrimaryHeader) || !Create(AlternateHeader) || !Create(PrimaryToc) || !Create(AlternateToc) ||
      !Create(Config))
    return ERROR_NOT_ENOUGH_MEMORY_CODE;

  const uint32_t sectorSize = disk->BytesPerSector();
  if (sectorSize == 0) return ERROR_INVALID_DATA_CODE;
  if (disk->PartitionInfoError() != 0) return disk->PartitionInfoError();
  if (!disk->PartitionInfo()) return ERROR_INVALID_DATA_CODE;

  uint64_t end = 0;
  if (!FindAreaEnd(end)) return 0;
  // Every structure but the backup header lies in the area's last 2,048
  // sectors: fetched at once, they are not each a trip to the device.
  const uint64_t area = std::min<uint64_t>(end, uint64_t{kLdmAreaSectors} * sectorSize);
  disk->AdviseWillRead(static_cast<int64_t>(end - area), area);
  return ReadStructures(end, sectorSize);
}

bool LDM_DATABASE::FindAreaEnd(uint64_t& end) {
  CDiskLayout* layout = Disk->Layout();
  if (!layout) return false;
  switch (layout->GetPartitionStyle()) {
    case PARTITION_STYLE_MBR:
      // The LDM area is the end of the disk.
      end = static_cast<uint64_t>(Disk->PartitionInfo()->PartitionLength);
      // Only a device has a sector 6 of its own; a failed allocation only
      // leaves the backup copy out.
      if (Disk->IsDevice()) BackupHeader.reset(new (std::nothrow) PRIVATE_HEADER_WRAPPER());
      return true;
    case PARTITION_STYLE_GPT:
      for (uint32_t i = 0; i < layout->EntryCount(); ++i) {
        const PARTITION_INFORMATION_EX* entry = layout->Entry(i);
        if (entry && entry->Gpt.PartitionType == GPT_TYPE_LDM_METADATA) {
          end = static_cast<uint64_t>(entry->StartingOffset) + static_cast<uint64_t>(entry->PartitionLength);
          return true;
        }
      }
      return false;
    default:
      return false;
  }
}

// Offsets are computed in unsigned 64-bit arithmetic: hostile sector numbers
// wrap to offsets the read then refuses, never to undefined behaviour.
uint32_t LDM_DATABASE::ReadStructures(uint64_t end, uint32_t sectorSize) {
  const uint64_t sector = sectorSize;
  const uint32_t code = PrimaryHeader->Initialize(this, Disk, "Primary", end - sector);
  if (code != 0) return code;

  // A basic MBR disk only counts as carrying a database when its primary
  // copy reads and decodes; the probe never hands such disks in itself.
  const bool basicMbr =
      Disk->DiskKind() == DISK_KIND_BASIC && Disk->Layout()->GetPartitionStyle() == PARTITION_STYLE_MBR;
  if (basicMbr) {
    if (PrimaryHeader->ReadStatus < 0 || PrimaryHeader->ParseStatus < 0) return 0;
    Disk->SetBasicDiskWithLdmDatabase(true);
  }

  // The primary copy names both tables, read or not.
  const PRIVATE_HEADER& header = PrimaryHeader->Header;
  const uint64_t primaryToc = end - (header.TocPrimarySector + 1) * sector;
  const uint64_t alternateToc = end - (header.TocAlternateSector + 1) * sector;
  // A 32-bit product: it wraps only for absurd sector sizes.
  const uint32_t configDistance = kConfigSectorsPastAlternateToc * sectorSize;
  // Only an MBR device has a backup copy.
  const auto readBackup = [&]() -> uint32_t {
    return BackupHeader ? BackupHeader->Initialize(this, Disk, "Backup", kBackupHeaderSector * sector) : 0;
  };
  return CFirstCode()
      .Then([&] { return AlternateHeader->Initialize(this, Disk, "Alternate", end - kAlternateHeaderDistance); })
      .Then(readBackup)
      .Then([&] { return PrimaryToc->Initialize(this, Disk, "Primary", primaryToc); })
      .Then([&] { return AlternateToc->Initialize(this, Disk, "Alternate", alternateToc); })
      .Then([&] { return Config->Initialize(this, Disk, alternateToc + configDistance); })
      .Code();
}

LdmCopyStatus LDM_DATABASE::GetCopyStatus(LdmCopy copy) const {
  switch (copy) {
    case LdmCopy::PrimaryHeader: return StatusOf(PrimaryHeader.get());
    case LdmCopy::AlternateHeader: return StatusOf(AlternateHeader.get());
    case LdmCopy::BackupHeader: return StatusOf(BackupHeader.get());
    case LdmCopy::PrimaryToc: return StatusOf(PrimaryToc.get());
    case LdmCopy::AlternateToc: return StatusOf(AlternateToc.get());
    case LdmCopy::Config: return StatusOf(Config.get());
  }
  return {};
}

// ---- the sections of every structure, in their fixed order ----

uint32_t LDM_DATABASE::PrintText(FILE* stream) const {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  // A section's code only decides whether the next section is written; the
  // disk's text section goes on either way, so none is passed on.
  if (!PrimaryHeader || PrimaryHeader->PrintText(stream) != 0) return 0;
  if (!PrimaryToc || PrimaryToc->PrintText(stream) != 0) return 0;
  if (Config) Config->PrintText(stream);
  return 0;
}

uint32_t AddLdmDatabaseToReport(LDM_DATABASE* database, CKestrandTreeNode* node) {
  if (!node || !database) return ERROR_INVALID_PARAMETER_CODE;
  if (database->Disk && database->Disk->PartitionInfoError() != 0) return 0;

  CFirstCode code;
  const PRIVATE_HEADER_WRAPPER* headers[] = {database->PrimaryHeader.get(), database->AlternateHeader.get(),
                                             database->BackupHeader.get()};
  for (const PRIVATE_HEADER_WRAPPER* header : headers)
    if (header) code.Then([&] { return header->AddToReport(node); });
  for (const TOC_WRAPPER* toc : {database->PrimaryToc.get(), database->AlternateToc.get()})
    if (toc) code.Then([&] { return toc->AddToReport(node); });
  if (database->Config) code.Then([&] { return database->Config->AddToReport(node); });
  return code.Code();
}

}  // namespace kestrand
