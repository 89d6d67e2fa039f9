// Config records: each class with its revisions, optional fields and failures,
// and the uniqueness of record ids and names in a copy, looked up in the set
// of keys the record list keeps: the same first failure as comparing with
// every earlier record, also after the walk has released the set, after the
// list was emptied and after a record failed to decode.
#include "ldm/records.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "ldm/config_header.h"
#include "support/ldm_builder.h"

namespace kestrand {
namespace {

using test::GuidFromText;
using test::GuidToText;
using test::LdmRecordImage;

// Decodes record images into one record list, as the block walk would.
class RecordsTest : public ::testing::Test {
 protected:
  NTSTATUS Create(const LdmRecordImage& image) {
    VBLK_GROUP& group = groups_.emplace_back();
    group.TypeWord = image.TypeWord;
    group.RecordSize = static_cast<uint32_t>(image.Data.size());
    const uint8_t* cursor = image.Data.data();
    const NTSTATUS status = CreateRecord(list_, cursor, group.RecordSize, group);
    consumed_ = static_cast<size_t>(cursor - image.Data.data());
    return status;
  }

  template <class T>
  const T& Last() {
    const T* record = list_.Entries.empty() ? nullptr : dynamic_cast<const T*>(list_.Entries.back()->Record.get());
    if (record == nullptr) {
      ADD_FAILURE() << "no record of that class";
      static const T none;
      return none;
    }
    return *record;
  }

  RECORD_LIST list_;
  std::deque<VBLK_GROUP> groups_;  // groups outlive the records that point at them
  size_t consumed_ = 0;
};

TEST_F(RecordsTest, VolumeWithMountNameLinksEntryObjectAndGroup) {
  test::VolumeFields f;
  f.LogLength = -2;
  LdmRecordImage image = test::BuildVolumeRecord(f);
  image.Data.push_back(0xEE);  // bytes after the last field are ignored
  ASSERT_EQ(Create(image), STATUS_SUCCESS_CODE);
  EXPECT_EQ(consumed_, image.Data.size());

  const RECORD_ENTRY& entry = *list_.Entries.back();
  const auto& v = Last<VOLUME_RECORD>();
  EXPECT_EQ(entry.RecordId, 0x421u);
  EXPECT_EQ(entry.RecordType, RECORD_TYPE_VOLUME);
  EXPECT_EQ(entry.List, &list_);
  EXPECT_EQ(v.Entry, &entry);
  EXPECT_EQ(v.Group, &groups_.back());
  EXPECT_EQ(groups_.back().Entry, &entry);
  // Every field in its place: a shifted field shifts all that follow it.
  EXPECT_STREQ(v.RecordName, "Volume1");
  EXPECT_STREQ(v.State, "ACTIVE");
  EXPECT_EQ(v.ReadPolicy, 3);
  EXPECT_EQ(v.NumPlexes, 1u);
  EXPECT_EQ(v.UpdateSequence, 0x429u);
  EXPECT_EQ(v.Length, 96256);
  EXPECT_EQ(v.LogLength, -2);
  EXPECT_EQ(v.PartitionType, 7u);
  EXPECT_EQ(GuidToText(v.VolumeGuid), "6e30daae-8e42-40fb-9af0-807416c3fede");
  ASSERT_NE(v.MountName, nullptr);
  EXPECT_EQ(std::u16string(v.MountName.get()), u"E:");
}

TEST_F(RecordsTest, VolumeRevisionsDecideGuidAndPartitionType) {
  for (uint16_t revision : {3, 4, 5}) {
    test::VolumeFields f;
    f.Revision = revision;
    f.RecordId = revision;
    f.Name = "R" + std::to_string(revision);
    ASSERT_EQ(Create(test::BuildVolumeRecord(f)), STATUS_SUCCESS_CODE) << revision;
    EXPECT_EQ(Last<VOLUME_RECORD>().PartitionType, revision >= 4 ? 7u : 0u) << revision;
    EXPECT_EQ(Last<VOLUME_RECORD>().VolumeGuid, revision == 5 ? f.VolumeGuid : GUID{}) << revision;
    EXPECT_EQ(std::u16string(Last<VOLUME_RECORD>().MountName.get()), u"E:") << revision;
  }
}

TEST_F(RecordsTest, VolumeOptionalFieldsInTheirOrder) {
  test::VolumeFields f;
  f.Flags = 0xFA00;  // every flag a volume knows
  f.PrefferedPlexRecordId = 0x1234;
  f.LogRecordId = 0x99;
  f.Number4000 = 0x40;
  f.Number8000 = -0x80;
  f.AppRecovery = 3;
  f.MountName = u"\u00c4:";
  f.MountNameTwoByte = true;
  ASSERT_EQ(Create(test::BuildVolumeRecord(f)), STATUS_SUCCESS_CODE);
  const auto& v = Last<VOLUME_RECORD>();
  EXPECT_EQ(v.PrefferedPlexRecordId, 0x1234u);
  EXPECT_EQ(v.LogRecordId, 0x99u);
  EXPECT_EQ(v.Number4000, 0x40u);
  EXPECT_EQ(v.Number8000, -0x80);
  EXPECT_EQ(v.AppRecovery, 3u);
  EXPECT_EQ(std::u16string(v.MountName.get()), u"\u00c4:");

  // Preferred plex and mount name alone lie next to each other at the end.
  test::VolumeFields two;
  two.Flags = VOLUME_FLAG_PREFERRED_PLEX | VOLUME_FLAG_MOUNT_NAME;
  two.PrefferedPlexRecordId = 0x77;
  two.MountName = u"";
  two.RecordId = 2;
  two.Name = "Two";
  const LdmRecordImage image = test::BuildVolumeRecord(two);
  EXPECT_EQ(std::vector<uint8_t>(image.Data.end() - 3, image.Data.end()), (std::vector<uint8_t>{0x01, 0x77, 0x00}));
  ASSERT_EQ(Create(image), STATUS_SUCCESS_CODE);
  EXPECT_EQ(Last<VOLUME_RECORD>().PrefferedPlexRecordId, 0x77u);
  EXPECT_EQ(Last<VOLUME_RECORD>().MountName, nullptr);  // empty: no string
}

TEST_F(RecordsTest, PlexWithStripes) {
  test::PlexFields f;
  f.Flags = PLEX_FLAG_STRIPES;
  f.Layout = PLEX_LAYOUT_STRIPED;
  f.StripeWidth = -128;
  f.DetachSequence = 9;
  f.LogRecordId = 0x4444;
  ASSERT_EQ(Create(test::BuildPlexRecord(f)), STATUS_SUCCESS_CODE);
  const auto& p = Last<PLEX_RECORD>();
  EXPECT_EQ(p.Layout, PLEX_LAYOUT_STRIPED);
  EXPECT_EQ(p.DetachSequence, 9u);
  EXPECT_EQ(p.VolumeRecordId, 0x421u);
  EXPECT_EQ(p.LogRecordId, 0x4444u);
  EXPECT_EQ(p.StripeWidth, -128);
  EXPECT_EQ(p.ColumnCount, 2u);
}

TEST_F(RecordsTest, SubdiskFlag1000AloneDecodesColumnAndDetachSequence) {
  test::SubdiskFields f;
  f.Flags = SUBDISK_FLAG_COLUMN_DETACH;
  f.DiskOffset = 61440;
  f.PlexOffset = 0x88000;
  f.Length = 34816;
  f.ColumnNumber = 2;
  f.DetachSequence = 0x0102030405060708;
  ASSERT_EQ(Create(test::BuildSubdiskRecord(f)), STATUS_SUCCESS_CODE);
  const auto& s = Last<SUBDISK_RECORD>();
  EXPECT_EQ(s.DiskOffset, 61440u);
  EXPECT_EQ(s.PlexOffset, 0x88000u);
  EXPECT_EQ(s.Length, 34816);
  EXPECT_EQ(s.DiskRecordId, 0x403u);
  EXPECT_EQ(s.ColumnNumber, 2u);
  EXPECT_EQ(s.DetachSequence, 0x0102030405060708u);
  EXPECT_EQ(s.Minor, 0u);
}

TEST_F(RecordsTest, SubdiskEveryOtherOptionalGroup) {
  test::SubdiskFields f;
  f.Flags = SUBDISK_FLAG_COLUMN | SUBDISK_FLAG_DETACH | SUBDISK_FLAG_MINOR | SUBDISK_FLAG_HIDDEN_SECTORS |
            SUBDISK_FLAG_LAST_DISK;
  f.ColumnNumber = 1;
  f.DetachSequence = 5;
  f.Minor = 7;
  f.HiddenSectors = -63;
  f.LastDiskRecordId = 0x0406;
  ASSERT_EQ(Create(test::BuildSubdiskRecord(f)), STATUS_SUCCESS_CODE);
  const auto& s = Last<SUBDISK_RECORD>();
  EXPECT_EQ(s.ColumnNumber, 1u);
  EXPECT_EQ(s.DetachSequence, 5u);
  EXPECT_EQ(s.Minor, 7u);
  EXPECT_EQ(s.HiddenSectors, -63);
  EXPECT_EQ(s.LastDiskRecordId, 0x0406u);
}

TEST_F(RecordsTest, DiskRevisionsThreeAndFour) {
  ASSERT_EQ(Create(test::BuildDiskRecord(test::DiskFields{})), STATUS_SUCCESS_CODE);
  const auto& three = Last<DISK_RECORD>();
  EXPECT_EQ(GuidToText(three.DiskId), "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c");
  EXPECT_EQ(std::u16string(three.DeviceInstance.get()), test::DiskFields{}.DeviceInstance);

  test::DiskFields f;
  f.Revision = 4;
  f.RecordId = 2;
  f.Name = "Disk2";
  f.LastDiskSetId = GuidFromText("11111111-2222-3333-4444-555555555555");
  f.DeviceInstance = u"X\u0100";
  f.DeviceInstanceTwoByte = true;
  f.PersistentFlags = DISK_PERSISTENT_ISCSI;
  ASSERT_EQ(Create(test::BuildDiskRecord(f)), STATUS_SUCCESS_CODE);
  const auto& four = Last<DISK_RECORD>();
  EXPECT_EQ(four.DiskId, f.DiskId);
  EXPECT_EQ(four.LastDiskSetId, f.LastDiskSetId);
  EXPECT_EQ(std::u16string(four.DeviceInstance.get()), u"X\u0100");
  EXPECT_EQ(four.PersistentFlags, DISK_PERSISTENT_ISCSI);
}

TEST_F(RecordsTest, PackRevisionsThreeAndFour) {
  ASSERT_EQ(Create(test::BuildPackRecord(test::PackFields{})), STATUS_SUCCESS_CODE);
  const auto& three = Last<PACK_RECORD>();
  EXPECT_EQ(GuidToText(three.PackId), "03c0c4fc-8b6f-402b-9431-4be2e5823b1c");
  EXPECT_EQ(three.ConfigCopiesCount, 0xFFFFFFFFu);
  EXPECT_EQ(three.LogCopiesCount, 0xFFFFFFFFu);

  test::PackFields f;
  f.Revision = 4;
  f.Flags = PACK_FLAG_BASE_MINOR;
  f.RecordId = 2;
  f.Name = "Other";
  f.DiskSetId = GuidFromText("aaaaaaaa-bbbb-cccc-dddd-eeeeeeeeeeee");
  f.BaseMinor = 0x40;
  ASSERT_EQ(Create(test::BuildPackRecord(f)), STATUS_SUCCESS_CODE);
  const auto& four = Last<PACK_RECORD>();
  EXPECT_EQ(four.PackId, f.PackId);
  EXPECT_EQ(four.DiskSetId, f.DiskSetId);
  EXPECT_EQ(four.ConfigCopiesCount, 0u);
  EXPECT_EQ(four.BaseMinor, 0x40u);
}

// Bodies refused with 0xC000000D: unaccepted revisions, unknown record flags,
// fields that do not decode.
TEST_F(RecordsTest, BodiesThatDoNotDecode) {
  auto volume = [](uint16_t revision, uint16_t flags) {
    test::VolumeFields f;
    f.Revision = revision;
    f.Flags = flags;
    return test::BuildVolumeRecord(f);
  };
  auto plex = [](uint16_t revision, uint16_t flags) {
    test::PlexFields f;
    f.Revision = revision;
    f.Flags = flags;
    return test::BuildPlexRecord(f);
  };
  auto subdisk = [](uint16_t flags) {
    test::SubdiskFields f;
    f.Flags = flags;
    return test::BuildSubdiskRecord(f);
  };
  auto disk = [](uint16_t revision, uint16_t flags, const char* idText) {
    test::DiskFields f;
    f.Revision = revision;
    f.Flags = flags;
    f.DiskIdText = idText;
    return test::BuildDiskRecord(f);
  };
  auto pack = [](uint16_t revision, uint16_t flags) {
    test::PackFields f;
    f.Revision = revision;
    f.Flags = flags;
    return test::BuildPackRecord(f);
  };
  test::VolumeFields longFsType;
  longFsType.FileSystemType = std::string(17, '\x01');
  test::PlexFields longState;
  longState.State = std::string(15, 'S');
  const char* id = "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c";

  const std::pair<const char*, LdmRecordImage> cases[] = {
      {"volume revision 2", volume(2, 0)},     {"volume revision 6", volume(6, 0)},
      {"volume flag 0x0100", volume(5, 0x0100)}, {"volume flag 0x0400", volume(5, 0x0400)},
      {"volume fs type of 17", test::BuildVolumeRecord(longFsType)},
      {"plex revision 4", plex(4, 0)},         {"plex flag 0x0800", plex(3, 0x0800)},
      {"plex state of 15", test::BuildPlexRecord(longState)},
      {"subdisk flag 0x0100", subdisk(0x0100)}, {"subdisk flag 0x0400", subdisk(0x0400)},
      {"disk revision 5", disk(5, 0, id)},     {"disk flag 0x0100", disk(3, 0x0100, id)},
      {"disk flag 0x8000", disk(4, 0x8000, id)}, {"disk id in braces", disk(3, 0, "{d17c2c04-6afc-46c3-84b7-cdc2f3956c5c}")},
      {"pack revision 5", pack(5, 0)},         {"pack flag 0x0200", pack(3, 0x0200)},
  };
  for (const auto& [name, image] : cases) EXPECT_EQ(Create(image), STATUS_INVALID_PARAMETER_CODE) << name;
  EXPECT_TRUE(list_.Entries.empty());
  for (const VBLK_GROUP& group : groups_) EXPECT_EQ(group.Entry, nullptr);
}

TEST_F(RecordsTest, EveryCutInsideTheBodyFails) {
  const LdmRecordImage full = test::BuildVolumeRecord(test::VolumeFields{});
  const size_t headerSize = 3 + 8;  // id 02 04 21, name 07 "Volume1"
  for (size_t size = headerSize; size < full.Data.size(); ++size) {
    LdmRecordImage cut = full;
    cut.Data.resize(size);
    EXPECT_EQ(Create(cut), STATUS_INVALID_PARAMETER_CODE) << size;
  }
  const LdmRecordImage disk = test::BuildDiskRecord(test::DiskFields{});
  for (size_t size = 3 + 6; size < disk.Data.size(); ++size) {
    LdmRecordImage cut = disk;
    cut.Data.resize(size);
    EXPECT_EQ(Create(cut), STATUS_INVALID_PARAMETER_CODE) << size;
  }
  EXPECT_TRUE(list_.Entries.empty());
}

TEST_F(RecordsTest, CommonHeaderFailuresAndUnknownTypesAreBroken) {
  const uint16_t plexType = test::MakeTypeWord(RECORD_TYPE_PLEX, 3, 0);
  test::LdmBytes longName;
  longName.VarUnsigned(5).String(std::string(32, 'n'));
  const LdmRecordImage cases[] = {
      {plexType, {0x09, 1, 2, 3, 4, 5, 6, 7, 8, 9}},  // RecordId count above 8
      {plexType, {0x01, 0x05, 0x20, 'a'}},           // name runs past the end
      {plexType, {0x01, 0x05}},                      // no name
      {plexType, longName.bytes},                    // name of 32 characters
      {test::MakeTypeWord(0, 3, 0), test::BuildPlexRecord({}).Data},
      {test::MakeTypeWord(6, 3, 0), test::BuildPlexRecord({}).Data},
  };
  for (const LdmRecordImage& image : cases) EXPECT_EQ(Create(image), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_TRUE(list_.Entries.empty());
}

TEST_F(RecordsTest, IdsAndNamesAreUniqueAcrossTypes) {
  ASSERT_EQ(Create(test::BuildVolumeRecord({})), STATUS_SUCCESS_CODE);
  test::PackFields sameName;
  sameName.Name = test::VolumeFields{}.Name;
  EXPECT_EQ(Create(test::BuildPackRecord(sameName)), STATUS_LDM_CONFIG_BROKEN_CODE);
  test::SubdiskFields sameId;
  sameId.RecordId = test::VolumeFields{}.RecordId;
  EXPECT_EQ(Create(test::BuildSubdiskRecord(sameId)), STATUS_LDM_CONFIG_BROKEN_CODE);
  ASSERT_EQ(list_.Entries.size(), 1u);
  EXPECT_EQ(list_.Entries[0]->RecordType, RECORD_TYPE_VOLUME);
}

TEST_F(RecordsTest, NextRecordIdFollowsTheLargestId) {
  EXPECT_EQ(list_.NextRecordId, 1u);
  const std::pair<uint64_t, uint64_t> steps[] = {{0x500, 0x501}, {0x10, 0x501}, {UINT64_MAX, 1}};
  for (const auto& [id, next] : steps) {
    test::PlexFields f;
    f.RecordId = id;
    f.Name = std::to_string(id);
    ASSERT_EQ(Create(test::BuildPlexRecord(f)), STATUS_SUCCESS_CODE);
    EXPECT_EQ(list_.NextRecordId, next) << id;
  }
  // The id counts even when the body then fails.
  list_.Entries.clear();
  list_.NextRecordId = 1;
  test::PlexFields bad;
  bad.RecordId = 0x900;
  bad.Revision = 4;
  EXPECT_EQ(Create(test::BuildPlexRecord(bad)), STATUS_INVALID_PARAMETER_CODE);
  EXPECT_EQ(list_.NextRecordId, 0x901u);
}

// ---- record keys ----

LdmRecordImage Plex(uint64_t id, const std::string& name) {
  test::PlexFields fields;
  fields.RecordId = id;
  fields.Name = name;
  return test::BuildPlexRecord(fields);
}

// Records made one by one into one list, as the block walk makes them.
class RecordKeysTest : public ::testing::Test {
 protected:
  NTSTATUS Create(const LdmRecordImage& image) {
    VBLK_GROUP& group = groups_.emplace_back();
    group.TypeWord = image.TypeWord;
    group.RecordSize = static_cast<uint32_t>(image.Data.size());
    const uint8_t* cursor = image.Data.data();
    return CreateRecord(list_, cursor, group.RecordSize, group);
  }

  RECORD_LIST list_;
  std::deque<VBLK_GROUP> groups_;
};

TEST_F(RecordKeysTest, RepeatsFarBehindAreFoundAndNearMissesAreNot) {
  for (uint64_t i = 1; i <= 300; ++i) ASSERT_EQ(Create(Plex(i, "Plex" + std::to_string(i))), 0) << i;
  // Names that share a prefix, differ in case or only in length are distinct.
  EXPECT_EQ(Create(Plex(1000, "Plex")), 0);
  EXPECT_EQ(Create(Plex(1001, "plex7")), 0);
  EXPECT_EQ(Create(Plex(1002, "Plex30 ")), 0);
  // A repeated id under a new name, a repeated name under a new id.
  EXPECT_EQ(Create(Plex(3, "Fresh")), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(Create(Plex(2000, "Plex299")), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(Create(Plex(1001, "Other")), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(list_.Entries.size(), 303u);
}

TEST_F(RecordKeysTest, AFailedRecordClaimsNeitherItsIdNorItsName) {
  test::PlexFields bad;
  bad.RecordId = 0x900;
  bad.Name = "Broken";
  bad.Revision = 4;  // plexes accept revision 3 only
  ASSERT_EQ(Create(test::BuildPlexRecord(bad)), STATUS_INVALID_PARAMETER_CODE);
  EXPECT_EQ(Create(Plex(0x900, "Broken")), 0);
  EXPECT_EQ(Create(Plex(0x900, "Broken")), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST_F(RecordKeysTest, ReleasedKeysAreRebuiltFromTheEntries) {
  ASSERT_EQ(Create(Plex(1, "One")), 0);
  ASSERT_EQ(Create(Plex(2, "Two")), 0);
  list_.ReleaseKeys();
  EXPECT_TRUE(list_.Holds(2, "Nothing"));
  EXPECT_TRUE(list_.Holds(99, "One"));
  EXPECT_FALSE(list_.Holds(3, "Three"));
  // The rebuilt set goes on taking new records.
  ASSERT_EQ(Create(Plex(3, "Three")), 0);
  EXPECT_EQ(Create(Plex(4, "Three")), STATUS_LDM_CONFIG_BROKEN_CODE);
  list_.ReleaseKeys();
  EXPECT_EQ(Create(Plex(5, "Two")), STATUS_LDM_CONFIG_BROKEN_CODE);
}

TEST_F(RecordKeysTest, AnEmptiedListHoldsNothing) {
  ASSERT_EQ(Create(Plex(1, "One")), 0);
  list_.Entries.clear();
  EXPECT_FALSE(list_.Holds(1, "One"));
  EXPECT_EQ(Create(Plex(1, "One")), 0);
  EXPECT_EQ(Create(Plex(1, "Two")), STATUS_LDM_CONFIG_BROKEN_CODE);
}

// The walk releases the keys when it ends, by success or by failure; the
// records made before a repeat stay.
TEST(RecordKeysWalkTest, ARepeatEndsTheWalkAndLaterRecordsStillSeeEveryEarlierOne) {
  test::ConfigAreaBuilder builder(600);
  for (uint32_t i = 1; i <= 400; ++i) builder.AddRecord(i, Plex(i, "Plex" + std::to_string(i)));
  builder.AddRecord(401, Plex(401, "Plex17"));
  builder.AddRecord(402, Plex(402, "Plex402"));
  const std::vector<uint8_t> area = builder.Build();
  CONFIG_HEADER header;
  EXPECT_EQ(header.Initialize(area.data(), area.size()), STATUS_LDM_CONFIG_BROKEN_CODE);
  ASSERT_EQ(header.RecordList.Entries.size(), 400u);
  EXPECT_STREQ(header.RecordList.Entries.back()->Record->RecordName, "Plex400");
  EXPECT_TRUE(header.RecordList.Holds(17, ""));
  EXPECT_TRUE(header.RecordList.Holds(0, "Plex400"));
  EXPECT_FALSE(header.RecordList.Holds(402, "Plex402"));
}

}  // namespace
}  // namespace kestrand
