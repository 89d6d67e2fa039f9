// The VBLK blocks of a config area and the groups that gather the fragments
// of one config record.
#pragma once

#include <cstdint>
#include <memory>

#include "ldm/field_decoder.h"

namespace kestrand {

struct RECORD_ENTRY;
struct VBLK_GROUP;

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

}  // namespace kestrand
