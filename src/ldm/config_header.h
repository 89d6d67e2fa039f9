// The config database of an LDM area: the VMDB header, the table of its
// 128-byte VBLK blocks, the groups that gather record fragments and the
// records decoded from them. The config copy's header and block list
// sections are implemented with them (CONFIG_WRAPPER, declared with the
// database).
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "ldm/field_decoder.h"
#include "ldm/records.h"
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

// ---- VBLK blocks and groups ----

constexpr uint32_t kNoBlock = 0xFFFFFFFF;

// Bits of VBLK_GROUP::State; they are only ever added.
constexpr uint16_t GROUP_STATE_BROKEN = 1;    // a fragment is missing
constexpr uint16_t GROUP_STATE_COMPLETE = 2;  // every fragment arrived
constexpr uint16_t GROUP_STATE_IGNORED = 4;   // left out by the transaction rule

// Bits of TransFlags that the transaction rule looks at.
constexpr uint16_t TRANS_FLAG_BIT0 = 0x0001;
constexpr uint16_t TRANS_FLAG_BIT1 = 0x0002;

// One block of the config area, indexed by block number. The header blocks
// keep NextBlock 0; every block the walk visits starts at kNoBlock.
struct BLOCK_ENTRY {
  VBLK_GROUP* Group;       // none for header blocks and empty blocks
  uint32_t NextBlock;      // block of the record's next fragment, kNoBlock for none
  uint32_t RecordOffset;   // where this fragment lies in the record data
  uint32_t FragmentSize;   // record-data bytes in this block
  uint16_t Flag;           // never filled: shows 0
};

// One group number met in the config area: the fragments of one record.
struct VBLK_GROUP {
  uint32_t GroupNumber = 0;
  uint16_t TypeWord = 0;    // from the preamble of fragment 0
  uint16_t TransFlags = 0;  // from the preamble of fragment 0
  uint16_t State = 0;       // GROUP_STATE_* bits
  uint32_t RecordSize = 0;  // from the preamble; 0 when fragment 0 was never seen
  uint32_t FirstBlock = kNoBlock;  // block of fragment 0; kNoBlock when unknown or broken
  RECORD_ENTRY* Entry = nullptr;   // the decoded record, once there is one

  // The record data gathered so far (fragments arrive in order); freed once
  // the record is decoded or the group breaks. It grows with the fragments, up
  // to RecordSize, instead of taking RecordSize bytes at once, so a preamble
  // that announces a large record costs nothing until its data arrives.
  std::unique_ptr<uint8_t[], CFreeDeleter> Buffer;
  uint32_t BufferCapacity = 0;

  // The parts of the type word.
  uint16_t RecordType() const { return TypeWord & 0x000F; }
  uint16_t Revision() const { return (TypeWord >> 4) & 0x000F; }
  // Bits 8-15 in place, so they compare with the flag values as written
  // (0x0200 mount name, 0x0800, 0x1000, ...).
  uint16_t RecordFlags() const { return TypeWord & 0xFF00; }

  bool IsBroken() const { return (State & GROUP_STATE_BROKEN) != 0; }
  bool IsComplete() const { return (State & GROUP_STATE_COMPLETE) != 0; }
  bool IsIgnored() const { return (State & GROUP_STATE_IGNORED) != 0; }
};

// ---- the VMDB header ----

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

// What the reports made of a header's records (record_report.cpp).
struct RECORDS_AS_SHOWN;

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
  // Kept with the header, which the disks that hold equal config areas
  // share, so that their records are not formatted once per disk.
  std::shared_ptr<RECORDS_AS_SHOWN> Shown;
  // The block list as each report shows it, made at its first showing: it
  // depends on the header alone. Mutable as a cache of what the const
  // report functions make.
  mutable std::optional<std::string> BlockListText;
  mutable std::optional<std::shared_ptr<const std::string>> BlockListXml;

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
