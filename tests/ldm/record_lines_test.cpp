// The record lines of the text report are written without the format engine:
// they must be byte for byte what the report's formats give through it, for
// values at the edges (ids above 32 bits, negative lengths, unknown words,
// bytes above 0x7F, missing names) and every optional line.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "common/formatters.h"
#include "common/text_format.h"
#include "inventory/volumes.h"
#include "ldm/config_header.h"
#include "ldm/ldm_database.h"
#include "ldm/record_report.h"
#include "ldm/records.h"
#include "support/text_capture.h"

namespace kestrand {
namespace {

template <class... A>
std::string W(std::u16string_view format, const A&... args) {
  return WideToAnsi(FormatWide(format, args...));
}
template <class... A>
std::string N(std::string_view format, const A&... args) {
  return FormatNarrow(format, args...);
}
// The report's line formats, each through the format engine: a label in 18
// columns, then the value.
std::string Lu(const char16_t* label, uint64_t value) { return W(u"%-18s %lu\n", label, value); }
std::string U64(const char16_t* label, uint64_t value) { return W(u"%-18s %I64u\n", label, value); }
std::string S64(const char16_t* label, int64_t value) { return W(u"%-18s %I64d\n", label, value); }
std::string Text(const char* label, const char* value) { return N("%-18s %s\n", label, value); }
std::string Flags(const char16_t* label, uint32_t value, const char* names) {
  return W(u"%-18s 0x%08lx%s\n", label, value, names);
}
std::string Named(const char16_t* label, const char* name) { return W(u"%-18s ", label) + W(u"%s", name) + W(u"\n"); }
std::string Unknown(const char16_t* label, uint8_t value) {
  return W(u"%-18s ", label) + W(u"Unknown (0x%02x)", value) + W(u"\n");
}
std::string Grouped(const char16_t* label, uint64_t value) {
  std::u16string text;
  FormatGrouped(value, text);
  return W(u"%-18s %s\n", label, text);
}
std::string Guid(const char16_t* label, const GUID& guid) {
  std::u16string text;
  FormatGuid(guid, text);
  return W(u"%-18s %s\n", label, text);
}

class RecordLines : public ::testing::Test {
 protected:
  RecordLines() { config_.Header = std::make_unique<CONFIG_HEADER>(); }

  // A group holding `record`, with the type word's type, revision and flags.
  template <class T>
  T& Add(uint16_t type, uint16_t revision, uint16_t flags, uint64_t id, const char* name) {
    auto group = std::make_unique<VBLK_GROUP>();
    group->GroupNumber = static_cast<uint32_t>(config_.Header->GroupList.size()) + 7;
    group->TypeWord = static_cast<uint16_t>(type | (revision << 4) | flags);
    group->TransFlags = 0xA5;
    group->RecordSize = 0x1234;
    auto entry = std::make_unique<RECORD_ENTRY>();
    entry->List = &list_;
    entry->RecordId = id;
    entry->RecordType = type;
    auto record = std::make_unique<T>();
    std::strncpy(record->RecordName, name, kRecordNameSize - 1);
    record->UpdateSequence = UINT64_MAX - 1;
    record->Group = group.get();
    record->Entry = entry.get();
    T& result = *record;
    entry->Record = std::move(record);
    group->Entry = entry.get();
    expected_ += Common(*group, *entry);
    list_.Entries.push_back(std::move(entry));
    config_.Header->GroupList.push_back(std::move(group));
    return result;
  }

  static std::string Common(const VBLK_GROUP& g, const RECORD_ENTRY& e) {
    static const char* const kTypes[] = {"", "Volume", "Plex", "Subdisk", "Disk", "Pack"};
    return W(u"Record %lu\n", g.GroupNumber) + W(u"----------\n") + Named(u"Type:", kTypes[e.RecordType]) +
           Lu(u"RecordId:", e.RecordId) + Text("RecordName:", e.Record->RecordName) +
           W(u"%-18s %u\n", u"Version:", g.Revision()) + W(u"%-18s 0x%04x\n", u"TransFlags:", g.TransFlags) +
           W(u"%-18s 0x%04x\n", u"RecordExt:", g.RecordFlags() >> 8) +
           W(u"%-18s 0x%04x\n", u"RecordAttributes:", g.TypeWord) + Lu(u"RecordSize:", g.RecordSize) +
           U64(u"Update Seq:", e.Record->UpdateSequence);
  }

  std::string Printed() {
    return CaptureText([&](FILE* file) { EXPECT_EQ(PrintRecordSection(file, config_), 0u); });
  }

  CONFIG_WRAPPER config_;
  RECORD_LIST list_;
  std::string expected_;
};

TEST_F(RecordLines, EveryRecordTypeIsWhatItsFormatsGive) {
  const GUID guid{0xdeadbeef, 0x0102, 0xa0b0, {1, 2, 3, 4, 5, 6, 0xfe, 0xff}};

  auto& v = Add<VOLUME_RECORD>(RECORD_TYPE_VOLUME, 5, 0xFE00, 0x1'0000'0005, "Volume\xe9");
  std::strcpy(v.UsageType, "gen\xff");
  v.FileSystemType[0] = 3;
  std::strcpy(v.State, "ACTIVE");
  v.ReadPolicy = 9;
  v.Minor = 0xFFFFFFFF;
  v.PersistentFlags = 0xFFFFFFFF;
  v.NumPlexes = 2;
  v.DetachSeqNum = UINT64_MAX;
  v.Length = -1;
  v.LogLength = 1234567890123;
  v.LogRecordId = 0x2'0000'0001;
  v.PartitionType = 7;
  v.AppRecovery = 4000000000u;
  v.PrefferedPlexRecordId = UINT64_MAX;
  v.VolumeGuid = guid;  // MountName stays missing although its flag is set
  std::u16string mountName;
  const bool haveMountName = GetVolumeMountName(&v.VolumeGuid, mountName) == 0;
  expected_ += Text("UsageType:", v.UsageType) + Named(u"FileSystemType:", "Hidden, Read Only") +
               Text("State:", v.State) + Unknown(u"ReadPolicy:", v.ReadPolicy) + Lu(u"Minor:", v.Minor) +
               Flags(u"PersistentFlags:", v.PersistentFlags, " boot system retained") +
               Lu(u"NumPlexes:", v.NumPlexes) + U64(u"DetachSeqNum:", v.DetachSeqNum) +
               Grouped(u"Length:", static_cast<uint64_t>(v.Length)) +
               Grouped(u"LogLength:", static_cast<uint64_t>(v.LogLength)) + Text("UsageType:", v.UsageType) +
               Lu(u"LogRecordId:", v.LogRecordId) + Lu(u"PartitionType:", v.PartitionType) +
               (haveMountName ? W(u"%-18s %s\n", u"VolumeName:", mountName) : "") + Guid(u"VolumeGuid:", guid) +
               W(u"%-18s %s\n", u"VolumeName:", static_cast<const char16_t*>(nullptr)) +
               W(u"%-18s %u\n", u"AppRecovery:", v.AppRecovery) +
               Lu(u"PrefferedPlexRecordId:", v.PrefferedPlexRecordId) + "\n";

  auto& p = Add<PLEX_RECORD>(RECORD_TYPE_PLEX, 3, PLEX_FLAG_STRIPES, 0xFFFF'FFFF'FFFF'FFFF, "");
  std::strcpy(p.State, "\x80\x7f");
  p.Layout = 0xEE;
  p.PersistentFlags = PLEX_PERSISTENT_STALE | PLEX_PERSISTENT_DETACHED;
  p.SubdiskCount = 3;
  p.DetachSequence = 1;
  p.VolumeRecordId = 0x1'0000'0005;
  p.LogRecordId = 0;
  p.StripeWidth = INT64_MIN;
  p.ColumnCount = 3;
  expected_ += Text("State:", p.State) + Unknown(u"Layout:", p.Layout) +
               Flags(u"PersistentFlags:", p.PersistentFlags, " stale detached") +
               Lu(u"SubdiskCount:", p.SubdiskCount) + U64(u"DetachSequence:", p.DetachSequence) +
               Lu(u"VolumeRecordId:", p.VolumeRecordId) + Lu(u"LogRecordId:", p.LogRecordId) +
               S64(u"StripeWidth:", p.StripeWidth) + Lu(u"ColumnCount:", p.ColumnCount) + "\n";

  auto& s = Add<SUBDISK_RECORD>(RECORD_TYPE_SUBDISK, 3, 0xFE00, 42, "Disk1-01");
  s.PersistentFlags = 0;
  s.DiskRecordId = 0x3'0000'0009;
  s.DiskOffset = 999;
  s.PlexRecordId = 6;
  s.PlexOffset = UINT64_MAX;
  s.Length = -123456789;
  s.ColumnNumber = 2;
  s.DetachSequence = 5;
  s.Minor = 1;
  s.HiddenSectors = -63;
  s.LastDiskRecordId = 0x1'0000'0000;
  expected_ += Flags(u"PersistentFlags:", s.PersistentFlags, "") + Lu(u"DiskRecordId:", s.DiskRecordId) +
               Grouped(u"DiskOffset:", s.DiskOffset) + Lu(u"PlexRecordId:", s.PlexRecordId) +
               Grouped(u"PlexOffset:", s.PlexOffset) + Grouped(u"Length:", static_cast<uint64_t>(s.Length)) +
               Lu(u"ColumnNumber:", s.ColumnNumber) + U64(u"DetachSequence:", s.DetachSequence) +
               Lu(u"Minor:", s.Minor) + S64(u"HiddenSectors:", s.HiddenSectors) +
               Lu(u"LastDiskRecordId:", s.LastDiskRecordId) + "\n";

  auto& d = Add<DISK_RECORD>(RECORD_TYPE_DISK, 4, 0, 9, "Disk1");
  d.DiskId = guid;
  d.PersistentFlags = DISK_PERSISTENT_NON_VOTER | DISK_PERSISTENT_ISCSI | 0x80000000u;
  expected_ += Guid(u"DiskId:", d.DiskId) + Guid(u"LastDiskSetId:", d.LastDiskSetId) +
               Flags(u"PersistentFlags:", d.PersistentFlags, " non-voter iscsi") + "\n";

  auto& k = Add<PACK_RECORD>(RECORD_TYPE_PACK, 4, PACK_FLAG_COPIES | PACK_FLAG_BASE_MINOR, 1, "Dg0");
  k.PackId = guid;
  k.PersistentFlags = 0x10;
  k.ConfigCopiesCount = 0xFFFFFFFF;
  k.LogCopiesCount = 0;
  k.BaseMinor = 0x8000;
  expected_ += Guid(u"PackId:", k.PackId) + Guid(u"DiskSetId:", k.DiskSetId) +
               W(u"%-18s 0x%08lx\n", u"PersistentFlags:", k.PersistentFlags) +
               Lu(u"ConfigCopiesCount:", k.ConfigCopiesCount) + Lu(u"LogCopiesCount:", k.LogCopiesCount) +
               Lu(u"BaseMinor:", k.BaseMinor) + "\n";

  EXPECT_EQ(Printed(), expected_);
}

}  // namespace
}  // namespace kestrand
