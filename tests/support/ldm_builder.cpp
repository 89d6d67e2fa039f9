#include "support/ldm_builder.h"

#include <algorithm>

namespace kestrand::test {
namespace {

// The header's fields (0xC5 bytes from minor version 10 on).
std::vector<uint8_t> BuildVmdbHeader(const VmdbHeaderFields& f) {
  LdmBytes out;
  out.FixedText(f.Magic, 4).U32(f.NumBlocks).U32(f.BlockSize).U32(f.HeaderSize);
  out.U16(f.Status).U16(f.VersionMajor).U16(f.VersionMinor);
  out.FixedText(f.PackName, 31).FixedText(f.PackIdText, 64);
  out.U64(f.ActiveSequence).U64(f.PendingSequence);
  for (uint32_t count : f.ActiveCounts) out.U32(count);
  for (uint32_t count : f.PendingCounts) out.U32(count);
  if (f.VersionMinor >= 10) out.U64(f.TrailingValue);
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

// Overwrites bytes of `sector` from `offset` with `fields`.
void Patch(std::vector<uint8_t>& sector, size_t offset, const LdmBytes& fields) {
  std::copy(fields.bytes.begin(), fields.bytes.end(), sector.begin() + static_cast<std::ptrdiff_t>(offset));
}

void AppendTocRegion(LdmBytes& out, const TocRegionFields& r) {
  out.FixedText(r.Name, 8).U16(r.Flags).U64(r.ExtentOffset).U64(r.ExtentLength).U16(r.DataLength);
  LdmBytes data = LdmBytes().U16(r.CopyNumber).U32(r.OffsetInCopy);
  data.bytes.resize(r.DataLength, 0);
  out.Raw(data.bytes);
}

void Place(std::vector<uint8_t>& area, uint64_t offset, const std::vector<uint8_t>& bytes) {
  for (size_t i = 0; i < bytes.size() && offset + i < area.size(); ++i) area[offset + i] = bytes[i];
}

}  // namespace

void ConfigAreaBuilder::PutFragment(uint32_t block, uint32_t group, uint16_t fragment, uint16_t count,
                                    const std::vector<uint8_t>& payload) {
  blocks_[block] = BuildVblk(block, group, fragment, count, payload, Header.BlockSize);
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
  out.bytes.resize(sectorSize, 0);
  Patch(out.bytes, 8, LdmBytes().U32(f.Checksum.value_or(PrivateHeaderChecksum(out.bytes))));
  return out.bytes;
}

std::vector<uint8_t> BuildTocBlock(const TocBlockFields& f, uint32_t sectorSize) {
  LdmBytes out;
  out.FixedText(f.Magic, 8).FixedText("", 0x24 - 8);
  AppendTocRegion(out, f.First);
  AppendTocRegion(out, f.Second);
  out.bytes.resize(sectorSize, 0);
  return out.bytes;
}

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
  Patch(sector, 0x13B, LdmBytes().U64(primary).U64(alternate));
  Patch(sector, 8, LdmBytes().U32(PrivateHeaderChecksum(sector)));
}

}  // namespace kestrand::test
