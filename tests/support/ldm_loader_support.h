// Test support for the LDM loader and its reports: raw reads served from
// memory (with injected failures and a log of every read), a disk whose
// geometry, partition information and layout a test sets, a builder of whole
// LDM areas, and capture of report text.
#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "disk/disk.h"
#include "fake_host_platform.h"
#include "ldm_builder.h"
#include "platform/platform.h"

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

// Installs a platform for the lifetime of the object.
class ScopedPlatform {
 public:
  explicit ScopedPlatform(CPlatform& platform) { InstallPlatform(&platform); }
  ~ScopedPlatform() { InstallPlatform(nullptr); }
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;
};

struct GptEntryFields {
  GUID Type;
  int64_t StartingOffset;
  int64_t PartitionLength;
};

// A disk whose query results the test sets; reads go to the platform.
class LdmTestDisk : public CDisk {
 public:
  explicit LdmTestDisk(uint32_t number = 0);

  void SetBytesPerSector(uint32_t bytesPerSector);
  void ClearGeometry();
  void SetDiskLength(int64_t length);
  void SetPartitionInfoError(uint32_t error);
  // One MBR partition of `type` over the disk (0x42: dynamic).
  void SetMbrLayout(uint8_t type = 0x42);
  void SetGptLayout(const std::vector<GptEntryFields>& entries);
  void SetRawLayout();
  void SetIsDevice(bool isDevice) { isDevice_ = isDevice; }

 private:
  void TakeLayout(std::vector<uint8_t> bytes);
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

// Rewrites the private header copies at `headerOffsets` of `bytes` to name
// the tables of contents at `primary` and `alternate`, checksums recomputed.
void RenameTocSectors(std::vector<uint8_t>& bytes, const std::vector<uint64_t>& headerOffsets, uint64_t primary,
                      uint64_t alternate, uint32_t sectorSize = 512);

// What `write` wrote to a stream.
std::string CaptureText(const std::function<void(FILE*)>& write);

// The lines of `text`, without their line ends.
std::vector<std::string> SplitLines(const std::string& text);

}  // namespace kestrand::test
