// The text lines of every decoded config record.
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

// The word for a value, or "Unknown (0xNN)" when it has none.
void PrintWordLine(FILE* stream, const char16_t* label, const char* word, uint8_t value) {
  PrintWide(stream, u"%-18s ", label);
  if (word)
    PrintWide(stream, u"%s", word);
  else
    PrintWide(stream, u"Unknown (0x%02x)", value);
  PrintWide(stream, u"\n");
}

void PrintVolumeLines(FILE* stream, const VOLUME_RECORD& v) {
  const uint16_t flags = v.RecordFlags();
  const std::u16string length = GroupedText(static_cast<uint64_t>(v.Length));
  const std::u16string logLength = GroupedText(static_cast<uint64_t>(v.LogLength));
  const std::u16string guid = GuidText(v.VolumeGuid);
  std::u16string mountName;
  const bool haveMountName = GetVolumeMountName(&v.VolumeGuid, mountName) == 0;

  PrintNarrow(stream, "%-18s %s\n", "UsageType:", v.UsageType);
  PrintWide(stream, u"%-18s ", u"FileSystemType:");
  if (const char* word = FileSystemTypeWord(v.FileSystemType[0])) PrintWide(stream, u"%s", word);
  PrintWide(stream, u"\n");
  PrintNarrow(stream, "%-18s %s\n", "State:", v.State);
  PrintWordLine(stream, u"ReadPolicy:", ReadPolicyTextWord(v.ReadPolicy), v.ReadPolicy);
  PrintWide(stream, u"%-18s %lu\n", u"Minor:", v.Minor);
  PrintWide(stream, u"%-18s 0x%08lx%s\n", u"PersistentFlags:", v.PersistentFlags,
            VolumePersistentWords(v.PersistentFlags));
  PrintWide(stream, u"%-18s %lu\n", u"NumPlexes:", v.NumPlexes);
  PrintWide(stream, u"%-18s %I64u\n", u"DetachSeqNum:", v.DetachSeqNum);
  PrintWide(stream, u"%-18s %s\n", u"Length:", length);
  PrintWide(stream, u"%-18s %s\n", u"LogLength:", logLength);
  // The usage type is shown a second time here.
  PrintNarrow(stream, "%-18s %s\n", "UsageType:", v.UsageType);
  if (flags & VOLUME_FLAG_LOG_RECORD) PrintWide(stream, u"%-18s %lu\n", u"LogRecordId:", v.LogRecordId);
  PrintWide(stream, u"%-18s %lu\n", u"PartitionType:", v.PartitionType);
  if (haveMountName) PrintWide(stream, u"%-18s %s\n", u"VolumeName:", mountName);
  PrintWide(stream, u"%-18s %s\n", u"VolumeGuid:", guid);
  if (flags & VOLUME_FLAG_MOUNT_NAME)
    PrintWide(stream, u"%-18s %s\n", u"VolumeName:", v.MountName.get());
  if (flags & VOLUME_FLAG_APP_RECOVERY) PrintWide(stream, u"%-18s %u\n", u"AppRecovery:", v.AppRecovery);
  if (flags & VOLUME_FLAG_PREFERRED_PLEX)
    PrintWide(stream, u"%-18s %lu\n", u"PrefferedPlexRecordId:", v.PrefferedPlexRecordId);
}

void PrintPlexLines(FILE* stream, const PLEX_RECORD& p) {
  PrintNarrow(stream, "%-18s %s\n", "State:", p.State);
  PrintWordLine(stream, u"Layout:", PlexLayoutWord(p.Layout), p.Layout);
  PrintWide(stream, u"%-18s 0x%08lx%s\n", u"PersistentFlags:", p.PersistentFlags,
            PlexPersistentWords(p.PersistentFlags));
  PrintWide(stream, u"%-18s %lu\n", u"SubdiskCount:", p.SubdiskCount);
  PrintWide(stream, u"%-18s %I64u\n", u"DetachSequence:", p.DetachSequence);
  PrintWide(stream, u"%-18s %lu\n", u"VolumeRecordId:", p.VolumeRecordId);
  PrintWide(stream, u"%-18s %lu\n", u"LogRecordId:", p.LogRecordId);
  if (p.RecordFlags() & PLEX_FLAG_STRIPES) {
    PrintWide(stream, u"%-18s %I64d\n", u"StripeWidth:", p.StripeWidth);
    PrintWide(stream, u"%-18s %lu\n", u"ColumnCount:", p.ColumnCount);
  }
}

void PrintSubdiskLines(FILE* stream, const SUBDISK_RECORD& s) {
  const uint16_t flags = s.RecordFlags();
  PrintWide(stream, u"%-18s 0x%08lx%s\n", u"PersistentFlags:", s.PersistentFlags,
            SubdiskPersistentWords(s.PersistentFlags));
  PrintWide(stream, u"%-18s %lu\n", u"DiskRecordId:", s.DiskRecordId);
  PrintWide(stream, u"%-18s %s\n", u"DiskOffset:", GroupedText(s.DiskOffset));
  PrintWide(stream, u"%-18s %lu\n", u"PlexRecordId:", s.PlexRecordId);
  PrintWide(stream, u"%-18s %s\n", u"PlexOffset:", GroupedText(s.PlexOffset));
  PrintWide(stream, u"%-18s %s\n", u"Length:", GroupedText(static_cast<uint64_t>(s.Length)));
  // Flag 0x1000 alone decodes the column number and detach sequence but
  // shows neither.
  if (flags & SUBDISK_FLAG_COLUMN) PrintWide(stream, u"%-18s %lu\n", u"ColumnNumber:", s.ColumnNumber);
  if (flags & SUBDISK_FLAG_DETACH) PrintWide(stream, u"%-18s %I64u\n", u"DetachSequence:", s.DetachSequence);
  if (flags & SUBDISK_FLAG_MINOR) PrintWide(stream, u"%-18s %lu\n", u"Minor:", s.Minor);
  if (flags & SUBDISK_FLAG_HIDDEN_SECTORS) PrintWide(stream, u"%-18s %I64d\n", u"HiddenSectors:", s.HiddenSectors);
  if (flags & SUBDISK_FLAG_LAST_DISK) PrintWide(stream, u"%-18s %lu\n", u"LastDiskRecordId:", s.LastDiskRecordId);
}

void PrintDiskLines(FILE* stream, const DISK_RECORD& d) {
  PrintWide(stream, u"%-18s %s\n", u"DiskId:", GuidText(d.DiskId));
  PrintWide(stream, u"%-18s %s\n", u"LastDiskSetId:", GuidText(d.LastDiskSetId));
  PrintWide(stream, u"%-18s 0x%08lx%s\n", u"PersistentFlags:", d.PersistentFlags,
            DiskPersistentWords(d.PersistentFlags));
}

void PrintPackLines(FILE* stream, const PACK_RECORD& p) {
  const uint16_t flags = p.RecordFlags();
  PrintWide(stream, u"%-18s %s\n", u"PackId:", GuidText(p.PackId));
  PrintWide(stream, u"%-18s %s\n", u"DiskSetId:", GuidText(p.DiskSetId));
  PrintWide(stream, u"%-18s 0x%08lx\n", u"PersistentFlags:", p.PersistentFlags);
  if (flags & PACK_FLAG_COPIES) {
    PrintWide(stream, u"%-18s %lu\n", u"ConfigCopiesCount:", p.ConfigCopiesCount);
    PrintWide(stream, u"%-18s %lu\n", u"LogCopiesCount:", p.LogCopiesCount);
  }
  if (flags & PACK_FLAG_BASE_MINOR) PrintWide(stream, u"%-18s %lu\n", u"BaseMinor:", p.BaseMinor);
}

void PrintTypeLines(FILE* stream, const LDM_RECORD* record) {
  if (auto* volume = dynamic_cast<const VOLUME_RECORD*>(record)) PrintVolumeLines(stream, *volume);
  if (auto* plex = dynamic_cast<const PLEX_RECORD*>(record)) PrintPlexLines(stream, *plex);
  if (auto* subdisk = dynamic_cast<const SUBDISK_RECORD*>(record)) PrintSubdiskLines(stream, *subdisk);
  if (auto* disk = dynamic_cast<const DISK_RECORD*>(record)) PrintDiskLines(stream, *disk);
  if (auto* pack = dynamic_cast<const PACK_RECORD*>(record)) PrintPackLines(stream, *pack);
}

void PrintRecord(FILE* stream, const VBLK_GROUP& group, const RECORD_ENTRY& entry) {
  const LDM_RECORD& record = *entry.Record;
  PrintWide(stream, u"Record %lu\n", group.GroupNumber);
  PrintWide(stream, u"----------\n");
  PrintWide(stream, u"%-18s ", u"Type:");
  if (const char* word = RecordTypeWord(entry.RecordType))
    PrintWide(stream, u"%s", word);
  else
    PrintWide(stream, u"Unknown (0x%08x)", entry.RecordType);
  PrintWide(stream, u"\n");
  PrintWide(stream, u"%-18s %lu\n", u"RecordId:", entry.RecordId);
  PrintNarrow(stream, "%-18s %s\n", "RecordName:", record.RecordName);
  PrintWide(stream, u"%-18s %u\n", u"Version:", group.Revision());
  PrintWide(stream, u"%-18s 0x%04x\n", u"TransFlags:", group.TransFlags);
  // The record flags as bits 8 to 15 of the type word, counted from bit 8.
  PrintWide(stream, u"%-18s 0x%04x\n", u"RecordExt:", group.RecordFlags() >> 8);
  PrintWide(stream, u"%-18s 0x%04x\n", u"RecordAttributes:", group.TypeWord);
  PrintWide(stream, u"%-18s %lu\n", u"RecordSize:", group.RecordSize);
  PrintWide(stream, u"%-18s %I64u\n", u"Update Seq:", record.UpdateSequence);
  PrintTypeLines(stream, &record);
  PrintWide(stream, u"\n");
}

}  // namespace

uint32_t PrintRecordSection(FILE* stream, const CONFIG_WRAPPER& config) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  if (!config.Header) return 0;
  // Groups without a decoded record (broken, ignored, unfinished) have
  // nothing to show and are left out.
  for (const auto& group : config.Header->GroupList) {
    if (group && group->Entry && group->Entry->Record) PrintRecord(stream, *group, *group->Entry);
  }
  return 0;
}

}  // namespace kestrand
