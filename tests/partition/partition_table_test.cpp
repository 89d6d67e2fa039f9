// The partition table reader: MBR with extended boot records, GPT with both
// header copies, and everything hostile about them.
#include "partition/partition_table.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "partition/table_bytes.h"
#include "support/disk_image_builder.h"

namespace kestrand {
namespace {

struct Layout {
  DRIVE_LAYOUT_INFORMATION_EX Head;
  std::vector<PARTITION_INFORMATION_EX> Entries;
};

PartitionTableSource SourceOf(const CDiskImageBuilder& image) {
  return PartitionTableSource{[&image](int64_t offset, uint32_t length, void* buffer) {
                                return image.Read(offset, length, buffer);
                              },
                              image.BytesPerSector(), static_cast<int64_t>(image.DiskSize())};
}

// Reads the layout and checks that its size matches its count.
WIN32_ERROR ReadLayout(const PartitionTableSource& source, Layout& layout) {
  std::vector<uint8_t> bytes;
  WIN32_ERROR error = ReadDriveLayout(source, bytes);
  if (error != 0) return error;
  EXPECT_GE(bytes.size(), DRIVE_LAYOUT_HEAD_BYTES);
  std::memcpy(&layout.Head, bytes.data(), DRIVE_LAYOUT_HEAD_BYTES);
  EXPECT_EQ(bytes.size(), DRIVE_LAYOUT_HEAD_BYTES + layout.Head.PartitionCount * PARTITION_ENTRY_BYTES);
  layout.Entries.resize(layout.Head.PartitionCount);
  for (size_t i = 0; i < layout.Entries.size(); ++i)
    std::memcpy(&layout.Entries[i], bytes.data() + DRIVE_LAYOUT_HEAD_BYTES + i * PARTITION_ENTRY_BYTES,
                PARTITION_ENTRY_BYTES);
  return 0;
}

Layout MustRead(const CDiskImageBuilder& image) {
  Layout layout{};
  EXPECT_EQ(ReadLayout(SourceOf(image), layout), 0u);
  return layout;
}

bool IsAllZero(const PARTITION_INFORMATION_EX& entry) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(&entry);
  for (size_t i = 0; i < sizeof entry; ++i)
    if (bytes[i] != 0) return false;
  return true;
}

void ExpectMbrEntry(const PARTITION_INFORMATION_EX& e, uint8_t type, int64_t offset, int64_t length,
                    uint32_t number, uint32_t hidden, bool boot, bool recognized) {
  EXPECT_EQ(e.PartitionStyle, PARTITION_STYLE_MBR);
  EXPECT_EQ(e.Mbr.PartitionType, type);
  EXPECT_EQ(e.StartingOffset, offset);
  EXPECT_EQ(e.PartitionLength, length);
  EXPECT_EQ(e.PartitionNumber, number);
  EXPECT_EQ(e.Mbr.HiddenSectors, hidden);
  EXPECT_EQ(e.Mbr.BootIndicator, boot ? 1 : 0);
  EXPECT_EQ(e.Mbr.RecognizedPartition, recognized ? 1 : 0);
  EXPECT_EQ(e.RewritePartition, 0);
}

// Rewrites one 32-bit field of a GPT header and seals it with a fresh CRC,
// so that only the field's own checks can reject it.
void PatchGptHeader(CDiskImageBuilder& image, uint64_t lba, size_t offset, uint32_t value) {
  const uint64_t at = lba * image.BytesPerSector();
  uint8_t header[92];
  ASSERT_EQ(image.Read(static_cast<int64_t>(at), sizeof header, header), 0);
  StoreLe32(header + offset, value);
  StoreLe32(header + 16, 0);
  StoreLe32(header + 16, Crc32(header, sizeof header));
  image.WriteBytes(at, header, sizeof header);
}

constexpr uint64_t kMiB = 1 << 20;

// ---------------------------------------------------------------- MBR

TEST(MbrLayoutTest, PrimarySlotsKeepTheirPlacesAndEmptySlotsAreZero) {
  CDiskImageBuilder image(64 * kMiB);
  image.WriteMbr({MbrSlot{}, MbrSlot{0x07, true, 2048, 40960}, MbrSlot{0x83, false, 43008, 8192},
                  MbrSlot{0x42, false, 51200, 8192}},
                 0x0012ABCD);
  Layout layout = MustRead(image);
  EXPECT_EQ(layout.Head.PartitionStyle, PARTITION_STYLE_MBR);
  EXPECT_EQ(layout.Head.Mbr.Signature, 0x0012ABCDu);
  ASSERT_EQ(layout.Head.PartitionCount, 4u);
  EXPECT_TRUE(IsAllZero(layout.Entries[0]));
  ExpectMbrEntry(layout.Entries[1], 0x07, 2048 * 512, 40960 * 512, 1, 2048, true, true);
  ExpectMbrEntry(layout.Entries[2], 0x83, 43008LL * 512, 8192 * 512, 2, 43008, false, false);
  // A dynamic disk's partition is numbered but not recognized.
  ExpectMbrEntry(layout.Entries[3], 0x42, 51200LL * 512, 8192 * 512, 3, 51200, false, false);
}

TEST(MbrLayoutTest, RecognizedTypesFollowTheStorageStack) {
  for (uint8_t type : {0x07, 0x0C, 0x86, 0xC7})
    EXPECT_TRUE(IsRecognizedMbrType(type)) << int{type};
  for (uint8_t type : {0x00, 0x05, 0x0F, 0xEE})
    EXPECT_FALSE(IsRecognizedMbrType(type)) << int{type};
}

TEST(MbrLayoutTest, LogicalPartitionsAddFourEntriesPerExtendedBootRecord) {
  CDiskImageBuilder image(64 * kMiB);
  image.WriteMbr({MbrSlot{0x07, true, 2048, 20480}, {}, {}, {}}, 0xCAFEF00D);
  std::vector<uint64_t> ebrs;
  image.WriteExtendedPartition(1, 30000, {{0x07, 1000}, {0x83, 2000}, {0x0B, 3000}}, 63, 0x05, &ebrs);
  ASSERT_EQ(ebrs.size(), 3u);
  Layout layout = MustRead(image);
  ASSERT_EQ(layout.Head.PartitionCount, 16u);

  ExpectMbrEntry(layout.Entries[0], 0x07, 2048 * 512, 20480 * 512, 1, 2048, true, true);
  const int64_t extendedLength = 3 * 63 + 1000 + 2000 + 3000;
  ExpectMbrEntry(layout.Entries[1], 0x05, 30000LL * 512, extendedLength * 512, 0, 30000, false, false);
  EXPECT_TRUE(IsAllZero(layout.Entries[2]));
  EXPECT_TRUE(IsAllZero(layout.Entries[3]));

  // First record: the logical partition counts from the record, the link
  // to the next record from the start of the extended partition.
  ExpectMbrEntry(layout.Entries[4], 0x07, int64_t(ebrs[0] + 63) * 512, 1000 * 512, 2, 63, false, true);
  ExpectMbrEntry(layout.Entries[5], 0x05, int64_t(ebrs[1]) * 512, (63 + 2000) * 512, 0,
                 uint32_t(ebrs[1] - 30000), false, false);
  EXPECT_TRUE(IsAllZero(layout.Entries[6]));
  EXPECT_TRUE(IsAllZero(layout.Entries[7]));
  ExpectMbrEntry(layout.Entries[8], 0x83, int64_t(ebrs[1] + 63) * 512, 2000 * 512, 3, 63, false, false);
  ExpectMbrEntry(layout.Entries[12], 0x0B, int64_t(ebrs[2] + 63) * 512, 3000 * 512, 4, 63, false, true);
  EXPECT_TRUE(IsAllZero(layout.Entries[13]));  // the last record links nowhere
}

TEST(MbrLayoutTest, ExtendedPartitionWithLbaContainerTypeIsFollowed) {
  CDiskImageBuilder image(64 * kMiB);
  image.WriteMbr({}, 1);
  image.WriteExtendedPartition(0, 2048, {{0x07, 4096}}, 2048, 0x0F);
  Layout layout = MustRead(image);
  ASSERT_EQ(layout.Head.PartitionCount, 8u);
  EXPECT_EQ(layout.Entries[0].Mbr.PartitionType, 0x0F);
  ExpectMbrEntry(layout.Entries[4], 0x07, 4096LL * 512, 4096 * 512, 1, 2048, false, true);
}

TEST(MbrLayoutTest, EmptyTablesListNoEntriesAndForeignSectorsGiveRaw) {
  CDiskImageBuilder initialized(8 * kMiB);
  initialized.WriteMbr({}, 0x5A5A5A5A);
  Layout empty = MustRead(initialized);
  EXPECT_EQ(empty.Head.PartitionStyle, PARTITION_STYLE_MBR);
  EXPECT_EQ(empty.Head.PartitionCount, 0u);
  EXPECT_EQ(empty.Head.Mbr.Signature, 0x5A5A5A5Au);

  CDiskImageBuilder blank(8 * kMiB);
  Layout layout = MustRead(blank);
  EXPECT_EQ(layout.Head.PartitionStyle, PARTITION_STYLE_RAW);
  EXPECT_EQ(layout.Head.PartitionCount, 0u);

  // A file system boot sector carries 0x55AA, but code where the slots are.
  CDiskImageBuilder bootSector(8 * kMiB);
  bootSector.WriteMbr({MbrSlot{0x07, false, 63, 100}, {}, {}, {}}, 0);
  const uint8_t code = 0x29;
  bootSector.WriteBytes(446 + 16, &code, 1);
  layout = MustRead(bootSector);
  EXPECT_EQ(layout.Head.PartitionStyle, PARTITION_STYLE_RAW);
  EXPECT_EQ(layout.Head.PartitionCount, 0u);

  CDiskImageBuilder tiny(300);
  layout = MustRead(tiny);
  EXPECT_EQ(layout.Head.PartitionStyle, PARTITION_STYLE_RAW);
}

TEST(MbrLayoutTest, ExtendedBootRecordLoopsEndAtTheFirstRevisit) {
  CDiskImageBuilder image(64 * kMiB);
  image.WriteMbr({}, 1);
  std::vector<uint64_t> ebrs;
  image.WriteExtendedPartition(0, 2048, {{0x07, 100}, {0x07, 100}}, 63, 0x05, &ebrs);
  // The second record links back to the first.
  image.WriteMbrSlot(ebrs[1], 1, MbrSlot{0x05, false, 0, 163});
  Layout layout = MustRead(image);
  EXPECT_EQ(layout.Head.PartitionCount, 12u);

  // A record that links to itself.
  image.WriteMbrSlot(ebrs[1], 1, MbrSlot{0x05, false, uint32_t(ebrs[1] - 2048), 163});
  layout = MustRead(image);
  EXPECT_EQ(layout.Head.PartitionCount, 12u);
}

TEST(MbrLayoutTest, LongChainsAreCut) {
  CDiskImageBuilder image(64 * kMiB);
  image.WriteMbr({}, 1);
  image.WriteExtendedPartition(0, 2048, std::vector<LogicalPartition>(300, {0x07, 1}), 1);
  Layout layout = MustRead(image);
  EXPECT_EQ(layout.Head.PartitionCount, 4 + 4 * kMaxExtendedBootRecords);
  EXPECT_EQ(layout.Entries.back().PartitionNumber, 0u);
  EXPECT_EQ(layout.Entries[layout.Entries.size() - 4].PartitionNumber, kMaxExtendedBootRecords);
}

TEST(MbrLayoutTest, ChainEndsAtRecordsOutsideTheDiskOrWithoutSignature) {
  CDiskImageBuilder beyond(8 * kMiB);
  beyond.WriteMbr({MbrSlot{0x07, false, 63, 100}, MbrSlot{0x05, false, 0xFFFFFF00u, 100}, {}, {}}, 1);
  Layout layout = MustRead(beyond);
  EXPECT_EQ(layout.Head.PartitionCount, 4u);

  CDiskImageBuilder unsigned_(8 * kMiB);
  unsigned_.WriteMbr({}, 1);
  std::vector<uint64_t> ebrs;
  unsigned_.WriteExtendedPartition(0, 2048, {{0x07, 100}, {0x07, 100}}, 63, 0x05, &ebrs);
  const uint8_t zero[2] = {0, 0};
  unsigned_.WriteBytes(ebrs[1] * 512 + 510, zero, 2);
  layout = MustRead(unsigned_);
  EXPECT_EQ(layout.Head.PartitionCount, 8u);
}

TEST(MbrLayoutTest, TruncatedImageKeepsWhatItHolds) {
  // The table names partitions past the end: the entries are reported as
  // they stand, the missing boot record ends the chain.
  CDiskImageBuilder image(64 * kMiB);
  image.WriteMbr({MbrSlot{0x07, false, 2048, 120000}, {}, {}, {}}, 7);
  image.WriteExtendedPartition(1, 122048, {{0x07, 1000}});
  CDiskImageBuilder truncated(1 * kMiB);
  std::vector<uint8_t> sector(512);
  image.Read(0, 512, sector.data());
  truncated.WriteBytes(0, sector.data(), sector.size());
  Layout layout = MustRead(truncated);
  ASSERT_EQ(layout.Head.PartitionCount, 4u);
  EXPECT_EQ(layout.Entries[0].PartitionLength, 120000LL * 512);
  EXPECT_EQ(layout.Entries[1].Mbr.PartitionType, 0x05);
}

TEST(MbrLayoutTest, FourKilobyteSectorsScaleEveryOffset) {
  CDiskImageBuilder image(256 * kMiB, 4096);
  image.WriteMbr({MbrSlot{0x07, false, 256, 1000}, {}, {}, {}}, 9);
  image.WriteExtendedPartition(1, 2000, {{0x07, 500}}, 1);
  Layout layout = MustRead(image);
  ASSERT_EQ(layout.Head.PartitionCount, 8u);
  ExpectMbrEntry(layout.Entries[0], 0x07, 256LL * 4096, 1000LL * 4096, 1, 256, false, true);
  ExpectMbrEntry(layout.Entries[4], 0x07, 2001LL * 4096, 500LL * 4096, 2, 1, false, true);
}

// ---------------------------------------------------------------- GPT

const GUID kDiskId = GuidFromText("0f1e2d3c-4b5a-6978-8796-a5b4c3d2e1f0");
const GUID kMetadataId = GuidFromText("11111111-2222-3333-4444-555555555555");
const GUID kDataId = GuidFromText("66666666-7777-8888-9999-aaaaaaaaaaaa");
const GUID kBasicId = GuidFromText("bbbbbbbb-cccc-dddd-eeee-ffffffffffff");

GptOptions DynamicGpt() {
  GptOptions options;
  options.DiskId = kDiskId;
  options.Partitions = {
      {kGptTypeLdmMetadata, kMetadataId, 34, 2081, 0, u"LDM metadata partition", 0},
      {kGptTypeReserved, GuidFromText("01010101-0202-0303-0404-050505050505"), 2082, 34849, 0,
       u"Reserved partition", 1},
      {kGptTypeLdmData, kDataId, 34850, 100000, 0x8000000000000001ull, u"LDM data partition", 5},
  };
  return options;
}

TEST(GptLayoutTest, OneEntryPerUsedSlotWithEveryField) {
  CDiskImageBuilder image(64 * kMiB);
  GptPlacement placement;
  image.WriteGpt(DynamicGpt(), &placement);
  Layout layout = MustRead(image);
  EXPECT_EQ(layout.Head.PartitionStyle, PARTITION_STYLE_GPT);
  EXPECT_TRUE(layout.Head.Gpt.DiskId == kDiskId);
  EXPECT_EQ(placement.FirstUsableLba, 34u);
  EXPECT_EQ(layout.Head.Gpt.StartingUsableOffset, 34 * 512);
  EXPECT_EQ(layout.Head.Gpt.UsableLength, int64_t(placement.LastUsableLba - 34 + 1) * 512);
  EXPECT_EQ(layout.Head.Gpt.MaxPartitionCount, 128u);
  ASSERT_EQ(layout.Head.PartitionCount, 3u);

  const PARTITION_INFORMATION_EX& data = layout.Entries[2];
  EXPECT_EQ(data.PartitionStyle, PARTITION_STYLE_GPT);
  EXPECT_EQ(data.PartitionNumber, 3u);
  EXPECT_EQ(data.StartingOffset, 34850LL * 512);
  EXPECT_EQ(data.PartitionLength, (100000LL - 34850 + 1) * 512);
  EXPECT_TRUE(data.Gpt.PartitionType == kGptTypeLdmData);
  EXPECT_TRUE(data.Gpt.PartitionId == kDataId);
  EXPECT_EQ(data.Gpt.Attributes, 0x8000000000000001ull);
  EXPECT_EQ(std::u16string(data.Gpt.Name), u"LDM data partition");
  EXPECT_TRUE(layout.Entries[0].Gpt.PartitionType == kGptTypeLdmMetadata);
  EXPECT_EQ(layout.Entries[0].PartitionNumber, 1u);
  EXPECT_EQ(layout.Entries[1].PartitionNumber, 2u);
}

TEST(GptLayoutTest, LargerEntriesFewerSlotsAndAFullName) {
  CDiskImageBuilder image(8 * kMiB);
  GptOptions options;
  options.EntryCount = 8;
  options.EntrySize = 256;
  const std::u16string name = u"abcdefghijklmnopqrstuvwxyz0123456789";  // all 36 units, no terminator
  options.Partitions = {{kGptTypeBasicData, kBasicId, 40, 100, 0, name, 7}};
  image.WriteGpt(options);
  Layout layout = MustRead(image);
  EXPECT_EQ(layout.Head.Gpt.MaxPartitionCount, 8u);
  ASSERT_EQ(layout.Head.PartitionCount, 1u);
  EXPECT_EQ(std::u16string(layout.Entries[0].Gpt.Name, 36), name);
}

TEST(GptLayoutTest, DamagedPrimaryFallsBackToTheBackup) {
  CDiskImageBuilder image(64 * kMiB);
  GptOptions backup = DynamicGpt();
  backup.DiskId = GuidFromText("bac0bac0-0000-0000-0000-000000000001");
  image.WriteGpt(backup);
  GptOptions primary = DynamicGpt();
  primary.WriteBackup = false;
  GptPlacement placement;
  image.WriteGpt(primary, &placement);
  EXPECT_TRUE(MustRead(image).Head.Gpt.DiskId == kDiskId);

  image.FlipByte(placement.PrimaryHeaderLba * 512 + 60);  // inside the disk GUID: header CRC fails
  Layout layout = MustRead(image);
  EXPECT_TRUE(layout.Head.Gpt.DiskId == backup.DiskId);
  EXPECT_EQ(layout.Head.PartitionCount, 3u);

  image.FlipByte(placement.BackupHeaderLba * 512 + 60);
  Layout none{};
  EXPECT_EQ(ReadLayout(SourceOf(image), none), ERROR_DISK_CORRUPT_CODE);

  // Without a backup, a bad header CRC alone makes the disk corrupt.
  CDiskImageBuilder lone(8 * kMiB);
  GptOptions options = DynamicGpt();
  options.WriteBackup = false;
  lone.WriteGpt(options);
  lone.WriteLe32(512 + 16, 0xDEADBEEF);
  EXPECT_EQ(ReadLayout(SourceOf(lone), none), ERROR_DISK_CORRUPT_CODE);
}

TEST(GptLayoutTest, DamagedEntryArrayFallsBackToTheBackup) {
  CDiskImageBuilder image(64 * kMiB);
  GptPlacement placement;
  image.WriteGpt(DynamicGpt(), &placement);
  image.FlipByte(placement.PrimaryEntriesLba * 512 + 200);
  EXPECT_EQ(MustRead(image).Head.PartitionCount, 3u);

  image.FlipByte(placement.BackupEntriesLba * 512 + 200);
  Layout none{};
  EXPECT_EQ(ReadLayout(SourceOf(image), none), ERROR_DISK_CORRUPT_CODE);
}

TEST(GptLayoutTest, HostileHeaderFieldsAreRejectedEvenWithAGoodCrc) {
  struct Case {
    const char* what;
    size_t offset;
    uint32_t value;
  };
  const Case cases[] = {
      {"header size beyond the sector", 12, 4096},
      {"header size too small", 12, 91},
      {"entry count beyond the cap", 80, kMaxGptEntryCount + 1},
      {"huge entry count", 80, 0xFFFFFFFFu},
      {"entry size zero", 84, 0},
      {"entry size not a multiple of 128", 84, 130},
      {"entry array beyond the disk", 72, 0xFFFFFF00u},
      {"last usable sector beyond the disk", 48, 0xFFFFFFF0u},
      {"header names another sector", 24, 7},
  };
  auto build = [](CDiskImageBuilder& image) {
    GptOptions options = DynamicGpt();
    options.WriteBackup = false;
    options.Partitions.resize(1);
    image.WriteGpt(options);
  };
  {
    // The patching itself keeps a header valid.
    CDiskImageBuilder image(8 * kMiB);
    build(image);
    PatchGptHeader(image, 1, 8, 0x00010000);
    EXPECT_EQ(MustRead(image).Head.PartitionCount, 1u);
  }
  for (const Case& c : cases) {
    CDiskImageBuilder image(8 * kMiB);
    build(image);
    PatchGptHeader(image, 1, c.offset, c.value);
    Layout none{};
    EXPECT_EQ(ReadLayout(SourceOf(image), none), ERROR_DISK_CORRUPT_CODE) << c.what;
  }
}

TEST(GptLayoutTest, EntriesOutsideTheDiskOrReversedAreLeftOut) {
  CDiskImageBuilder image(8 * kMiB);
  GptOptions options;
  options.Partitions = {
      {kGptTypeBasicData, kBasicId, 40, 100, 0, u"good", -1},
      {kGptTypeBasicData, kBasicId, 200, 100, 0, u"reversed", -1},
      {kGptTypeBasicData, kBasicId, 300, 0xFFFFFFFFFFFFull, 0, u"beyond", -1},
      {kGptTypeBasicData, kBasicId, 0xFFFFFFFFFFFFFFF0ull, 0xFFFFFFFFFFFFFFFFull, 0, u"overflow", -1},
      {kGptTypeBasicData, kBasicId, 400, 500, 0, u"also good", -1},
  };
  image.WriteGpt(options);
  Layout layout = MustRead(image);
  ASSERT_EQ(layout.Head.PartitionCount, 2u);
  EXPECT_EQ(std::u16string(layout.Entries[1].Gpt.Name), u"also good");
  EXPECT_EQ(layout.Entries[1].PartitionNumber, 2u);
}

TEST(GptLayoutTest, TruncatedImageIsCorrupt) {
  CDiskImageBuilder image(64 * kMiB);
  image.WriteGpt(DynamicGpt());
  PartitionTableSource source = SourceOf(image);
  source.DiskSize = 4 * kMiB;  // the primary header names sectors beyond, the backup is gone
  Layout none{};
  EXPECT_EQ(ReadLayout(source, none), ERROR_DISK_CORRUPT_CODE);
}

TEST(GptLayoutTest, FourKilobyteSectors) {
  CDiskImageBuilder image(256 * kMiB, 4096);
  GptOptions options;
  options.DiskId = kDiskId;
  options.Partitions = {{kGptTypeBasicData, kBasicId, 256, 1279, 0, u"data", -1}};
  GptPlacement placement;
  image.WriteGpt(options, &placement);
  EXPECT_EQ(placement.FirstUsableLba, 6u);  // 128 entries of 128 bytes fill four sectors
  Layout layout = MustRead(image);
  EXPECT_EQ(layout.Head.Gpt.StartingUsableOffset, 6 * 4096);
  ASSERT_EQ(layout.Head.PartitionCount, 1u);
  EXPECT_EQ(layout.Entries[0].StartingOffset, 256LL * 4096);
  EXPECT_EQ(layout.Entries[0].PartitionLength, 1024LL * 4096);
}

// ---------------------------------------------------------------- whole disk, failures, copying

TEST(WholeDiskInfoTest, StyleOffsetAndLength) {
  struct Case {
    const char* what;
    void (*build)(CDiskImageBuilder&);
    uint32_t style;
  };
  const Case cases[] = {
      {"blank", [](CDiskImageBuilder&) {}, PARTITION_STYLE_RAW},
      {"mbr", [](CDiskImageBuilder& b) { b.WriteMbr({MbrSlot{0x07, false, 63, 100}, {}, {}, {}}, 1); },
       PARTITION_STYLE_MBR},
      {"empty mbr", [](CDiskImageBuilder& b) { b.WriteMbr({}, 1); }, PARTITION_STYLE_MBR},
      {"gpt", [](CDiskImageBuilder& b) { b.WriteGpt(GptOptions{}); }, PARTITION_STYLE_GPT},
  };
  for (const Case& c : cases) {
    CDiskImageBuilder image(8 * kMiB);
    c.build(image);
    PARTITION_INFORMATION_EX info;
    std::memset(&info, 0xCC, sizeof info);
    ASSERT_EQ(ReadWholeDiskPartitionInfo(SourceOf(image), info), 0u) << c.what;
    EXPECT_EQ(info.PartitionStyle, c.style) << c.what;
    EXPECT_EQ(info.StartingOffset, 0) << c.what;
    EXPECT_EQ(info.PartitionLength, int64_t(8 * kMiB)) << c.what;
    EXPECT_EQ(info.PartitionNumber, 0u) << c.what;
  }
}

TEST(PartitionTableFailureTest, ReadFailuresAndBadSizesAreReported) {
  PartitionTableSource failing{[](int64_t, uint32_t, void*) { return STATUS_ACCESS_DENIED_CODE; }, 512, 1 << 20};
  std::vector<uint8_t> bytes;
  PARTITION_INFORMATION_EX info;
  EXPECT_EQ(ReadDriveLayout(failing, bytes), ERROR_ACCESS_DENIED_CODE);
  EXPECT_TRUE(bytes.empty());
  EXPECT_EQ(ReadWholeDiskPartitionInfo(failing, info), ERROR_ACCESS_DENIED_CODE);

  failing.Read = [](int64_t, uint32_t, void*) { return STATUS_IO_DEVICE_ERROR_CODE; };
  EXPECT_EQ(ReadDriveLayout(failing, bytes), ERROR_GEN_FAILURE_CODE);

  CDiskImageBuilder image(1 << 20);
  for (uint32_t sectorSize : {0u, 256u, 1000u, 1u << 20}) {
    PartitionTableSource source = SourceOf(image);
    source.BytesPerSector = sectorSize;
    EXPECT_EQ(ReadDriveLayout(source, bytes), ERROR_INVALID_PARAMETER_CODE) << sectorSize;
  }
}

TEST(PartitionTableFailureTest, FailedExtendedBootRecordReadFailsTheLayout) {
  CDiskImageBuilder image(8 * kMiB);
  image.WriteMbr({}, 1);
  image.WriteExtendedPartition(0, 2048, {{0x07, 100}});
  PartitionTableSource source = SourceOf(image);
  source.Read = [&image](int64_t offset, uint32_t length, void* buffer) {
    return offset == 0 ? image.Read(offset, length, buffer) : STATUS_IO_DEVICE_ERROR_CODE;
  };
  std::vector<uint8_t> bytes;
  EXPECT_EQ(ReadDriveLayout(source, bytes), ERROR_GEN_FAILURE_CODE);
}

TEST(CopyDriveLayoutTest, BufferMustHoldHeadAndEveryEntry) {
  CDiskImageBuilder image(64 * kMiB);
  image.WriteMbr({MbrSlot{0x07, false, 63, 100}, {}, {}, {}}, 1);
  image.WriteExtendedPartition(1, 2048, {{0x07, 100}});
  std::vector<uint8_t> layout;
  ASSERT_EQ(ReadDriveLayout(SourceOf(image), layout), 0u);
  ASSERT_EQ(layout.size(), 48u + 144u * 8);

  std::vector<uint8_t> buffer(2000, 0xEE);
  EXPECT_EQ(CopyDriveLayout(layout, buffer.data(), 624), ERROR_INSUFFICIENT_BUFFER_CODE);
  EXPECT_EQ(CopyDriveLayout(layout, buffer.data(), uint32_t(layout.size() - 1)), ERROR_INSUFFICIENT_BUFFER_CODE);
  EXPECT_EQ(buffer[0], 0xEE);
  EXPECT_EQ(CopyDriveLayout(layout, nullptr, 2000), ERROR_INSUFFICIENT_BUFFER_CODE);
  ASSERT_EQ(CopyDriveLayout(layout, buffer.data(), uint32_t(layout.size())), 0u);
  EXPECT_TRUE(std::equal(layout.begin(), layout.end(), buffer.begin()));
  EXPECT_EQ(buffer[layout.size()], 0xEE);

  std::vector<uint8_t> raw;
  ASSERT_EQ(ReadDriveLayout(SourceOf(CDiskImageBuilder(1 << 20)), raw), 0u);
  EXPECT_EQ(CopyDriveLayout(raw, buffer.data(), 48), 0u);
}

// Mutated tables must never fault, whatever they claim; the layout must
// always be consistent with its own count.
TEST(PartitionTableRobustnessTest, MutatedTablesStayWithinBounds) {
  std::mt19937 random(12345);
  for (int round = 0; round < 400; ++round) {
    CDiskImageBuilder image(4 * kMiB, round % 4 == 0 ? 4096 : 512);
    const uint64_t sector = image.BytesPerSector();
    std::vector<uint64_t> hot;
    if (round % 2 == 0) {
      image.WriteMbr({MbrSlot{0x07, true, 8, 100}, {}, {}, {}}, 1);
      std::vector<uint64_t> ebrs;
      image.WriteExtendedPartition(1, 200, {{0x07, 10}, {0x83, 10}, {0x07, 10}}, 2, 0x05, &ebrs);
      hot = {0};
      hot.insert(hot.end(), ebrs.begin(), ebrs.end());
    } else {
      GptOptions options;
      options.Partitions = {{kGptTypeBasicData, kBasicId, 40, 100, 0, u"x", -1}};
      image.WriteGpt(options);
      hot = {1, 2};
    }
    for (int flips = 0; flips < 6; ++flips) {
      const uint64_t lba = hot[random() % hot.size()];
      const uint64_t offset = lba * sector + (lba == 1 ? random() % 92 : 440 + random() % 72);
      const uint8_t value = static_cast<uint8_t>(random());
      image.WriteBytes(offset, &value, 1);
    }
    if (round % 2 == 1 && round % 3 != 0) PatchGptHeader(image, 1, 8, 0x00010000);  // reseal the CRC
    Layout layout{};
    const WIN32_ERROR error = ReadLayout(SourceOf(image), layout);
    EXPECT_TRUE(error == 0 || error == ERROR_DISK_CORRUPT_CODE) << round;
    for (const PARTITION_INFORMATION_EX& e : layout.Entries) {
      EXPECT_GE(e.StartingOffset, 0);
      EXPECT_GE(e.PartitionLength, 0);
      if (layout.Head.PartitionStyle == PARTITION_STYLE_GPT) {
        EXPECT_LE(e.StartingOffset + e.PartitionLength, int64_t(4 * kMiB));
      }
    }
  }
}

TEST(Crc32Test, MatchesTheStandardCheckValue) {
  EXPECT_EQ(Crc32("123456789", 9), 0xCBF43926u);
  EXPECT_EQ(Crc32("", 0), 0u);
}

}  // namespace
}  // namespace kestrand
