// Builders that write LDM structures into memory for tests: big-endian and
// count-prefixed field encodings, config records of every type and
// revision, VMDB headers, VBLK blocks (single and fragmented records), whole
// config areas, PRIVHEAD and TOCBLOCK sectors.
//
// Defaults follow the real databases written by the operating system (2003 R2
// era): version 4.10 VMDB headers, 2.11 private headers, a config region of
// 1,481 sectors from sector 17 and a log region of 224 sectors from 1,498.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"
#include "support/disk_image_builder.h"  // GuidFromText

namespace kestrand::test {

// Appends LDM field encodings to a byte vector.
class LdmBytes {
 public:
  // `width` big-endian bytes of `value` (past 8: leading zeros).
  LdmBytes& Be(uint64_t value, size_t width) {
    for (size_t i = width; i-- > 0;) bytes.push_back(i >= 8 ? 0 : static_cast<uint8_t>(value >> (8 * i)));
    return *this;
  }
  LdmBytes& U8(uint8_t value) { return Be(value, 1); }
  LdmBytes& U16(uint16_t value) { return Be(value, 2); }
  LdmBytes& U32(uint32_t value) { return Be(value, 4); }
  LdmBytes& U64(uint64_t value) { return Be(value, 8); }
  LdmBytes& Raw(const std::vector<uint8_t>& more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
    return *this;
  }
  // `text` zero-padded (or cut) to exactly `width` bytes.
  LdmBytes& FixedText(std::string_view text, size_t width) {
    for (size_t i = 0; i < width; ++i) U8(i < text.size() ? static_cast<uint8_t>(text[i]) : 0);
    return *this;
  }
  // Count byte, then the big-endian value in as few bytes as it needs (0: no
  // bytes). `width` forces the number of bytes (it may exceed 8 for hostile
  // cases: the extra leading bytes are zero).
  LdmBytes& VarUnsigned(uint64_t value, std::optional<uint8_t> width = std::nullopt) {
    const uint8_t count = width.value_or(ShortestWidth(value));
    return U8(count).Be(value, count);
  }
  // Count byte with the sign in bit 7, then the magnitude.
  LdmBytes& VarSigned(int64_t value) {
    const bool negative = value < 0;
    const uint64_t magnitude = negative ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
    const uint8_t count = ShortestWidth(magnitude);
    return U8(static_cast<uint8_t>(count | (negative ? 0x80 : 0))).Be(magnitude, count);
  }
  // Count byte, then the characters.
  LdmBytes& String(std::string_view text) { return U8(static_cast<uint8_t>(text.size())).FixedText(text, text.size()); }
  // One-byte characters (count byte, characters), or with `twoByte` the
  // marker 0xFF, the count and big-endian 16-bit characters.
  LdmBytes& WideString(std::u16string_view text, bool twoByte = false) {
    if (twoByte) U8(0xFF);
    U8(static_cast<uint8_t>(text.size()));
    for (char16_t c : text) twoByte ? U16(static_cast<uint16_t>(c)) : U8(static_cast<uint8_t>(c));
    return *this;
  }
  LdmBytes& Guid(const GUID& guid) {
    U32(guid.Data1).U16(guid.Data2).U16(guid.Data3);
    for (uint8_t b : guid.Data4) U8(b);
    return *this;
  }

  std::vector<uint8_t> bytes;

 private:
  static uint8_t ShortestWidth(uint64_t value) {
    uint8_t width = 0;
    while (width < 8 && (value >> (8 * width)) != 0) ++width;
    return width;
  }
};

// Lowercase 8-4-4-4-12 text, for comparisons in tests.
inline std::string GuidToText(const GUID& guid) {
  char text[40];
  std::snprintf(text, sizeof(text), "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x",
                static_cast<unsigned>(guid.Data1), guid.Data2, guid.Data3, guid.Data4[0], guid.Data4[1],
                guid.Data4[2], guid.Data4[3], guid.Data4[4], guid.Data4[5], guid.Data4[6], guid.Data4[7]);
  return text;
}

// ---- config records ----

// The data of one record (common header and fields, preamble excluded) and
// its type word.
struct LdmRecordImage {
  uint16_t TypeWord = 0;
  std::vector<uint8_t> Data;
};

struct VolumeFields {
  uint64_t RecordId = 0x0421;
  std::string Name = "Volume1";
  uint16_t Revision = 5, Flags = 0x0200;  // record flags in place (0x0200 mount name, ...)
  std::string UsageType = "gen", FileSystemType = "";
  std::string State = "ACTIVE";  // 14 bytes on disk
  uint8_t ReadPolicy = 3;
  uint32_t Minor = 5, PersistentFlags = 0x11, NumPlexes = 1;
  uint64_t UpdateSequence = 0x429, DetachSeqNum = 0x428;
  int64_t Length = 96256, LogLength = 0;
  uint32_t PartitionType = 7;  // revisions 4 and 5
  GUID VolumeGuid = {0x6e30daae, 0x8e42, 0x40fb, {0x9a, 0xf0, 0x80, 0x74, 0x16, 0xc3, 0xfe, 0xde}};
  uint64_t PrefferedPlexRecordId = 0;  // flag 0x0800
  uint64_t LogRecordId = 0;            // flag 0x2000
  uint32_t Number4000 = 0;             // flag 0x4000
  int64_t Number8000 = 0;              // flag 0x8000
  uint32_t AppRecovery = 0;            // flag 0x1000
  std::u16string MountName = u"E:";    // flag 0x0200
  bool MountNameTwoByte = false;
};

struct PlexFields {
  uint64_t RecordId = 0x0423;
  std::string Name = "Volume1-01";
  uint16_t Revision = 3, Flags = 0;  // 0x1000: StripeWidth and ColumnCount
  std::string State = "ACTIVE";
  uint8_t Layout = 2;
  uint32_t PersistentFlags = 0, SubdiskCount = 1;
  uint64_t UpdateSequence = 0x426, DetachSequence = 0, VolumeRecordId = 0x0421, LogRecordId = 0;
  int64_t StripeWidth = 128;
  uint32_t ColumnCount = 2;
};

struct SubdiskFields {
  uint64_t RecordId = 0x0425;
  std::string Name = "Disk1-01";
  uint16_t Revision = 3, Flags = 0;
  uint32_t PersistentFlags = 0;
  uint64_t UpdateSequence = 0x426, DiskOffset = 0, PlexOffset = 0;
  int64_t Length = 96256;
  uint64_t PlexRecordId = 0x0423, DiskRecordId = 0x0403;
  uint32_t ColumnNumber = 0;      // flag 0x0800 or 0x1000
  uint64_t DetachSequence = 0;    // flag 0x1000 or 0x2000
  uint32_t Minor = 0;             // flag 0x4000
  int64_t HiddenSectors = 0;      // flag 0x0200
  uint64_t LastDiskRecordId = 0;  // flag 0x8000
};

struct DiskFields {
  uint64_t RecordId = 0x0403;
  std::string Name = "Disk1";
  uint16_t Revision = 3, Flags = 0;
  std::string DiskIdText = "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c";  // revision 3
  GUID DiskId = {0xd17c2c04, 0x6afc, 0x46c3, {0x84, 0xb7, 0xcd, 0xc2, 0xf3, 0x95, 0x6c, 0x5c}};  // revision 4
  GUID LastDiskSetId = {};  // revision 4
  std::u16string DeviceInstance = u"SCSI\\DISK&VEN_RED_HAT&PROD_VIRTIO&REV_0001\\4&35110308&0&0";
  bool DeviceInstanceTwoByte = false;
  uint32_t PersistentFlags = 0;
  uint64_t UpdateSequence = 0x426;
};

struct PackFields {
  uint64_t RecordId = 0x0401;
  std::string Name = "Red-nzv8x6obywgDg0";
  uint16_t Revision = 3, Flags = 0x0800;
  std::string PackIdText = "03c0c4fc-8b6f-402b-9431-4be2e5823b1c";  // revision 3
  GUID PackId = {0x03c0c4fc, 0x8b6f, 0x402b, {0x94, 0x31, 0x4b, 0xe2, 0xe5, 0x82, 0x3b, 0x1c}};  // revision 4
  GUID DiskSetId = {};  // revision 4
  uint32_t PersistentFlags = 0;
  uint64_t UpdateSequence = 0x404;
  uint32_t ConfigCopiesCount = 0xFFFFFFFF, LogCopiesCount = 0xFFFFFFFF;  // flag 0x0800
  uint32_t BaseMinor = 0;                                                 // flag 0x1000
};

// The record's type word: type, revision and the record flags in place.
constexpr uint16_t MakeTypeWord(uint16_t type, uint16_t revision, uint16_t flags) {
  return static_cast<uint16_t>((type & 0x0F) | ((revision & 0x0F) << 4) | (flags & 0xFF00));
}

inline LdmBytes CommonHeader(uint64_t recordId, const std::string& name) {
  return LdmBytes().VarUnsigned(recordId).String(name);
}

inline LdmRecordImage BuildVolumeRecord(const VolumeFields& f) {
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

inline LdmRecordImage BuildPlexRecord(const PlexFields& f) {
  LdmBytes out = CommonHeader(f.RecordId, f.Name);
  out.String(f.State).U8(f.Layout).U32(f.PersistentFlags).VarUnsigned(f.SubdiskCount);
  out.U64(f.UpdateSequence).U64(f.DetachSequence).VarUnsigned(f.VolumeRecordId).VarUnsigned(f.LogRecordId);
  if (f.Flags & 0x1000) out.VarSigned(f.StripeWidth).VarUnsigned(f.ColumnCount);
  return {MakeTypeWord(2, f.Revision, f.Flags), out.bytes};
}

inline LdmRecordImage BuildSubdiskRecord(const SubdiskFields& f) {
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

inline LdmRecordImage BuildDiskRecord(const DiskFields& f) {
  LdmBytes out = CommonHeader(f.RecordId, f.Name);
  if (f.Revision == 3)
    out.String(f.DiskIdText);
  else
    out.Guid(f.DiskId).Guid(f.LastDiskSetId);
  out.WideString(f.DeviceInstance, f.DeviceInstanceTwoByte).U32(f.PersistentFlags).U64(f.UpdateSequence);
  return {MakeTypeWord(4, f.Revision, f.Flags), out.bytes};
}

inline LdmRecordImage BuildPackRecord(const PackFields& f) {
  LdmBytes out = CommonHeader(f.RecordId, f.Name);
  if (f.Revision == 3)
    out.String(f.PackIdText);
  else
    out.Guid(f.PackId).Guid(f.DiskSetId);
  out.U32(f.PersistentFlags).U64(f.UpdateSequence);
  if (f.Flags & 0x0800) out.VarUnsigned(f.ConfigCopiesCount).VarUnsigned(f.LogCopiesCount);
  if (f.Flags & 0x1000) out.VarUnsigned(f.BaseMinor);
  return {MakeTypeWord(5, f.Revision, f.Flags), out.bytes};
}

// ---- VMDB header and VBLK blocks ----

struct VmdbHeaderFields {
  std::string Magic = "VMDB";
  uint32_t NumBlocks = 64, BlockSize = 128, HeaderSize = 512;
  uint16_t Status = 1, VersionMajor = 4, VersionMinor = 10;
  std::string PackName = "Red-nzv8x6obywgDg0";
  std::string PackIdText = "03c0c4fc-8b6f-402b-9431-4be2e5823b1c";
  uint64_t ActiveSequence = 0x46d, PendingSequence = 0x46d;
  std::array<uint32_t, 7> ActiveCounts = {6, 7, 12, 10, 0, 0, 0}, PendingCounts = {6, 7, 12, 10, 0, 0, 0};
  uint64_t TrailingValue = 0;  // at 0xBD, written from minor version 10 on
};

// The fragment payloads (BlockSize - 16 bytes each, zero-padded) of a record:
// fragment 0 begins with the preamble (TransFlags, type word, record size).
inline std::vector<std::vector<uint8_t>> SplitRecord(const LdmRecordImage& record, uint16_t transFlags = 0,
                                                     uint32_t blockSize = 128) {
  const size_t payload = blockSize - 16;
  LdmBytes stream;
  stream.U16(transFlags).U16(record.TypeWord).U32(static_cast<uint32_t>(record.Data.size())).Raw(record.Data);
  stream.bytes.resize((stream.bytes.size() + payload - 1) / payload * payload, 0);
  std::vector<std::vector<uint8_t>> fragments;
  for (auto at = stream.bytes.begin(); at != stream.bytes.end(); at += static_cast<std::ptrdiff_t>(payload))
    fragments.emplace_back(at, at + static_cast<std::ptrdiff_t>(payload));
  return fragments;
}
// The preamble's fragment count for a record of `recordSize` bytes.
inline uint16_t FragmentCountFor(uint32_t recordSize, uint32_t blockSize = 128) {
  return static_cast<uint16_t>((recordSize + 7 + blockSize - 16) / (blockSize - 16));
}

// A whole config area: the VMDB header, then NumBlocks - HeaderSize/BlockSize
// blocks, each an empty VBLK with its own sequence number unless placed.
class ConfigAreaBuilder {
 public:
  ConfigAreaBuilder() = default;
  explicit ConfigAreaBuilder(uint32_t numBlocks) { Header.NumBlocks = numBlocks; }

  VmdbHeaderFields Header;

  // Places every fragment of `record` as group `group` in consecutive free
  // blocks from the first free one. Returns the block of fragment 0.
  uint32_t AddRecord(uint32_t group, const LdmRecordImage& record, uint16_t transFlags = 0) {
    const auto fragments = SplitRecord(record, transFlags, Header.BlockSize);
    const uint32_t first = NextFreeBlock();
    for (size_t k = 0; k < fragments.size(); ++k)
      PutFragment(first + static_cast<uint32_t>(k), group, static_cast<uint16_t>(k),
                  static_cast<uint16_t>(fragments.size()), fragments[k]);
    return first;
  }
  // Places one fragment payload at `block` with sequence number `block`.
  void PutFragment(uint32_t block, uint32_t group, uint16_t fragment, uint16_t count,
                   const std::vector<uint8_t>& payload);
  // Places raw bytes as the block (cut or zero-padded to the block size).
  void PutBlock(uint32_t block, std::vector<uint8_t> bytes) {
    bytes.resize(Header.BlockSize, 0);
    blocks_[block] = std::move(bytes);
  }
  uint32_t NextFreeBlock() const {
    uint32_t block = Header.HeaderSize / Header.BlockSize;
    while (blocks_.count(block) != 0) ++block;
    return block;
  }

  // NumBlocks x BlockSize bytes.
  std::vector<uint8_t> Build() const;

 private:
  std::map<uint32_t, std::vector<uint8_t>> blocks_;
};

// ---- PRIVHEAD and TOCBLOCK ----

struct PrivateHeaderFields {
  std::string Magic = "PRIVHEAD";
  std::optional<uint32_t> Checksum;  // none: the correct checksum
  uint16_t VersionMajor = 2, VersionMinor = 11;
  uint64_t UpdateTime = 0x01cd901ceb898e23;  // FILETIME
  uint64_t UpdateSequence = 5, PrimaryHeader = 0x7ff, AlternateHeader = 0x740;
  std::string DiskIdText = "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c";
  std::string HostIdText = "1b77da20-c717-11d0-a5be-00a0c91db73c";
  std::string PackIdText = "03c0c4fc-8b6f-402b-9431-4be2e5823b1c";
  std::string PackName = "Red-nzv8x6obywgDg0";
  uint32_t IOsize = 0x200, Flags = 0;
  uint16_t PublicId = 0, PrivateId = 0;
  uint64_t PublicOffset = 63, PublicLength = 96327, PrivateOffset = 100352, PrivateLength = 2048;
  uint64_t TocPrimarySector = 1, TocAlternateSector = 2046;
  uint32_t ConfigCopiesCount = 1, LogCopiesCount = 1;
  uint64_t ConfigCopyLength = 1481, LogCopyLength = 224;
  uint32_t BootSig = 0xf33ef33e;  // minor version 10 on
  GUID DiskSetId = {}, NewDiskSetId = {};  // minor version 11 on
  GUID NewDiskId = {}, NewPackId = {};     // minor version 12 on
  std::string NewPackName;                 // minor version 12 on
};

// The sum of every byte of the sector but bytes 8 to 11 (the stored checksum).
inline uint32_t PrivateHeaderChecksum(const std::vector<uint8_t>& sector) {
  uint32_t sum = 0;
  for (size_t i = 0; i < sector.size(); ++i)
    if (i < 8 || i > 11) sum += sector[i];
  return sum;
}
std::vector<uint8_t> BuildPrivateHeader(const PrivateHeaderFields& fields, uint32_t sectorSize = 512);

struct TocRegionFields {
  std::string Name = "config";
  uint16_t Flags = 0;
  uint64_t ExtentOffset = 17, ExtentLength = 1481;
  uint16_t DataLength = 6;  // the bytes after it: CopyNumber and OffsetInCopy
  uint16_t CopyNumber = 1;
  uint32_t OffsetInCopy = 0;
};

struct TocBlockFields {
  std::string Magic = "TOCBLOCK";
  TocRegionFields First;
  TocRegionFields Second = {"log", 0, 1498, 224, 6, 1, 0};
};

// The two entries from 0x24 on, the second right after the first's data.
std::vector<uint8_t> BuildTocBlock(const TocBlockFields& fields, uint32_t sectorSize = 512);

// ---- record shorthands (revision 3 packs and disks: ids as text) ----

inline LdmRecordImage PackRecord(const std::string& name = "Red-nzv8x6obywgDg0", uint64_t id = 0x401,
                                 const std::string& packIdText = "03c0c4fc-8b6f-402b-9431-4be2e5823b1c") {
  return BuildPackRecord({.RecordId = id, .Name = name, .PackIdText = packIdText});
}

inline LdmRecordImage VolumeRecord(uint64_t id, const std::string& name, int64_t length = 96256, uint32_t plexes = 1) {
  return BuildVolumeRecord({.RecordId = id, .Name = name, .NumPlexes = plexes, .Length = length});
}

inline LdmRecordImage PlexRecord(uint64_t id, const std::string& name, uint64_t volumeId, uint8_t layout = 2,
                                 uint32_t subdisks = 1) {
  return BuildPlexRecord(
      {.RecordId = id, .Name = name, .Layout = layout, .SubdiskCount = subdisks, .VolumeRecordId = volumeId});
}

inline LdmRecordImage SubdiskRecord(uint64_t id, const std::string& name, uint64_t plexId, uint64_t diskId,
                                    int64_t length = 96256, uint64_t diskOffset = 0, uint64_t plexOffset = 0) {
  return BuildSubdiskRecord({.RecordId = id, .Name = name, .DiskOffset = diskOffset, .PlexOffset = plexOffset,
                             .Length = length, .PlexRecordId = plexId, .DiskRecordId = diskId});
}

inline LdmRecordImage DiskRecord(uint64_t id, const std::string& name, const std::string& diskIdText) {
  return BuildDiskRecord({.RecordId = id, .Name = name, .DiskIdText = diskIdText});
}

// ---- whole LDM areas ----

// A whole LDM area: the private header at its two places from the end, the
// tables of contents where the header says, and the config area 15 sectors
// past the alternate table.
struct LdmAreaImage {
  uint32_t SectorSize = 512;
  uint64_t AreaBytes = 0x100000;
  PrivateHeaderFields Header{.TocPrimarySector = 2, .TocAlternateSector = 2045};
  TocBlockFields Toc;
  std::vector<uint8_t> Config;  // placed as is; empty: nothing
  // The alternate copies, when they differ from the primary ones.
  std::optional<PrivateHeaderFields> AlternateHeader;
  std::optional<TocBlockFields> AlternateToc;

  // Where the loader looks for each structure, in bytes from the area start.
  uint64_t PrimaryTocOffset() const { return AreaBytes - (Header.TocPrimarySector + 1) * SectorSize; }
  uint64_t AlternateTocOffset() const { return AreaBytes - (Header.TocAlternateSector + 1) * SectorSize; }
  uint64_t ConfigOffset() const { return AlternateTocOffset() + 15 * SectorSize; }

  std::vector<uint8_t> Build() const;
};

// Rewrites a private header sector to name the tables of contents at
// `primary` and `alternate`, its checksum recomputed.
void RenameTocSectors(std::vector<uint8_t>& sector, uint64_t primary, uint64_t alternate);

}  // namespace kestrand::test
