// The LDM database of one disk or database file: where its private header
// copies, tables of contents and config area lie, and what reading each gave.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>

#include "ldm/config_reader.h"
#include "ldm/private_header.h"
#include "ldm/toc.h"
#include "platform/types.h"

namespace kestrand {

class CDisk;
class CKestrandTreeNode;

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

struct LDM_COPY_STATUS {
  bool Exists = false;         // false for a copy the loader does not create (Backup off MBR devices)
  bool ReadAttempted = false;  // the loader issued its read (false when it stopped before)
  NTSTATUS ReadStatus = 0;     // negative: could not be read
  NTSTATUS ParseStatus = 0;    // negative: read but did not decode
};

// The alternate private header lies this many bytes before the end of the
// LDM area (sector 1856 of a 2048-sector area of 512-byte sectors).
constexpr uint64_t kAlternateHeaderDistance = 0x18000;
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
  LDM_COPY_STATUS GetCopyStatus(LdmCopy copy) const;
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
