// Decodes the config database of each real disk image of the shared test data
// (one dynamic disk group of ten disks written by Windows Server 2003 R2) and
// compares the records with what ldmtool reports for the same images.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "ldm/config_header.h"
#include "ldm/disk_record.h"
#include "ldm/pack_record.h"
#include "ldm/plex_record.h"
#include "ldm/subdisk_record.h"
#include "ldm/volume_record.h"
#include "support/ldm_builder.h"

namespace kestrand {
namespace {

namespace fs = std::filesystem;
using test::GuidToText;

// Each image: 102,400 sectors; the LDM area is the last 2,048 and its VMDB
// header sits at sector 17 of the area.
constexpr uint64_t kConfigOffset = (102400ull - 2048 + 17) * 512;

const char* const kImages[] = {
    "ldm-2003r2-simple-1.img",  "ldm-2003r2-spanned-1.img",  "ldm-2003r2-spanned-2.img",
    "ldm-2003r2-striped-1.img", "ldm-2003r2-striped-2.img",  "ldm-2003r2-mirrored-1.img",
    "ldm-2003r2-mirrored-2.img", "ldm-2003r2-raid5-1.img",   "ldm-2003r2-raid5-2.img",
    "ldm-2003r2-raid5-3.img",
};

// ---- what ldmtool shows for the group ----

const char* const kGroupName = "Red-nzv8x6obywgDg0";
const char* const kGroupGuid = "03c0c4fc-8b6f-402b-9431-4be2e5823b1c";

const std::map<std::string, std::string> kDiskGuids = {
    {"Disk1", "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c"}, {"Disk2", "c85a6ce4-edb3-4dbc-a3b9-7fba4b6e6f75"},
    {"Disk3", "004c32fa-91e1-41ac-83b3-bc1baff2dc93"}, {"Disk4", "6c7ca470-6934-4dfd-9269-c3102b9ae158"},
    {"Disk5", "ce97d979-fabb-4e9b-b44c-7d9580ae1f53"}, {"Disk6", "bfcb718c-3809-44b7-ae62-c94a3bd6b057"},
    {"Disk7", "47980158-abc7-46e3-a95f-7c00f8539073"}, {"Disk8", "ce3fd206-854c-4207-985b-9e0125885f20"},
    {"Disk9", "fa21d8d9-e087-4585-9761-5710b88e4c92"}, {"Disk10", "bb1570c9-aa66-47df-a8f1-4c89db3e0704"},
};

struct ExpectedVolume {
  std::string guid;
  int64_t size;        // sectors
  int64_t chunkSize;   // the plex's stripe width; 0 when not striped
  std::u16string hint; // the mount name
  uint32_t plexes;
  uint8_t layout;
  std::set<std::string> partitions;
};

const std::map<std::string, ExpectedVolume> kVolumes = {
    {"Volume1", {"6e30daae-8e42-40fb-9af0-807416c3fede", 96256, 0, u"E:", 1, PLEX_LAYOUT_SIMPLE, {"Disk1-01"}}},
    {"Volume2",
     {"fad18ad4-5054-4dea-8fe3-ca433d5fe1d1", 192512, 0, u"F:", 1, PLEX_LAYOUT_SIMPLE, {"Disk3-01", "Disk2-01"}}},
    {"Volume3",
     {"1010eeb7-09e4-4a6d-9c43-6753ec9d3af2", 96256, 0, u"H:", 2, PLEX_LAYOUT_SIMPLE, {"Disk6-01", "Disk7-01"}}},
    {"Volume4",
     {"782ff9fb-f2f6-465e-9f13-935a20458f00", 69632, 0, u"J:", 1, PLEX_LAYOUT_SIMPLE, {"Disk4-02", "Disk5-02"}}},
    {"Stripe1",
     {"e5396ff0-7477-4b1a-91e8-476b9b5c6fb5", 122880, 128, u"G:", 1, PLEX_LAYOUT_STRIPED, {"Disk4-01", "Disk5-01"}}},
    {"Raid1",
     {"f8528b30-cbe8-4ce0-9188-e60e39afcc72", 192512, 128, u"I:", 1, PLEX_LAYOUT_RAID5,
      {"Disk10-01", "Disk9-01", "Disk8-01"}}},
};

struct ExpectedPartition {
  uint64_t start;  // sectors from the start of the disk's data area
  int64_t size;
  std::string disk;
};

const std::map<std::string, ExpectedPartition> kPartitions = {
    {"Disk1-01", {0, 96256, "Disk1"}},     {"Disk2-01", {0, 96256, "Disk2"}},
    {"Disk3-01", {0, 96256, "Disk3"}},     {"Disk4-01", {0, 61440, "Disk4"}},
    {"Disk4-02", {61440, 34816, "Disk4"}}, {"Disk5-01", {0, 61440, "Disk5"}},
    {"Disk5-02", {61440, 34816, "Disk5"}}, {"Disk6-01", {0, 96256, "Disk6"}},
    {"Disk7-01", {0, 96256, "Disk7"}},     {"Disk8-01", {0, 96256, "Disk8"}},
    {"Disk9-01", {0, 96256, "Disk9"}},     {"Disk10-01", {0, 96256, "Disk10"}},
};

// ---- unpacking ----

class RealImagesTest : public ::testing::TestWithParam<const char*> {
 protected:
  static void SetUpTestSuite() {
    const fs::path tarball = fs::path(KESTRAND_SHARED_DIR) / "testdata" / "ldm-2003r2.tar.xz";
    std::error_code error;
    if (!fs::exists(tarball, error)) {
      skipReason_ = "no test images at " + tarball.string();
      return;
    }
    std::random_device random;
    directory_ = fs::temp_directory_path(error) / ("kestrand-ldm-" + std::to_string(random()));
    if (error || !fs::create_directories(directory_, error)) {
      skipReason_ = "cannot create a temporary directory";
      return;
    }
    const std::string command =
        "tar -xJf \"" + tarball.string() + "\" -C \"" + directory_.string() + "\" 2>&1";
    if (std::system(command.c_str()) != 0) skipReason_ = "tar or xz cannot unpack " + tarball.string();
  }

  static void TearDownTestSuite() {
    std::error_code error;
    if (!directory_.empty()) fs::remove_all(directory_, error);
  }

  void SetUp() override {
    if (!skipReason_.empty()) GTEST_SKIP() << skipReason_;
  }

  // Reads the config area at its announced size and decodes it.
  static NTSTATUS DecodeImage(const fs::path& image, CONFIG_HEADER& header) {
    std::ifstream in(image, std::ios::binary);
    std::vector<uint8_t> area(512);
    in.seekg(static_cast<std::streamoff>(kConfigOffset));
    in.read(reinterpret_cast<char*>(area.data()), static_cast<std::streamsize>(area.size()));
    if (!in) return STATUS_END_OF_FILE_CODE;
    CONFIG_HEADER probe;
    const uint8_t* cursor = area.data();
    const NTSTATUS status = probe.ParseConfigHeader(cursor, area.size());
    if (status != STATUS_SUCCESS_CODE) return status;
    area.resize(static_cast<size_t>(probe.NumBlocks) * probe.BlockSize);
    in.seekg(static_cast<std::streamoff>(kConfigOffset));
    in.read(reinterpret_cast<char*>(area.data()), static_cast<std::streamsize>(area.size()));
    if (!in) return STATUS_END_OF_FILE_CODE;
    return header.Initialize(area.data(), area.size());
  }

  static inline std::string skipReason_;
  static inline fs::path directory_;
};

template <class T>
std::map<std::string, const T*> RecordsOfType(const CONFIG_HEADER& header, uint16_t type) {
  std::map<std::string, const T*> byName;
  for (const auto& entry : header.RecordList.Entries)
    if (entry->RecordType == type) byName[entry->Record->RecordName] = static_cast<const T*>(entry->Record.get());
  return byName;
}

uint64_t IdOf(const LDM_RECORD* record) { return record->Entry->RecordId; }

TEST_P(RealImagesTest, ConfigDatabaseMatchesLdmtool) {
  CONFIG_HEADER header;
  ASSERT_EQ(DecodeImage(directory_ / GetParam(), header), STATUS_SUCCESS_CODE);

  EXPECT_EQ(header.NumBlocks, 5924u);
  EXPECT_EQ(header.Status, VMDB_STATUS_CLEAN);
  EXPECT_STREQ(header.PackName, kGroupName);
  EXPECT_EQ(GuidToText(header.PackId), kGroupGuid);
  for (const auto& group : header.GroupList) {
    EXPECT_TRUE(group->IsComplete()) << group->GroupNumber;
    EXPECT_FALSE(group->IsBroken() || group->IsIgnored()) << group->GroupNumber;
  }

  const auto packs = RecordsOfType<PACK_RECORD>(header, RECORD_TYPE_PACK);
  ASSERT_EQ(packs.size(), 1u);
  ASSERT_EQ(packs.count(kGroupName), 1u);
  EXPECT_EQ(GuidToText(packs.at(kGroupName)->PackId), kGroupGuid);

  const auto disks = RecordsOfType<DISK_RECORD>(header, RECORD_TYPE_DISK);
  ASSERT_EQ(disks.size(), kDiskGuids.size());
  std::map<uint64_t, std::string> diskNameById;
  for (const auto& [name, guid] : kDiskGuids) {
    ASSERT_EQ(disks.count(name), 1u) << name;
    EXPECT_EQ(GuidToText(disks.at(name)->DiskId), guid) << name;
    diskNameById[IdOf(disks.at(name))] = name;
  }

  const auto volumes = RecordsOfType<VOLUME_RECORD>(header, RECORD_TYPE_VOLUME);
  const auto plexes = RecordsOfType<PLEX_RECORD>(header, RECORD_TYPE_PLEX);
  const auto subdisks = RecordsOfType<SUBDISK_RECORD>(header, RECORD_TYPE_SUBDISK);
  ASSERT_EQ(volumes.size(), kVolumes.size());
  EXPECT_EQ(subdisks.size(), kPartitions.size());

  for (const auto& [name, expected] : kVolumes) {
    SCOPED_TRACE(name);
    ASSERT_EQ(volumes.count(name), 1u);
    const VOLUME_RECORD& volume = *volumes.at(name);
    EXPECT_EQ(volume.Length, expected.size);
    EXPECT_EQ(GuidToText(volume.VolumeGuid), expected.guid);
    ASSERT_NE(volume.MountName, nullptr);
    EXPECT_EQ(std::u16string(volume.MountName.get()), expected.hint);
    EXPECT_EQ(volume.NumPlexes, expected.plexes);

    // The partitions: subdisks of the plexes of this volume.
    std::set<std::string> partitions;
    uint32_t plexCount = 0;
    for (const auto& [plexName, plex] : plexes) {
      if (plex->VolumeRecordId != IdOf(&volume)) continue;
      ++plexCount;
      EXPECT_EQ(plex->Layout, expected.layout) << plexName;
      EXPECT_EQ(plex->StripeWidth, expected.chunkSize) << plexName;
      for (const auto& [subdiskName, subdisk] : subdisks)
        if (subdisk->PlexRecordId == IdOf(plex)) partitions.insert(subdiskName);
    }
    EXPECT_EQ(plexCount, expected.plexes);
    EXPECT_EQ(partitions, expected.partitions);
  }

  for (const auto& [name, expected] : kPartitions) {
    SCOPED_TRACE(name);
    ASSERT_EQ(subdisks.count(name), 1u);
    const SUBDISK_RECORD& subdisk = *subdisks.at(name);
    EXPECT_EQ(subdisk.DiskOffset, expected.start);
    EXPECT_EQ(subdisk.Length, expected.size);
    EXPECT_EQ(diskNameById[subdisk.DiskRecordId], expected.disk);
  }
}

INSTANTIATE_TEST_SUITE_P(Images, RealImagesTest, ::testing::ValuesIn(kImages),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                           std::string name = info.param;
                           name = name.substr(0, name.find('.'));
                           for (char& c : name)
                             if (c == '-') c = '_';
                           return name;
                         });

}  // namespace
}  // namespace kestrand
