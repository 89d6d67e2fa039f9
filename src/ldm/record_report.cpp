// Every decoded config record of a config copy: the words the reports show
// for record values, the text lines of each record, and the Records branch of
// the XML report with the attribute sets of the five record types.
#include "ldm/record_report.h"

#include <string>

#include "common/formatters.h"
#include "common/text_format.h"
#include "inventory/volumes.h"
#include "ldm/ldm_database.h"
#include "ldm/records.h"
#include "ldm/report_values.h"

namespace kestrand {

// ---- record words ----

namespace {

struct FlagWord {
  uint32_t Bit;
  const char* Word;
};

template <size_t N>
std::string WordsFor(uint32_t flags, const FlagWord (&table)[N]) {
  std::string words;
  for (const FlagWord& entry : table)
    if (flags & entry.Bit) words += entry.Word;
  return words;
}

constexpr FlagWord kVolumeWords[] = {
    {VOLUME_PERSISTENT_BOOT, " boot"},
    {VOLUME_PERSISTENT_SYSTEM, " system"},
    {VOLUME_PERSISTENT_RETAINED, " retained"},
};
constexpr FlagWord kPlexWords[] = {
    {PLEX_PERSISTENT_STALE, " stale"},
    {PLEX_PERSISTENT_DETACHED, " detached"},
};
constexpr FlagWord kSubdiskWords[] = {
    {SUBDISK_PERSISTENT_VOLUME, " volume"},
    {SUBDISK_PERSISTENT_STALE, " stale"},
    {SUBDISK_PERSISTENT_DETACHED, " detached"},
    {SUBDISK_PERSISTENT_RETAINED, " retained"},
};
constexpr FlagWord kDiskWords[] = {
    {DISK_PERSISTENT_NON_VOTER, " non-voter"},
    {DISK_PERSISTENT_ISCSI, " iscsi"},
};

// The words the record reports show for record types, plex layouts and read
// policies; nullptr for a value without a word: the callers print it as
// "Unknown".
const char* RecordTypeWord(uint16_t type) {
  switch (type) {
    case RECORD_TYPE_VOLUME: return "Volume";
    case RECORD_TYPE_PLEX: return "Plex";
    case RECORD_TYPE_SUBDISK: return "Subdisk";
    case RECORD_TYPE_DISK: return "Disk";
    case RECORD_TYPE_PACK: return "Pack";
    default: return nullptr;
  }
}

const char* PlexLayoutWord(uint8_t layout) {
  switch (layout) {
    case PLEX_LAYOUT_STRIPED: return "Striped";
    case PLEX_LAYOUT_SIMPLE: return "Simple";
    case PLEX_LAYOUT_RAID5: return "RAID5";
    default: return nullptr;
  }
}

const char* ReadPolicyXmlWord(uint8_t policy) {
  switch (policy) {
    case 1: return "Round Robin";
    case 2: return "Preferred Plex";
    case 3: return "Select Plex";
    case 4: return "RAID5";
    default: return nullptr;
  }
}

// The text report's word; the XML spells policy 2 correctly.
const char* ReadPolicyTextWord(uint8_t policy) {
  // The text report has always spelt policy 2 this way.
  return policy == 2 ? "Preffered Plex" : ReadPolicyXmlWord(policy);
}

// Bits 0 and 1 of the first FileSystemType byte; nullptr when neither is set.
const char* FileSystemTypeWord(char firstByte) {
  const bool hidden = (firstByte & 0x01) != 0;
  const bool readOnly = (firstByte & 0x02) != 0;
  if (hidden && readOnly) return "Hidden, Read Only";
  if (hidden) return "Hidden";
  if (readOnly) return "Read Only";
  return nullptr;
}

// " boot", " system", ... for the named bits that are set, lowest bit first.
std::string VolumePersistentWords(uint32_t flags) { return WordsFor(flags, kVolumeWords); }
std::string PlexPersistentWords(uint32_t flags) { return WordsFor(flags, kPlexWords); }
std::string SubdiskPersistentWords(uint32_t flags) { return WordsFor(flags, kSubdiskWords); }
std::string DiskPersistentWords(uint32_t flags) { return WordsFor(flags, kDiskWords); }

}  // namespace

// ---- text ----

namespace {

// Narrow forms of grouped numbers and GUIDs for the lines below: the same
// characters as GroupedText and GuidText, without a wide string.
std::string Grouped(uint64_t value) {
  std::string text;
  AppendGrouped(text, value);
  return text;
}

std::string Guid(const GUID& guid) {
  std::string text;
  AppendGuid(text, guid);
  return text;
}

// The word for a value, or "Unknown (0xNN)" when it has none.
void PrintWordLine(std::string& out, const char16_t* label, const char* word, uint8_t value) {
  AppendWide(out, u"%-18s ", label);
  if (word)
    AppendWide(out, u"%s", word);
  else
    AppendWide(out, u"Unknown (0x%02x)", value);
  AppendWide(out, u"\n");
}

void PrintVolumeLines(std::string& out, const VOLUME_RECORD& v) {
  const uint16_t flags = v.RecordFlags();
  const std::string length = Grouped(static_cast<uint64_t>(v.Length));
  const std::string logLength = Grouped(static_cast<uint64_t>(v.LogLength));
  const std::string guid = Guid(v.VolumeGuid);
  std::u16string mountName;
  const bool haveMountName = GetVolumeMountName(&v.VolumeGuid, mountName) == 0;

  AppendNarrow(out, "%-18s %s\n", "UsageType:", v.UsageType);
  AppendWide(out, u"%-18s ", u"FileSystemType:");
  if (const char* word = FileSystemTypeWord(v.FileSystemType[0])) AppendWide(out, u"%s", word);
  AppendWide(out, u"\n");
  AppendNarrow(out, "%-18s %s\n", "State:", v.State);
  PrintWordLine(out, u"ReadPolicy:", ReadPolicyTextWord(v.ReadPolicy), v.ReadPolicy);
  AppendWide(out, u"%-18s %lu\n", u"Minor:", v.Minor);
  AppendWide(out, u"%-18s 0x%08lx%s\n", u"PersistentFlags:", v.PersistentFlags,
            VolumePersistentWords(v.PersistentFlags));
  AppendWide(out, u"%-18s %lu\n", u"NumPlexes:", v.NumPlexes);
  AppendWide(out, u"%-18s %I64u\n", u"DetachSeqNum:", v.DetachSeqNum);
  AppendWide(out, u"%-18s %s\n", u"Length:", length);
  AppendWide(out, u"%-18s %s\n", u"LogLength:", logLength);
  // The usage type is shown a second time here.
  AppendNarrow(out, "%-18s %s\n", "UsageType:", v.UsageType);
  if (flags & VOLUME_FLAG_LOG_RECORD) AppendWide(out, u"%-18s %lu\n", u"LogRecordId:", v.LogRecordId);
  AppendWide(out, u"%-18s %lu\n", u"PartitionType:", v.PartitionType);
  if (haveMountName) AppendWide(out, u"%-18s %s\n", u"VolumeName:", mountName);
  AppendWide(out, u"%-18s %s\n", u"VolumeGuid:", guid);
  if (flags & VOLUME_FLAG_MOUNT_NAME)
    AppendWide(out, u"%-18s %s\n", u"VolumeName:", v.MountName.get());
  if (flags & VOLUME_FLAG_APP_RECOVERY) AppendWide(out, u"%-18s %u\n", u"AppRecovery:", v.AppRecovery);
  if (flags & VOLUME_FLAG_PREFERRED_PLEX)
    AppendWide(out, u"%-18s %lu\n", u"PrefferedPlexRecordId:", v.PrefferedPlexRecordId);
}

void PrintPlexLines(std::string& out, const PLEX_RECORD& p) {
  AppendNarrow(out, "%-18s %s\n", "State:", p.State);
  PrintWordLine(out, u"Layout:", PlexLayoutWord(p.Layout), p.Layout);
  AppendWide(out, u"%-18s 0x%08lx%s\n", u"PersistentFlags:", p.PersistentFlags,
            PlexPersistentWords(p.PersistentFlags));
  AppendWide(out, u"%-18s %lu\n", u"SubdiskCount:", p.SubdiskCount);
  AppendWide(out, u"%-18s %I64u\n", u"DetachSequence:", p.DetachSequence);
  AppendWide(out, u"%-18s %lu\n", u"VolumeRecordId:", p.VolumeRecordId);
  AppendWide(out, u"%-18s %lu\n", u"LogRecordId:", p.LogRecordId);
  if (p.RecordFlags() & PLEX_FLAG_STRIPES) {
    AppendWide(out, u"%-18s %I64d\n", u"StripeWidth:", p.StripeWidth);
    AppendWide(out, u"%-18s %lu\n", u"ColumnCount:", p.ColumnCount);
  }
}

void PrintSubdiskLines(std::string& out, const SUBDISK_RECORD& s) {
  const uint16_t flags = s.RecordFlags();
  AppendWide(out, u"%-18s 0x%08lx%s\n", u"PersistentFlags:", s.PersistentFlags,
            SubdiskPersistentWords(s.PersistentFlags));
  AppendWide(out, u"%-18s %lu\n", u"DiskRecordId:", s.DiskRecordId);
  AppendWide(out, u"%-18s %s\n", u"DiskOffset:", Grouped(s.DiskOffset));
  AppendWide(out, u"%-18s %lu\n", u"PlexRecordId:", s.PlexRecordId);
  AppendWide(out, u"%-18s %s\n", u"PlexOffset:", Grouped(s.PlexOffset));
  AppendWide(out, u"%-18s %s\n", u"Length:", Grouped(static_cast<uint64_t>(s.Length)));
  // Flag 0x1000 alone decodes the column number and detach sequence but
  // shows neither.
  if (flags & SUBDISK_FLAG_COLUMN) AppendWide(out, u"%-18s %lu\n", u"ColumnNumber:", s.ColumnNumber);
  if (flags & SUBDISK_FLAG_DETACH) AppendWide(out, u"%-18s %I64u\n", u"DetachSequence:", s.DetachSequence);
  if (flags & SUBDISK_FLAG_MINOR) AppendWide(out, u"%-18s %lu\n", u"Minor:", s.Minor);
  if (flags & SUBDISK_FLAG_HIDDEN_SECTORS) AppendWide(out, u"%-18s %I64d\n", u"HiddenSectors:", s.HiddenSectors);
  if (flags & SUBDISK_FLAG_LAST_DISK) AppendWide(out, u"%-18s %lu\n", u"LastDiskRecordId:", s.LastDiskRecordId);
}

void PrintDiskLines(std::string& out, const DISK_RECORD& d) {
  AppendWide(out, u"%-18s %s\n", u"DiskId:", Guid(d.DiskId));
  AppendWide(out, u"%-18s %s\n", u"LastDiskSetId:", Guid(d.LastDiskSetId));
  AppendWide(out, u"%-18s 0x%08lx%s\n", u"PersistentFlags:", d.PersistentFlags,
            DiskPersistentWords(d.PersistentFlags));
}

void PrintPackLines(std::string& out, const PACK_RECORD& p) {
  const uint16_t flags = p.RecordFlags();
  AppendWide(out, u"%-18s %s\n", u"PackId:", Guid(p.PackId));
  AppendWide(out, u"%-18s %s\n", u"DiskSetId:", Guid(p.DiskSetId));
  AppendWide(out, u"%-18s 0x%08lx\n", u"PersistentFlags:", p.PersistentFlags);
  if (flags & PACK_FLAG_COPIES) {
    AppendWide(out, u"%-18s %lu\n", u"ConfigCopiesCount:", p.ConfigCopiesCount);
    AppendWide(out, u"%-18s %lu\n", u"LogCopiesCount:", p.LogCopiesCount);
  }
  if (flags & PACK_FLAG_BASE_MINOR) AppendWide(out, u"%-18s %lu\n", u"BaseMinor:", p.BaseMinor);
}

void PrintTypeLines(std::string& out, const LDM_RECORD* record) {
  if (auto* volume = dynamic_cast<const VOLUME_RECORD*>(record)) PrintVolumeLines(out, *volume);
  if (auto* plex = dynamic_cast<const PLEX_RECORD*>(record)) PrintPlexLines(out, *plex);
  if (auto* subdisk = dynamic_cast<const SUBDISK_RECORD*>(record)) PrintSubdiskLines(out, *subdisk);
  if (auto* disk = dynamic_cast<const DISK_RECORD*>(record)) PrintDiskLines(out, *disk);
  if (auto* pack = dynamic_cast<const PACK_RECORD*>(record)) PrintPackLines(out, *pack);
}

void PrintRecord(std::string& out, const VBLK_GROUP& group, const RECORD_ENTRY& entry) {
  const LDM_RECORD& record = *entry.Record;
  AppendWide(out, u"Record %lu\n", group.GroupNumber);
  AppendWide(out, u"----------\n");
  AppendWide(out, u"%-18s ", u"Type:");
  if (const char* word = RecordTypeWord(entry.RecordType))
    AppendWide(out, u"%s", word);
  else
    AppendWide(out, u"Unknown (0x%08x)", entry.RecordType);
  AppendWide(out, u"\n");
  AppendWide(out, u"%-18s %lu\n", u"RecordId:", entry.RecordId);
  AppendNarrow(out, "%-18s %s\n", "RecordName:", record.RecordName);
  AppendWide(out, u"%-18s %u\n", u"Version:", group.Revision());
  AppendWide(out, u"%-18s 0x%04x\n", u"TransFlags:", group.TransFlags);
  // The record flags as bits 8 to 15 of the type word, counted from bit 8.
  AppendWide(out, u"%-18s 0x%04x\n", u"RecordExt:", group.RecordFlags() >> 8);
  AppendWide(out, u"%-18s 0x%04x\n", u"RecordAttributes:", group.TypeWord);
  AppendWide(out, u"%-18s %lu\n", u"RecordSize:", group.RecordSize);
  AppendWide(out, u"%-18s %I64u\n", u"Update Seq:", record.UpdateSequence);
  PrintTypeLines(out, &record);
  AppendWide(out, u"\n");
}

}  // namespace

uint32_t PrintRecordSection(FILE* stream, const CONFIG_WRAPPER& config) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  if (!config.Header) return 0;
  // Groups without a decoded record (broken, ignored, unfinished) have
  // nothing to show and are left out. Each record's lines go out at once.
  // A buffer of its own: what it calls may print lines of its own.
  thread_local std::string out;
  for (const auto& group : config.Header->GroupList) {
    if (!group || !group->Entry || !group->Entry->Record) continue;
    out.clear();
    PrintRecord(out, *group, *group->Entry);
    WriteBytes(stream, out);
  }
  return 0;
}

// ---- XML ----

namespace {

// Signed members are written as the unsigned 64-bit number of their bits.
uint64_t Bits(int64_t value) { return static_cast<uint64_t>(value); }

void VolumeAttributes(CAttributeAdder& add, const VOLUME_RECORD& v) {
  const uint16_t flags = v.RecordFlags();
  std::u16string mountName;
  const bool haveMountName = GetVolumeMountName(&v.VolumeGuid, mountName) == 0;
  add.Text("UsageType", v.UsageType);
  add.Text("FileSystemTypeOnlyMattersIfGpt", FileSystemTypeWord(v.FileSystemType[0]));
  add.Text("State", v.State);
  const char* policy = ReadPolicyXmlWord(v.ReadPolicy);
  add.Text("ReadPolicy", policy ? policy : "Unknown");
  add.Number("Minor", v.Minor);
  add.Flags("PersistentFlags", v.PersistentFlags);
  add.Number("Plexes", v.NumPlexes);
  add.Number("DetachSequence", v.DetachSeqNum);
  add.Number("Length", Bits(v.Length));
  add.Number("LogLength", Bits(v.LogLength));
  if (flags & VOLUME_FLAG_LOG_RECORD) add.Number("LogRecordId", v.LogRecordId);
  if (haveMountName) add.Wide("VolumeName", mountName);
  add.Guid("VolumeId", v.VolumeGuid);
  if (flags & VOLUME_FLAG_MOUNT_NAME) add.Wide("MountName", v.MountName.get());
  add.Number("PartitionType", v.PartitionType);
  if (flags & VOLUME_FLAG_APP_RECOVERY) add.Number("AppRecovery", v.AppRecovery);
  if (flags & VOLUME_FLAG_PREFERRED_PLEX) add.Number("PrefferedPlexRecordId", v.PrefferedPlexRecordId);
}

void PlexAttributes(CAttributeAdder& add, const PLEX_RECORD& p) {
  add.Text("State", p.State);
  const char* layout = PlexLayoutWord(p.Layout);
  add.Text("Layout", layout ? layout : "Unknown");
  add.Flags("PersistentFlags", p.PersistentFlags);
  add.Number("SubdisksCount", p.SubdiskCount);
  add.Number("DetachSequence", p.DetachSequence);
  add.Number("VolumeRecordId", p.VolumeRecordId);
  add.Number("LogRecordId", p.LogRecordId);
  if (p.RecordFlags() & PLEX_FLAG_STRIPES) {
    add.Number("StripeWidth", Bits(p.StripeWidth));
    add.Number("ColumnCount", p.ColumnCount);
  }
}

void SubdiskAttributes(CAttributeAdder& add, const SUBDISK_RECORD& s) {
  const uint16_t flags = s.RecordFlags();
  add.Flags("PersistentFlags", s.PersistentFlags);
  add.Number("DiskRecordId", s.DiskRecordId);
  add.Grouped("DiskOffset", s.DiskOffset);
  add.Number("PlexRecordId", s.PlexRecordId);
  add.Grouped("PlexOffset", s.PlexOffset);
  add.Grouped("Length", Bits(s.Length));
  if (flags & SUBDISK_FLAG_COLUMN) add.Number("ColumnNumber", s.ColumnNumber);
  if (flags & SUBDISK_FLAG_DETACH) add.Number("DetachSequence", s.DetachSequence);
  if (flags & SUBDISK_FLAG_MINOR) add.Number("Minor", s.Minor);
  if (flags & SUBDISK_FLAG_HIDDEN_SECTORS) add.Number("HiddenSectors", Bits(s.HiddenSectors));
  if (flags & SUBDISK_FLAG_LAST_DISK) add.Number("LastDiskRecordId", s.LastDiskRecordId);
}

void DiskAttributes(CAttributeAdder& add, const DISK_RECORD& d) {
  add.Wide("DeviceInstance", d.DeviceInstance.get());
  add.Guid("DiskId", d.DiskId);
  add.Guid("LastDiskSetId", d.LastDiskSetId);
  add.Flags("PersistentFlags", d.PersistentFlags);
}

void PackAttributes(CAttributeAdder& add, const PACK_RECORD& p) {
  const uint16_t flags = p.RecordFlags();
  add.Guid("PackId", p.PackId);
  add.Guid("DiskSetId", p.DiskSetId);
  add.Flags("PersistentFlags", p.PersistentFlags);
  if (flags & PACK_FLAG_COPIES) {
    add.Number("ConfigCopiesCount", p.ConfigCopiesCount);
    add.Number("LogCopiesCount", p.LogCopiesCount);
  }
  if (flags & PACK_FLAG_BASE_MINOR) add.Number("BaseMinor", p.BaseMinor);
}

// The record's own attributes, by the class of the record: an entry's
// record is made for its type, so at most one of these matches.
void TypeAttributes(CAttributeAdder& add, const LDM_RECORD& record) {
  if (auto* volume = dynamic_cast<const VOLUME_RECORD*>(&record)) return VolumeAttributes(add, *volume);
  if (auto* plex = dynamic_cast<const PLEX_RECORD*>(&record)) return PlexAttributes(add, *plex);
  if (auto* subdisk = dynamic_cast<const SUBDISK_RECORD*>(&record)) return SubdiskAttributes(add, *subdisk);
  if (auto* disk = dynamic_cast<const DISK_RECORD*>(&record)) return DiskAttributes(add, *disk);
  if (auto* pack = dynamic_cast<const PACK_RECORD*>(&record)) return PackAttributes(add, *pack);
}

// One Record element, written straight into `bytes`: a leaf that nothing
// looks at again, so it takes no tree node.
void AppendRecord(std::string& bytes, const VBLK_GROUP& group, const RECORD_ENTRY& entry) {
  const LDM_RECORD& record = *entry.Record;
  const char* typeWord = RecordTypeWord(entry.RecordType);
  if (!typeWord) typeWord = "Unknown";
  std::string caption = "Record ";
  AppendDecimal(caption, group.GroupNumber);
  caption += ' ';
  caption += typeWord;
  bytes += "<Record";
  CAttributeAdder add(&bytes);
  add.Display(caption.c_str(), "3");
  add.Text("Type", typeWord);
  add.Number("Id", entry.RecordId);
  add.Text("Name", record.RecordName);
  add.Number("Version", group.Revision());
  add.Flags("TransFlags", group.TransFlags);
  add.Flags("RecExt", group.RecordFlags() >> 8);  // bits 8 to 15, counted from bit 8
  add.Flags("Attributes", group.TypeWord);
  add.Number("Size", group.RecordSize);
  add.Number("UpdateSequence", record.UpdateSequence);
  TypeAttributes(add, record);
  bytes += " />";
}

// The node form of the attribute sets: their first failure.
template <typename Record, void (*Attributes)(CAttributeAdder&, const Record&)>
uint32_t AddToElement(CKestrandTreeNode* element, const Record* record) {
  if (!element || !record) return ERROR_INVALID_PARAMETER_CODE;
  CAttributeAdder add(element);
  Attributes(add, *record);
  return add.Code();
}

}  // namespace

uint32_t AddRecordsToReport(const CONFIG_WRAPPER& config, CKestrandTreeNode* parent) {
  if (!parent) return ERROR_INVALID_PARAMETER_CODE;
  uint32_t code = 0;
  CKestrandTreeNode* records = AddDisplayedChild(parent, "Records", "Record List", "3", code);
  if (!records) return code;
  if (!config.Header) return 0;
  // Groups without a decoded record have nothing to show and are left out.
  std::string bytes;
  for (const auto& group : config.Header->GroupList) {
    if (!group || !group->Entry || !group->Entry->Record) continue;
    AppendRecord(bytes, *group, *group->Entry);
  }
  if (!bytes.empty() && !records->AddFragment(std::move(bytes))) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  return 0;
}

uint32_t AddVolumeAttributes(CKestrandTreeNode* element, const VOLUME_RECORD* v) {
  return AddToElement<VOLUME_RECORD, VolumeAttributes>(element, v);
}

uint32_t AddPlexAttributes(CKestrandTreeNode* element, const PLEX_RECORD* p) {
  return AddToElement<PLEX_RECORD, PlexAttributes>(element, p);
}

uint32_t AddSubdiskAttributes(CKestrandTreeNode* element, const SUBDISK_RECORD* s) {
  return AddToElement<SUBDISK_RECORD, SubdiskAttributes>(element, s);
}

uint32_t AddDiskAttributes(CKestrandTreeNode* element, const DISK_RECORD* d) {
  return AddToElement<DISK_RECORD, DiskAttributes>(element, d);
}

uint32_t AddPackAttributes(CKestrandTreeNode* element, const PACK_RECORD* p) {
  return AddToElement<PACK_RECORD, PackAttributes>(element, p);
}

}  // namespace kestrand
