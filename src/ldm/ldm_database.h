// The LDM database of one disk: where its private header copies, tables of
// contents and config area lie, and what reading them gave.
//
// Placeholder until the LDM loader lands. The members below are the seam the
// disk object and the disk report rely on; keep their meaning when the real
// structure replaces this one:
//   Initialize     - the loader, run by the probe for a dynamic disk;
//   GetCopyStatus  - read and parse status of one structure (error report,
//                    readiness test);
//   PrintText      - text sections of the primary private header, then the
//                    primary table of contents, then the config;
//   AddLdmDatabaseToReport - XML branches of every LDM structure of a disk.
#pragma once

#include <cstdint>
#include <cstdio>

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
  bool Exists = false;      // false for a copy the loader does not create (Backup off MBR devices)
  NTSTATUS ReadStatus = 0;  // negative: could not be read
  NTSTATUS ParseStatus = 0; // negative: read but did not decode
};

struct LDM_DATABASE {
  // Reads every structure of the disk's LDM area; 0 also when a read or a
  // decode failed (the statuses say so).
  uint32_t Initialize(CDisk* disk);
  LDM_COPY_STATUS GetCopyStatus(LdmCopy copy) const;
  // The primary private header's section, then the primary TOC's when that
  // returned 0, then the config's when that returned 0. 87 without stream.
  uint32_t PrintText(FILE* stream) const;

  CDisk* Disk = nullptr;
};

// Adds the PrivateHeader, TableOfContents and config branches of the disk
// under its Disk element. 87 without node.
uint32_t AddLdmDatabaseToReport(LDM_DATABASE* database, CKestrandTreeNode* node);

}  // namespace kestrand
