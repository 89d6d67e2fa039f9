// Golden reports: every scenario runs through the real tool (the binary for
// saved LDM database files, the whole driver in-process over a fixed fake
// host whose disks are image files) and its reports must equal the files of
// tests/golden/expected byte for byte, in this build and in the Windows
// build under wine. With KESTRAND_REGENERATE_GOLDENS set, the reports are
// written there instead (tests/golden/regenerate.sh).
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "driver/kestrand.h"
#include "partition/table_bytes.h"
#include "support/disk_image_builder.h"
#include "support/image_platform.h"
#include "support/golden.h"
#include "support/ldm_builder.h"
#include "support/ldmtool_facts.h"
#include "support/real_images.h"
#include "support/run_binary.h"

namespace kestrand::test {
namespace {

// ---- saved LDM database files, through the binary ----

// Runs "kestrand -l ldm.bin" (and with `analysis` "-a" too) over `bytes` and
// checks its text (and XML) against the goldens `stem`.txt (and .xml), the
// facts of the host masked (the fixed host of the in-process runs below
// covers those sections).
void CheckDatabaseFile(const std::string& stem, const std::string& bytes, bool analysis) {
  TempDir dir;
  WriteFileBytes(dir.File("ldm.bin"), bytes);
  std::vector<std::string> args{"-l", "ldm.bin"};
  if (analysis) args = {"-a", "-f", "report.xml", "-l", "ldm.bin"};
  ProcessResult r = RunKestrandBinary(args, dir.Path());
  EXPECT_EQ(r.ExitStatus, 0) << stem;
  const std::string text = MaskHostSections(r.Out);
  CheckGolden(stem + ".txt", r.Err.empty() ? text : text + "---- standard error ----\n" + r.Err);
  if (analysis) CheckGolden(stem + ".xml", MaskHostBranches(ReadFileText(dir.File("report.xml"))));
}

std::string Bytes(const std::vector<uint8_t>& v) { return std::string(v.begin(), v.end()); }

// The records of a text report: record name -> field -> value (the first
// line of each field, thousands separators dropped). A record begins at its
// "Type" line.
using Fields = std::map<std::string, std::string>;
std::map<std::string, Fields> RecordsOf(const std::string& text) {
  std::vector<Fields> all(1);
  for (const std::string& line : SplitLines(text)) {
    const size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    const std::string key = line.substr(0, colon);
    std::string value = line.substr(std::min(line.find_first_not_of(' ', colon + 1), line.size()));
    if (key == "Length" || key == "DiskOffset") std::erase(value, ',');
    if (key == "Type") all.emplace_back();
    all.back().emplace(key, value);
  }
  std::map<std::string, Fields> records;
  for (Fields& fields : all) records[fields["RecordName"]] = fields;
  return records;
}

// The group, disks, volumes and partitions of a repaired image's report
// against what ldmtool shows for them.
void CheckLdmtoolFacts(const std::string& text) {
  const LdmtoolFacts facts;
  std::map<std::string, Fields> records = RecordsOf(text);
  EXPECT_EQ(records[facts.GroupName]["PackId"], facts.GroupGuid);
  std::map<std::string, std::string> diskById;
  for (size_t n = 0; n < facts.DiskGuids.size(); ++n) {
    Fields& disk = records["Disk" + std::to_string(n + 1)];
    EXPECT_EQ(disk["DiskId"], facts.DiskGuids[n]) << n;
    diskById[disk["RecordId"]] = "Disk" + std::to_string(n + 1);
  }
  for (const LdmtoolVolume& volume : facts.Volumes) {
    Fields& record = records[volume.Name];
    EXPECT_EQ(record["Length"], std::to_string(volume.Size)) << volume.Name;
    EXPECT_EQ(record["VolumeGuid"], volume.Guid) << volume.Name;
    EXPECT_EQ(record["VolumeName"], volume.MountHint) << volume.Name;
    size_t plexes = 0;
    std::set<std::string> partitions;
    for (auto& [plexName, plex] : records) {
      if (plex["VolumeRecordId"] != record["RecordId"] || !plex.count("Layout")) continue;
      ++plexes;
      const std::string layout = volume.Type == "striped" ? "Striped" : volume.Type == "raid5" ? "RAID5" : "Simple";
      EXPECT_EQ(plex["Layout"], layout) << plexName;
      if (volume.ChunkSize) {
        EXPECT_EQ(plex["StripeWidth"], std::to_string(volume.ChunkSize)) << plexName;
      }
      for (auto& [name, subdisk] : records)
        if (subdisk["PlexRecordId"] == plex["RecordId"]) partitions.insert(name);
    }
    EXPECT_EQ(plexes, volume.Type == "mirrored" ? 2u : 1u) << volume.Name;
    EXPECT_EQ(partitions, std::set<std::string>(volume.Partitions.begin(), volume.Partitions.end())) << volume.Name;
  }
  for (const LdmtoolPartition& partition : facts.Partitions) {
    Fields& record = records[partition.Name];
    EXPECT_EQ(record["Length"], std::to_string(partition.Size)) << partition.Name;
    EXPECT_EQ(record["DiskOffset"], std::to_string(partition.Start)) << partition.Name;
    EXPECT_EQ(diskById[record["DiskRecordId"]], partition.Disk) << partition.Name;
  }
}

class GoldenRealImages : public RealImagesTestBase {};

// The ten disks of the shared test data, as found (their private headers
// name tables of contents the loader does not find) and repaired.
TEST_F(GoldenRealImages, EachDatabaseFileAsFoundAndRepaired) {
  for (const std::string& name : RealImages::Names()) {
    const std::string stem = "real/" + name.substr(0, name.size() - 4);
    CheckDatabaseFile(stem, ReadFileBytes(images_->DatabaseFile(name)), false);
    const bool analysis = name == RealImages::Names()[0] || name == RealImages::Names()[3];
    CheckDatabaseFile(stem + "-repaired", ReadFileBytes(images_->DatabaseFile(name, true)), analysis);
    CheckLdmtoolFacts(ReadFileText(GoldenPath(stem + "-repaired.txt")));
  }
}

// Made by the builders: a sound area, and the hostile cases that matter.
TEST(GoldenDatabaseFiles, SoundAndDamaged) {
  const LdmAreaImage sound;
  CheckDatabaseFile("file/sound", Bytes(sound.Build()), true);

  // Fragment 1 of a two-fragment record is missing, another record's
  // fragment repeats, and one block is no VBLK at all.
  LdmAreaImage broken;
  ConfigAreaBuilder config;
  config.AddRecord(1, PackRecord());
  DiskFields disk;
  disk.DeviceInstance = std::u16string(150, u'x');
  std::vector<std::vector<uint8_t>> parts = SplitRecord(BuildDiskRecord(disk));
  config.PutFragment(20, 2, 0, static_cast<uint16_t>(parts.size()), parts[0]);
  std::vector<std::vector<uint8_t>> volume = SplitRecord(VolumeRecord(0x421, "Volume1"));
  config.PutFragment(24, 3, 0, 1, volume[0]);
  config.PutFragment(25, 3, 0, 1, volume[0]);
  config.PutBlock(30, std::vector<uint8_t>(128, 0xA5));
  broken.Config = config.Build();
  CheckDatabaseFile("file/broken-fragments", Bytes(broken.Build()), true);

  const std::vector<uint8_t> whole = sound.Build();
  CheckDatabaseFile("file/truncated", Bytes(std::vector<uint8_t>(whole.begin(), whole.begin() + 0x80000)), false);
}

// One damage to a sound area per row: what the loader keeps and reports. A
// row changes the area, or the config builder whose area is then placed.
using Damage = std::function<void(LdmAreaImage&, ConfigAreaBuilder&)>;
struct AreaDamage {
  const char* Name;
  Damage Apply;
};

// A config of status `status` whose records carry each transaction flag;
// later fragments of a group never begun, of a group with a fragment
// missing, of an ignored group; a whole record of four fragments; the walk
// ends at a record with both flags.
Damage Transactions(uint16_t status) {
  return [status](LdmAreaImage&, ConfigAreaBuilder& config) {
    config.Header.Status = status;
    config.AddRecord(1, PackRecord());
    config.AddRecord(2, VolumeRecord(0x421, "Flag1"), 1);
    config.AddRecord(3, VolumeRecord(0x422, "Flag2"), 2);
    auto disk = [](uint64_t id, uint16_t flags) {
      return SplitRecord(BuildDiskRecord({.RecordId = id, .DeviceInstance = std::u16string(350, u'x')}), flags);
    };
    const uint16_t count = static_cast<uint16_t>(disk(0, 0).size());  // four
    uint32_t block = config.NextFreeBlock();
    config.PutFragment(block++, 4, 1, count, disk(0x403, 0)[1]);
    for (uint16_t fragment : {0, 2, 3}) config.PutFragment(block++, 5, fragment, count, disk(0x404, 0)[fragment]);
    for (uint16_t fragment : {0, 1, 2, 3}) config.PutFragment(block++, 6, fragment, count, disk(0x405, 2)[fragment]);
    for (uint16_t fragment : {0, 1, 2, 3}) config.PutFragment(block++, 7, fragment, count, disk(0x406, 0)[fragment]);
    config.AddRecord(8, VolumeRecord(0x423, "Flags3"), 3);
    config.AddRecord(9, VolumeRecord(0x424, "NotReached"));
  };
}

const AreaDamage kAreaDamages[] = {
    {"bad-checksum", [](auto& a, auto&) { a.Header.Checksum = 0x12345678; }},
    {"bad-header-magic", [](auto& a, auto&) { a.Header.Magic = "PRIVHEAX"; }},
    {"header-2.12", [](auto& a, auto&) {
       a.Header.VersionMinor = 12;
       a.Header.NewPackName = "Renamed";
       a.Header.NewDiskId = GuidFromText("5e1f0000-0000-4000-8000-0000000000ee");
     }},
    {"header-2.10", [](auto& a, auto&) { a.Header.VersionMinor = 10; }},
    {"header-names-no-toc", [](auto& a, auto&) { a.Header.TocPrimarySector = 3; a.Header.TocAlternateSector = 2040; }},
    // Every field the consistency tests compare differs between the copies.
    {"copies-differ-everywhere", [](auto& a, auto&) {
       a.Header.VersionMinor = 13;
       a.AlternateHeader = PrivateHeaderFields{
           "PRIVHEAx", 0x4321, 3, 12, a.Header.UpdateTime + 1, 6, 0x7fe, 0x741, "5e1f0000-0000-4000-8000-0000000000e1",
           "5e1f0000-0000-4000-8000-0000000000e3", "5e1f0000-0000-4000-8000-0000000000e7", "OtherDg0", 0x400, 1, 1, 1,
           64, 96326, 100353, 2047, 3, 2044, 2, 2, 1480, 225, 0x1234,
           GuidFromText("5e1f0000-0000-4000-8000-0000000000e2"), GuidFromText("5e1f0000-0000-4000-8000-0000000000e5"),
           GuidFromText("5e1f0000-0000-4000-8000-0000000000e4"), GuidFromText("5e1f0000-0000-4000-8000-0000000000e6"),
           "Other"};
       a.AlternateToc = a.Toc;
       a.AlternateToc->Second = {"config", 1, 1499, 223, 6, 2, 1};  // the first entries agree
     }},
    {"transactions-clean", Transactions(1)},
    {"transactions-change", Transactions(2)},
    {"transactions-commit", Transactions(3)},
    {"transactions-abort", Transactions(4)},
    {"transactions-status-5", Transactions(5)},
    {"transactions-stale", Transactions(6)},
    {"toc-bad-magic", [](auto& a, auto&) { a.Toc.Magic = "TOCBLOCX"; }},
    {"toc-unknown-region", [](auto& a, auto&) { a.Toc.Second.Name = "journal"; }},
    // Two regions at one offset keep their order.
    {"toc-regions-at-one-offset", [](auto& a, auto&) { a.Toc.Second.ExtentOffset = 17; }},
    {"toc-entry-past-sector", [](auto& a, auto&) { a.Toc.First.DataLength = 500; }},
    // Two regions of no known kind, the second one's head ending with the sector.
    {"toc-entries-fill-the-sector",
     [](auto& a, auto&) { a.Toc = {"TOCBLOCK", {"journal", 0, 17, 1481, 420}, {"old", 0, 1498, 224, 0}}; }},
    {"toc-config-outside-area", [](auto& a, auto&) { a.Toc.First.ExtentOffset = 5000; }},
    {"vmdb-bad-magic", [](auto& a, auto& config) {
       a.Config = config.Build();
       a.Config[0] ^= 0xFF;
     }},
    {"vmdb-tiny-blocks", [](auto&, auto& config) { config.Header.BlockSize = 16; }},
    {"vmdb-announces-32-mib", [](auto& a, auto& config) {
       config.Header.NumBlocks = 0x40000;
       a.Config = config.Build();
       a.Config.resize(64 * 128);
     }},
    // A record whose last fragment holds one byte; a plex record of revision 4 (refused).
    {"one-byte-fragment-then-plex-revision-4", [](auto&, auto& config) {
       config.AddRecord(1, PackRecord());
       std::string name = "V";
       auto size = [&] { return static_cast<uint32_t>(VolumeRecord(0x421, name).Data.size()); };
       while (FragmentCountFor(size()) == FragmentCountFor(size() - 1)) name += 'x';
       config.AddRecord(2, VolumeRecord(0x421, name));
       config.AddRecord(3, BuildPlexRecord({.Revision = 4}));
     }},
    {"vmdb-version-3", [](auto&, auto& config) {
       config.Header.VersionMajor = 3;
       config.Header.VersionMinor = 9;
       config.AddRecord(1, PackRecord());
     }},
    // A disk record knows no record flag.
    {"disk-record-with-a-flag", [](auto&, auto& config) {
       config.AddRecord(1, PackRecord());
       config.AddRecord(2, BuildDiskRecord({.Flags = 0x0800}));
       config.AddRecord(3, VolumeRecord(0x421, "After"));
     }},
    {"records-of-every-kind", [](auto&, auto& config) {
       config.AddRecord(1, BuildPackRecord({.Revision = 4, .Flags = 0x1800, .BaseMinor = 9}));
       config.AddRecord(2, BuildDiskRecord({.Revision = 4, .DeviceInstanceTwoByte = true}));
       config.AddRecord(3, BuildVolumeRecord({.Flags = 0xFA00, .PrefferedPlexRecordId = 0x423, .LogRecordId = 0x424,
                                              .Number4000 = 7, .Number8000 = -3, .AppRecovery = 1,
                                              .MountNameTwoByte = true}));
       config.AddRecord(4, BuildPlexRecord({.Flags = 0x1000, .Layout = 1}));
       config.AddRecord(5, BuildSubdiskRecord({.Flags = 0xC200, .Minor = 4, .HiddenSectors = 63,
                                               .LastDiskRecordId = 0x403}));
       // The partition type from revision 4 on; one file system bit each.
       for (uint16_t revision : {3, 4})
         config.AddRecord(3u + revision, BuildVolumeRecord({.RecordId = 0x440u + revision,
                                                            .Name = "Revision" + std::to_string(revision),
                                                            .Revision = revision,
                                                            .FileSystemType = std::string(1, char(revision - 2)),
                                                            .PartitionType = 0x42}));
       config.AddRecord(8, VolumeRecord(0x421, "Volume1"));  // the same id twice: the walk ends
       config.PutBlock(40, std::vector<uint8_t>(128, 0xA5));
     }},
    // Every field of every kind at its edges: ids beyond 32 bits, the
    // largest and negative numbers, bytes above 0x7F, empty and unknown
    // values, every optional field.
    {"records-at-the-edges", [](auto&, auto& config) {
       const GUID guid{0xdeadbeef, 0x0102, 0xa0b0, {1, 2, 3, 4, 5, 6, 0xfe, 0xff}};
       config.AddRecord(1, BuildPackRecord({.RecordId = 1, .Name = "Dg0", .Revision = 4, .Flags = 0x1800,
                                            .PackId = guid, .PersistentFlags = 0x10, .UpdateSequence = UINT64_MAX - 1,
                                            .LogCopiesCount = 0, .BaseMinor = 0x8000}));
       config.AddRecord(2, BuildVolumeRecord({.RecordId = 0x1'0000'0005, .Name = "Volume\xe9", .Flags = 0xFA00,
                                              .UsageType = "gen\xff", .FileSystemType = "\x03", .ReadPolicy = 9,
                                              .Minor = 0xFFFFFFFF, .PersistentFlags = 0xFFFFFFFF, .NumPlexes = 2,
                                              .UpdateSequence = UINT64_MAX, .DetachSeqNum = UINT64_MAX,
                                              .Length = -1, .LogLength = 1234567890123, .VolumeGuid = guid,
                                              .PrefferedPlexRecordId = UINT64_MAX, .LogRecordId = 0x2'0000'0001,
                                              .Number4000 = 0xFFFFFFFF, .Number8000 = INT64_MIN,
                                              .AppRecovery = 4000000000u, .MountName = u""}));
       config.AddRecord(3, BuildPlexRecord({.RecordId = UINT64_MAX, .Name = "", .Flags = 0x1000, .State = "\x80\x7f",
                                            .Layout = 0xEE, .PersistentFlags = 6, .SubdiskCount = 3,
                                            .DetachSequence = 1, .VolumeRecordId = 0x1'0000'0005,
                                            .StripeWidth = INT64_MIN, .ColumnCount = 3}));
       config.AddRecord(4, BuildSubdiskRecord({.RecordId = 42, .Flags = 0xEA00, .PersistentFlags = 0x5C,
                                               .DiskOffset = 999, .PlexOffset = UINT64_MAX, .Length = -123456789,
                                               .PlexRecordId = 6, .DiskRecordId = 0x3'0000'0009, .ColumnNumber = 2,
                                               .DetachSequence = 5, .Minor = 1, .HiddenSectors = -63,
                                               .LastDiskRecordId = 0x1'0000'0000}));
       config.AddRecord(6, BuildSubdiskRecord({.RecordId = 43, .Name = "Disk1-02", .Flags = 0x9200, .ColumnNumber = 1,
                                               .DetachSequence = 2, .HiddenSectors = 0, .LastDiskRecordId = 7}));
       config.AddRecord(5, BuildDiskRecord({.RecordId = 9, .Revision = 4, .DiskId = guid, .LastDiskSetId = guid,
                                            .DeviceInstance = u"SCSI\x80", .PersistentFlags = 0x80000060}));
     }},
};

TEST(GoldenDatabaseFiles, EachDamageToASoundArea) {
  for (const AreaDamage& damage : kAreaDamages) {
    LdmAreaImage area;
    ConfigAreaBuilder config;
    damage.Apply(area, config);
    if (area.Config.empty()) area.Config = config.Build();
    CheckDatabaseFile(std::string("damage/") + damage.Name, Bytes(area.Build()), true);
  }
}

// ---- command lines ----

// Runs whose output does not depend on the host: messages, usage, exit
// status and the files each run leaves, one golden for the table. A run
// that reports prints the host, so only its size and files are kept.
TEST(GoldenCommandLines, MessagesUsageStatusAndFiles) {
  const std::vector<std::vector<std::string>> table = {
      {"-?"}, {"/?"}, {"-h"}, {"/H"}, {"-a", "-H", "-a"}, {"-x"}, {"-ab"}, {"x"}, {"-"}, {""}, {"-a", "/z"},
      {"-f", "a.txt", "-f", "b.txt"}, {"-d"}, {"-a", "/D"}, {"-d", "-a"}, {"-d", "/1"}, {"-l", "-a"},
      {"/L", "/f"}, {"-f", ""}, {"-l", ""}, {"-d", ""}, {"-l", "db.bin", "-d", "0"}, {"-d", "3", "/L", "db.bin"},
      {"-f", "no/such/folder/out.txt", "-l", "missing.bin"}, {"-f", "out.txt", "-l", "missing.bin"},
      {"/A", "-l", "missing.bin"}, {"-a", "-f", "report.xml", "-l", "missing.bin"}, {"-f", "-l", "missing.bin"}};
  std::string all;
  for (const std::vector<std::string>& args : table) {
    TempDir dir;
    ProcessResult r = RunKestrandBinary(args, dir.Path());
    all += "==== kestrand";
    for (const std::string& arg : args) all += " '" + arg + "'";
    all += "\nstatus " + std::to_string(r.ExitStatus) + (r.ExitCode == kMinusOneExitCode ? " (-1)" : "") + "\n";
    const bool report = r.Out.find("Computer Name and OS Version") != std::string::npos;
    all += "---- standard output\n" + (report ? "(a report)\n" : r.Out) + "---- standard error\n" + r.Err;
    for (const auto& entry : std::filesystem::directory_iterator(dir.Path())) {
      const bool reported = ReadFileBytes(entry.path().string()).find("Computer Name") != std::string::npos;
      all += "---- file " + entry.path().filename().string() + (reported ? " (a report)\n" : " (no report)\n");
    }
  }
  CheckGolden("command-lines.txt", all);
}

// ---- whole runs over a fixed fake host ----

constexpr uint64_t kDiskBytes = 8u << 20;  // 16,384 sectors
constexpr uint32_t kSectors = kDiskBytes / 512;
constexpr uint32_t kAreaSector = kSectors - 2048;

struct PackDisk {
  uint64_t RecordId;
  std::string Name, IdText;
};

// The LDM area of disk `self` of a pack: one simple volume on the first
// disk, and a spanned volume across every disk.
LdmAreaImage PackArea(const std::string& packName, const std::string& packIdText, const std::vector<PackDisk>& disks,
                      size_t self, uint64_t publicStart) {
  LdmAreaImage area;
  area.Header = {.DiskIdText = disks[self].IdText, .PackIdText = packIdText, .PackName = packName,
                 .PublicOffset = publicStart, .PublicLength = kAreaSector - publicStart, .PrivateOffset = kAreaSector,
                 .TocPrimarySector = 2, .TocAlternateSector = 2045};
  std::vector<LdmRecordImage> records{PackRecord(packName, 0x401, packIdText)};
  for (const PackDisk& disk : disks) records.push_back(DiskRecord(disk.RecordId, disk.Name, disk.IdText));
  const auto count = static_cast<uint32_t>(disks.size());
  records.insert(records.end(), {VolumeRecord(0x421, "Volume1", 4096), PlexRecord(0x423, "Volume1-01", 0x421),
                                 SubdiskRecord(0x425, disks[0].Name + "-01", 0x423, disks[0].RecordId, 4096),
                                 VolumeRecord(0x431, "Volume2", 2048 * count),
                                 PlexRecord(0x433, "Volume2-01", 0x431, 2, count)});
  for (uint32_t i = 0; i < count; ++i)
    records.push_back(SubdiskRecord(0x435 + i, disks[i].Name + "-02", 0x433, disks[i].RecordId, 2048, 4096, 2048 * i));
  ConfigAreaBuilder config;
  config.Header.PackName = packName;
  config.Header.PackIdText = packIdText;
  for (size_t i = 0; i < records.size(); ++i) config.AddRecord(static_cast<uint32_t>(i + 1), records[i]);
  area.Config = config.Build();
  return area;
}

GUID PartitionGuid(char n) { return GuidFromText(std::string("aaaaaaaa-0000-0000-0000-00000000000") + n); }

CDiskImageBuilder MbrDynamic(const LdmAreaImage& area, uint32_t signature, bool boot = false) {
  CDiskImageBuilder image(kDiskBytes);
  image.WriteMbr({MbrSlot{0x42, boot, 63, kAreaSector - 63}, MbrSlot{}, MbrSlot{}, MbrSlot{}}, signature);
  const std::vector<uint8_t> bytes = area.Build();
  image.WriteBytes(uint64_t{kAreaSector} * 512, bytes.data(), bytes.size());
  // The backup copy of the private header in sector 6.
  image.WriteBytes(6 * 512, bytes.data() + (bytes.size() - 512), 512);
  return image;
}

// As a host lays out a GPT dynamic disk: a reserved partition first, then the
// LDM metadata partition (the LDM area) and the LDM data partition.
CDiskImageBuilder GptDynamic(const LdmAreaImage& area, const char* diskId) {
  CDiskImageBuilder image(kDiskBytes);
  image.WriteGpt(
      {.DiskId = GuidFromText(diskId),
       .Partitions = {{kGptTypeReserved, PartitionGuid('0'), 34, 97, 0, u"Reserved partition"},
                      {kGptTypeLdmMetadata, PartitionGuid('1'), 98, 2145, 0, u"LDM metadata partition"},
                      {kGptTypeLdmData, PartitionGuid('2'), 2146, kSectors - 34, 0, u"LDM data partition"}}});
  const std::vector<uint8_t> bytes = area.Build();
  image.WriteBytes(98 * 512, bytes.data(), bytes.size());
  return image;
}

class GoldenHost : public ::testing::Test {
 protected:
  void SetUp() override {
    platform_.ComputerName = u"GOLDEN-HOST";
    platform_.ProductTypes = {3};
    platform_.SuiteMask = 0x0080;
    platform_.ClusterState = 0x13;
    platform_.Volumes = {{u"\\\\?\\Volume{0c3ae2b0-0000-0000-0000-100000000000}\\", {u"C:\\", u"C:\\mnt\\data\\"}},
                         {u"\\\\?\\Volume{0c3ae2b0-0000-0000-0000-200000000000}\\", {}}};
    platform_.Letters = {{u'C', {u"\\Device\\HarddiskVolume2", 3}}, {u'D', {u"\\Device\\CdRom0", 5}},
                         {u'E', {u"\\Device\\HarddiskDmVolumes\\GoldenDg0\\Volume1", 3}}};
    platform_.LetterFailures = {{u'Z', 5}};
    platform_.DynamicVolumes = {{VolumeFields().VolumeGuid, u"\\Device\\HarddiskDmVolumes\\Dg0\\Volume1"}};
  }

  ImageDisk& Add(const CDiskImageBuilder& image, uint32_t number) {
    const std::string path = images_.File("disk" + std::to_string(number) + ".img");
    EXPECT_TRUE(image.WriteToFile(path));
    platform_.Disks.reserve(32);  // the references handed out stay valid
    return platform_.AddImage(path, number);
  }

  // Runs the tool with `args` in a fresh folder: its standard output, and
  // the XML report when `-f report.xml` was among them.
  void Run(const std::string& stem, std::vector<std::string> args) {
    TempDir dir;
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(dir.Path());
    std::vector<const char*> argv{"kestrand"};
    for (const std::string& arg : args) argv.push_back(arg.c_str());
    ScopedPlatform installed(platform_);
    int status = -1;
    std::string text = CaptureText([&](FILE* out) {
      status = RunKestrand(static_cast<int>(argv.size()), argv.data(), out, out);
    });
    std::filesystem::current_path(before);
    EXPECT_EQ(status, 0);
    // No critical-error or open-failure boxes while the disks are read, and
    // the host's mode again at the end.
    EXPECT_EQ(platform_.ErrorModeBitsSet, 0x8001u);
    EXPECT_EQ(platform_.ErrorMode, 0u);
    CheckGolden(stem + ".txt", text);
    if (FileExists(dir.File("report.xml"))) CheckGolden(stem + ".xml", ReadFileText(dir.File("report.xml")));
  }

  CImagePlatform platform_;
  TempDir images_;
};

GptOptions TwoPartitions() {
  return {.DiskId = GuidFromText("11111111-2222-3333-4444-555555555555"),
          .Partitions = {{kGptTypeReserved, PartitionGuid('1'), 34, 32801, 0, u"Reserved partition"},
                         {kGptTypeBasicData, PartitionGuid('2'), 32802, 40000, 0x8000000000000001, u"Data"},
                         {GuidFromText("c12a7328-f81f-11d2-ba4b-00a0c93ec93b"), PartitionGuid('3'), 40001, 40100, 1,
                          u"EFI", 3},
                         {GuidFromText("c12a7328-f81f-11d2-ba4b-00a0c93ec93c"), PartitionGuid('4'), 40101, 40200, 0,
                          u"Unknown kind"}}};
}

// Disks whose queries fail or whose tables are damaged, one per disk number.
TEST_F(GoldenHost, FailingQueriesAndDamagedTables) {
  CDiskImageBuilder basic(kDiskBytes);
  basic.WriteMbr({MbrSlot{0x07, true, 2048, 4096}, MbrSlot{}, MbrSlot{}, MbrSlot{}}, 0x0badcafe);
  Add(basic, 9).OpenError = 5;
  Add(basic, 8).DeviceNumberError = 21;
  Add(basic, 7).GeometryError = 1117;
  Add(basic, 6).AlignmentError = 50;
  Add(basic, 5).LayoutError = 1117;
  Add(basic, 4).PartitionInfoError = 1;
  // Several failures: the geometry's outranks the partition information's, which outranks the layout's.
  ImageDisk& failures = Add(basic, 16);
  failures.GeometryError = 1117;
  failures.PartitionInfoError = 1;
  failures.LayoutError = 50;
  CDiskImageBuilder member(kDiskBytes);  // fault-tolerant members: recognized but for FAT16
  member.WriteMbr({MbrSlot{0x84, false, 63, 100}, MbrSlot{0x87, false, 200, 100}, MbrSlot{0xC6, false, 400, 100},
                   MbrSlot{0x1B, false, 600, 100}}, 0x12345678);
  Add(member, 10);
  const std::vector<PackDisk> one{{0x403, "Disk1", "5e1f0000-0000-4000-8000-0000000000c1"}};
  ImageDisk& unreadable = Add(MbrDynamic(PackArea("PackC", "5e1f0000-0000-4000-8000-00000000000c", one, 0, 63), 7), 3);
  unreadable.RawReadStatus = static_cast<NTSTATUS>(0xC0000185);
  unreadable.Removable = true;

  ImageDisk& fourK = Add(CDiskImageBuilder(uint64_t{1} << 30, 4096).WriteGpt(TwoPartitions()), 2);
  fourK.BytesPerSector = 4096;
  fourK.FirstAlignedOffset = 512;

  GptOptions tooMany = TwoPartitions();
  tooMany.EntryCount = 16385;
  Add(CDiskImageBuilder(uint64_t{64} << 20).WriteGpt(tooMany), 1);

  Add(CDiskImageBuilder(uint64_t{64} << 20).WriteGpt(TwoPartitions()).FlipByte(512 + 40), 0);  // in the primary header
  Add(CDiskImageBuilder(uint64_t{64} << 20).WriteGpt(TwoPartitions()).FlipByte(1024 + 184), 19);  // in its entries
  // A chain of 129 extended boot records: the first 128 are followed.
  CDiskImageBuilder chain(kDiskBytes);
  chain.WriteMbr({}, 0x0e0e0e0e).WriteExtendedPartition(0, 2048, std::vector<LogicalPartition>(129, {0x07, 1}), 1);
  Add(chain, 17);
  // Entries of one sector, ending in the last sector, ending past it, ending
  // before they start; a name of all 36 characters.
  GptOptions edges = TwoPartitions();
  edges.Partitions.resize(1);
  edges.Partitions[0].Name = u"Thirty-six characters, no terminator";
  for (const auto& [first, last] : {std::pair{40000ull, 40000ull}, {131000ull, 131071ull}, {131000ull, 131072ull},
                                    {40001ull, 40000ull}})
    edges.Partitions.push_back({kGptTypeBasicData, PartitionGuid('9'), first, last, 0, u"Edge"});
  Add(CDiskImageBuilder(uint64_t{64} << 20).WriteGpt(edges), 18);
  // Smaller than one sector, and smaller than two (the GPT header would be cut).
  Add(CDiskImageBuilder(100), 14);
  Add(CDiskImageBuilder(700).WriteGpt(TwoPartitions()), 15);
  // Headers whose checksums hold but whose places do not: the first usable
  // sector past the last, the last past the end of the disk, the entries
  // past the end.
  for (const auto& [number, field, value] :
       {std::tuple{11u, 40, 131050ull}, {12u, 48, 131072ull}, {13u, 72, 131072ull}}) {
    CDiskImageBuilder image = CDiskImageBuilder(uint64_t{64} << 20).WriteGpt(TwoPartitions());
    uint8_t header[92];
    image.Read(512, sizeof header, header);
    StoreLe64(header + field, value);
    StoreLe32(header + 16, 0);
    StoreLe32(header + 16, Crc32(header, sizeof header));
    Add(image.WriteBytes(512, header, sizeof header), number);
  }
  Run("host/failing-and-damaged", {});
}

// One pack of three disks (MBR and GPT), the third missing, beside a basic
// disk with logical partitions and a raw one.
TEST_F(GoldenHost, OnePackWithAMissingDisk) {
  const std::string pack = "GoldenDg0", packId = "5e1f0000-0000-4000-8000-000000000001";
  const std::vector<PackDisk> disks{{0x403, "Disk1", "5e1f0000-0000-4000-8000-0000000000d1"},
                                    {0x404, "Disk2", "5e1f0000-0000-4000-8000-0000000000d2"},
                                    {0x405, "Disk3", "5e1f0000-0000-4000-8000-0000000000d3"}};
  Add(MbrDynamic(PackArea(pack, packId, disks, 0, 63), 0x5e1f0042), 0);
  CDiskImageBuilder basic(kDiskBytes);
  basic.WriteMbr({MbrSlot{0x07, true, 2048, 4096}, MbrSlot{}, MbrSlot{}, MbrSlot{}}, 0x0badcafe);
  Add(basic.WriteExtendedPartition(1, 8192, {LogicalPartition{0x07, 1024}, LogicalPartition{0x0b, 2048}}), 1);
  Add(GptDynamic(PackArea(pack, packId, disks, 1, 2146), "11111111-2222-3333-4444-555555555555"), 2)
      .RewritePartitions = true;
  Add(CDiskImageBuilder(kDiskBytes).WriteMbr({MbrSlot{}, MbrSlot{}, MbrSlot{}, MbrSlot{}}, 0x12345678), 3);
  Run("host/one-pack", {});
  Run("host/one-pack-analysis", {"-a", "-f", "report.xml"});
  Run("host/one-pack-disk-2", {"-d", "2", "-d", "9"});
}

// Two packs of two disks each.
const std::vector<PackDisk> kFirst{{0x403, "Disk1", "5e1f0000-0000-4000-8000-0000000000a1"},
                                   {0x404, "Disk2", "5e1f0000-0000-4000-8000-0000000000a2"}};
const std::vector<PackDisk> kSecond{{0x403, "Disk1", "5e1f0000-0000-4000-8000-0000000000b1"},
                                    {0x404, "Disk2", "5e1f0000-0000-4000-8000-0000000000b2"}};
const std::string idA = "5e1f0000-0000-4000-8000-00000000000a", idB = "5e1f0000-0000-4000-8000-00000000000b";

// The analysis picks one of two packs as the primary.
TEST_F(GoldenHost, TwoPacks) {
  // Drive letters at both ends of the alphabet.
  platform_.Letters.insert({{u'A', {u"\\Device\\Floppy0", 2}}, {u'Z', {u"\\Device\\LanmanRedirector", 4}}});
  platform_.LetterFailures.clear();
  platform_.ProductTypes = {1, 2};  // several product types and suites
  platform_.SuiteMask = 0x0637;
  platform_.Processor = {6, 2};
  Add(MbrDynamic(PackArea("PackA", idA, kFirst, 0, 63), 0xa1), 0);
  Add(MbrDynamic(PackArea("PackB", idB, kSecond, 0, 63), 0xb1), 1);
  Add(MbrDynamic(PackArea("PackA", idA, kFirst, 1, 63), 0xa2), 2);
  Add(MbrDynamic(PackArea("PackB", idB, kSecond, 1, 63), 0xb2), 3);
  // A pack of one disk, PackA's first disk id, three times, each with one
  // sector that cannot be read: the alternate table of contents (a disk not
  // ready for the analysis, so its disk id is no second copy; its LDM
  // partition in the second slot), the backup private header (sector 6), the
  // first sector of the config area.
  const std::vector<PackDisk> diskF{{0x403, "Disk1", kFirst[0].IdText}};
  const LdmAreaImage packF = PackArea("PackF", "5e1f0000-0000-4000-8000-00000000000f", diskF, 0, 63);
  auto unreadable = [&](const CDiskImageBuilder& image, uint32_t number, uint64_t from) -> ImageDisk& {
    ImageDisk& disk = Add(image, number);
    disk.RawReadStatus = static_cast<NTSTATUS>(0xC000009C);
    disk.FailFrom = from;
    disk.FailTo = from + 512;
    return disk;
  };
  CDiskImageBuilder imageF = MbrDynamic(packF, 0xf1);
  imageF.WriteMbr({MbrSlot{}, MbrSlot{0x42, false, 63, kAreaSector - 63}, MbrSlot{}, MbrSlot{}}, 0xf1);
  const uint64_t area = uint64_t{kAreaSector} * 512;
  unreadable(imageF, 4, area + packF.AlternateTocOffset()).RewritePartitions = true;
  unreadable(MbrDynamic(packF, 0xf2), 5, 6 * 512);
  unreadable(MbrDynamic(packF, 0xf3), 6, area + packF.ConfigOffset());
  Run("host/two-packs-analysis", {"-a", "-f", "report.xml"});
}

// The primary pack reasoning: a dynamic boot disk, the registry naming a
// pack, and boot signatures that name no disk (0 too), the disk itself, the
// boot disk; two disks whose headers have the same time keep their order.
TEST_F(GoldenHost, PrimaryPackCriteria) {
  platform_.PrimaryPackId = std::u16string(u"{5E1F0000-0000-4000-8000-00000000000B}") + u'\0';
  struct Row {
    bool PackA;
    size_t Self;
    uint32_t Signature, BootSig;
    int Seconds;  // header time
  };
  const Row rows[] = {{true, 0, 0xa0, 0x77, -1}, {false, 0, 0x77, 0x77, 2}, {true, 1, 0xa2, 0, 1},
                      {false, 1, 0xb2, 0xa0, 1}};
  for (uint32_t n = 0; n < 4; ++n) {
    const Row& r = rows[n];
    LdmAreaImage area =
        PackArea(r.PackA ? "PackA" : "PackB", r.PackA ? idA : idB, r.PackA ? kFirst : kSecond, r.Self, 63);
    area.Header.BootSig = r.BootSig;
    area.Header.UpdateTime += static_cast<uint64_t>(int64_t{10000000} * r.Seconds);
    Add(MbrDynamic(area, r.Signature, n == 0), n);
  }
  // A disk whose layout cannot be read: in no section, and without a signature.
  Add(CDiskImageBuilder(kDiskBytes), 4).LayoutError = 1117;
  Run("host/primary-pack-analysis", {"-a", "-f", "report.xml"});
}

}  // namespace
}  // namespace kestrand::test
