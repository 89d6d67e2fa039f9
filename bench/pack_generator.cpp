#include "pack_generator.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/disk_image_builder.h"
#include "support/ldm_builder.h"
#include "support/ldm_builder.h"

namespace kestrand::bench {

namespace {

constexpr uint64_t kSectorBytes = 512;
constexpr uint64_t kAreaSectors = 2048;
constexpr uint64_t kPublicStart = 63;
constexpr uint64_t kSubdiskSectors = 2048;  // every subdisk is 1 MiB
constexpr uint32_t kHeaderBlocks = 4;       // the 512-byte VMDB header
constexpr uint32_t kFirstRecordId = 0x401;

GUID MakeGuid(uint32_t data1, uint16_t data2, uint32_t serial) {
  GUID guid{};
  guid.Data1 = data1;
  guid.Data2 = data2;
  guid.Data3 = 0x4000;
  guid.Data4[0] = 0x80;
  for (int i = 0; i < 4; ++i) guid.Data4[4 + i] = static_cast<uint8_t>(serial >> (24 - 8 * i));
  return guid;
}

std::string Numbered(const char* format, unsigned a, unsigned b = 0) {
  char text[64];
  std::snprintf(text, sizeof text, format, a, b);
  return text;
}

// Fills the config database block by block: every record gets its own group
// number and consecutive blocks.
class ConfigFiller {
 public:
  explicit ConfigFiller(uint32_t numBlocks) : area_(numBlocks) {}

  static uint32_t BlocksOf(const std::vector<test::LdmRecordImage>& records) {
    uint32_t blocks = 0;
    for (const auto& record : records) blocks += test::FragmentCountFor(static_cast<uint32_t>(record.Data.size()));
    return blocks;
  }

  bool Fits(const std::vector<test::LdmRecordImage>& records) const {
    return static_cast<uint64_t>(next_) + BlocksOf(records) <= area_.Header.NumBlocks;
  }

  void Place(const std::vector<test::LdmRecordImage>& records) {
    for (const auto& record : records) {
      const auto fragments = test::SplitRecord(record);
      const uint16_t count = test::FragmentCountFor(static_cast<uint32_t>(record.Data.size()));
      for (size_t k = 0; k < fragments.size(); ++k)
        area_.PutFragment(next_++, group_, static_cast<uint16_t>(k), count, fragments[k]);
      ++group_;
    }
  }

  uint32_t UsedBlocks() const { return next_; }
  test::ConfigAreaBuilder& Area() { return area_; }

 private:
  test::ConfigAreaBuilder area_;
  uint32_t next_ = kHeaderBlocks;
  uint32_t group_ = 1;
};

struct DiskPlan {
  uint64_t RecordId = 0;
  std::string Name;
  GUID DiskId{};
  uint64_t NextOffset = 0;  // sectors from the start of the public region
  uint32_t SubdiskCount = 0;
};

// The records of volume number `index` (from 0) in the repeating cycle of
// simple, spanned, mirrored and striped volumes, starting on disk index % N.
std::vector<test::LdmRecordImage> VolumeRecords(uint32_t index, std::vector<DiskPlan>& disks, uint64_t& nextId,
                                                std::string& kind, uint32_t& plexCount, uint32_t& subdiskCount) {
  const uint32_t diskCount = static_cast<uint32_t>(disks.size());
  const uint32_t first = index % diskCount;
  // Disks of each plex, by kind.
  std::vector<std::vector<uint32_t>> plexDisks;
  uint8_t layout = 2;
  switch (index % 4) {
    case 0: kind = "simple"; plexDisks = {{first}}; break;
    case 1: kind = "spanned"; plexDisks = {{first, (first + 1) % diskCount}}; break;
    case 2: kind = "mirrored"; plexDisks = {{first}, {(first + 1) % diskCount}}; break;
    default: {
      kind = "striped";
      layout = 1;
      std::vector<uint32_t> columns;
      for (uint32_t c = 0; c < std::min<uint32_t>(3, diskCount); ++c) columns.push_back((first + c) % diskCount);
      plexDisks = {columns};
      break;
    }
  }

  test::VolumeFields volume;
  volume.RecordId = nextId++;
  volume.Name = Numbered("Volume%u", index + 1);
  volume.Flags = 0;
  if (index < 23) {  // drive letters D: to Z: for the first volumes, as a host would have them
    volume.Flags = 0x0200;
    volume.MountName = std::u16string(1, static_cast<char16_t>(u'D' + index)) + u":";
  }
  volume.Minor = 1 + index % 255;  // one byte, as the peer reader expects
  volume.NumPlexes = static_cast<uint32_t>(plexDisks.size());
  volume.VolumeGuid = MakeGuid(0x5f0e0000 + index, 0x7001, index);
  const uint64_t plexLength = kSubdiskSectors * (kind == "mirrored" ? 1 : plexDisks[0].size());
  volume.Length = static_cast<int64_t>(plexLength);

  std::vector<test::LdmRecordImage> records;
  std::vector<test::LdmRecordImage> subdisks;
  std::vector<test::LdmRecordImage> plexes;
  for (size_t p = 0; p < plexDisks.size(); ++p) {
    test::PlexFields plex;
    plex.RecordId = nextId++;
    plex.Name = Numbered("Volume%u-%02u", index + 1, static_cast<unsigned>(p + 1));
    plex.Layout = layout;
    plex.SubdiskCount = static_cast<uint32_t>(plexDisks[p].size());
    plex.VolumeRecordId = volume.RecordId;
    if (layout == 1) {
      plex.Flags = 0x1000;
      plex.StripeWidth = 128;
      plex.ColumnCount = plex.SubdiskCount;
    }
    plexes.push_back(test::BuildPlexRecord(plex));
    uint64_t plexOffset = 0;
    for (size_t c = 0; c < plexDisks[p].size(); ++c) {
      DiskPlan& disk = disks[plexDisks[p][c]];
      test::SubdiskFields subdisk;
      subdisk.RecordId = nextId++;
      subdisk.Name = disk.Name + Numbered("-%02u", ++disk.SubdiskCount);
      subdisk.DiskOffset = disk.NextOffset;
      subdisk.Length = static_cast<int64_t>(kSubdiskSectors);
      subdisk.PlexRecordId = plex.RecordId;
      subdisk.DiskRecordId = disk.RecordId;
      if (layout == 1) {
        subdisk.Flags = 0x0800;
        subdisk.ColumnNumber = static_cast<uint32_t>(c);
      } else {
        subdisk.PlexOffset = plexOffset;
        plexOffset += kSubdiskSectors;
      }
      disk.NextOffset += kSubdiskSectors;
      subdisks.push_back(test::BuildSubdiskRecord(subdisk));
    }
  }
  records.push_back(test::BuildVolumeRecord(volume));
  records.insert(records.end(), plexes.begin(), plexes.end());
  records.insert(records.end(), subdisks.begin(), subdisks.end());
  plexCount = static_cast<uint32_t>(plexes.size());
  subdiskCount = static_cast<uint32_t>(subdisks.size());
  return records;
}

std::string WriteFacts(const std::string& path, const PackFacts& facts) {
  std::ofstream out(path);
  out << "disks " << facts.Disks << "\nnum_blocks " << facts.NumBlocks << "\nused_blocks " << facts.UsedBlocks
      << "\nvolumes " << facts.Volumes << "\nplexes " << facts.Plexes << "\nsubdisks " << facts.Subdisks
      << "\nrecords " << facts.Records << "\npack_guid " << facts.PackGuid << "\npack_name " << facts.PackName
      << "\n";
  for (const auto& image : facts.ImagePaths) out << "image " << image << "\n";
  for (size_t i = 0; i < facts.VolumeNames.size(); ++i)
    out << "volume " << facts.VolumeNames[i] << " " << facts.VolumeKinds[i] << "\n";
  return out ? "" : "cannot write " + path;
}

}  // namespace

std::string WritePack(const PackRequest& request, const std::string& directory, PackFacts& facts) {
  if (request.Disks < 1 || request.Disks > 64) return "the number of disks must be 1 to 64";
  if (request.NumBlocks < kHeaderBlocks || request.NumBlocks > kLargestConfigBlocks)
    return "the number of blocks must be 4 to " + std::to_string(kLargestConfigBlocks);
  const uint64_t sectors = request.DiskBytes / kSectorBytes;
  if (sectors < 1u << 20 || sectors > 0xFFFFFFFFu) return "the disk size must be 512 MiB to 2 TiB";
  std::error_code ec;
  std::filesystem::create_directories(directory, ec);
  if (ec) return "cannot create " + directory;

  facts = PackFacts{};
  facts.Disks = request.Disks;
  facts.NumBlocks = request.NumBlocks;
  const GUID packGuid = MakeGuid(0x6b657374, 0x7061, request.Disks * 10000 + request.NumBlocks);
  facts.PackGuid = test::GuidToText(packGuid);
  facts.PackName = "Bench-Dg0";
  uint64_t nextId = kFirstRecordId;

  ConfigFiller filler(request.NumBlocks);
  test::PackFields pack;
  pack.RecordId = nextId++;
  pack.Name = facts.PackName;
  pack.PackIdText = facts.PackGuid;
  std::vector<DiskPlan> disks(request.Disks);
  std::vector<test::LdmRecordImage> head{test::BuildPackRecord(pack)};
  for (uint32_t d = 0; d < request.Disks; ++d) {
    disks[d].RecordId = nextId++;
    disks[d].Name = Numbered("Disk%u", d + 1);
    disks[d].DiskId = MakeGuid(0xd15c0000 + d, 0x6469, d);
    test::DiskFields disk;
    disk.RecordId = disks[d].RecordId;
    disk.Name = disks[d].Name;
    disk.Revision = 4;
    disk.DiskId = disks[d].DiskId;
    disk.DeviceInstance = u"SCSI\\DISK&VEN_KESTRAND&PROD_BENCH\\4&2b1f0c&0&" + std::u16string(1, static_cast<char16_t>(u'0' + d % 10));
    head.push_back(test::BuildDiskRecord(disk));
  }
  if (!filler.Fits(head)) return "too few blocks for the pack and disk records";
  filler.Place(head);
  facts.Records = static_cast<uint32_t>(head.size());

  for (uint32_t index = 0;; ++index) {
    std::vector<DiskPlan> trial = disks;
    uint64_t trialId = nextId;
    std::string kind;
    uint32_t plexes = 0;
    uint32_t subdisks = 0;
    const auto records = VolumeRecords(index, trial, trialId, kind, plexes, subdisks);
    if (!filler.Fits(records)) break;
    filler.Place(records);
    disks = std::move(trial);
    nextId = trialId;
    facts.VolumeNames.push_back(Numbered("Volume%u", index + 1));
    facts.VolumeKinds.push_back(kind);
    facts.Plexes += plexes;
    facts.Subdisks += subdisks;
    facts.Records += static_cast<uint32_t>(records.size());
  }
  facts.Volumes = static_cast<uint32_t>(facts.VolumeNames.size());
  facts.UsedBlocks = filler.UsedBlocks();
  for (const DiskPlan& disk : disks)
    if (disk.NextOffset > sectors - kPublicStart - kAreaSectors) return "the disks are too small for the volumes";

  test::VmdbHeaderFields& header = filler.Area().Header;
  header.PackName = facts.PackName;
  header.PackIdText = facts.PackGuid;
  header.ActiveCounts = {facts.Volumes, facts.Plexes, facts.Subdisks, request.Disks, 0, 0, 0};
  header.PendingCounts = header.ActiveCounts;
  const std::vector<uint8_t> config = filler.Area().Build();

  for (uint32_t d = 0; d < request.Disks; ++d) {
    test::LdmAreaImage area;  // tables of contents at area sectors 2 and 2045, config from sector 17
    area.Header.DiskIdText = test::GuidToText(disks[d].DiskId);
    area.Header.PackIdText = facts.PackGuid;
    area.Header.PackName = facts.PackName;
    area.Header.PublicOffset = kPublicStart;
    area.Header.PublicLength = sectors - kPublicStart - kAreaSectors;
    area.Header.PrivateOffset = sectors - kAreaSectors;
    area.Header.PrivateLength = kAreaSectors;
    area.Config = config;
    const std::vector<uint8_t> bytes = area.Build();

    CDiskImageBuilder image(sectors * kSectorBytes);
    image.WriteMbr({MbrSlot{0x42, false, static_cast<uint32_t>(kPublicStart),
                            static_cast<uint32_t>(sectors - kPublicStart - kAreaSectors)},
                    MbrSlot{}, MbrSlot{}, MbrSlot{}},
                   0x4b450000 + d);
    image.WriteBytes((sectors - kAreaSectors) * kSectorBytes, bytes.data(), bytes.size());
    // The copy of the private header in sector 6, where MBR readers look first.
    const std::vector<uint8_t> privateHeader = test::BuildPrivateHeader(area.Header);
    image.WriteBytes(6 * kSectorBytes, privateHeader.data(), privateHeader.size());
    const std::string path = (std::filesystem::path(directory) / Numbered("disk%02u.img", d)).string();
    if (!image.WriteToFile(path)) return "cannot write " + path;
    facts.ImagePaths.push_back(std::filesystem::absolute(path).string());
  }
  return WriteFacts((std::filesystem::path(directory) / "pack.txt").string(), facts);
}

std::string ReadPackFacts(const std::string& directory, PackFacts& facts) {
  const std::string path = (std::filesystem::path(directory) / "pack.txt").string();
  std::ifstream in(path);
  if (!in) return "cannot read " + path;
  facts = PackFacts{};
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string key;
    fields >> key;
    if (key == "disks") fields >> facts.Disks;
    else if (key == "num_blocks") fields >> facts.NumBlocks;
    else if (key == "used_blocks") fields >> facts.UsedBlocks;
    else if (key == "volumes") fields >> facts.Volumes;
    else if (key == "plexes") fields >> facts.Plexes;
    else if (key == "subdisks") fields >> facts.Subdisks;
    else if (key == "records") fields >> facts.Records;
    else if (key == "pack_guid") fields >> facts.PackGuid;
    else if (key == "pack_name") fields >> facts.PackName;
    else if (key == "image") {
      std::string image;
      fields >> image;
      facts.ImagePaths.push_back(image);
    } else if (key == "volume") {
      std::string name, kind;
      fields >> name >> kind;
      facts.VolumeNames.push_back(name);
      facts.VolumeKinds.push_back(kind);
    }
  }
  if (facts.ImagePaths.size() != facts.Disks || facts.VolumeNames.size() != facts.Volumes)
    return path + " is incomplete";
  return "";
}

}  // namespace kestrand::bench
