#include "support/ldm_builder.h"

#include <algorithm>
#include <cstdio>

namespace kestrand::test {

// ---- field encodings ----

LdmBytes& LdmBytes::U8(uint8_t value) {
  bytes.push_back(value);
  return *this;
}

LdmBytes& LdmBytes::U16(uint16_t value) { return U8(static_cast<uint8_t>(value >> 8)).U8(static_cast<uint8_t>(value)); }
LdmBytes& LdmBytes::U32(uint32_t value) { return U16(static_cast<uint16_t>(value >> 16)).U16(value & 0xFFFF); }
LdmBytes& LdmBytes::U64(uint64_t value) { return U32(static_cast<uint32_t>(value >> 32)).U32(value & 0xFFFFFFFF); }
LdmBytes& LdmBytes::Zeros(size_t count) { return FixedText("", count); }

LdmBytes& LdmBytes::Raw(const std::vector<uint8_t>& values) {
  bytes.insert(bytes.end(), values.begin(), values.end());
  return *this;
}

LdmBytes& LdmBytes::FixedText(std::string_view text, size_t width) {
  for (size_t i = 0; i < width; ++i) U8(i < text.size() ? static_cast<uint8_t>(text[i]) : 0);
  return *this;
}

namespace {

uint8_t ShortestWidth(uint64_t value) {
  uint8_t width = 0;
  while (width < 8 && (value >> (8 * width)) != 0) ++width;
  return width;
}

void AppendMagnitude(LdmBytes& out, uint64_t value, uint8_t width) {
  for (int i = width - 1; i >= 0; --i) out.U8(i >= 8 ? 0 : static_cast<uint8_t>(value >> (8 * i)));
}

}  // namespace

LdmBytes& LdmBytes::VarUnsigned(uint64_t value, std::optional<uint8_t> width) {
  const uint8_t count = width.value_or(ShortestWidth(value));
  U8(count);
  AppendMagnitude(*this, value, count);
  return *this;
}

LdmBytes& LdmBytes::VarSigned(int64_t value) {
  const bool negative = value < 0;
  const uint64_t magnitude = negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
  const uint8_t count = ShortestWidth(magnitude);
  U8(static_cast<uint8_t>(count | (negative ? 0x80 : 0)));
  AppendMagnitude(*this, magnitude, count);
  return *this;
}

LdmBytes& LdmBytes::String(std::string_view text) {
  U8(static_cast<uint8_t>(text.size()));
  return FixedText(text, text.size());
}

LdmBytes& LdmBytes::WideString(std::u16string_view text, bool twoByte) {
  if (twoByte) U8(0xFF);
  U8(static_cast<uint8_t>(text.size()));
  for (char16_t c : text) twoByte ? U16(static_cast<uint16_t>(c)) : U8(static_cast<uint8_t>(c));
  return *this;
}

LdmBytes& LdmBytes::Guid(const GUID& guid) {
  U32(guid.Data1).U16(guid.Data2).U16(guid.Data3);
  for (uint8_t b : guid.Data4) U8(b);
  return *this;
}

std::string GuidToText(const GUID& guid) {
  char text[40];
  std::snprintf(text, sizeof(text), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
                guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
  return text;
}

// ---- config records ----

namespace {

// The record's type word: type, revision and the record flags in place.
constexpr uint16_t MakeTypeWord(uint16_t type, uint16_t revision, uint16_t flags) {
  return static_cast<uint16_t>((type & 0x0F) | ((revision & 0x0F) << 4) | (flags & 0xFF00));
}

LdmBytes CommonHeader(uint64_t recordId, const std::string& name) {
  LdmBytes out;
  out.VarUnsigned(recordId).String(name);
  return out;
}

}  // namespace

LdmRecordImage BuildVolumeRecord(const VolumeFields& f) {
  LdmBytes out = CommonHeader(f.RecordId, f.Name);
  out.String(f.UsageType).String(f.FileSystemType).FixedText(f.State, 14).U8(f.ReadPolicy);
  out.VarUnsigned(f.Minor).U32(f.PersistentFlags).VarUnsigned(f.NumPlexes);
  out.U64(f.UpdateSequence).U64(f.DetachSeqNum).VarSigned(f.Length).VarSigned(f.LogLength);
  if (f.Revision >= 4) out.U32(f.PartitionType);
  if (f.Revision >= 5) out.Guid(f.VolumeGuid);
  if (f.Flags & 0x0800) out.VarUnsigned(f.PrefferedPlexRecordId);
  if (f.Flags & 0x2000) out.VarUnsigned(f.LogRecordId);
  if (f.Flags & 0x4000) out.VarUnsigned(f.Number4000);
  if (f.Flags & 0x8000) out.VarSigned(f.Number8000);
  if (f.Flags & 0x1000) out.VarUnsigned(f.AppRecovery);
  if (f.Flags & 0x0200) out.WideString(f.MountName, f.MountNameTwoByte);
  return {MakeTypeWord(1, f.Revision, f.Flags), out.bytes};
}

LdmRecordImage BuildPlexRecord(const PlexFields& f) {
  LdmBytes out = CommonHeader(f.RecordId, f.Name);
  out.String(f.State).U8(f.Layout).U32(f.PersistentFlags).VarUnsigned(f.SubdiskCount);
  out.U64(f.UpdateSequence).U64(f.DetachSequence).VarUnsigned(f.VolumeRecordId).VarUnsigned(f.LogRecordId);
  if (f.Flags & 0x1000) out.VarSigned(f.StripeWidth).VarUnsigned(f.ColumnCount);
  return {MakeTypeWord(2, f.Revision, f.Flags), out.bytes};
}

LdmRecordImage BuildSubdiskRecord(const SubdiskFields& f) {
  LdmBytes out = CommonHeader(f.RecordId, f.Name);
  out.U32(f.PersistentFlags).U64(f.UpdateSequence).U64(f.DiskOffset).U64(f.PlexOffset);
  out.VarSigned(f.Length).VarUnsigned(f.PlexRecordId).VarUnsigned(f.DiskRecordId);
  if (f.Flags & 0x1800) out.VarUnsigned(f.ColumnNumber);
  if (f.Flags & 0x3000) out.U64(f.DetachSequence);
  if (f.Flags & 0x4000) out.VarUnsigned(f.Minor);
  if (f.Flags & 0x0200) out.VarSigned(f.HiddenSectors);
  if (f.Flags & 0x8000) out.VarUnsigned(f.LastDiskRecordId);
  return {MakeTypeWord(3, f.Revision, f.Flags), out.bytes};
}

LdmRecordImage BuildDiskRecord(const DiskFields& f) {
  LdmBytes out = CommonHeader(f.RecordId, f.Name);
  if (f.Revision == 3) {
    out.String(f.DiskIdText);
  } else {
    out.Guid(f.DiskId).Guid(f.LastDiskSetId);
  }
  out.WideString(f.DeviceInstance, f.DeviceInstanceTwoByte).U32(f.PersistentFlags).U64(f.UpdateSequence);
  return {MakeTypeWord(4, f.Revision, f.Flags), out.bytes};
}

LdmRecordImage BuildPackRecord(const PackFields& f) {
  LdmBytes out = CommonHeader(f.RecordId, f.Name);
  if (f.Revision == 3) {
    out.String(f.PackIdText);
  } else {
    out.Guid(f.PackId).Guid(f.DiskSetId);
  }
  out.U32(f.PersistentFlags).U64(f.UpdateSequence);
  if (f.Flags & 0x0800) out.VarUnsigned(f.ConfigCopiesCount).VarUnsigned(f.LogCopiesCount);
  if (f.Flags & 0x1000) out.VarUnsigned(f.BaseMinor);
  return {MakeTypeWord(5, f.Revision, f.Flags), out.bytes};
}

// ---- VMDB header and VBLK blocks ----

namespace {

// The header in HeaderSize bytes (at least the 0xC5 bytes of its fields).
std::vector<uint8_t> BuildVmdbHeader(const VmdbHeaderFields& f) {
  LdmBytes out;
  out.FixedText(f.Magic, 4).U32(f.NumBlocks).U32(f.BlockSize).U32(f.HeaderSize);
  out.U16(f.Status).U16(f.VersionMajor).U16(f.VersionMinor);
  out.FixedText(f.PackName, 31).FixedText(f.PackIdText, 64);
  out.U64(f.ActiveSequence).U64(f.PendingSequence);
  for (uint32_t count : f.ActiveCounts) out.U32(count);
  for (uint32_t count : f.PendingCounts) out.U32(count);
  if (f.VersionMinor >= 10) out.U64(f.TrailingValue);
  if (out.bytes.size() < f.HeaderSize) out.Zeros(f.HeaderSize - out.bytes.size());
  return out.bytes;
}

// One VBLK block: magic, sequence, group, fragment number and count, payload
// (zero-padded to the block size).
std::vector<uint8_t> BuildVblk(uint32_t sequence, uint32_t group, uint16_t fragment, uint16_t count,
                               const std::vector<uint8_t>& payload, uint32_t blockSize) {
  LdmBytes out;
  out.FixedText("VBLK", 4).U32(sequence).U32(group).U16(fragment).U16(count).Raw(payload);
  out.bytes.resize(blockSize, 0);
  return out.bytes;
}

}  // namespace

uint16_t FragmentCountFor(uint32_t recordSize, uint32_t blockSize) {
  const uint64_t payload = blockSize - 16;
  return static_cast<uint16_t>((recordSize + 7 + payload) / payload);
}

std::vector<std::vector<uint8_t>> SplitRecord(const LdmRecordImage& record, uint16_t transFlags,
                                              uint32_t blockSize) {
  const size_t payload = blockSize - 16;
  LdmBytes stream;
  stream.U16(transFlags).U16(record.TypeWord).U32(static_cast<uint32_t>(record.Data.size())).Raw(record.Data);
  std::vector<std::vector<uint8_t>> fragments;
  for (size_t at = 0; at < stream.bytes.size(); at += payload) {
    const size_t take = std::min(payload, stream.bytes.size() - at);
    std::vector<uint8_t> fragment(stream.bytes.begin() + static_cast<std::ptrdiff_t>(at),
                                  stream.bytes.begin() + static_cast<std::ptrdiff_t>(at + take));
    fragment.resize(payload, 0);
    fragments.push_back(std::move(fragment));
  }
  return fragments;
}

uint32_t ConfigAreaBuilder::AddRecord(uint32_t group, const LdmRecordImage& record, uint16_t transFlags) {
  const auto fragments = SplitRecord(record, transFlags, Header.BlockSize);
  const uint16_t count = FragmentCountFor(static_cast<uint32_t>(record.Data.size()), Header.BlockSize);
  const uint32_t first = NextFreeBlock();
  for (size_t k = 0; k < fragments.size(); ++k)
    PutFragment(first + static_cast<uint32_t>(k), group, static_cast<uint16_t>(k), count, fragments[k]);
  return first;
}

void ConfigAreaBuilder::PutFragment(uint32_t block, uint32_t group, uint16_t fragment, uint16_t count,
                                    const std::vector<uint8_t>& payload) {
  blocks_[block] = BuildVblk(block, group, fragment, count, payload, Header.BlockSize);
}

void ConfigAreaBuilder::PutBlock(uint32_t block, std::vector<uint8_t> bytes) {
  bytes.resize(Header.BlockSize, 0);
  blocks_[block] = std::move(bytes);
}

uint32_t ConfigAreaBuilder::NextFreeBlock() const {
  uint32_t block = Header.HeaderSize / Header.BlockSize;
  while (blocks_.count(block) != 0) ++block;
  return block;
}

std::vector<uint8_t> ConfigAreaBuilder::Build() const {
  std::vector<uint8_t> area = BuildVmdbHeader(Header);
  area.resize(Header.HeaderSize, 0);
  for (uint32_t block = Header.HeaderSize / Header.BlockSize; block < Header.NumBlocks; ++block) {
    const auto placed = blocks_.find(block);
    const std::vector<uint8_t> bytes =
        placed != blocks_.end() ? placed->second : BuildVblk(block, 0, 0, 0, {}, Header.BlockSize);
    area.insert(area.end(), bytes.begin(), bytes.end());
  }
  return area;
}

// ---- PRIVHEAD and TOCBLOCK ----

uint32_t PrivateHeaderChecksum(const std::vector<uint8_t>& sector) {
  uint32_t sum = 0;
  for (size_t i = 0; i < sector.size(); ++i)
    if (i < 8 || i > 11) sum += sector[i];
  return sum;
}

std::vector<uint8_t> BuildPrivateHeader(const PrivateHeaderFields& f, uint32_t sectorSize) {
  LdmBytes out;
  out.FixedText(f.Magic, 8).U32(0).U16(f.VersionMajor).U16(f.VersionMinor);
  out.U64(f.UpdateTime).U64(f.UpdateSequence).U64(f.PrimaryHeader).U64(f.AlternateHeader);
  out.FixedText(f.DiskIdText, 64).FixedText(f.HostIdText, 64).FixedText(f.PackIdText, 64).FixedText(f.PackName, 31);
  out.U32(f.IOsize).U32(f.Flags).U16(f.PublicId).U16(f.PrivateId);
  out.U64(f.PublicOffset).U64(f.PublicLength).U64(f.PrivateOffset).U64(f.PrivateLength);
  out.U64(f.TocPrimarySector).U64(f.TocAlternateSector).U32(f.ConfigCopiesCount).U32(f.LogCopiesCount);
  out.U64(f.ConfigCopyLength).U64(f.LogCopyLength);
  if (f.VersionMinor >= 10) out.U32(f.BootSig);
  if (f.VersionMinor >= 11) out.Guid(f.DiskSetId).Guid(f.NewDiskSetId);
  if (f.VersionMinor >= 12) out.Guid(f.NewDiskId).Guid(f.NewPackId).FixedText(f.NewPackName, 31);
  std::vector<uint8_t> sector = out.bytes;
  sector.resize(sectorSize, 0);
  const uint32_t checksum = f.Checksum.value_or(PrivateHeaderChecksum(sector));
  for (int i = 0; i < 4 && sector.size() >= 12; ++i)
    sector[8 + i] = static_cast<uint8_t>(checksum >> (24 - 8 * i));
  return sector;
}

namespace {

void AppendTocRegion(LdmBytes& out, const TocRegionFields& r) {
  out.FixedText(r.Name, 8).U16(r.Flags).U64(r.ExtentOffset).U64(r.ExtentLength).U16(r.DataLength);
  LdmBytes data;
  data.U16(r.CopyNumber).U32(r.OffsetInCopy);
  data.bytes.resize(r.DataLength, 0);
  out.Raw(data.bytes);
}

}  // namespace

std::vector<uint8_t> BuildTocBlock(const TocBlockFields& f, uint32_t sectorSize) {
  LdmBytes out;
  out.FixedText(f.Magic, 8).Zeros(0x24 - 8);
  AppendTocRegion(out, f.First);
  AppendTocRegion(out, f.Second);
  std::vector<uint8_t> sector = out.bytes;
  sector.resize(sectorSize, 0);
  return sector;
}

LdmRecordImage PackRecord(const std::string& name, uint64_t id, const std::string& packIdText) {
  return BuildPackRecord({.RecordId = id, .Name = name, .PackIdText = packIdText});
}

LdmRecordImage VolumeRecord(uint64_t id, const std::string& name, int64_t length, uint32_t plexes) {
  return BuildVolumeRecord({.RecordId = id, .Name = name, .NumPlexes = plexes, .Length = length});
}

LdmRecordImage PlexRecord(uint64_t id, const std::string& name, uint64_t volumeId, uint8_t layout,
                          uint32_t subdisks) {
  return BuildPlexRecord(
      {.RecordId = id, .Name = name, .Layout = layout, .SubdiskCount = subdisks, .VolumeRecordId = volumeId});
}

LdmRecordImage SubdiskRecord(uint64_t id, const std::string& name, uint64_t plexId, uint64_t diskId,
                             int64_t length, uint64_t diskOffset, uint64_t plexOffset) {
  return BuildSubdiskRecord({.RecordId = id, .Name = name, .DiskOffset = diskOffset, .PlexOffset = plexOffset,
                             .Length = length, .PlexRecordId = plexId, .DiskRecordId = diskId});
}

LdmRecordImage DiskRecord(uint64_t id, const std::string& name, const std::string& diskIdText) {
  return BuildDiskRecord({.RecordId = id, .Name = name, .DiskIdText = diskIdText});
}

uint64_t LdmAreaImage::PrimaryTocOffset() const { return AreaBytes - (Header.TocPrimarySector + 1) * SectorSize; }

uint64_t LdmAreaImage::AlternateTocOffset() const {
  return AreaBytes - (Header.TocAlternateSector + 1) * SectorSize;
}

uint64_t LdmAreaImage::ConfigOffset() const { return AlternateTocOffset() + 15 * SectorSize; }

namespace {

void Place(std::vector<uint8_t>& area, uint64_t offset, const std::vector<uint8_t>& bytes) {
  for (size_t i = 0; i < bytes.size() && offset + i < area.size(); ++i) area[offset + i] = bytes[i];
}

}  // namespace

std::vector<uint8_t> LdmAreaImage::Build() const {
  std::vector<uint8_t> area(AreaBytes, 0);
  const std::vector<uint8_t> header = BuildPrivateHeader(Header, SectorSize);
  Place(area, AreaBytes - SectorSize, header);
  Place(area, AreaBytes - 0x18000, AlternateHeader ? BuildPrivateHeader(*AlternateHeader, SectorSize) : header);
  const std::vector<uint8_t> toc = BuildTocBlock(Toc, SectorSize);
  Place(area, PrimaryTocOffset(), toc);
  Place(area, AlternateTocOffset(), AlternateToc ? BuildTocBlock(*AlternateToc, SectorSize) : toc);
  Place(area, ConfigOffset(), Config);
  return area;
}

void RenameTocSectors(std::vector<uint8_t>& sector, uint64_t primary, uint64_t alternate) {
  for (int i = 0; i < 8; ++i) {
    sector[0x13B + i] = static_cast<uint8_t>(primary >> (56 - 8 * i));
    sector[0x143 + i] = static_cast<uint8_t>(alternate >> (56 - 8 * i));
  }
  const uint32_t checksum = PrivateHeaderChecksum(sector);
  for (int i = 0; i < 4; ++i) sector[8 + i] = static_cast<uint8_t>(checksum >> (24 - 8 * i));
}

}  // namespace kestrand::test
