// The config database of an LDM area: the VMDB header, the table of its
// 128-byte VBLK blocks, the groups that gather record fragments and the
// records decoded from them.
#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "ldm/ldm_record.h"
#include "ldm/vblk_group.h"
#include "platform/types.h"

namespace kestrand {

// VMDB Status values.
constexpr uint16_t VMDB_STATUS_CLEAN = 1;
constexpr uint16_t VMDB_STATUS_CHANGE = 2;
constexpr uint16_t VMDB_STATUS_COMMIT = 3;
constexpr uint16_t VMDB_STATUS_ABORT = 4;
constexpr uint16_t VMDB_STATUS_STALE = 6;

constexpr uint32_t kVmdbBlockSize = 128;
constexpr uint32_t kVmdbHeaderSize = 512;
constexpr uint32_t kVblkHeaderSize = 16;  // magic, sequence, group, fragment number and count

// The seven counts of the active and of the pending configuration; the last
// two are stored without a known use.
struct VMDB_COUNTS {
  uint32_t Volumes;
  uint32_t Plexes;
  uint32_t SubDisks;
  uint32_t DiskMedia;
  uint32_t PhysicalDisks;
  uint32_t Count6;
  uint32_t Count7;
};

struct CONFIG_HEADER {
  RECORD_LIST RecordList;
  GUID PackId = {};
  char PackName[32] = {};  // at most 31 characters
  uint64_t ActiveSequence = 0;
  uint64_t PendingSequence = 0;
  uint16_t Status = 0;
  uint32_t NumBlocks = 0;   // blocks of the whole region, header blocks included
  uint32_t BlockSize = 0;
  uint32_t HeaderSize = 0;
  uint16_t Flags = 0;       // no header field fills it: stays 0
  uint16_t VersionMajor = 0;
  uint16_t VersionMinor = 0;
  // The groups in the order they were created; AddGroup appends.
  std::vector<std::unique_ptr<VBLK_GROUP>> GroupList;
  // BlockTableCount entries (NumBlocks once created), indexed by block number.
  std::unique_ptr<BLOCK_ENTRY[]> BlockTable;
  uint32_t BlockTableCount = 0;
  VMDB_COUNTS ActiveCounts = {};
  VMDB_COUNTS PendingCounts = {};

  // Decodes the VMDB header at `cursor` (`regionSize` bytes available) and
  // moves the cursor past the decoded fields. 0, or 0xC0380002 with the
  // cursor and every member left as they were.
  NTSTATUS ParseConfigHeader(const uint8_t*& cursor, uint64_t regionSize);

  // One zeroed entry per block (NumBlocks). false when memory runs out.
  bool CreateBlockTable();

  // Walks the blocks from `cursor`: `byteCount` bytes (the region size minus
  // HeaderSize) whose first block lies `firstOffset` bytes into the region.
  // Creates the block table first when there is none. 0 (the cursor moves by
  // byteCount), 0xC0380002 for a broken format, 0xC000009A when memory runs
  // out, or a record's decoding failure. The walk stops at the first error;
  // what was gathered until then stays.
  NTSTATUS ParseConfigBlocks(const uint8_t*& cursor, uint64_t byteCount, uint32_t firstOffset);

  // Decodes a whole config area held in memory, from its VMDB header on:
  // the header, then the NumBlocks x BlockSize bytes it announces. 0xC0380002
  // also when `size` is shorter than that.
  NTSTATUS Initialize(const uint8_t* data, uint64_t size);

  // Appends a group at the end of the group list.
  VBLK_GROUP& AddGroup(std::unique_ptr<VBLK_GROUP> group);
  // The first group in the list with this number, or none.
  VBLK_GROUP* FindGroup(uint32_t groupNumber) const;

 private:
  // ParseConfigBlocks without the clean-up at its end.
  NTSTATUS WalkBlocks(const uint8_t*& cursor, uint64_t byteCount, uint32_t firstOffset);
  // Frees the index of FindGroup; it is rebuilt when asked again.
  void ReleaseGroupIndex() const;

  // Group number -> the first group with it among the first indexedGroups_
  // of the list, so that the walk does not search the list for every block.
  // Whenever it does not cover the list exactly it is rebuilt from it.
  mutable std::unordered_map<uint32_t, VBLK_GROUP*> groupIndex_;
  mutable size_t indexedGroups_ = 0;
};

// Stores one fragment of `group` (`length` bytes at `recordOffset` of the
// record data) and decodes the record into `list` once the group is
// complete; the gathering buffer is freed after that in every case. 0,
// 0xC000009A, or CreateRecord's failure. The cursor moves by `length`.
NTSTATUS AddFragment(VBLK_GROUP& group, const uint8_t*& cursor, uint32_t length,
                     uint32_t recordOffset, RECORD_LIST& list);

}  // namespace kestrand
