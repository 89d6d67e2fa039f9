// Fixtures of the analysis tests: disks whose LDM databases are loaded by the
// real loader from LDM areas built in memory, and config areas from lists of
// records.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "driver/disk_set.h"
#include "ldm/ldm_database.h"
#include "ldm/record_tree.h"
#include "support/ldm_builder.h"
#include "support/ldm_loader_support.h"
#include "support/report_tree.h"

namespace kestrand::test {

// A memory platform whose registry holds a primary pack id when one is set.
class AnalysisPlatform : public MemoryReadPlatform {
 public:
  NTSTATUS PrimaryPackIdStatus = STATUS_OBJECT_NAME_NOT_FOUND_CODE;
  std::u16string PrimaryPackId;

  NTSTATUS QueryPrimaryPackId(std::u16string& value) override {
    if (PrimaryPackIdStatus >= 0) value = PrimaryPackId;
    return PrimaryPackIdStatus;
  }
};

// A 2 MiB MBR disk of 512-byte sectors whose last megabyte is an LDM area.
class AnalysisDisk : public TestDisk {
 public:
  static constexpr uint64_t kDiskBytes = 2 * 0x100000;

  explicit AnalysisDisk(uint32_t number);

  // One MBR partition of `type` with the boot indicator `boot`, and the
  // layout's disk signature.
  void SetMbr(uint32_t signature, bool boot = false, uint8_t type = 0x42) { SetMbrLayout(type, signature, boot); }

  // Reads `area` through the loader (the backup header copy in sector 6)
  // as a dynamic MBR disk; keeps an MBR layout set before.
  void Load(MemoryReadPlatform& platform, const LdmAreaImage& area);

  LDM_DATABASE* Database() const { return ldmDatabase_; }
};

// A disk set of analysis disks, numbered in the order they are added.
class AnalysisSetTest : public ::testing::Test {
 protected:
  // A disk without layout or database, appended to the set.
  AnalysisDisk* NewDisk();
  // A disk whose LDM area holds `records` under the private header's
  // disk id `diskIdText`.
  AnalysisDisk* AddDisk(const std::vector<LdmRecordImage>& records,
                        const std::string& diskIdText = "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c");

  AnalysisPlatform platform_;
  ScopedPlatform installed_{platform_};
  std::vector<std::unique_ptr<AnalysisDisk>> owned_;
  CDiskSet set_;
};

// ---- record shorthands (revision 3 packs and disks: ids as text) ----

constexpr const char* kPackIdText = "03c0c4fc-8b6f-402b-9431-4be2e5823b1c";

LdmRecordImage PackRecord(const std::string& name = "Red-nzv8x6obywgDg0", uint64_t id = 0x401,
                          const std::string& packIdText = kPackIdText);
LdmRecordImage VolumeRecord(uint64_t id, const std::string& name, int64_t length = 96256, uint32_t plexes = 1);
LdmRecordImage PlexRecord(uint64_t id, const std::string& name, uint64_t volumeId, uint8_t layout = 2,
                          uint32_t subdisks = 1);
LdmRecordImage SubdiskRecord(uint64_t id, const std::string& name, uint64_t plexId, uint64_t diskId,
                             int64_t length = 96256, uint64_t diskOffset = 0, uint64_t plexOffset = 0);
LdmRecordImage DiskRecord(uint64_t id, const std::string& name, const std::string& diskIdText);

// A config area of 64 blocks holding `records` as groups 1, 2, 3, ...
std::vector<uint8_t> ConfigWith(const std::vector<LdmRecordImage>& records);

// An LDM area whose config holds `records`; the headers as the builders
// default them.
LdmAreaImage AreaWith(const std::vector<LdmRecordImage>& records);

// The tree as text: each node's name, its children in brackets, siblings
// separated by blanks, e.g. "Pack[Volume1[Volume1-01[Disk1-01[Disk1]]]]".
std::string TreeShape(const RECORD_TREE_NODE* node);

}  // namespace kestrand::test
