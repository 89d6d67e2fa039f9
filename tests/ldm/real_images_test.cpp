// The loader and the LDM reports on the saved databases of the real dynamic
// disks of the shared test data (one disk group of ten disks written by
// Windows Server 2003 R2): as found, and with their private headers repaired
// to name the tables of contents at sectors 2 and 2045, where the config area
// is then found and decodes to the records ldmtool reports for the images.
#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "common/xml_writer.h"
#include "disk/disk.h"
#include "driver/kestrand.h"
#include "ldm/config_header.h"
#include "ldm/ldm_database.h"
#include "ldm/records.h"
#include "support/ldm_builder.h"
#include "support/real_images.h"
#include "support/report_tree.h"
#include "support/text_capture.h"

namespace kestrand::test {
namespace {

// ---- what ldmtool shows for the group ----

const char* const kGroupName = "Red-nzv8x6obywgDg0";
const char* const kGroupGuid = "03c0c4fc-8b6f-402b-9431-4be2e5823b1c";

// DiskN is image N-1 of RealImages::Names().
const char* const kDiskGuids[] = {
    "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c", "c85a6ce4-edb3-4dbc-a3b9-7fba4b6e6f75",
    "004c32fa-91e1-41ac-83b3-bc1baff2dc93", "6c7ca470-6934-4dfd-9269-c3102b9ae158",
    "ce97d979-fabb-4e9b-b44c-7d9580ae1f53", "bfcb718c-3809-44b7-ae62-c94a3bd6b057",
    "47980158-abc7-46e3-a95f-7c00f8539073", "ce3fd206-854c-4207-985b-9e0125885f20",
    "fa21d8d9-e087-4585-9761-5710b88e4c92", "bb1570c9-aa66-47df-a8f1-4c89db3e0704",
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

// Every image holds the whole group: 6 volumes, 7 plexes, 12 subdisks,
// 10 disks and the pack.
constexpr size_t kRecordCount = 36;

template <class T>
std::map<std::string, const T*> RecordsOfType(const CONFIG_HEADER& header, uint16_t type) {
  std::map<std::string, const T*> byName;
  for (const auto& entry : header.RecordList.Entries)
    if (entry->RecordType == type) byName[entry->Record->RecordName] = static_cast<const T*>(entry->Record.get());
  return byName;
}

uint64_t IdOf(const LDM_RECORD* record) { return record->Entry->RecordId; }

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// The database files are read through the native platform, as a run with -l
// reads them.
class RealImagesTest : public RealImagesTestBase {
 protected:
  const LDM_DATABASE* Load(size_t image, bool repaired) {
    file_ = std::make_unique<CLdmFileDisk>();
    const std::string path = images_->DatabaseFile(RealImages::Names()[image], repaired);
    if (file_->Initialize(path.c_str(), &owner_) != 0) return nullptr;
    return file_->LdmDatabase();
  }

  CKestrand owner_;
  std::unique_ptr<CLdmFileDisk> file_;
};

TEST_F(RealImagesTest, AsFoundTheConfigCopyIsReadButDoesNotParse) {
  for (size_t image = 0; image < RealImages::Names().size(); ++image) {
    SCOPED_TRACE(RealImages::Names()[image]);
    const LDM_DATABASE* database = Load(image, false);
    ASSERT_NE(database, nullptr);
    EXPECT_EQ(database->PrimaryHeader->ParseStatus, 0);
    EXPECT_EQ(database->AlternateHeader->ParseStatus, 0);
    EXPECT_STREQ(database->AlternateToc->Magic, "TOCBLOCK");
    // The header names the tables at sectors 1 and 2046; sector 16 is read
    // as the config, all zeros.
    EXPECT_EQ(database->Config->Offset, 16u * 512);
    EXPECT_EQ(database->Config->ReadStatus, 0);
    EXPECT_EQ(database->Config->ParseStatus, STATUS_LDM_CONFIG_BROKEN_CODE);

    const std::string text = CaptureText([&](FILE* stream) { database->PrintText(stream); });
    EXPECT_TRUE(Has(text, "----- LDM Database Private Header -----\n\nMagic Str:   PRIVHEAD\nSectorOffset: 2047\n"));
    EXPECT_TRUE(Has(text, std::string("DiskId:      ") + kDiskGuids[image] + "\n"));
    EXPECT_TRUE(Has(text, "TOCs:        Primary Sector=1 Alternate Sector=2046\n"));
    EXPECT_TRUE(Has(text, "  config  Range=000017-001498 Length=001481 Copy=01 Offset=000000 CopyFlag=enabled\n"));
    EXPECT_TRUE(Has(text,
                    "----- LDM Database Config Header -----\n\n"
                    "Config copy: 01\n"
                    "Magic Str:   \n"
                    "SectorOffset: 16\n"
                    "Header:      NumBlocks=0 BlockSize=0 HeaderSize=0\n"
                    "Status:      Unknown (0x0000)\n"));
    // No block list and no records follow the header lines.
    EXPECT_EQ(text.substr(text.size() - 3), "\n\n\n");
    EXPECT_FALSE(Has(text, "BlockNumber:") || Has(text, "Record "));
  }
}

TEST_F(RealImagesTest, RepairedCopyDecodesToWhatLdmtoolShows) {
  for (size_t image = 0; image < RealImages::Names().size(); ++image) {
    SCOPED_TRACE(RealImages::Names()[image]);
    const LDM_DATABASE* database = Load(image, true);
    ASSERT_NE(database, nullptr);
    EXPECT_EQ(database->Config->Offset, 17u * 512);
    ASSERT_EQ(database->Config->ParseStatus, 0);
    const CONFIG_HEADER& header = *database->Config->Header;
    EXPECT_EQ(header.NumBlocks, 5924u);
    EXPECT_EQ(header.Status, VMDB_STATUS_CLEAN);
    EXPECT_STREQ(header.PackName, kGroupName);
    EXPECT_EQ(GuidToText(header.PackId), kGroupGuid);
    ASSERT_EQ(header.RecordList.Entries.size(), kRecordCount);
    for (const auto& group : header.GroupList) EXPECT_TRUE(group->IsComplete()) << group->GroupNumber;

    const auto packs = RecordsOfType<PACK_RECORD>(header, RECORD_TYPE_PACK);
    ASSERT_EQ(packs.count(kGroupName), 1u);
    EXPECT_EQ(GuidToText(packs.at(kGroupName)->PackId), kGroupGuid);

    const auto disks = RecordsOfType<DISK_RECORD>(header, RECORD_TYPE_DISK);
    std::map<uint64_t, std::string> diskNameById;
    for (size_t n = 0; n < std::size(kDiskGuids); ++n) {
      const std::string name = "Disk" + std::to_string(n + 1);
      ASSERT_EQ(disks.count(name), 1u) << name;
      EXPECT_EQ(GuidToText(disks.at(name)->DiskId), kDiskGuids[n]) << name;
      diskNameById[IdOf(disks.at(name))] = name;
    }

    const auto volumes = RecordsOfType<VOLUME_RECORD>(header, RECORD_TYPE_VOLUME);
    const auto plexes = RecordsOfType<PLEX_RECORD>(header, RECORD_TYPE_PLEX);
    const auto subdisks = RecordsOfType<SUBDISK_RECORD>(header, RECORD_TYPE_SUBDISK);
    ASSERT_EQ(volumes.size(), kVolumes.size());
    for (const auto& [name, expected] : kVolumes) {
      SCOPED_TRACE(name);
      ASSERT_EQ(volumes.count(name), 1u);
      const VOLUME_RECORD& volume = *volumes.at(name);
      EXPECT_EQ(volume.Length, expected.size);
      EXPECT_EQ(GuidToText(volume.VolumeGuid), expected.guid);
      ASSERT_NE(volume.MountName, nullptr);
      EXPECT_EQ(std::u16string(volume.MountName.get()), expected.hint);
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
    ASSERT_EQ(subdisks.size(), kPartitions.size());
    for (const auto& [name, expected] : kPartitions) {
      SCOPED_TRACE(name);
      ASSERT_EQ(subdisks.count(name), 1u);
      EXPECT_EQ(subdisks.at(name)->DiskOffset, expected.start);
      EXPECT_EQ(subdisks.at(name)->Length, expected.size);
      EXPECT_EQ(diskNameById[subdisks.at(name)->DiskRecordId], expected.disk);
    }
  }
}

TEST_F(RealImagesTest, RepairedCopyReportsTheBlockListAndEveryRecord) {
  const LDM_DATABASE* database = Load(0, true);
  ASSERT_NE(database, nullptr);
  const std::string text = CaptureText([&](FILE* stream) { database->PrintText(stream); });
  EXPECT_TRUE(Has(text, "Magic Str:   VMDB\nSectorOffset: 17\nHeader:      NumBlocks=5924 BlockSize=128 HeaderSize=512\n"));
  EXPECT_TRUE(Has(text, "BlockNumber: 4   "));
  EXPECT_EQ(CountOf(text, "\n----------\n"), kRecordCount);
  for (const auto& [name, expected] : kVolumes) EXPECT_TRUE(Has(text, "RecordName:        " + name + "\n"));
  for (const char* id : kDiskGuids) EXPECT_TRUE(Has(text, std::string("DiskId:            ") + id + "\n"));

  CKestrandTreeNode root("Disk");
  ASSERT_EQ(AddLdmDatabaseToReport(file_->LdmDatabase(), &root), 0u);
  EXPECT_EQ(ChildNames(&root), (std::vector<std::string>{"PrivateHeader", "PrivateHeader", "TableOfContents",
                                                         "TableOfContents", "ConfigHeader", "BlockList",
                                                         "Records"}));
  EXPECT_EQ(ChildrenOf(root.FindChild("Records")).size(), kRecordCount);
  EXPECT_EQ(ChildrenOf(root.FindChild("BlockList")).size(), 32u);
}

}  // namespace
}  // namespace kestrand::test
