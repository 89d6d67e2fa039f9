// Our own reader of MBR (with extended boot records) and GPT partition
// tables. It answers what the Windows layout and partition information
// queries answer, so platforms without those queries (Linux, image-backed
// test disks) can hand the tool the same buffers. Everything it reads is
// treated as hostile: offsets are checked against the disk size, chains of
// extended boot records are capped and loop-proof, GPT sizes are capped.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "platform/types.h"

namespace kestrand {

constexpr WIN32_ERROR ERROR_DISK_CORRUPT_CODE = 1393;

// Reads `length` bytes at byte `offset` into `buffer`; returns an NTSTATUS.
// A short read with success leaves the rest of the buffer as it was.
using ByteReadFunction = std::function<NTSTATUS(int64_t offset, uint32_t length, void* buffer)>;

struct PartitionTableSource {
  ByteReadFunction Read;
  uint32_t BytesPerSector = 512;
  int64_t DiskSize = 0;  // bytes; nothing at or beyond it is read
};

// Limits against hostile tables.
constexpr uint32_t kMaxExtendedBootRecords = 128;
constexpr uint32_t kMaxGptEntryCount = 16384;
constexpr uint32_t kMaxGptEntrySize = 4096;
constexpr uint32_t kMaxGptEntryArrayBytes = 4u << 20;

// Builds the DRIVE_LAYOUT_INFORMATION_EX bytes: the 48-byte head followed by
// PartitionCount entries of 144 bytes.
// - MBR: the four primary slots (empty ones all zero), then the four slots of
//   every extended boot record of the chain. An MBR whose four slots are all
//   empty gives PartitionCount 0.
// - GPT (an MBR slot of type 0xEE): one entry per used slot of the first
//   valid header copy (primary at LBA 1, else the backup at the last LBA);
//   ERROR_DISK_CORRUPT (1393) when neither copy is valid.
// - No 0x55AA signature, or a boot indicator other than 0 and 0x80 (a file
//   system boot sector, not a table): RAW, PartitionCount 0.
// A failed read returns its Win32 code; invalid sizes return 87.
WIN32_ERROR ReadDriveLayout(const PartitionTableSource& source, std::vector<uint8_t>& layout);

// The partition information of the whole disk (partition 0): the table's
// style (from sector 0 alone), StartingOffset 0, PartitionLength the disk
// size, PartitionNumber 0.
WIN32_ERROR ReadWholeDiskPartitionInfo(const PartitionTableSource& source,
                                       PARTITION_INFORMATION_EX& info);

// Copies layout bytes into a caller buffer of `size` bytes; 122
// (ERROR_INSUFFICIENT_BUFFER) when they do not fit, leaving it untouched.
WIN32_ERROR CopyDriveLayout(const std::vector<uint8_t>& layout, void* buffer, uint32_t size);

// The partition types that the Windows storage stack calls recognized, and
// the two container (extended partition) types.
bool IsRecognizedMbrType(uint8_t type);
bool IsContainerMbrType(uint8_t type);

}  // namespace kestrand
