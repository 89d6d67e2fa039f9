// The loader: where each structure of an LDM area lies on an MBR disk, a GPT
// disk or a saved database file, and the order in which they are read.
#include "ldm/ldm_database.h"

#include <new>

#include "disk/disk.h"
#include "disk/disk_layout.h"

namespace kestrand {

namespace {

template <class T>
bool Create(std::unique_ptr<T>& place) {
  place.reset(new (std::nothrow) T());
  return place != nullptr;
}

LDM_COPY_STATUS StatusOf(const PRIVATE_HEADER_WRAPPER* header) {
  if (!header) return {};
  return {true, header->ReadAttempted, header->ReadStatus, header->ParseStatus};
}

LDM_COPY_STATUS StatusOf(const TOC_WRAPPER* toc) {
  if (!toc) return {};
  return {true, toc->ReadAttempted, toc->ReadStatus, toc->ParseStatus};
}

LDM_COPY_STATUS StatusOf(const CONFIG_WRAPPER* config) {
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
  uint32_t code = PrimaryHeader->Initialize(this, Disk, "Primary", end - sector);
  if (code != 0) return code;

  // A basic MBR disk only counts as carrying a database when its primary
  // copy reads and decodes; the probe never hands such disks in itself.
  const bool basicMbr =
      Disk->DiskKind() == DISK_KIND_BASIC && Disk->Layout()->GetPartitionStyle() == PARTITION_STYLE_MBR;
  if (basicMbr) {
    if (PrimaryHeader->ReadStatus < 0 || PrimaryHeader->ParseStatus < 0) return 0;
    Disk->SetBasicDiskWithLdmDatabase(true);
  }

  code = AlternateHeader->Initialize(this, Disk, "Alternate", end - kAlternateHeaderDistance);
  if (code != 0) return code;
  if (BackupHeader) {
    code = BackupHeader->Initialize(this, Disk, "Backup", kBackupHeaderSector * sector);
    if (code != 0) return code;
  }

  // The primary copy names both tables, read or not.
  const PRIVATE_HEADER& header = PrimaryHeader->Header;
  code = PrimaryToc->Initialize(this, Disk, "Primary", end - (header.TocPrimarySector + 1) * sector);
  if (code != 0) return code;
  const uint64_t alternateToc = end - (header.TocAlternateSector + 1) * sector;
  code = AlternateToc->Initialize(this, Disk, "Alternate", alternateToc);
  if (code != 0) return code;

  // A 32-bit product: it wraps only for absurd sector sizes.
  const uint32_t configDistance = kConfigSectorsPastAlternateToc * sectorSize;
  return Config->Initialize(this, Disk, alternateToc + configDistance);
}

LDM_COPY_STATUS LDM_DATABASE::GetCopyStatus(LdmCopy copy) const {
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

uint32_t LDM_DATABASE::PrintText(FILE* stream) const {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  if (!PrimaryHeader || PrimaryHeader->PrintText(stream) != 0) return 0;
  if (!PrimaryToc || PrimaryToc->PrintText(stream) != 0) return 0;
  if (Config) Config->PrintText(stream);
  return 0;
}

}  // namespace kestrand
