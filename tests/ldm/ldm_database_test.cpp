// The loader: where it finds each LDM structure on MBR devices, GPT disks and
// database files, in which order it reads them, and how it carries on past
// structures that cannot be read.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "disk/disk_layout.h"
#include "driver/kestrand.h"
#include "ldm/ldm_database.h"
#include "support/ldm_builder.h"
#include "support/ldm_loader_support.h"

namespace kestrand::test {
namespace {

constexpr uint64_t kMiB = 0x100000;
constexpr NTSTATUS kConfigBroken = STATUS_LDM_CONFIG_BROKEN_CODE;

// A config area of `numBlocks` blocks holding a pack and a disk record.
std::vector<uint8_t> ConfigArea(uint32_t numBlocks) {
  ConfigAreaBuilder builder(numBlocks);
  builder.AddRecord(1, BuildPackRecord({}));
  builder.AddRecord(2, BuildDiskRecord({}));
  return builder.Build();
}

class LoaderTest : public ::testing::Test {
 protected:
  void SetUp() override { area_.Config = ConfigArea(5924); }

  // An MBR device of `diskBytes` whose last bytes are the LDM area, with the
  // backup private header in its sector 6.
  void MakeMbrDevice() { PutMbrDevice(platform_, disk_, 4 * kMiB, area_); }

  std::vector<int64_t> Offsets() const { return platform_.ReadOffsets(); }

  MemoryReadPlatform platform_;
  ScopedPlatform installed_{platform_};
  LdmAreaImage area_;
  TestDisk disk_;
  LDM_DATABASE database_;
};

TEST_F(LoaderTest, MbrDeviceReadsEveryStructureWhereItLiesInOrder) {
  MakeMbrDevice();
  const int64_t end = 4 * kMiB;
  ASSERT_EQ(database_.Initialize(&disk_), 0u);
  EXPECT_EQ(Offsets(), (std::vector<int64_t>{end - 512, end - 0x18000, 6 * 512, end - 3 * 512, end - 2046 * 512,
                                             end - 2046 * 512 + 15 * 512}));
  EXPECT_EQ(platform_.Reads.back().Length, 758272u);  // the header announces exactly that: one read
  ASSERT_TRUE(database_.BackupHeader);
  EXPECT_STREQ(database_.BackupHeader->Name, "Backup");
  for (LdmCopy copy : {LdmCopy::PrimaryHeader, LdmCopy::AlternateHeader, LdmCopy::BackupHeader, LdmCopy::PrimaryToc,
                       LdmCopy::AlternateToc, LdmCopy::Config}) {
    const LdmCopyStatus status = database_.GetCopyStatus(copy);
    EXPECT_TRUE(status.Exists && status.ReadAttempted);
    EXPECT_EQ(status.ReadStatus, 0);
    EXPECT_EQ(status.ParseStatus, 0);
  }
  EXPECT_STREQ(database_.PrimaryToc->Magic, "TOCBLOCK");
  EXPECT_STREQ(database_.Config->Magic, "VMDB");
  EXPECT_EQ(database_.Config->Header->RecordList.Entries.size(), 2u);
  EXPECT_EQ(database_.Disk, &disk_);
}

TEST_F(LoaderTest, ConfigAreaIsReadAgainAtTheSizeItsHeaderAnnounces) {
  area_.Config = ConfigArea(2048);
  MakeMbrDevice();
  ASSERT_EQ(database_.Initialize(&disk_), 0u);
  ASSERT_EQ(platform_.Reads.size(), 7u);
  EXPECT_EQ(platform_.Reads[5].Length, 758272u);
  EXPECT_EQ(platform_.Reads[6].Length, 262144u);
  EXPECT_EQ(platform_.Reads[5].Offset, platform_.Reads[6].Offset);
  EXPECT_EQ(database_.Config->ByteCount, 262144u);
  EXPECT_EQ(database_.Config->ParseStatus, 0);
  EXPECT_EQ(database_.Config->Header->RecordList.Entries.size(), 2u);
}

// Config areas that are no VMDB, announce 260 GB of blocks, or fewer bytes
// than their own header: broken, nothing more is read, the loader goes on.
TEST_F(LoaderTest, BrokenConfigAreasLeaveNoRecords) {
  struct Case {
    const char* What;
    std::vector<std::pair<size_t, uint8_t>> Patches;  // the magic at 0, NumBlocks big-endian at 4
    size_t Reads;
    uint32_t ByteCount;
  };
  const Case cases[] = {
      {"magic", {{3, 'X'}}, 6, 758272}, {"huge", {{4, 0x7F}}, 6, 758272}, {"short", {{6, 0}, {7, 2}}, 7, 256}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.What);
    area_.Config = ConfigArea(5924);
    for (const auto& [at, value] : c.Patches) area_.Config[at] = value;
    MakeMbrDevice();
    platform_.Reads.clear();
    LDM_DATABASE database;
    ASSERT_EQ(database.Initialize(&disk_), 0u);
    EXPECT_EQ(platform_.Reads.size(), c.Reads);
    EXPECT_EQ(database.Config->ReadStatus, 0);
    EXPECT_EQ(database.Config->ParseStatus, kConfigBroken);
    EXPECT_EQ(database.Config->ByteCount, c.ByteCount);
    EXPECT_TRUE(database.Config->Header->RecordList.Entries.empty());
  }
}

TEST_F(LoaderTest, DatabaseFileHasTwoHeaderCopiesAtFixedOffsets) {
  platform_.Files["saved.ldm"] = area_.Build();
  CKestrand owner;
  CLdmFileDisk file;
  ASSERT_EQ(file.Initialize("saved.ldm", &owner), 0u);
  LDM_DATABASE* database = file.LdmDatabase();
  ASSERT_NE(database, nullptr);
  EXPECT_EQ(Offsets(), (std::vector<int64_t>{0xFFE00, 0xE8000, 0xFFA00, 0x400, 0x400 + 15 * 512}));
  EXPECT_FALSE(database->BackupHeader);
  EXPECT_FALSE(database->GetCopyStatus(LdmCopy::BackupHeader).Exists);
  EXPECT_EQ(database->Config->Header->RecordList.Entries.size(), 2u);
}

TEST_F(LoaderTest, LargeSectorsMoveThePrimaryCopyButNotTheAlternate) {
  area_.SectorSize = 4096;
  area_.Header.TocPrimarySector = 1;
  area_.Header.TocAlternateSector = 250;
  area_.Config.clear();
  MakeMbrDevice();
  const int64_t end = 4 * kMiB;
  ASSERT_EQ(database_.Initialize(&disk_), 0u);
  EXPECT_EQ(Offsets(), (std::vector<int64_t>{end - 4096, end - 0x18000, 6 * 4096, end - 2 * 4096, end - 251 * 4096,
                                             end - 251 * 4096 + 15 * 4096}));
  EXPECT_EQ(database_.AlternateHeader->ParseStatus, 0);
  EXPECT_STREQ(database_.AlternateToc->Magic, "TOCBLOCK");
}

TEST_F(LoaderTest, GptDiskUsesTheEndOfItsLdmMetadataPartition) {
  platform_.DiskBytes.assign(8 * kMiB, 0);
  const std::vector<uint8_t> bytes = area_.Build();
  std::copy(bytes.begin(), bytes.end(), platform_.DiskBytes.begin() + 5 * kMiB);
  disk_.SetBytesPerSector(512);
  disk_.SetDiskLength(8 * kMiB);
  disk_.SetGptLayout({{GPT_TYPE_LDM_DATA, 1 * kMiB, 4 * kMiB}, {GPT_TYPE_LDM_METADATA, 5 * kMiB, 1 * kMiB}});
  ASSERT_EQ(database_.Initialize(&disk_), 0u);
  const int64_t end = 6 * kMiB;
  EXPECT_EQ(Offsets(), (std::vector<int64_t>{end - 512, end - 0x18000, end - 3 * 512, end - 2046 * 512,
                                             end - 2046 * 512 + 15 * 512}));
  EXPECT_FALSE(database_.BackupHeader);
  EXPECT_EQ(database_.Config->Header->RecordList.Entries.size(), 2u);
}

TEST_F(LoaderTest, DisksWithoutAnLdmAreaAreNotRead) {
  disk_.SetBytesPerSector(512);
  disk_.SetDiskLength(8 * kMiB);
  disk_.SetGptLayout({{GPT_TYPE_LDM_DATA, 1 * kMiB, 4 * kMiB}});
  EXPECT_EQ(database_.Initialize(&disk_), 0u);
  disk_.SetRawLayout();
  LDM_DATABASE raw;
  EXPECT_EQ(raw.Initialize(&disk_), 0u);
  EXPECT_TRUE(platform_.Reads.empty());
  // Created but never read: the reports must not take them for sound copies.
  const LdmCopyStatus status = database_.GetCopyStatus(LdmCopy::PrimaryHeader);
  EXPECT_TRUE(status.Exists);
  EXPECT_FALSE(status.ReadAttempted);
  EXPECT_EQ(CaptureText([&](FILE* stream) { database_.PrintText(stream); }), "");
}

TEST_F(LoaderTest, MissingDiskGeometryOrPartitionInformationStopsBeforeReading) {
  EXPECT_EQ(database_.Initialize(nullptr), 87u);
  disk_.SetDiskLength(kMiB);
  disk_.SetMbrLayout();
  EXPECT_EQ(database_.Initialize(&disk_), 13u);
  disk_.SetBytesPerSector(512);
  disk_.SetPartitionInfoError(ERROR_NOT_READY_CODE);
  LDM_DATABASE second;
  EXPECT_EQ(second.Initialize(&disk_), ERROR_NOT_READY_CODE);
  EXPECT_TRUE(platform_.Reads.empty());
}

TEST_F(LoaderTest, UnreadablePrimaryHeaderLeavesTheTablesAtTheLastSector) {
  MakeMbrDevice();
  const int64_t end = 4 * kMiB;
  platform_.Failures.push_back({static_cast<uint64_t>(end - 512), 512, STATUS_IO_DEVICE_ERROR_CODE});
  ::testing::internal::CaptureStderr();
  ASSERT_EQ(database_.Initialize(&disk_), 0u);
  const std::string messages = ::testing::internal::GetCapturedStderr();
  // Both tables at E - S, the config at E + 14 S, past the end of the disk.
  EXPECT_EQ(Offsets(), (std::vector<int64_t>{end - 512, end - 0x18000, 6 * 512, end - 512, end - 512,
                                             end + 14 * 512}));
  EXPECT_EQ(database_.PrimaryHeader->ReadStatus, STATUS_IO_DEVICE_ERROR_CODE);
  EXPECT_EQ(database_.AlternateHeader->ReadStatus, 0);
  EXPECT_EQ(database_.PrimaryToc->ReadStatus, STATUS_IO_DEVICE_ERROR_CODE);
  EXPECT_EQ(database_.Config->ReadStatus, STATUS_END_OF_FILE_CODE);
  EXPECT_EQ(messages,
            "Status code 3221225861 : Disk 0000 : TOC_WRAPPER::Initialize() : 1 Failed in call to NtReadFile()\n"
            "Status code 3221225861 : Disk 0000 : TOC_WRAPPER::Initialize() : 1 Failed in call to NtReadFile()\n"
            "Status code 3221225489 : Disk 0000 : CONFIG_WRAPPER::Initialize() : Call to NtReadFile() failed. 7\n");
  // Nothing after an unreadable primary header is printed.
  EXPECT_EQ(CaptureText([&](FILE* stream) { database_.PrintText(stream); }), "");
}

TEST_F(LoaderTest, DeviceThatCannotBeOpenedGivesEveryStructureTheSameStatus) {
  MakeMbrDevice();
  platform_.DiskOpenStatus = STATUS_ACCESS_DENIED_CODE;
  ::testing::internal::CaptureStderr();
  ASSERT_EQ(database_.Initialize(&disk_), 0u);
  ::testing::internal::GetCapturedStderr();
  for (LdmCopy copy : {LdmCopy::PrimaryHeader, LdmCopy::AlternateHeader, LdmCopy::BackupHeader, LdmCopy::PrimaryToc,
                       LdmCopy::AlternateToc, LdmCopy::Config}) {
    const LdmCopyStatus status = database_.GetCopyStatus(copy);
    EXPECT_TRUE(status.ReadAttempted);
    EXPECT_EQ(status.ReadStatus, STATUS_ACCESS_DENIED_CODE);
    EXPECT_EQ(status.ParseStatus, 0);
  }
}

TEST_F(LoaderTest, ShortDatabaseFileRecordsAFailurePerStructure) {
  std::vector<uint8_t> bytes = area_.Build();
  bytes.resize(0xF0000);  // the primary copy and the primary table are cut off
  platform_.Files["short.ldm"] = bytes;
  CKestrand owner;
  CLdmFileDisk file;
  ::testing::internal::CaptureStderr();
  ASSERT_EQ(file.Initialize("short.ldm", &owner), 0u);
  ::testing::internal::GetCapturedStderr();
  const LDM_DATABASE& database = *file.LdmDatabase();
  EXPECT_EQ(database.PrimaryHeader->ReadStatus, STATUS_END_OF_FILE_CODE);
  EXPECT_EQ(database.AlternateHeader->ReadStatus, 0);
  EXPECT_EQ(database.AlternateHeader->ParseStatus, 0);
  EXPECT_EQ(database.PrimaryToc->ReadStatus, STATUS_END_OF_FILE_CODE);
  EXPECT_EQ(database.AlternateToc->ReadStatus, STATUS_END_OF_FILE_CODE);
  EXPECT_EQ(database.Config->ReadStatus, STATUS_END_OF_FILE_CODE);

  CLdmFileDisk missing;
  ::testing::internal::CaptureStderr();
  ASSERT_EQ(missing.Initialize("absent.ldm", &owner), 0u);
  ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(missing.LdmDatabase()->GetCopyStatus(LdmCopy::Config).ReadStatus, STATUS_OBJECT_NAME_NOT_FOUND_CODE);
}

TEST_F(LoaderTest, TableSectorsOutsideTheAreaWrapToOffsetsTheReadRefuses) {
  struct Case {
    uint64_t Primary, Alternate;
  };
  // Before the start of the disk (a negative offset), exactly at its end, and
  // wrapped far past it.
  for (const Case& c : {Case{1ULL << 40, 0x7FFFFFFFFFFFFFFFULL}, Case{~0ULL, 3ULL << 53}}) {
    MakeMbrDevice();
    const uint64_t end = 4 * kMiB;
    RenameTocSectors(platform_.DiskBytes, {end - 512, end - 0x18000, 6 * 512}, c.Primary, c.Alternate);
    platform_.Reads.clear();
    LDM_DATABASE database;
    ::testing::internal::CaptureStderr();
    ASSERT_EQ(database.Initialize(&disk_), 0u);
    ::testing::internal::GetCapturedStderr();
    EXPECT_EQ(database.PrimaryHeader->Header.TocPrimarySector, c.Primary);
    EXPECT_EQ(database.PrimaryHeader->ParseStatus, 0);
    EXPECT_LT(database.PrimaryToc->ReadStatus, 0);
    EXPECT_LT(database.AlternateToc->ReadStatus, 0);
    EXPECT_LT(database.Config->ReadStatus, 0);
    EXPECT_EQ(platform_.Reads.size(), 6u);
  }
}

TEST_F(LoaderTest, BasicMbrDiskIsOnlyReadOnWhenItsPrimaryHeaderDecodes) {
  MakeMbrDevice();
  disk_.SetMbrLayout(0x07);
  ASSERT_EQ(database_.Initialize(&disk_), 0u);
  EXPECT_TRUE(disk_.BasicDiskWithLdmDatabase());
  EXPECT_EQ(platform_.Reads.size(), 6u);

  area_.Header.PackIdText = "not a guid";
  MakeMbrDevice();
  disk_.SetMbrLayout(0x07);
  disk_.SetBasicDiskWithLdmDatabase(false);
  platform_.Reads.clear();
  LDM_DATABASE second;
  ASSERT_EQ(second.Initialize(&disk_), 0u);
  EXPECT_FALSE(disk_.BasicDiskWithLdmDatabase());
  EXPECT_EQ(platform_.Reads.size(), 1u);
  EXPECT_FALSE(second.AlternateHeader->ReadAttempted);
}

TEST_F(LoaderTest, DynamicDiskGoesOnPastAnUndecodablePrimaryHeader) {
  area_.Header.PackIdText = "not a guid";
  MakeMbrDevice();
  const int64_t end = 4 * kMiB;
  ::testing::internal::CaptureStderr();
  ASSERT_EQ(database_.Initialize(&disk_), 0u);
  ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(database_.PrimaryHeader->ParseStatus, STATUS_INVALID_PARAMETER_CODE);
  // The table sectors come after the failing field and stay zero.
  EXPECT_EQ(database_.PrimaryHeader->Header.TocAlternateSector, 0u);
  EXPECT_EQ(Offsets(), (std::vector<int64_t>{end - 512, end - 0x18000, 6 * 512, end - 512, end - 512,
                                             end + 14 * 512}));
  EXPECT_EQ(database_.PrimaryToc->ReadStatus, 0);
  EXPECT_STREQ(database_.PrimaryToc->Magic, "PRIVHEAD");
}

}  // namespace
}  // namespace kestrand::test
