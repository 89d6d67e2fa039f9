// The LDM database of one disk or database file: where its private header
// copies, tables of contents and config area lie, the holders (wrappers) of
// each structure as read, what reading each gave, and the XML branches of
// them all. The decoded forms and their reports live with each structure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "ldm/config_header.h"
#include "ldm/field_decoder.h"
#include "ldm/private_header.h"
#include "ldm/toc.h"
#include "platform/types.h"

namespace kestrand {

class CDisk;
class CKestrandTreeNode;
struct LDM_DATABASE;

// "Status code %04u : Disk %04lu : %-20s : %s\n", wide, on standard error:
// the line for an LDM structure that could not be read.
void PrintReadFailure(NTSTATUS status, uint32_t diskNumber, const char16_t* where, const char16_t* what);

// ---- the wrappers ----

// The copy's name; long enough for "Primary", "Alternate", "Backup".
constexpr size_t kLdmCopyNameSize = 16;

// One sector of an LDM structure as read from a disk or a database file: what
// the private header and table of contents copies have in common.
struct LDM_SECTOR_COPY {
  LDM_SECTOR_COPY() = default;
  LDM_SECTOR_COPY(const LDM_SECTOR_COPY&) = delete;
  LDM_SECTOR_COPY& operator=(const LDM_SECTOR_COPY&) = delete;

  // Records owner, name and offset, then reads one sector at byte `offset`.
  // 87 without owner, disk or name, 13 without bytes per sector, 8 without
  // memory; otherwise 0, also when the read failed (see ReadStatus).
  uint32_t ReadSector(LDM_DATABASE* owner, CDisk* disk, const char* name, uint64_t offset);

  LDM_DATABASE* Owner = nullptr;
  char Name[kLdmCopyNameSize] = {};
  bool ReadAttempted = false;  // false until the read was issued
  NTSTATUS ReadStatus = 0;     // negative: the sector could not be read
  NTSTATUS ParseStatus = 0;    // 0xC000000D: the sector did not decode
  std::unique_ptr<uint8_t[], CFreeDeleter> RawSector;  // one sector, as read
  uint32_t RawSectorSize = 0;
  uint64_t Offset = 0;  // bytes from the start of the disk or file
  char Magic[9] = {};   // the first 8 bytes, as read
};

// One copy of the private header.
class PRIVATE_HEADER_WRAPPER : public LDM_SECTOR_COPY {
 public:
  // Reads and decodes the copy at byte `offset`. 87 without owner, disk or
  // name, 13 without bytes per sector, 8 without memory; otherwise 0, also
  // when the sector could not be read or decoded (see the statuses).
  uint32_t Initialize(LDM_DATABASE* owner, CDisk* disk, const char* name, uint64_t offset);

  // The text section; nothing for a copy that was not read. 87 without stream.
  uint32_t PrintText(FILE* stream) const;
  // The PrivateHeader element under `node`. 87 without node.
  uint32_t AddToReport(CKestrandTreeNode* node) const;

  // Bytes per sector of the disk the copy was read from; 0 without one.
  uint32_t BytesPerSector() const;

  PRIVATE_HEADER Header = {};
  uint32_t StoredChecksum = 0;
};

// One copy of the table of contents.
class TOC_WRAPPER : public LDM_SECTOR_COPY {
 public:
  // Reads and decodes the copy at byte `offset`. 87 without owner, disk or
  // name, 13 without bytes per sector, 8 without memory; otherwise 0, also
  // when the sector could not be read (a message on standard error says so)
  // or decoded.
  uint32_t Initialize(LDM_DATABASE* owner, CDisk* disk, const char* name, uint64_t offset);

  // The text section; nothing for a copy that was not read. 87 without stream.
  uint32_t PrintText(FILE* stream) const;
  // The TableOfContents element; nothing for a copy that was not read.
  // 87 without node.
  uint32_t AddToReport(CKestrandTreeNode* node) const;

  TOC Toc = {};
};

// What the config reader reads first, before the header has said how large
// the area is.
constexpr uint32_t kConfigFirstReadBytes = 0xB9200;  // 758,272
// The largest area the reader accepts: far beyond any real database (a whole
// LDM area is 1 MB), and small enough that a hostile header cannot make the
// reader allocate gigabytes. A larger announcement counts as a broken format.
constexpr uint64_t kConfigMaxBytes = 16 * 1024 * 1024;

// The config area: read in one piece at the size its VMDB header announces,
// then decoded into a CONFIG_HEADER with its blocks and records.
class CONFIG_WRAPPER {
 public:
  CONFIG_WRAPPER() = default;
  CONFIG_WRAPPER(const CONFIG_WRAPPER&) = delete;
  CONFIG_WRAPPER& operator=(const CONFIG_WRAPPER&) = delete;

  // Reads and decodes the area at byte `offset`. 87 without owner or disk,
  // 8 without memory; otherwise 0, also when the area could not be read (a
  // message on standard error says so) or decoded.
  uint32_t Initialize(LDM_DATABASE* owner, CDisk* disk, uint64_t offset);

  // The config header, block list and record sections; nothing for an area
  // that was not read. 87 without stream, 13 without bytes per sector.
  uint32_t PrintText(FILE* stream) const;
  // The ConfigHeader, BlockList and Records elements under `node`; nothing
  // for an area that was not read. 87 without node, 13 without bytes per
  // sector, 8 without memory.
  uint32_t AddToReport(CKestrandTreeNode* node) const;

  // Bytes per sector of the disk the area was read from; 0 without one.
  uint32_t BytesPerSector() const;

  LDM_DATABASE* Owner = nullptr;
  char Name[kLdmCopyNameSize] = {};
  bool ReadAttempted = false;  // false until Initialize has issued a read
  NTSTATUS ReadStatus = 0;     // of the last read; negative: unreadable
  NTSTATUS ParseStatus = 0;    // of the header parse, then of the block walk
  // Shared with the other disks whose areas hold the same bytes (every disk
  // of a group carries the same database): decoded once, read by all.
  std::shared_ptr<CONFIG_HEADER> Header;
  const uint8_t* Bytes = nullptr;  // the area from the VMDB header on, in the reader's buffer, until decoded
  uint32_t ByteCount = 0;
  uint64_t Offset = 0;  // bytes from the start of the disk or file
  char Magic[5] = {};   // the first 4 bytes of the area

 private:
  // Reads `size` bytes at Offset into the reader's buffer, cleared first.
  // False when the read failed (ReadStatus says why); 8 in `code` when
  // memory ran out.
  bool ReadArea(CDisk* disk, uint32_t size, uint32_t& code);
  // The reads and the decode of Initialize, the area left in the buffer.
  uint32_t ReadAndDecode(CDisk* disk);
  // Walks the blocks after a header that parsed.
  void ParseBlocks();
  // Takes the header decoded from the previous area read when that area held
  // exactly the bytes now in the buffer; false otherwise.
  bool ShareEqualArea();
  // Keeps the area just decoded for the next read to compare with.
  void KeepArea();
};

// ---- the database ----

// The structures of an LDM database, in the order the disk's error report
// lists them.
enum class LdmCopy : uint32_t {
  PrimaryHeader,
  AlternateHeader,
  BackupHeader,
  PrimaryToc,
  AlternateToc,
  Config,
};

struct LdmCopyStatus {
  bool Exists = false;         // false for a copy the loader does not create (Backup off MBR devices)
  bool ReadAttempted = false;  // the loader issued its read (false when it stopped before)
  NTSTATUS ReadStatus = 0;     // negative: could not be read
  NTSTATUS ParseStatus = 0;    // negative: read but did not decode
};

// The alternate private header lies this many bytes before the end of the
// LDM area (sector 1856 of a 2048-sector area of 512-byte sectors).
constexpr uint64_t kAlternateHeaderDistance = 0x18000;
// The LDM area in sectors: the headers, tables and config area at its end.
constexpr uint32_t kLdmAreaSectors = 2048;
// The backup private header of an MBR device is its sector 6.
constexpr uint64_t kBackupHeaderSector = 6;
// The config area starts this many sectors past the alternate TOC.
constexpr uint32_t kConfigSectorsPastAlternateToc = 15;

struct LDM_DATABASE {
  LDM_DATABASE() = default;
  LDM_DATABASE(const LDM_DATABASE&) = delete;
  LDM_DATABASE& operator=(const LDM_DATABASE&) = delete;

  // Finds and reads every structure of the disk's LDM area. 0 also when a
  // read or a decode failed (the wrappers' statuses say so); 87 without disk,
  // 8 without memory, 13 without bytes per sector or partition information,
  // or the disk's partition information error.
  uint32_t Initialize(CDisk* disk);
  LdmCopyStatus GetCopyStatus(LdmCopy copy) const;
  // The primary private header's section, then the primary TOC's when that
  // returned 0, then the config's when that returned 0. 87 without stream.
  uint32_t PrintText(FILE* stream) const;

  std::unique_ptr<PRIVATE_HEADER_WRAPPER> PrimaryHeader;
  std::unique_ptr<PRIVATE_HEADER_WRAPPER> AlternateHeader;
  std::unique_ptr<PRIVATE_HEADER_WRAPPER> BackupHeader;  // MBR devices only
  std::unique_ptr<TOC_WRAPPER> PrimaryToc;
  std::unique_ptr<TOC_WRAPPER> AlternateToc;
  std::unique_ptr<CONFIG_WRAPPER> Config;
  CDisk* Disk = nullptr;  // not owned

 private:
  // The end of the LDM area in bytes; false when the disk has none (RAW, or
  // GPT without an LDM metadata partition).
  bool FindAreaEnd(uint64_t& end);
  uint32_t ReadStructures(uint64_t end, uint32_t sectorSize);
};

// Adds the PrivateHeader elements (Primary, Alternate, Backup when there is
// one), both TableOfContents elements and the config branches of the disk
// under `node`, in that order; nothing when the disk's partition information
// query failed. 87 without node; otherwise the first non-zero code.
uint32_t AddLdmDatabaseToReport(LDM_DATABASE* database, CKestrandTreeNode* node);

}  // namespace kestrand
