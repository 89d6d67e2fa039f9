#include "fuzz_pack.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "disk/disk.h"
#include "driver/kestrand.h"
#include "support/disk_image_builder.h"
#include "support/image_platform.h"
#include "support/ldm_builder.h"

namespace kestrand::fuzz {

namespace {

using namespace kestrand::test;

constexpr uint64_t kMbrDiskBytes = 2 * 0x100000;
constexpr uint64_t kGptDiskBytes = 3 * 0x100000;
constexpr uint64_t kMbrHeaderCopy = 6 * kSector;  // the copy near the start of an MBR disk

const char* const kDiskIds[kMaxDisks] = {
    "d17c2c04-6afc-46c3-84b7-cdc2f3956c50", "d17c2c04-6afc-46c3-84b7-cdc2f3956c51",
    "d17c2c04-6afc-46c3-84b7-cdc2f3956c52", "d17c2c04-6afc-46c3-84b7-cdc2f3956c53"};

// The records every disk's config area holds: the pack, four disks, and a
// volume mirrored over two plexes, one striped over disks 1 and 2, one
// spanned over disks 3 and 4 (records reference each other across disks).
// Few records on purpose: every input loads and reports them on up to four
// disks, and edits make the other shapes (a simple volume, a lone plex).
std::vector<uint8_t> PackConfig() {
  ConfigAreaBuilder config(kConfigBlocks);
  config.Header.Status = 1;
  uint32_t group = 1;
  config.AddRecord(group++, BuildPackRecord(PackFields{}));
  for (uint64_t i = 0; i < kMaxDisks; ++i) {
    DiskFields disk;
    disk.RecordId = 0x403 + i * 2;
    disk.Name = "Disk" + std::to_string(i + 1);
    disk.DiskIdText = kDiskIds[i];
    config.AddRecord(group++, BuildDiskRecord(disk));
  }
  uint64_t nextId = 0x420;
  // Each plex: its layout (1 striped, 2 concatenated) and its disks.
  auto addVolume = [&](const char* name, std::vector<std::pair<uint8_t, std::vector<uint64_t>>> plexes) {
    VolumeFields volume;
    volume.RecordId = nextId++;
    volume.Name = name;
    volume.NumPlexes = static_cast<uint32_t>(plexes.size());
    volume.Length = 2048;
    volume.MountName = u"";
    volume.Flags = 0;
    config.AddRecord(group++, BuildVolumeRecord(volume));
    int plexNumber = 1;
    for (const auto& [layout, disks] : plexes) {
      PlexFields plex;
      plex.RecordId = nextId++;
      plex.Name = std::string(name) + "-0" + std::to_string(plexNumber++);
      plex.VolumeRecordId = volume.RecordId;
      plex.Layout = layout;
      plex.SubdiskCount = static_cast<uint32_t>(disks.size());
      if (layout == 1) plex.Flags = 0x1000, plex.ColumnCount = static_cast<uint32_t>(disks.size());
      config.AddRecord(group++, BuildPlexRecord(plex));
      int64_t plexOffset = 0;
      for (uint64_t disk : disks) {
        SubdiskFields subdisk;
        subdisk.RecordId = nextId++;
        subdisk.Name = "Disk" + std::to_string(disk + 1) + "-" + std::to_string(subdisk.RecordId);
        subdisk.PlexRecordId = plex.RecordId;
        subdisk.DiskRecordId = 0x403 + disk * 2;
        subdisk.Length = 2048 / static_cast<int64_t>(disks.size());
        subdisk.DiskOffset = 4096 * disk;
        subdisk.PlexOffset = static_cast<uint64_t>(plexOffset);
        plexOffset += subdisk.Length;
        config.AddRecord(group++, BuildSubdiskRecord(subdisk));
      }
    }
  };
  addVolume("Volume1", {{1, {0, 1}}, {2, {2, 3}}});
  if (config.NextFreeBlock() >= kConfigBlocks) std::abort();  // the records no longer fit
  return config.Build();
}

void Place(std::vector<uint8_t>& image, uint64_t offset, const std::vector<uint8_t>& bytes) {
  for (size_t i = 0; i < bytes.size() && offset + i < image.size(); ++i) image[offset + i] = bytes[i];
}

// The builder wrote only the partition tables: the first and last 64 KiB
// (it looks up every byte, so the whole disk would take seconds).
std::vector<uint8_t> Copy(const CDiskImageBuilder& builder) {
  constexpr uint32_t kEnds = 0x10000;
  std::vector<uint8_t> bytes(builder.DiskSize());
  builder.Read(0, kEnds, bytes.data());
  builder.Read(static_cast<int64_t>(bytes.size() - kEnds), kEnds, bytes.data() + bytes.size() - kEnds);
  return bytes;
}

std::vector<uint8_t> BuildDisk(size_t index, bool gpt, const std::vector<uint8_t>& config) {
  PrivateHeaderFields header;
  header.DiskIdText = kDiskIds[index];
  header.TocPrimarySector = 2;
  header.TocAlternateSector = 2045;
  header.PublicOffset = gpt ? 34 : 63;
  header.PublicLength = kAreaOffset / kSector - header.PublicOffset;
  header.PrivateOffset = kAreaOffset / kSector;
  header.PrivateLength = kAreaBytes / kSector;
  header.ConfigCopyLength = kConfigBytes / kSector;
  TocBlockFields toc;
  toc.First.ExtentLength = kConfigBytes / kSector;
  toc.Second.ExtentOffset = toc.First.ExtentOffset + toc.First.ExtentLength;

  std::vector<uint8_t> image;
  if (gpt) {
    CDiskImageBuilder builder(kGptDiskBytes);
    GptOptions options;
    options.DiskId = GuidFromText(kDiskIds[index]);
    options.EntryCount = 16;
    const uint64_t areaFirst = kAreaOffset / kSector;
    options.Partitions.push_back(GptPartition{kGptTypeReserved, {}, 34, 2047, 0, u"reserved", -1});
    options.Partitions.push_back(
        GptPartition{kGptTypeLdmMetadata, {}, areaFirst, areaFirst + kAreaBytes / kSector - 1, 0, u"LDM metadata", -1});
    options.Partitions.push_back(
        GptPartition{kGptTypeLdmData, {}, areaFirst + kAreaBytes / kSector, kGptDiskBytes / kSector - 40, 0, u"LDM data", -1});
    builder.WriteGpt(options);
    image = Copy(builder);
  } else {
    CDiskImageBuilder builder(kMbrDiskBytes);
    builder.WriteMbr({MbrSlot{0x42, false, 63, static_cast<uint32_t>(kMbrDiskBytes / kSector - 63)}, MbrSlot{},
                      MbrSlot{}, MbrSlot{}},
                     0x1000 + static_cast<uint32_t>(index));
    image = Copy(builder);
    Place(image, kMbrHeaderCopy, BuildPrivateHeader(header, kSector));
  }
  const std::vector<uint8_t> headerBytes = BuildPrivateHeader(header, kSector);
  for (uint64_t offset : kHeaderOffsets) Place(image, kAreaOffset + offset, headerBytes);
  const std::vector<uint8_t> tocBytes = BuildTocBlock(toc, kSector);
  Place(image, kAreaOffset + kPrimaryTocOffset, tocBytes);
  Place(image, kAreaOffset + kAlternateTocOffset, tocBytes);
  Place(image, kAreaOffset + kConfigOffset, config);
  return image;
}

uint32_t Le(const uint8_t*& cursor, const uint8_t* end, int bytes) {
  uint32_t value = 0;
  for (int i = 0; i < bytes && cursor < end; ++i) value |= uint32_t{*cursor++} << (8 * i);
  return value;
}

}  // namespace

const std::vector<std::vector<uint8_t>>& PackImages() {
  static const std::vector<std::vector<uint8_t>> images = [] {
    const std::vector<uint8_t> config = PackConfig();
    std::vector<std::vector<uint8_t>> built;
    for (size_t i = 0; i < kMaxDisks; ++i) {
      built.push_back(BuildDisk(i, false, config));
      built.push_back(BuildDisk(i, true, config));
    }
    return built;
  }();
  return images;
}

CEditedPack::CEditedPack() : work_(PackImages()) {}

std::vector<uint8_t> CEditedPack::SeedHeader(size_t disks, unsigned gptMask) {
  return {static_cast<uint8_t>(((disks - 1) & 3) | ((gptMask & 0xF) << 2))};
}

void CEditedPack::Write(size_t disk, uint64_t offset, const uint8_t* bytes, size_t length) {
  std::vector<uint8_t>& image = work_[Index(disk)];
  if (offset >= image.size()) return;
  length = std::min<uint64_t>(length, image.size() - offset);
  dirty_.push_back(Dirty{Index(disk), offset, length});
  std::memcpy(image.data() + offset, bytes, length);
}

void CEditedPack::FixChecksums(size_t disk) {
  std::vector<uint8_t>& image = work_[Index(disk)];
  for (uint64_t offset : kHeaderOffsets) {
    uint8_t* sector = image.data() + kAreaOffset + offset;
    const uint32_t checksum = PrivateHeaderChecksum(std::vector<uint8_t>(sector, sector + kSector));
    const uint8_t bytes[4] = {static_cast<uint8_t>(checksum >> 24), static_cast<uint8_t>(checksum >> 16),
                              static_cast<uint8_t>(checksum >> 8), static_cast<uint8_t>(checksum)};
    Write(disk, kAreaOffset + offset + 8, bytes, sizeof bytes);
  }
}

void CEditedPack::Apply(const uint8_t* data, size_t size) {
  const uint8_t* cursor = data;
  const uint8_t* end = data + size;
  const uint8_t first = size > 0 ? *cursor++ : 0;
  count_ = 1 + (first & 3);
  gptMask_ = (first >> 2) & 0xF;
  while (cursor < end) {
    const uint8_t op = *cursor++;
    const auto disk = [&] { return Le(cursor, end, 1) % count_; };
    switch (op % 4) {
      case 0:
      case 1:
      case 3: {
        const size_t target = disk();
        const uint64_t offset = Le(cursor, end, op % 4 == 0 ? 2 : 4);
        const size_t length = Le(cursor, end, 1) % 32 + 1;
        if (static_cast<size_t>(end - cursor) < length) return;
        const uint64_t where = op % 4 == 0   ? kAreaOffset + kConfigOffset + offset % kConfigBytes
                               : op % 4 == 1 ? kAreaOffset + offset % kAreaBytes
                                             : offset % work_[Index(target)].size();
        Write(target, where, cursor, length);
        cursor += length;
        if (op % 4 == 1) FixChecksums(target);
        break;
      }
      default: {
        const size_t from = disk();
        const uint64_t fromBlock = Le(cursor, end, 1) % kConfigBlocks;
        const size_t to = disk();
        const uint64_t toBlock = Le(cursor, end, 1) % kConfigBlocks;
        if (cursor > end) return;
        const uint8_t* block = work_[Index(from)].data() + kAreaOffset + kConfigOffset + fromBlock * kBlockSize;
        uint8_t copy[kBlockSize];
        std::memcpy(copy, block, kBlockSize);
        Write(to, kAreaOffset + kConfigOffset + toBlock * kBlockSize, copy, kBlockSize);
        break;
      }
    }
  }
}

void CEditedPack::Restore() {
  const std::vector<std::vector<uint8_t>>& base = PackImages();
  for (auto it = dirty_.rbegin(); it != dirty_.rend(); ++it)
    std::memcpy(work_[it->Image].data() + it->Offset, base[it->Image].data() + it->Offset, it->Length);
  dirty_.clear();
}

const char* NullDevice() {
#ifdef _WIN32
  return "NUL";
#else
  return "/dev/null";
#endif
}

void RunWholeTool(const CEditedPack& pack) {
  static FILE* sink = std::fopen(NullDevice(), "w");
  // Made once; its disk list is set again for every input.
  static CImagePlatform platform;
  platform.Disks.clear();
  for (size_t i = 0; i < pack.Count(); ++i)
    platform.AddMemoryImage("disk" + std::to_string(i), pack.Disk(i).data(), pack.Disk(i).size(),
                            static_cast<uint32_t>(i));
  InstallPlatform(&platform);
  {
    CKestrand kestrand;
    kestrand.EnumerateDisks();
    kestrand.PrintDisks(sink);
    kestrand.PrintDynamicDiskInformation(sink);
    kestrand.WriteAnalysis(NullDevice());
    for (CPtrListIterator<CDisk> it(kestrand.Disks); !it.AtEnd(); it.Advance())
      if (it.Current()->DiskNumberKnown()) it.Current()->Reset();
  }
  InstallPlatform(nullptr);
}

}  // namespace kestrand::fuzz
