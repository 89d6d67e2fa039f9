#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "ldm/disk_record.h"
#include "ldm/ldm_record.h"
#include "ldm/pack_record.h"
#include "ldm/plex_record.h"
#include "ldm/subdisk_record.h"
#include "ldm/volume_record.h"
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
    group.GroupNumber = static_cast<uint32_t>(groups_.size());
    group.TypeWord = image.TypeWord;
    group.RecordSize = static_cast<uint32_t>(image.Data.size());
    const uint8_t* cursor = image.Data.data();
    const NTSTATUS status = CreateRecord(list_, cursor, group.RecordSize, group);
    consumed_ = static_cast<size_t>(cursor - image.Data.data());
    return status;
  }

  template <class T>
  const T& Last() {
    EXPECT_FALSE(list_.Entries.empty());
    const T* record = dynamic_cast<const T*>(list_.Entries.back()->Record.get());
    EXPECT_NE(record, nullptr);
    return *record;
  }

  RECORD_LIST list_;
  std::deque<VBLK_GROUP> groups_;  // groups outlive the records that point at them
  size_t consumed_ = 0;
};

// ---- volume ----

TEST_F(RecordsTest, VolumeRevisionFiveWithMountName) {
  test::VolumeFields f;
  f.Length = 192512;
  f.LogLength = -2;
  f.MountName = u"F:";
  ASSERT_EQ(Create(test::BuildVolumeRecord(f)), STATUS_SUCCESS_CODE);
  const auto& v = Last<VOLUME_RECORD>();
  const RECORD_ENTRY& entry = *list_.Entries.back();
  EXPECT_EQ(entry.RecordId, 0x421u);
  EXPECT_EQ(entry.RecordType, RECORD_TYPE_VOLUME);
  EXPECT_EQ(entry.List, &list_);
  EXPECT_EQ(v.Entry, &entry);
  EXPECT_EQ(v.Group, &groups_.back());
  EXPECT_EQ(groups_.back().Entry, &entry);
  EXPECT_STREQ(v.RecordName, "Volume1");
  EXPECT_STREQ(v.UsageType, "gen");
  EXPECT_STREQ(v.FileSystemType, "");
  EXPECT_STREQ(v.State, "ACTIVE");
  EXPECT_EQ(v.ReadPolicy, 3);
  EXPECT_EQ(v.Minor, 5u);
  EXPECT_EQ(v.PersistentFlags, 0x11u);
  EXPECT_EQ(v.NumPlexes, 1u);
  EXPECT_EQ(v.UpdateSequence, 0x429u);
  EXPECT_EQ(v.DetachSeqNum, 0x428u);
  EXPECT_EQ(v.Length, 192512);
  EXPECT_EQ(v.LogLength, -2);
  EXPECT_EQ(v.PartitionType, 7u);
  EXPECT_EQ(GuidToText(v.VolumeGuid), "6e30daae-8e42-40fb-9af0-807416c3fede");
  ASSERT_NE(v.MountName, nullptr);
  EXPECT_EQ(std::u16string(v.MountName.get()), u"F:");
  EXPECT_EQ(v.Revision(), 5);
  EXPECT_EQ(v.RecordFlags(), VOLUME_FLAG_MOUNT_NAME);
  EXPECT_EQ(consumed_, test::BuildVolumeRecord(f).Data.size());
}

TEST_F(RecordsTest, VolumeRevisionsDecideGuidAndPartitionType) {
  test::VolumeFields f;
  f.Flags = 0;
  f.Revision = 3;
  f.Name = "R3";
  f.RecordId = 1;
  ASSERT_EQ(Create(test::BuildVolumeRecord(f)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(Last<VOLUME_RECORD>().PartitionType, 0u);
  EXPECT_EQ(Last<VOLUME_RECORD>().VolumeGuid, GUID{});

  f.Revision = 4;
  f.Name = "R4";
  f.RecordId = 2;
  ASSERT_EQ(Create(test::BuildVolumeRecord(f)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(Last<VOLUME_RECORD>().PartitionType, 7u);
  EXPECT_EQ(Last<VOLUME_RECORD>().VolumeGuid, GUID{});

  f.Revision = 5;
  f.Name = "R5";
  f.RecordId = 3;
  ASSERT_EQ(Create(test::BuildVolumeRecord(f)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(Last<VOLUME_RECORD>().VolumeGuid, f.VolumeGuid);
}

TEST_F(RecordsTest, VolumeRevisionFiveShortOfItsGuidFails) {
  test::VolumeFields f;
  f.Flags = 0;
  LdmRecordImage image = test::BuildVolumeRecord(f);
  image.Data.resize(image.Data.size() - 1);
  EXPECT_EQ(Create(image), STATUS_INVALID_PARAMETER_CODE);
  EXPECT_TRUE(list_.Entries.empty());
  EXPECT_EQ(groups_.back().Entry, nullptr);
}

TEST_F(RecordsTest, VolumeOptionalFieldsInTheirOrder) {
  test::VolumeFields f;
  f.Flags = 0xFA00;  // every known flag
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
}

TEST_F(RecordsTest, VolumePreferredPlexThenMountNameWithNothingBetween) {
  test::VolumeFields f;
  f.Flags = VOLUME_FLAG_PREFERRED_PLEX | VOLUME_FLAG_MOUNT_NAME;
  f.PrefferedPlexRecordId = 0x77;
  f.MountName = u"G:";
  const LdmRecordImage image = test::BuildVolumeRecord(f);
  ASSERT_EQ(Create(image), STATUS_SUCCESS_CODE);
  EXPECT_EQ(Last<VOLUME_RECORD>().PrefferedPlexRecordId, 0x77u);
  EXPECT_EQ(std::u16string(Last<VOLUME_RECORD>().MountName.get()), u"G:");
  // The last five bytes: 01 77 (plex id), 02 'G' ':' (mount name).
  const std::vector<uint8_t> tail(image.Data.end() - 5, image.Data.end());
  EXPECT_EQ(tail, (std::vector<uint8_t>{0x01, 0x77, 0x02, 'G', ':'}));
}

TEST_F(RecordsTest, VolumeWithEmptyMountNameHasNone) {
  test::VolumeFields f;
  f.MountName = u"";
  ASSERT_EQ(Create(test::BuildVolumeRecord(f)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(Last<VOLUME_RECORD>().MountName, nullptr);
}

TEST_F(RecordsTest, VolumeRefusesUnknownFlagsAndRevisions) {
  for (uint16_t flag : {0x0100, 0x0400}) {
    test::VolumeFields f;
    f.Flags = flag;
    EXPECT_EQ(Create(test::BuildVolumeRecord(f)), STATUS_INVALID_PARAMETER_CODE) << flag;
  }
  for (uint16_t revision : {0, 2, 6, 15}) {
    test::VolumeFields f;
    f.Revision = revision;
    EXPECT_EQ(Create(test::BuildVolumeRecord(f)), STATUS_INVALID_PARAMETER_CODE) << revision;
  }
  EXPECT_TRUE(list_.Entries.empty());
}

TEST_F(RecordsTest, VolumeFileSystemTypeAtMostSixteenBytes) {
  test::VolumeFields f;
  f.FileSystemType = std::string(16, '\x03');
  ASSERT_EQ(Create(test::BuildVolumeRecord(f)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(Last<VOLUME_RECORD>().FileSystemType[0], '\x03');

  f.FileSystemType = std::string(17, '\x01');
  f.RecordId = 2;
  f.Name = "Other";
  EXPECT_EQ(Create(test::BuildVolumeRecord(f)), STATUS_INVALID_PARAMETER_CODE);
}

// ---- plex ----

TEST_F(RecordsTest, PlexWithStripes) {
  test::PlexFields f;
  f.Flags = PLEX_FLAG_STRIPES;
  f.Layout = PLEX_LAYOUT_STRIPED;
  f.StripeWidth = -128;
  f.ColumnCount = 2;
  f.PersistentFlags = PLEX_PERSISTENT_STALE;
  f.DetachSequence = 9;
  f.LogRecordId = 0x4444;
  ASSERT_EQ(Create(test::BuildPlexRecord(f)), STATUS_SUCCESS_CODE);
  const auto& p = Last<PLEX_RECORD>();
  EXPECT_STREQ(p.State, "ACTIVE");
  EXPECT_EQ(p.Layout, PLEX_LAYOUT_STRIPED);
  EXPECT_EQ(p.PersistentFlags, PLEX_PERSISTENT_STALE);
  EXPECT_EQ(p.SubdiskCount, 1u);
  EXPECT_EQ(p.UpdateSequence, 0x426u);
  EXPECT_EQ(p.DetachSequence, 9u);
  EXPECT_EQ(p.VolumeRecordId, 0x421u);
  EXPECT_EQ(p.LogRecordId, 0x4444u);
  EXPECT_EQ(p.StripeWidth, -128);
  EXPECT_EQ(p.ColumnCount, 2u);
}

TEST_F(RecordsTest, PlexWithoutStripesLeavesThemZero) {
  ASSERT_EQ(Create(test::BuildPlexRecord(test::PlexFields{})), STATUS_SUCCESS_CODE);
  EXPECT_EQ(Last<PLEX_RECORD>().StripeWidth, 0);
  EXPECT_EQ(Last<PLEX_RECORD>().ColumnCount, 0u);
}

TEST_F(RecordsTest, PlexRefusesOtherFlagsAndRevisions) {
  test::PlexFields f;
  f.Flags = 0x0800;
  EXPECT_EQ(Create(test::BuildPlexRecord(f)), STATUS_INVALID_PARAMETER_CODE);
  f.Flags = 0;
  f.Revision = 4;
  EXPECT_EQ(Create(test::BuildPlexRecord(f)), STATUS_INVALID_PARAMETER_CODE);
}

TEST_F(RecordsTest, PlexStateOfFifteenCharactersFails) {
  test::PlexFields f;
  f.State = std::string(14, 'S');
  ASSERT_EQ(Create(test::BuildPlexRecord(f)), STATUS_SUCCESS_CODE);
  f.State = std::string(15, 'S');
  f.RecordId = 2;
  f.Name = "Two";
  EXPECT_EQ(Create(test::BuildPlexRecord(f)), STATUS_INVALID_PARAMETER_CODE);
}

// ---- subdisk ----

TEST_F(RecordsTest, SubdiskAlwaysPresentFields) {
  test::SubdiskFields f;
  f.DiskOffset = 61440;
  f.PlexOffset = 0x88000;
  f.Length = 34816;
  f.PersistentFlags = SUBDISK_PERSISTENT_VOLUME;
  ASSERT_EQ(Create(test::BuildSubdiskRecord(f)), STATUS_SUCCESS_CODE);
  const auto& s = Last<SUBDISK_RECORD>();
  EXPECT_EQ(s.PersistentFlags, SUBDISK_PERSISTENT_VOLUME);
  EXPECT_EQ(s.UpdateSequence, 0x426u);
  EXPECT_EQ(s.DiskOffset, 61440u);
  EXPECT_EQ(s.PlexOffset, 0x88000u);
  EXPECT_EQ(s.Length, 34816);
  EXPECT_EQ(s.PlexRecordId, 0x423u);
  EXPECT_EQ(s.DiskRecordId, 0x403u);
}

TEST_F(RecordsTest, SubdiskFlag1000AloneDecodesColumnAndDetachSequence) {
  test::SubdiskFields f;
  f.Flags = SUBDISK_FLAG_COLUMN_DETACH;
  f.ColumnNumber = 2;
  f.DetachSequence = 0x0102030405060708;
  ASSERT_EQ(Create(test::BuildSubdiskRecord(f)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(Last<SUBDISK_RECORD>().ColumnNumber, 2u);
  EXPECT_EQ(Last<SUBDISK_RECORD>().DetachSequence, 0x0102030405060708u);
}

TEST_F(RecordsTest, SubdiskEveryOptionalGroup) {
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

TEST_F(RecordsTest, SubdiskWithoutFlagsLeavesOptionalFieldsZero) {
  // Bytes that would be a column number are ignored without the flag.
  LdmRecordImage image = test::BuildSubdiskRecord(test::SubdiskFields{});
  image.Data.push_back(0x01);
  image.Data.push_back(0x05);
  ASSERT_EQ(Create(image), STATUS_SUCCESS_CODE);
  EXPECT_EQ(Last<SUBDISK_RECORD>().ColumnNumber, 0u);
  EXPECT_EQ(consumed_, image.Data.size());
}

TEST_F(RecordsTest, SubdiskRefusesFlags0100And0400) {
  for (uint16_t flag : {0x0100, 0x0400}) {
    test::SubdiskFields f;
    f.Flags = flag;
    EXPECT_EQ(Create(test::BuildSubdiskRecord(f)), STATUS_INVALID_PARAMETER_CODE) << flag;
  }
}

// ---- disk ----

TEST_F(RecordsTest, DiskRevisionThreeHasATextId) {
  test::DiskFields f;
  f.PersistentFlags = DISK_PERSISTENT_NON_VOTER;
  ASSERT_EQ(Create(test::BuildDiskRecord(f)), STATUS_SUCCESS_CODE);
  const auto& d = Last<DISK_RECORD>();
  EXPECT_EQ(GuidToText(d.DiskId), "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c");
  EXPECT_EQ(d.LastDiskSetId, GUID{});
  ASSERT_NE(d.DeviceInstance, nullptr);
  EXPECT_EQ(std::u16string(d.DeviceInstance.get()), f.DeviceInstance);
  EXPECT_EQ(d.PersistentFlags, DISK_PERSISTENT_NON_VOTER);
  EXPECT_EQ(d.UpdateSequence, 0x426u);
}

TEST_F(RecordsTest, DiskRevisionFourHasGuidBytes) {
  test::DiskFields f;
  f.Revision = 4;
  f.LastDiskSetId = GuidFromText("11111111-2222-3333-4444-555555555555");
  f.DeviceInstance = u"";
  ASSERT_EQ(Create(test::BuildDiskRecord(f)), STATUS_SUCCESS_CODE);
  const auto& d = Last<DISK_RECORD>();
  EXPECT_EQ(d.DiskId, f.DiskId);
  EXPECT_EQ(GuidToText(d.LastDiskSetId), "11111111-2222-3333-4444-555555555555");
  EXPECT_EQ(d.DeviceInstance, nullptr);
}

TEST_F(RecordsTest, DiskIdInBracesFails) {
  test::DiskFields f;
  f.DiskIdText = "{d17c2c04-6afc-46c3-84b7-cdc2f3956c5c}";
  EXPECT_EQ(Create(test::BuildDiskRecord(f)), STATUS_INVALID_PARAMETER_CODE);
}

TEST_F(RecordsTest, DiskRefusesEveryFlagAndOtherRevisions) {
  for (uint16_t flag = 0x0100; flag != 0; flag = static_cast<uint16_t>(flag << 1)) {
    test::DiskFields f;
    f.Flags = flag;
    EXPECT_EQ(Create(test::BuildDiskRecord(f)), STATUS_INVALID_PARAMETER_CODE) << flag;
  }
  test::DiskFields f;
  f.Revision = 5;
  EXPECT_EQ(Create(test::BuildDiskRecord(f)), STATUS_INVALID_PARAMETER_CODE);
}

TEST_F(RecordsTest, DiskDeviceInstanceRunningPastTheEndFails) {
  LdmRecordImage image = test::BuildDiskRecord(test::DiskFields{});
  image.Data.resize(image.Data.size() - 20);  // cut inside the device instance
  EXPECT_EQ(Create(image), STATUS_INVALID_PARAMETER_CODE);
}

// ---- pack ----

TEST_F(RecordsTest, PackRevisionThreeWithCopies) {
  ASSERT_EQ(Create(test::BuildPackRecord(test::PackFields{})), STATUS_SUCCESS_CODE);
  const auto& p = Last<PACK_RECORD>();
  EXPECT_STREQ(p.RecordName, "Red-nzv8x6obywgDg0");
  EXPECT_EQ(GuidToText(p.PackId), "03c0c4fc-8b6f-402b-9431-4be2e5823b1c");
  EXPECT_EQ(p.DiskSetId, GUID{});
  EXPECT_EQ(p.UpdateSequence, 0x404u);
  EXPECT_EQ(p.ConfigCopiesCount, 0xFFFFFFFFu);
  EXPECT_EQ(p.LogCopiesCount, 0xFFFFFFFFu);
  EXPECT_EQ(p.BaseMinor, 0u);
}

TEST_F(RecordsTest, PackRevisionFourWithBaseMinor) {
  test::PackFields f;
  f.Revision = 4;
  f.Flags = PACK_FLAG_BASE_MINOR;
  f.DiskSetId = GuidFromText("aaaaaaaa-bbbb-cccc-dddd-eeeeeeeeeeee");
  f.BaseMinor = 0x40;
  ASSERT_EQ(Create(test::BuildPackRecord(f)), STATUS_SUCCESS_CODE);
  const auto& p = Last<PACK_RECORD>();
  EXPECT_EQ(p.PackId, f.PackId);
  EXPECT_EQ(p.DiskSetId, f.DiskSetId);
  EXPECT_EQ(p.ConfigCopiesCount, 0u);
  EXPECT_EQ(p.BaseMinor, 0x40u);
}

TEST_F(RecordsTest, PackRefusesOtherFlags) {
  test::PackFields f;
  f.Flags = 0x0200;
  EXPECT_EQ(Create(test::BuildPackRecord(f)), STATUS_INVALID_PARAMETER_CODE);
}

// ---- common header, uniqueness, record ids ----

TEST_F(RecordsTest, NamesAreUniqueAcrossTypes) {
  test::VolumeFields volume;
  volume.Name = "Shared";
  ASSERT_EQ(Create(test::BuildVolumeRecord(volume)), STATUS_SUCCESS_CODE);
  test::PackFields pack;
  pack.Name = "Shared";
  EXPECT_EQ(Create(test::BuildPackRecord(pack)), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(list_.Entries.size(), 1u);
}

TEST_F(RecordsTest, IdsAreUniqueAcrossTypes) {
  ASSERT_EQ(Create(test::BuildDiskRecord(test::DiskFields{})), STATUS_SUCCESS_CODE);
  test::SubdiskFields subdisk;
  subdisk.RecordId = test::DiskFields{}.RecordId;
  EXPECT_EQ(Create(test::BuildSubdiskRecord(subdisk)), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_EQ(list_.Entries.size(), 1u);
}

TEST_F(RecordsTest, NextRecordIdFollowsTheLargestId) {
  EXPECT_EQ(list_.NextRecordId, 1u);
  test::PlexFields f;
  f.RecordId = 0x500;
  ASSERT_EQ(Create(test::BuildPlexRecord(f)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(list_.NextRecordId, 0x501u);
  f.RecordId = 0x10;
  f.Name = "Lower";
  ASSERT_EQ(Create(test::BuildPlexRecord(f)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(list_.NextRecordId, 0x501u);
  f.RecordId = UINT64_MAX;
  f.Name = "Largest";
  ASSERT_EQ(Create(test::BuildPlexRecord(f)), STATUS_SUCCESS_CODE);
  EXPECT_EQ(list_.NextRecordId, 1u);
}

TEST_F(RecordsTest, NextRecordIdMovesEvenWhenTheBodyFails) {
  test::PlexFields f;
  f.RecordId = 0x900;
  f.Revision = 4;
  EXPECT_EQ(Create(test::BuildPlexRecord(f)), STATUS_INVALID_PARAMETER_CODE);
  EXPECT_EQ(list_.NextRecordId, 0x901u);
}

TEST_F(RecordsTest, CommonHeaderThatDoesNotDecodeIsBroken) {
  LdmRecordImage image;
  image.TypeWord = test::MakeTypeWord(RECORD_TYPE_PLEX, 3, 0);
  image.Data = {0x09, 1, 2, 3, 4, 5, 6, 7, 8, 9};  // RecordId count above 8
  EXPECT_EQ(Create(image), STATUS_LDM_CONFIG_BROKEN_CODE);
  image.Data = {0x01, 0x05, 0x20, 'a'};  // name count runs past the end
  EXPECT_EQ(Create(image), STATUS_LDM_CONFIG_BROKEN_CODE);
  image.Data = {0x01, 0x05};  // no name at all
  EXPECT_EQ(Create(image), STATUS_LDM_CONFIG_BROKEN_CODE);
  test::LdmBytes longName;
  longName.VarUnsigned(5).String(std::string(32, 'n'));
  image.Data = longName.bytes;
  EXPECT_EQ(Create(image), STATUS_LDM_CONFIG_BROKEN_CODE);
  EXPECT_TRUE(list_.Entries.empty());
}

TEST_F(RecordsTest, UnknownTypeIsBroken) {
  for (uint16_t type : {0, 6, 15}) {
    LdmRecordImage image = test::BuildPlexRecord(test::PlexFields{});
    image.TypeWord = test::MakeTypeWord(type, 3, 0);
    EXPECT_EQ(Create(image), STATUS_LDM_CONFIG_BROKEN_CODE) << type;
  }
}

TEST_F(RecordsTest, TruncatedBodyFailsAtEveryLength) {
  // Every cut inside the type-specific fields must fail cleanly.
  const LdmRecordImage full = test::BuildVolumeRecord(test::VolumeFields{});
  const size_t headerSize = 1 + 2 + 1 + 7;  // id 02 04 21, name 07 "Volume1"
  for (size_t size = headerSize; size < full.Data.size(); ++size) {
    LdmRecordImage cut = full;
    cut.Data.resize(size);
    EXPECT_EQ(Create(cut), STATUS_INVALID_PARAMETER_CODE) << size;
  }
  EXPECT_TRUE(list_.Entries.empty());
}

TEST_F(RecordsTest, ResetClearsEveryMember) {
  test::VolumeFields f;
  f.Flags = 0xFA00;
  f.AppRecovery = 9;
  ASSERT_EQ(Create(test::BuildVolumeRecord(f)), STATUS_SUCCESS_CODE);
  VOLUME_RECORD& v = const_cast<VOLUME_RECORD&>(Last<VOLUME_RECORD>());
  v.Reset();
  EXPECT_EQ(v.Entry, nullptr);
  EXPECT_EQ(v.Group, nullptr);
  EXPECT_STREQ(v.RecordName, "");
  EXPECT_EQ(v.UpdateSequence, 0u);
  EXPECT_EQ(v.AppRecovery, 0u);
  EXPECT_EQ(v.Length, 0);
  EXPECT_EQ(v.MountName, nullptr);
  EXPECT_EQ(v.VolumeGuid, GUID{});
}

}  // namespace
}  // namespace kestrand
