// Test support for the LDM loader and its reports: raw reads served from
// memory (with injected failures and a log of every read) and a builder of
// whole LDM areas; with the test disk and text capture the loader tests use.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "ldm/ldm_database.h"
#include "platform/platform.h"
#include "support/fake_host_platform.h"
#include "support/ldm_builder.h"
#include "support/test_disk.h"
#include "support/text_capture.h"

namespace kestrand::test {

// Host questions as FakeHostPlatform answers them; raw reads from memory.
// Reads at or past the end give STATUS_END_OF_FILE, a read across the end
// transfers what is there, a negative offset is refused.
class MemoryReadPlatform : public FakeHostPlatform {
 public:
  struct FailingRange {
    uint64_t Offset;
    uint64_t Length;
    NTSTATUS Status;
  };
  struct ReadRecord {
    bool FromFile;
    int64_t Offset;
    uint32_t Length;
  };

  std::vector<uint8_t> DiskBytes;  // what every disk number reads
  NTSTATUS DiskOpenStatus = 0;     // the whole-disk device cannot be opened
  std::map<std::string, std::vector<uint8_t>> Files;
  std::vector<FailingRange> Failures;  // a read touching one fails with its status
  std::vector<ReadRecord> Reads;       // every read that reached ReadAt

  NTSTATUS OpenDiskForRead(uint32_t diskNumber, PlatformHandle& handle) override;
  NTSTATUS OpenFileForRead(const std::string& fileName, PlatformHandle& handle) override;
  NTSTATUS ReadAt(PlatformHandle handle, int64_t offset, uint32_t length, void* buffer) override;
  void CloseRead(PlatformHandle) override {}

  // Offsets of the reads, in order.
  std::vector<int64_t> ReadOffsets() const;

 private:
  static constexpr PlatformHandle kDiskHandle = 1;
  std::map<PlatformHandle, const std::vector<uint8_t>*> open_;
  PlatformHandle nextFileHandle_ = 100;
};

// A whole LDM area: the private header at its two places from the end, the
// tables of contents where the header says, and the config area 15 sectors
// past the alternate table.
struct LdmAreaImage {
  LdmAreaImage();

  uint32_t SectorSize = 512;
  uint64_t AreaBytes = 0x100000;
  PrivateHeaderFields Header;  // names the tables at sectors 2 and 2045
  TocBlockFields Toc;
  std::vector<uint8_t> Config;  // placed as is; empty: nothing

  // Where the loader looks for each structure, in bytes from the area start.
  uint64_t PrimaryTocOffset() const;
  uint64_t AlternateTocOffset() const;
  uint64_t ConfigOffset() const;

  std::vector<uint8_t> Build() const;
};

// An MBR device of `diskBytes` as `platform` serves it and `disk` describes
// it: `area` in its last bytes, the backup private header in sector 6, one
// dynamic partition unless the disk already has a layout.
void PutMbrDevice(MemoryReadPlatform& platform, TestDisk& disk, uint64_t diskBytes, const LdmAreaImage& area);

// A 1 MiB MBR disk of zeros served from memory, for the tests of one copy of
// an LDM structure.
class LdmCopyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform_.DiskBytes.assign(0x100000, 0);
    disk_.SetBytesPerSector(512);
    disk_.SetDiskLength(0x100000);
    disk_.SetMbrLayout();
    database_.Disk = &disk_;
  }
  void PutSector(uint64_t offset, const std::vector<uint8_t>& sector) {
    std::copy(sector.begin(), sector.end(), platform_.DiskBytes.begin() + static_cast<ptrdiff_t>(offset));
  }

  MemoryReadPlatform platform_;
  ScopedPlatform installed_{platform_};
  TestDisk disk_{3};
  LDM_DATABASE database_;
};

// Rewrites the private header copies at `headerOffsets` of `bytes` to name
// the tables of contents at `primary` and `alternate`, checksums recomputed.
void RenameTocSectors(std::vector<uint8_t>& bytes, const std::vector<uint64_t>& headerOffsets, uint64_t primary,
                      uint64_t alternate, uint32_t sectorSize = 512);

}  // namespace kestrand::test
