// Every decoded config record of a config copy: the words the reports show
// for record values, the text lines of each record, and the Records branch of
// the XML report with the attribute sets of the five record types.
#include "ldm/record_report.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

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

}  // namespace

// ---- text ----

namespace {

// The lines of a record, written straight into a string without the format
// engine, byte for byte as its formats give them: a label left-aligned in 18
// columns and a blank ("%-18s "), then the value. In the wide formats of
// these lines a unit above 0x7F is narrowed to "?"; the narrow ones
// (UsageType, State, RecordName) pass their bytes as they are.
//
// The string is written through a pointer into room claimed ahead (a
// record's lines take some 500 bytes): every piece only checks that it
// fits, and the string takes its true size when the lines end.
class CRecordLines {
 public:
  explicit CRecordLines(std::string& out) : out_(out) { Grow(kRoom); }
  ~CRecordLines() { out_.resize(static_cast<size_t>(at_ - out_.data())); }
  CRecordLines(const CRecordLines&) = delete;
  CRecordLines& operator=(const CRecordLines&) = delete;

  // "%-18s " of an ASCII label, a literal.
  template <size_t N>
  CRecordLines& Label(const char (&label)[N]) {
    constexpr size_t length = N - 1;
    constexpr size_t width = length < kLabelWidth ? kLabelWidth : length;
    Room(width + 1);
    std::memcpy(at_, label, length);
    std::memset(at_ + length, ' ', width + 1 - length);
    at_ += width + 1;
    return *this;
  }
  // "%lu" and "%u": long is 32 bits, so only the low 32 bits are shown.
  CRecordLines& Low32(uint64_t value) { return Unsigned(value & 0xFFFFFFFFu); }
  // "%I64u"
  CRecordLines& Unsigned(uint64_t value) {
    Room(20);
    at_ = PutDecimal(at_, value);
    return *this;
  }
  // "%I64d"
  CRecordLines& Signed(int64_t value) {
    Room(21);
    if (value < 0) *at_++ = '-';
    at_ = PutDecimal(at_, value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value));
    return *this;
  }
  // "0x%0Nx" of a value below 2 to the 32 (N is 2, 4 or 8).
  CRecordLines& Hex(uint32_t value, int minimum) {
    char digits[8];
    int count = 0;
    do {
      digits[count++] = "0123456789abcdef"[value & 0xF];
      value >>= 4;
    } while (value != 0);
    Room(10);
    *at_++ = '0';
    *at_++ = 'x';
    for (int i = count; i < minimum; ++i) *at_++ = '0';
    while (count > 0) *at_++ = digits[--count];
    return *this;
  }
  // Narrow text in a wide format ("%s" of a narrow argument); "(null)"
  // without text.
  CRecordLines& Text(const char* text) {
    if (!text) text = "(null)";
    const size_t length = std::strlen(text);
    Room(length);
    for (size_t i = 0; i < length; ++i) *at_++ = static_cast<unsigned char>(text[i]) < 0x80 ? text[i] : '?';
    return *this;
  }
  // Wide text in a wide format; "(null)" without text.
  CRecordLines& Wide(const char16_t* text) {
    if (!text) return Text(nullptr);
    const size_t length = WideLength(text);
    Room(length);
    for (size_t i = 0; i < length; ++i) *at_++ = text[i] < 0x80 ? static_cast<char>(text[i]) : '?';
    return *this;
  }
  // Narrow text in a narrow format: its bytes as they are.
  CRecordLines& Bytes(const char* text) {
    const size_t length = std::strlen(text);
    Room(length);
    std::memcpy(at_, text, length);
    at_ += length;
    return *this;
  }
  // Numbers grouped in threes and GUIDs: ASCII, written as formatted.
  CRecordLines& Grouped(uint64_t value) {
    Room(kLongestFormatted);
    at_ = PutGrouped(at_, value);
    return *this;
  }
  CRecordLines& Guid(const GUID& guid) {
    Room(kLongestFormatted);
    at_ = PutGuid(at_, guid);
    return *this;
  }
  // The words of the named bits that are set (ASCII literals).
  template <size_t N>
  CRecordLines& Words(uint32_t flags, const FlagWord (&table)[N]) {
    for (const FlagWord& entry : table)
      if (flags & entry.Bit) Bytes(entry.Word);
    return *this;
  }
  CRecordLines& End() {
    Room(1);
    *at_++ = '\n';
    return *this;
  }

 private:
  static constexpr size_t kLabelWidth = 18;
  static constexpr size_t kRoom = 1024;

  void Room(size_t length) {
    if (static_cast<size_t>(end_ - at_) < length) Grow(length);
  }
  // At least `length` more bytes of room past the write position.
  void Grow(size_t length) {
    const size_t used = at_ ? static_cast<size_t>(at_ - out_.data()) : out_.size();
    out_.resize(used + std::max(length, kRoom));
    at_ = out_.data() + used;
    end_ = out_.data() + out_.size();
  }

  std::string& out_;
  char* at_ = nullptr;
  char* end_ = nullptr;
};

// The word for a value, or "Unknown (0xNN)" when it has none.
template <size_t N>
void PrintWordLine(CRecordLines& line, const char (&label)[N], const char* word, uint8_t value) {
  line.Label(label);
  if (word)
    line.Text(word);
  else
    line.Text("Unknown (").Hex(value, 2).Text(")");
  line.End();
}

void PrintVolumeLines(CRecordLines& line, const VOLUME_RECORD& v, const VolumeNameAnswer& answer) {
  const uint16_t flags = v.RecordFlags();
  const bool haveMountName = answer.Found;
  const std::u16string& mountName = answer.Name;

  line.Label("UsageType:").Bytes(v.UsageType).End();
  line.Label("FileSystemType:");
  if (const char* word = FileSystemTypeWord(v.FileSystemType[0])) line.Text(word);
  line.End();
  line.Label("State:").Bytes(v.State).End();
  PrintWordLine(line, "ReadPolicy:", ReadPolicyTextWord(v.ReadPolicy), v.ReadPolicy);
  line.Label("Minor:").Low32(v.Minor).End();
  line.Label("PersistentFlags:").Hex(v.PersistentFlags, 8).Words(v.PersistentFlags, kVolumeWords).End();
  line.Label("NumPlexes:").Low32(v.NumPlexes).End();
  line.Label("DetachSeqNum:").Unsigned(v.DetachSeqNum).End();
  line.Label("Length:").Grouped(static_cast<uint64_t>(v.Length)).End();
  line.Label("LogLength:").Grouped(static_cast<uint64_t>(v.LogLength)).End();
  // The usage type is shown a second time here.
  line.Label("UsageType:").Bytes(v.UsageType).End();
  if (flags & VOLUME_FLAG_LOG_RECORD) line.Label("LogRecordId:").Low32(v.LogRecordId).End();
  line.Label("PartitionType:").Low32(v.PartitionType).End();
  if (haveMountName) line.Label("VolumeName:").Wide(mountName.c_str()).End();
  line.Label("VolumeGuid:").Guid(v.VolumeGuid).End();
  if (flags & VOLUME_FLAG_MOUNT_NAME) line.Label("VolumeName:").Wide(v.MountName.get()).End();
  if (flags & VOLUME_FLAG_APP_RECOVERY) line.Label("AppRecovery:").Low32(v.AppRecovery).End();
  if (flags & VOLUME_FLAG_PREFERRED_PLEX)
    line.Label("PrefferedPlexRecordId:").Low32(v.PrefferedPlexRecordId).End();
}

void PrintPlexLines(CRecordLines& line, const PLEX_RECORD& p) {
  line.Label("State:").Bytes(p.State).End();
  PrintWordLine(line, "Layout:", PlexLayoutWord(p.Layout), p.Layout);
  line.Label("PersistentFlags:").Hex(p.PersistentFlags, 8).Words(p.PersistentFlags, kPlexWords).End();
  line.Label("SubdiskCount:").Low32(p.SubdiskCount).End();
  line.Label("DetachSequence:").Unsigned(p.DetachSequence).End();
  line.Label("VolumeRecordId:").Low32(p.VolumeRecordId).End();
  line.Label("LogRecordId:").Low32(p.LogRecordId).End();
  if (p.RecordFlags() & PLEX_FLAG_STRIPES) {
    line.Label("StripeWidth:").Signed(p.StripeWidth).End();
    line.Label("ColumnCount:").Low32(p.ColumnCount).End();
  }
}

void PrintSubdiskLines(CRecordLines& line, const SUBDISK_RECORD& s) {
  const uint16_t flags = s.RecordFlags();
  line.Label("PersistentFlags:").Hex(s.PersistentFlags, 8).Words(s.PersistentFlags, kSubdiskWords).End();
  line.Label("DiskRecordId:").Low32(s.DiskRecordId).End();
  line.Label("DiskOffset:").Grouped(s.DiskOffset).End();
  line.Label("PlexRecordId:").Low32(s.PlexRecordId).End();
  line.Label("PlexOffset:").Grouped(s.PlexOffset).End();
  line.Label("Length:").Grouped(static_cast<uint64_t>(s.Length)).End();
  // Flag 0x1000 alone decodes the column number and detach sequence but
  // shows neither.
  if (flags & SUBDISK_FLAG_COLUMN) line.Label("ColumnNumber:").Low32(s.ColumnNumber).End();
  if (flags & SUBDISK_FLAG_DETACH) line.Label("DetachSequence:").Unsigned(s.DetachSequence).End();
  if (flags & SUBDISK_FLAG_MINOR) line.Label("Minor:").Low32(s.Minor).End();
  if (flags & SUBDISK_FLAG_HIDDEN_SECTORS) line.Label("HiddenSectors:").Signed(s.HiddenSectors).End();
  if (flags & SUBDISK_FLAG_LAST_DISK) line.Label("LastDiskRecordId:").Low32(s.LastDiskRecordId).End();
}

void PrintDiskLines(CRecordLines& line, const DISK_RECORD& d) {
  line.Label("DiskId:").Guid(d.DiskId).End();
  line.Label("LastDiskSetId:").Guid(d.LastDiskSetId).End();
  line.Label("PersistentFlags:").Hex(d.PersistentFlags, 8).Words(d.PersistentFlags, kDiskWords).End();
}

void PrintPackLines(CRecordLines& line, const PACK_RECORD& p) {
  const uint16_t flags = p.RecordFlags();
  line.Label("PackId:").Guid(p.PackId).End();
  line.Label("DiskSetId:").Guid(p.DiskSetId).End();
  line.Label("PersistentFlags:").Hex(p.PersistentFlags, 8).End();
  if (flags & PACK_FLAG_COPIES) {
    line.Label("ConfigCopiesCount:").Low32(p.ConfigCopiesCount).End();
    line.Label("LogCopiesCount:").Low32(p.LogCopiesCount).End();
  }
  if (flags & PACK_FLAG_BASE_MINOR) line.Label("BaseMinor:").Low32(p.BaseMinor).End();
}

// `answers` holds the volume names of the section's volume records in order;
// a volume record takes the first one and moves past it.
void PrintTypeLines(CRecordLines& line, const LDM_RECORD* record, const VolumeNameAnswer*& answers) {
  if (auto* volume = RecordAs<VOLUME_RECORD>(record)) PrintVolumeLines(line, *volume, *answers++);
  if (auto* plex = RecordAs<PLEX_RECORD>(record)) PrintPlexLines(line, *plex);
  if (auto* subdisk = RecordAs<SUBDISK_RECORD>(record)) PrintSubdiskLines(line, *subdisk);
  if (auto* disk = RecordAs<DISK_RECORD>(record)) PrintDiskLines(line, *disk);
  if (auto* pack = RecordAs<PACK_RECORD>(record)) PrintPackLines(line, *pack);
}

void PrintRecord(std::string& out, const VBLK_GROUP& group, const RECORD_ENTRY& entry,
                 const VolumeNameAnswer*& answers) {
  const LDM_RECORD& record = *entry.Record;
  CRecordLines line(out);
  line.Text("Record ").Low32(group.GroupNumber).End();
  line.Text("----------").End();
  line.Label("Type:");
  if (const char* word = RecordTypeWord(entry.RecordType))
    line.Text(word);
  else
    line.Text("Unknown (").Hex(entry.RecordType, 8).Text(")");
  line.End();
  line.Label("RecordId:").Low32(entry.RecordId).End();
  line.Label("RecordName:").Bytes(record.RecordName).End();
  line.Label("Version:").Low32(group.Revision()).End();
  line.Label("TransFlags:").Hex(group.TransFlags, 4).End();
  // The record flags as bits 8 to 15 of the type word, counted from bit 8.
  line.Label("RecordExt:").Hex(group.RecordFlags() >> 8, 4).End();
  line.Label("RecordAttributes:").Hex(group.TypeWord, 4).End();
  line.Label("RecordSize:").Low32(group.RecordSize).End();
  line.Label("Update Seq:").Unsigned(record.UpdateSequence).End();
  PrintTypeLines(line, &record, answers);
  line.End();
}

// Groups without a decoded record (broken, ignored, unfinished) have nothing
// to show and are left out.
const RECORD_ENTRY* ShownEntry(const std::unique_ptr<VBLK_GROUP>& group) {
  return group && group->Entry && group->Entry->Record ? group->Entry : nullptr;
}

VolumeNameAnswer AskVolumeName(const VOLUME_RECORD& volume) {
  VolumeNameAnswer answer;
  answer.Found = GetVolumeMountName(&volume.VolumeGuid, answer.Name) == 0;
  return answer;
}

// The volume records a section shows, in record order.
std::vector<const VOLUME_RECORD*> ShownVolumes(const CONFIG_HEADER& header) {
  std::vector<const VOLUME_RECORD*> volumes;
  for (const auto& group : header.GroupList) {
    const RECORD_ENTRY* entry = ShownEntry(group);
    if (!entry) continue;
    if (auto* volume = RecordAs<VOLUME_RECORD>(entry->Record.get())) volumes.push_back(volume);
  }
  return volumes;
}

// The host is asked for the name of every volume the section shows, in
// record order, each time a section is printed: its answer may change.
std::vector<VolumeNameAnswer> AskVolumeNames(const std::vector<const VOLUME_RECORD*>& volumes) {
  std::vector<VolumeNameAnswer> answers;
  answers.reserve(volumes.size());
  for (const VOLUME_RECORD* volume : volumes) answers.push_back(AskVolumeName(*volume));
  return answers;
}

// Room taken at once for what is made of a database's records (a record
// shows in about 400 to 500 bytes in either report): a section that grows
// step by step is copied at every step, and every step touches new pages.
// Room it never fills is never touched.
constexpr size_t kShownBytesPerRecord = 512;

// What was made of a header's records for one report, and the volume names
// it was made with. Disks that hold equal config areas share one decoded
// header, and what is made of their records differs only where the host
// named a volume differently: made with the same answers, it is the same
// bytes, so it is made once and used again.
template <class Made>
struct MadeWithAnswers {
  bool Valid = false;
  std::vector<VolumeNameAnswer> Answers;
  Made Bytes{};

  // The host is asked again; `make(bytes, answers)` makes the bytes anew
  // unless they were made with the same answers.
  template <class Make>
  const Made& For(const std::vector<const VOLUME_RECORD*>& volumes, Make make) {
    std::vector<VolumeNameAnswer> answers = AskVolumeNames(volumes);
    if (!Valid || Answers != answers) {
      make(Bytes, answers.data());
      Answers = std::move(answers);
      Valid = true;
    }
    return Bytes;
  }
};

}  // namespace

struct RECORDS_AS_SHOWN {
  // The header's shown volume records, listed when the first section is
  // made: the decoded header does not change, so neither does the list.
  std::vector<const VOLUME_RECORD*> Volumes;
  MadeWithAnswers<std::string> Text;
  MadeWithAnswers<std::shared_ptr<const std::string>> Xml;
  // Each record's attributes in the Xml bytes, made with them.
  std::vector<std::pair<const LDM_RECORD*, ShownAttributesSpan>> XmlSpans;
  ~RECORDS_AS_SHOWN();
};

namespace {

// The header whose text section is kept: one at a time, so that disks with
// differing areas do not each keep a copy of their text.
thread_local RECORDS_AS_SHOWN* keptText = nullptr;

RECORDS_AS_SHOWN& ShownOf(CONFIG_HEADER& header) {
  if (!header.Shown) {
    header.Shown = std::make_shared<RECORDS_AS_SHOWN>();
    header.Shown->Volumes = ShownVolumes(header);
  }
  return *header.Shown;
}

}  // namespace

RECORDS_AS_SHOWN::~RECORDS_AS_SHOWN() {
  if (keptText == this) keptText = nullptr;
}

uint32_t PrintRecordSection(FILE* stream, const CONFIG_WRAPPER& config) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  if (!config.Header) return 0;
  RECORDS_AS_SHOWN& shown = ShownOf(*config.Header);
  if (keptText != &shown) {
    if (keptText) keptText->Text = {};
    keptText = &shown;
  }
  const CONFIG_HEADER& header = *config.Header;
  WriteBytes(stream, shown.Text.For(shown.Volumes, [&](std::string& text, const VolumeNameAnswer* next) {
    text.clear();
    text.reserve(header.GroupList.size() * kShownBytesPerRecord);
    for (const auto& group : header.GroupList)
      if (const RECORD_ENTRY* entry = ShownEntry(group)) PrintRecord(text, *group, *entry, next);
  }));
  return 0;
}

// ---- XML ----

namespace {

// Signed members are written as the unsigned 64-bit number of their bits.
uint64_t Bits(int64_t value) { return static_cast<uint64_t>(value); }

void VolumeAttributes(CAttributeAdder& add, const VOLUME_RECORD& v, const VolumeNameAnswer& answer) {
  const uint16_t flags = v.RecordFlags();
  const bool haveMountName = answer.Found;
  const std::u16string& mountName = answer.Name;
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
// A volume record takes the first of `answers` and moves past it.
void TypeAttributes(CAttributeAdder& add, const LDM_RECORD& record, const VolumeNameAnswer*& answers) {
  if (auto* volume = RecordAs<VOLUME_RECORD>(&record)) return VolumeAttributes(add, *volume, *answers++);
  if (auto* plex = RecordAs<PLEX_RECORD>(&record)) return PlexAttributes(add, *plex);
  if (auto* subdisk = RecordAs<SUBDISK_RECORD>(&record)) return SubdiskAttributes(add, *subdisk);
  if (auto* disk = RecordAs<DISK_RECORD>(&record)) return DiskAttributes(add, *disk);
  if (auto* pack = RecordAs<PACK_RECORD>(&record)) return PackAttributes(add, *pack);
}

// One Record element, written straight into `bytes`: a leaf that nothing
// looks at again, so it takes no tree node.
// Returns where its attributes from "Type" on lie in `bytes`.
ShownAttributesSpan AppendRecord(std::string& bytes, const VBLK_GROUP& group, const RECORD_ENTRY& entry,
                                       const VolumeNameAnswer*& answers) {
  const LDM_RECORD& record = *entry.Record;
  const char* typeWord = RecordTypeWord(entry.RecordType);
  if (!typeWord) typeWord = "Unknown";
  // "Record <group number> <type word>", built on the stack.
  char caption[40] = "Record ";
  char* end = std::to_chars(caption + 7, caption + 28, group.GroupNumber).ptr;
  *end++ = ' ';
  std::memcpy(end, typeWord, std::strlen(typeWord) + 1);  // the longest word is "Subdisk"
  CElementBytes element(bytes, "Record");
  CAttributeAdder& add = element.Add();
  add.Display(caption, "3");
  ShownAttributesSpan span;
  span.Offset = bytes.size();
  add.Text("Type", typeWord);
  add.Number("Id", entry.RecordId);
  add.Text("Name", record.RecordName);
  add.Number("Version", group.Revision());
  add.Flags("TransFlags", group.TransFlags);
  add.Flags("RecExt", group.RecordFlags() >> 8);  // bits 8 to 15, counted from bit 8
  add.Flags("Attributes", group.TypeWord);
  add.Number("Size", group.RecordSize);
  add.Number("UpdateSequence", record.UpdateSequence);
  TypeAttributes(add, record, answers);
  span.Length = bytes.size() - span.Offset;
  element.End();
  return span;
}

}  // namespace

uint32_t AddRecordsToReport(const CONFIG_WRAPPER& config, CKestrandTreeNode* parent) {
  if (!parent) return ERROR_INVALID_PARAMETER_CODE;
  uint32_t code = 0;
  CKestrandTreeNode* records = AddDisplayedChild(parent, "Records", "Record List", "3", code);
  if (!records) return code;
  if (!config.Header) return 0;
  const CONFIG_HEADER& header = *config.Header;
  RECORDS_AS_SHOWN& shown = ShownOf(*config.Header);
  const std::shared_ptr<const std::string>& fragment = shown.Xml.For(
      shown.Volumes, [&](std::shared_ptr<const std::string>& made, const VolumeNameAnswer* next) {
        std::string bytes;
        bytes.reserve(header.GroupList.size() * kShownBytesPerRecord);
        shown.XmlSpans.clear();
        shown.XmlSpans.reserve(header.GroupList.size());
        const VolumeNameAnswer* const first = next;
        for (const auto& group : header.GroupList) {
          const RECORD_ENTRY* entry = ShownEntry(group);
          if (!entry) continue;
          const VolumeNameAnswer* answer = next;
          ShownAttributesSpan span = AppendRecord(bytes, *group, *entry, next);
          if (next != answer) span.Answer = static_cast<size_t>(answer - first);
          // Only a record whose group and entry are these shows the
          // attributes the virtual structure would give it.
          if (entry->Record->Group == group.get() && entry->Record->Entry == entry)
            shown.XmlSpans.emplace_back(entry->Record.get(), span);
        }
        made = bytes.empty() ? nullptr : ShareFragment(std::move(bytes));
        if (!made) shown.XmlSpans.clear();
      });
  if (fragment && !records->AddFragment(fragment)) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  return 0;
}

VolumeNameAnswer AskVolumeNameOf(const LDM_RECORD& record) {
  const auto* volume = RecordAs<VOLUME_RECORD>(&record);
  return volume ? AskVolumeName(*volume) : VolumeNameAnswer{};
}

void AddRecordTypeAttributes(CAttributeAdder& add, const LDM_RECORD& record, const VolumeNameAnswer& answer) {
  const VolumeNameAnswer* next = &answer;
  TypeAttributes(add, record, next);
}

void CShownRecordAttributes::Add(const CONFIG_HEADER& header) {
  const RECORDS_AS_SHOWN* shown = header.Shown.get();
  if (!shown || !shown->Xml.Valid || !shown->Xml.Bytes) return;
  for (const auto& made : made_)
    if (made->Source == shown) return;
  made_.push_back(std::make_unique<Made>(Made{shown, shown->Xml.Bytes, shown->Xml.Answers}));
  places_.reserve(places_.size() + shown->XmlSpans.size());
  for (const auto& [record, span] : shown->XmlSpans) places_.push_back({record, Place{made_.back().get(), span}});
  // Sorted by record for the search; a record taken in twice keeps its
  // first place, as a map would.
  std::stable_sort(places_.begin(), places_.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
}

std::string_view CShownRecordAttributes::Find(const LDM_RECORD& record, const VolumeNameAnswer& answer) const {
  const auto found = std::lower_bound(places_.begin(), places_.end(), &record,
                                      [](const auto& place, const LDM_RECORD* key) { return place.first < key; });
  if (found == places_.end() || found->first != &record) return {};
  const Made& made = *found->second.From;
  const ShownAttributesSpan& span = found->second.Span;
  const bool sameAnswer = span.Answer == ShownAttributesSpan::kNoAnswer
                              ? answer == VolumeNameAnswer{}
                              : span.Answer < made.Answers.size() && made.Answers[span.Answer] == answer;
  if (!sameAnswer || span.Offset + span.Length > made.Bytes->size()) return {};
  return std::string_view(*made.Bytes).substr(span.Offset, span.Length);
}

}  // namespace kestrand
