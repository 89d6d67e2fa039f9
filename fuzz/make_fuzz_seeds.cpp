// Writes the seeds of the committed fuzz corpora, made by the builders (no
// bytes cut from real disks), one folder per target under the folder given:
//   make_fuzz_seeds fuzz/corpus
// Inputs that once made a finding live beside them as finding-* files and
// are never regenerated.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "fuzz_pack.h"
#include "support/disk_image_builder.h"

namespace {

using namespace kestrand;
using namespace kestrand::fuzz;
using Bytes = std::vector<uint8_t>;

std::filesystem::path root;

void Seed(const char* target, const std::string& name, const Bytes& bytes) {
  const std::filesystem::path folder = root / target;
  std::filesystem::create_directories(folder);
  std::ofstream((folder / ("seed-" + name)).string(), std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes Slice(const uint8_t* from, size_t length) { return Bytes(from, from + length); }

Bytes Image(const CDiskImageBuilder& builder, uint8_t sectorByte) {
  Bytes bytes(builder.DiskSize() + 1);
  bytes[0] = sectorByte;
  builder.Read(0, static_cast<uint32_t>(builder.DiskSize()), bytes.data() + 1);
  return bytes;
}

void PartitionSeeds() {
  {  // MBR: a primary partition, an extended partition with three logical ones
    CDiskImageBuilder disk(32 * 1024);
    disk.WriteMbr({MbrSlot{0x07, true, 1, 20}, MbrSlot{}, MbrSlot{}, MbrSlot{}}, 0x12345678);
    disk.WriteExtendedPartition(1, 24, {{0x07, 8}, {0x0B, 8}, {0x42, 8}}, 2);
    Seed("fuzz_partition_table", "mbr-extended-512", Image(disk, 0));
  }
  {  // a dynamic MBR disk, 4,096-byte sectors
    CDiskImageBuilder disk(16 * 1024, 4096);
    disk.WriteMbr({MbrSlot{0x42, false, 1, 3}, MbrSlot{}, MbrSlot{}, MbrSlot{}}, 0x0BADF00D);
    Seed("fuzz_partition_table", "mbr-dynamic-4096", Image(disk, 1));
  }
  for (uint32_t sector : {512u, 4096u}) {  // GPT with basic and LDM partitions
    const uint64_t size = sector == 512 ? 40 * 1024 : 56 * 1024;
    CDiskImageBuilder disk(size, sector);
    GptOptions options;
    options.DiskId = GuidFromText("11111111-2222-3333-4444-555555555555");
    options.EntryCount = 16;
    const uint64_t last = size / sector - 1;
    const uint64_t first = sector == 512 ? 6 : 3;
    const uint64_t lastUsable = last - (sector == 512 ? 5 : 2);
    options.Partitions.push_back(GptPartition{kGptTypeBasicData, {}, first, first + 3, 0, u"data", -1});
    options.Partitions.push_back(GptPartition{kGptTypeLdmMetadata, {}, first + 4, first + 5, 0, u"meta", -1});
    options.Partitions.push_back(GptPartition{kGptTypeLdmData, {}, first + 6, lastUsable, 0, u"ldm", 5});
    disk.WriteGpt(options);
    Seed("fuzz_partition_table", "gpt-" + std::to_string(sector), Image(disk, sector == 4096 ? 1 : 0));
  }
}

// Edit lists over the built pack: no edit, one disk or all four, MBR and
// GPT; a block of one disk copied over another's; a changed record byte; a
// private header field changed with its checksum fixed.
void EditSeeds(const char* target) {
  Seed(target, "one-mbr", CEditedPack::SeedHeader(1, 0));
  Seed(target, "one-gpt", CEditedPack::SeedHeader(1, 1));
  Seed(target, "four-mixed", CEditedPack::SeedHeader(4, 0x5));
  Bytes copy = CEditedPack::SeedHeader(2, 0);
  copy.insert(copy.end(), {2, 0, 9, 1, 6});
  Seed(target, "block-across-disks", copy);
  Bytes record = CEditedPack::SeedHeader(4, 0);
  record.insert(record.end(), {0, 0, 0x2A, 0x02, 1, 0x55, 0xAA});
  Seed(target, "record-bytes", record);
  Bytes header = CEditedPack::SeedHeader(1, 0);
  header.insert(header.end(), {1, 0, 0x00, 0xFE, 0x0F, 0x00, 0, 0x33});
  Seed(target, "private-header-field", header);
}

void DatabaseSeeds() {
  CEditedPack pack;
  pack.Apply(CEditedPack::SeedHeader(1, 0).data(), 1);
  const uint8_t* area = pack.Area(0);
  Seed("fuzz_private_header", "built", Slice(area + kHeaderOffsets[0], kSector));
  Seed("fuzz_toc", "built", Slice(area + kPrimaryTocOffset, kSector));
  Seed("fuzz_config_area", "built", Slice(area + kConfigOffset, kConfigBytes));
  Bytes bare{1};
  bare.insert(bare.end(), area + kConfigOffset + 512, area + kConfigOffset + kConfigBytes);
  Seed("fuzz_config_area", "bare-blocks", bare);
  // A saved database file cut to its last 64 KiB: the headers and the
  // primary table are there, the config area is not.
  Seed("fuzz_ldm_file", "tail", Slice(area + kAreaBytes - 0x10000, 0x10000));
  Seed("fuzz_ldm_file", "short", Slice(area + kAreaBytes - kSector, kSector));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_fuzz_seeds CORPUS_FOLDER\n");
    return 2;
  }
  root = argv[1];
  PartitionSeeds();
  EditSeeds("fuzz_whole_run");
  EditSeeds("fuzz_ldm_edits");
  DatabaseSeeds();
  return 0;
}
