// The Records branch of the XML report and the attribute sets of the five
// record types.
#include "common/text_format.h"
#include "inventory/volumes.h"
#include "ldm/config_reader.h"
#include "ldm/disk_record.h"
#include "ldm/pack_record.h"
#include "ldm/plex_record.h"
#include "ldm/record_report.h"
#include "ldm/record_words.h"
#include "ldm/report_values.h"
#include "ldm/subdisk_record.h"
#include "ldm/volume_record.h"

namespace kestrand {

namespace {

// Signed members are written as the unsigned 64-bit number of their bits.
uint64_t Bits(int64_t value) { return static_cast<uint64_t>(value); }

uint32_t AddTypeAttributes(CKestrandTreeNode* element, const LDM_RECORD* record) {
  if (auto* volume = dynamic_cast<const VOLUME_RECORD*>(record)) return AddVolumeAttributes(element, volume);
  if (auto* plex = dynamic_cast<const PLEX_RECORD*>(record)) return AddPlexAttributes(element, plex);
  if (auto* subdisk = dynamic_cast<const SUBDISK_RECORD*>(record)) return AddSubdiskAttributes(element, subdisk);
  if (auto* disk = dynamic_cast<const DISK_RECORD*>(record)) return AddDiskAttributes(element, disk);
  if (auto* pack = dynamic_cast<const PACK_RECORD*>(record)) return AddPackAttributes(element, pack);
  return 0;
}

uint32_t AddRecord(CKestrandTreeNode* records, const VBLK_GROUP& group, const RECORD_ENTRY& entry) {
  const LDM_RECORD& record = *entry.Record;
  const char* typeWord = RecordTypeWord(entry.RecordType);
  if (!typeWord) typeWord = "Unknown";
  uint32_t code = 0;
  CKestrandTreeNode* element =
      AddDisplayedChild(records, "Record", FormatNarrow("Record %u ", group.GroupNumber) + typeWord, "3", code);
  if (!element) return code;
  CAttributeAdder add(element);
  add.Text("Type", typeWord);
  add.Number("Id", entry.RecordId);
  add.Text("Name", record.RecordName);
  add.Number("Version", group.Revision());
  add.Flags("TransFlags", group.TransFlags);
  add.Flags("RecExt", group.RecordFlags() >> 8);  // bits 8 to 15, counted from bit 8
  add.Flags("Attributes", group.TypeWord);
  add.Number("Size", group.RecordSize);
  add.Number("UpdateSequence", record.UpdateSequence);
  if (add.Code() != 0) return add.Code();
  // A record whose own attributes fail stays as far as it got.
  AddTypeAttributes(element, &record);
  return 0;
}

}  // namespace

uint32_t AddRecordsToReport(const CONFIG_WRAPPER& config, CKestrandTreeNode* parent) {
  if (!parent) return ERROR_INVALID_PARAMETER_CODE;
  uint32_t code = 0;
  CKestrandTreeNode* records = AddDisplayedChild(parent, "Records", "Record List", "3", code);
  if (!records) return code;
  if (!config.Header) return 0;
  // Groups without a decoded record have nothing to show and are left out.
  for (const auto& group : config.Header->GroupList) {
    if (!group || !group->Entry || !group->Entry->Record) continue;
    code = AddRecord(records, *group, *group->Entry);
    if (code != 0) return code;
  }
  return 0;
}

uint32_t AddVolumeAttributes(CKestrandTreeNode* element, const VOLUME_RECORD* v) {
  if (!element || !v) return ERROR_INVALID_PARAMETER_CODE;
  const uint16_t flags = v->RecordFlags();
  std::u16string mountName;
  const bool haveMountName = GetVolumeMountName(&v->VolumeGuid, mountName) == 0;
  const std::u16string guid = GuidText(v->VolumeGuid);

  CAttributeAdder add(element);
  add.Text("UsageType", v->UsageType);
  add.Text("FileSystemTypeOnlyMattersIfGpt", FileSystemTypeWord(v->FileSystemType[0]));
  add.Text("State", v->State);
  const char* policy = ReadPolicyXmlWord(v->ReadPolicy);
  add.Text("ReadPolicy", policy ? policy : "Unknown");
  add.Number("Minor", v->Minor);
  add.Flags("PersistentFlags", v->PersistentFlags);
  add.Number("Plexes", v->NumPlexes);
  add.Number("DetachSequence", v->DetachSeqNum);
  add.Number("Length", Bits(v->Length));
  add.Number("LogLength", Bits(v->LogLength));
  if (flags & VOLUME_FLAG_LOG_RECORD) add.Number("LogRecordId", v->LogRecordId);
  if (haveMountName) add.Wide("VolumeName", mountName);
  add.Wide("VolumeId", guid);
  if (flags & VOLUME_FLAG_MOUNT_NAME) add.Wide("MountName", v->MountName.get());
  add.Number("PartitionType", v->PartitionType);
  if (flags & VOLUME_FLAG_APP_RECOVERY) add.Number("AppRecovery", v->AppRecovery);
  if (flags & VOLUME_FLAG_PREFERRED_PLEX) add.Number("PrefferedPlexRecordId", v->PrefferedPlexRecordId);
  return add.Code();
}

uint32_t AddPlexAttributes(CKestrandTreeNode* element, const PLEX_RECORD* p) {
  if (!element || !p) return ERROR_INVALID_PARAMETER_CODE;
  CAttributeAdder add(element);
  add.Text("State", p->State);
  const char* layout = PlexLayoutWord(p->Layout);
  add.Text("Layout", layout ? layout : "Unknown");
  add.Flags("PersistentFlags", p->PersistentFlags);
  add.Number("SubdisksCount", p->SubdiskCount);
  add.Number("DetachSequence", p->DetachSequence);
  add.Number("VolumeRecordId", p->VolumeRecordId);
  add.Number("LogRecordId", p->LogRecordId);
  if (p->RecordFlags() & PLEX_FLAG_STRIPES) {
    add.Number("StripeWidth", Bits(p->StripeWidth));
    add.Number("ColumnCount", p->ColumnCount);
  }
  return add.Code();
}

uint32_t AddSubdiskAttributes(CKestrandTreeNode* element, const SUBDISK_RECORD* s) {
  if (!element || !s) return ERROR_INVALID_PARAMETER_CODE;
  const uint16_t flags = s->RecordFlags();
  CAttributeAdder add(element);
  add.Flags("PersistentFlags", s->PersistentFlags);
  add.Number("DiskRecordId", s->DiskRecordId);
  add.Wide("DiskOffset", GroupedText(s->DiskOffset));
  add.Number("PlexRecordId", s->PlexRecordId);
  add.Wide("PlexOffset", GroupedText(s->PlexOffset));
  add.Wide("Length", GroupedText(Bits(s->Length)));
  if (flags & SUBDISK_FLAG_COLUMN) add.Number("ColumnNumber", s->ColumnNumber);
  if (flags & SUBDISK_FLAG_DETACH) add.Number("DetachSequence", s->DetachSequence);
  if (flags & SUBDISK_FLAG_MINOR) add.Number("Minor", s->Minor);
  if (flags & SUBDISK_FLAG_HIDDEN_SECTORS) add.Number("HiddenSectors", Bits(s->HiddenSectors));
  if (flags & SUBDISK_FLAG_LAST_DISK) add.Number("LastDiskRecordId", s->LastDiskRecordId);
  return add.Code();
}

uint32_t AddDiskAttributes(CKestrandTreeNode* element, const DISK_RECORD* d) {
  if (!element || !d) return ERROR_INVALID_PARAMETER_CODE;
  CAttributeAdder add(element);
  add.Wide("DeviceInstance", d->DeviceInstance.get());
  add.Wide("DiskId", GuidText(d->DiskId));
  add.Wide("LastDiskSetId", GuidText(d->LastDiskSetId));
  add.Flags("PersistentFlags", d->PersistentFlags);
  return add.Code();
}

uint32_t AddPackAttributes(CKestrandTreeNode* element, const PACK_RECORD* p) {
  if (!element || !p) return ERROR_INVALID_PARAMETER_CODE;
  const uint16_t flags = p->RecordFlags();
  CAttributeAdder add(element);
  add.Wide("PackId", GuidText(p->PackId));
  add.Wide("DiskSetId", GuidText(p->DiskSetId));
  add.Flags("PersistentFlags", p->PersistentFlags);
  if (flags & PACK_FLAG_COPIES) {
    add.Number("ConfigCopiesCount", p->ConfigCopiesCount);
    add.Number("LogCopiesCount", p->LogCopiesCount);
  }
  if (flags & PACK_FLAG_BASE_MINOR) add.Number("BaseMinor", p->BaseMinor);
  return add.Code();
}

}  // namespace kestrand
