// The walk over the VBLK blocks of a config area: fragments are gathered per
// group number, a group whose fragments arrive out of order is broken, and a
// complete group becomes a record.
#include <cstring>
#include <new>

#include "ldm/big_endian.h"
#include "ldm/config_header.h"

namespace kestrand {

namespace {

constexpr char kVblkMagic[4] = {'V', 'B', 'L', 'K'};
constexpr uint32_t kPreambleSize = 8;  // TransFlags, type word, record size
// A block must be larger than this: its payload holds the preamble and data.
constexpr uint32_t kBlockSizeFloor = kVblkHeaderSize + kPreambleSize;

constexpr FIELD_DESC kPreamble[] = {
    Field<VBLK_GROUP, FIELD_U16, &VBLK_GROUP::TransFlags>(),
    Field<VBLK_GROUP, FIELD_U16, &VBLK_GROUP::TypeWord>(),
    Field<VBLK_GROUP, FIELD_U32, &VBLK_GROUP::RecordSize>(),
};

// The fragments a record of `recordSize` bytes takes with `payload` bytes per
// block; 64-bit so that a hostile size cannot wrap into a small count.
uint64_t FragmentCountFor(uint32_t recordSize, uint32_t payload) {
  return (static_cast<uint64_t>(recordSize) + kPreambleSize - 1 + payload) / payload;
}

// The transaction rule: which records of an unfinished change do not count.
bool IsIgnoredByTransaction(uint16_t status, uint16_t transFlags) {
  if ((transFlags & TRANS_FLAG_BIT1) &&
      (status == VMDB_STATUS_CLEAN || status == VMDB_STATUS_CHANGE || status == VMDB_STATUS_ABORT))
    return true;
  return (transFlags & TRANS_FLAG_BIT0) && status == VMDB_STATUS_COMMIT;
}

struct VBLK_BLOCK {
  uint32_t Sequence;
  uint32_t GroupNumber;
  uint16_t FragmentNumber;
  uint16_t FragmentCount;
  const uint8_t* Data;  // BlockSize - 16 bytes
};

class BlockWalk {
 public:
  explicit BlockWalk(CONFIG_HEADER& header) : header_(header), payload_(header.BlockSize - kVblkHeaderSize) {}

  NTSTATUS VisitBlock(const uint8_t* bytes, uint32_t blockNumber);

 private:
  NTSTATUS AddFirstFragment(const VBLK_BLOCK& block, uint32_t blockNumber, BLOCK_ENTRY& entry);
  NTSTATUS AddLaterFragment(const VBLK_BLOCK& block, uint32_t blockNumber, BLOCK_ENTRY& entry);
  bool FindChainEnd(const VBLK_GROUP& group, uint32_t& lastBlock) const;
  void Break(VBLK_GROUP& group);

  CONFIG_HEADER& header_;
  uint32_t payload_;
};

NTSTATUS BlockWalk::VisitBlock(const uint8_t* bytes, uint32_t blockNumber) {
  BLOCK_ENTRY& entry = header_.BlockTable[blockNumber];
  entry.NextBlock = kNoBlock;
  if (std::memcmp(bytes, kVblkMagic, sizeof(kVblkMagic)) != 0) return STATUS_LDM_CONFIG_BROKEN_CODE;
  const VBLK_BLOCK block{LoadBigEndian32(bytes + 4), LoadBigEndian32(bytes + 8),
                         LoadBigEndian16(bytes + 12), LoadBigEndian16(bytes + 14),
                         bytes + kVblkHeaderSize};
  if (block.Sequence != blockNumber) return STATUS_LDM_CONFIG_BROKEN_CODE;
  if (block.GroupNumber == 0) return STATUS_SUCCESS_CODE;  // an empty block
  if (block.FragmentNumber == 0) return AddFirstFragment(block, blockNumber, entry);
  return AddLaterFragment(block, blockNumber, entry);
}

NTSTATUS BlockWalk::AddFirstFragment(const VBLK_BLOCK& block, uint32_t blockNumber, BLOCK_ENTRY& entry) {
  entry.RecordOffset = 0;
  entry.FragmentSize = payload_ - kPreambleSize;
  if (header_.FindGroup(block.GroupNumber) != nullptr) return STATUS_LDM_CONFIG_BROKEN_CODE;

  std::unique_ptr<VBLK_GROUP> group(new (std::nothrow) VBLK_GROUP());
  if (!group) return STATUS_INSUFFICIENT_RESOURCES_CODE;
  if (DecodeFields(kPreamble, group.get(), block.Data, kPreambleSize) == nullptr ||
      block.FragmentCount != FragmentCountFor(group->RecordSize, payload_) ||
      (group->TransFlags & (TRANS_FLAG_BIT0 | TRANS_FLAG_BIT1)) == (TRANS_FLAG_BIT0 | TRANS_FLAG_BIT1))
    return STATUS_LDM_CONFIG_BROKEN_CODE;

  group->GroupNumber = block.GroupNumber;
  group->FirstBlock = blockNumber;
  entry.Group = group.get();
  if (entry.FragmentSize >= group->RecordSize) {
    entry.FragmentSize = group->RecordSize;
    group->State |= GROUP_STATE_COMPLETE;
  }
  if (IsIgnoredByTransaction(header_.Status, group->TransFlags)) group->State |= GROUP_STATE_IGNORED;
  VBLK_GROUP& added = header_.AddGroup(std::move(group));
  if (added.IsIgnored()) return STATUS_SUCCESS_CODE;  // its data is not kept

  const uint8_t* data = block.Data + kPreambleSize;
  return AddFragment(added, data, entry.FragmentSize, 0, header_.RecordList);
}

NTSTATUS BlockWalk::AddLaterFragment(const VBLK_BLOCK& block, uint32_t blockNumber, BLOCK_ENTRY& entry) {
  const uint64_t recordOffset = static_cast<uint64_t>(block.FragmentNumber) * payload_ - kPreambleSize;
  entry.RecordOffset = static_cast<uint32_t>(recordOffset);
  entry.FragmentSize = payload_;

  VBLK_GROUP* group = header_.FindGroup(block.GroupNumber);
  if (group == nullptr) {
    // Fragment 0 was never seen: the record cannot be gathered.
    std::unique_ptr<VBLK_GROUP> created(new (std::nothrow) VBLK_GROUP());
    if (!created) return STATUS_INSUFFICIENT_RESOURCES_CODE;
    created->GroupNumber = block.GroupNumber;
    created->State = GROUP_STATE_BROKEN;
    entry.Group = &header_.AddGroup(std::move(created));
    return STATUS_SUCCESS_CODE;
  }

  // Every fragment must agree with the size that fragment 0 announced.
  if (block.FragmentCount != FragmentCountFor(group->RecordSize, payload_)) return STATUS_LDM_CONFIG_BROKEN_CODE;
  if (group->IsComplete()) return STATUS_LDM_CONFIG_BROKEN_CODE;
  if (group->IsBroken() || group->IsIgnored()) {
    entry.Group = group;
    return STATUS_SUCCESS_CODE;
  }

  uint32_t lastBlock = 0;
  if (!FindChainEnd(*group, lastBlock)) return STATUS_LDM_CONFIG_BROKEN_CODE;
  const BLOCK_ENTRY& last = header_.BlockTable[lastBlock];
  const uint64_t gathered = static_cast<uint64_t>(last.RecordOffset) + last.FragmentSize;
  if (gathered > recordOffset) return STATUS_LDM_CONFIG_BROKEN_CODE;  // repeats a fragment
  if (gathered < recordOffset) {
    // A fragment in between is missing.
    Break(*group);
    entry.Group = group;
    return STATUS_SUCCESS_CODE;
  }
  if (recordOffset >= group->RecordSize) return STATUS_LDM_CONFIG_BROKEN_CODE;

  entry.Group = group;
  if (recordOffset + payload_ >= group->RecordSize) {
    entry.FragmentSize = static_cast<uint32_t>(group->RecordSize - recordOffset);
    group->State |= GROUP_STATE_COMPLETE;
  }
  header_.BlockTable[lastBlock].NextBlock = blockNumber;
  const uint8_t* data = block.Data;
  return AddFragment(*group, data, entry.FragmentSize, entry.RecordOffset, header_.RecordList);
}

// Follows the next-block links from the group's first block. The links only
// ever point forward, but a bound keeps a damaged table from looping.
bool BlockWalk::FindChainEnd(const VBLK_GROUP& group, uint32_t& lastBlock) const {
  uint32_t block = group.FirstBlock;
  for (uint32_t steps = 0; steps < header_.BlockTableCount; ++steps) {
    if (block >= header_.BlockTableCount) return false;
    const uint32_t next = header_.BlockTable[block].NextBlock;
    if (next == kNoBlock) {
      lastBlock = block;
      return true;
    }
    block = next;
  }
  return false;
}

void BlockWalk::Break(VBLK_GROUP& group) {
  group.State |= GROUP_STATE_BROKEN;
  group.FirstBlock = kNoBlock;
  group.Buffer.reset();
  group.BufferCapacity = 0;
}

// Makes room for `needed` bytes of the record, growing geometrically up to
// the record size.
bool ReserveGatheringBuffer(VBLK_GROUP& group, uint64_t needed) {
  if (needed <= group.BufferCapacity && group.Buffer) return true;
  uint64_t capacity = static_cast<uint64_t>(group.BufferCapacity) * 2;
  if (capacity < needed) capacity = needed;
  if (capacity > group.RecordSize) capacity = group.RecordSize;
  if (capacity == 0) capacity = 1;  // a record of size 0 still gets a buffer
  void* grown = std::realloc(group.Buffer.get(), static_cast<size_t>(capacity));
  if (grown == nullptr) return false;
  group.Buffer.release();
  group.Buffer.reset(static_cast<uint8_t*>(grown));
  group.BufferCapacity = static_cast<uint32_t>(capacity);
  return true;
}

}  // namespace

NTSTATUS AddFragment(VBLK_GROUP& group, const uint8_t*& cursor, uint32_t length,
                     uint32_t recordOffset, RECORD_LIST& list) {
  const uint64_t end = static_cast<uint64_t>(recordOffset) + length;
  if (end > group.RecordSize) return STATUS_LDM_CONFIG_BROKEN_CODE;
  if (!ReserveGatheringBuffer(group, end)) return STATUS_INSUFFICIENT_RESOURCES_CODE;
  if (length > 0) std::memcpy(group.Buffer.get() + recordOffset, cursor, length);
  cursor += length;
  if (!group.IsComplete()) return STATUS_SUCCESS_CODE;

  const uint8_t* record = group.Buffer.get();
  const NTSTATUS status = CreateRecord(list, record, group.RecordSize, group);
  group.Buffer.reset();
  group.BufferCapacity = 0;
  return status;
}

NTSTATUS CONFIG_HEADER::ParseConfigBlocks(const uint8_t*& cursor, uint64_t byteCount, uint32_t firstOffset) {
  const NTSTATUS status = WalkBlocks(cursor, byteCount, firstOffset);
  // The group index and the ids and names of the records are only looked up
  // while the blocks are walked; with every disk's copy held to the end of
  // the run they would cost memory for nothing.
  ReleaseGroupIndex();
  RecordList.ReleaseKeys();
  return status;
}

NTSTATUS CONFIG_HEADER::WalkBlocks(const uint8_t*& cursor, uint64_t byteCount, uint32_t firstOffset) {
  // BlockSize is tested first: it divides below.
  if (BlockSize <= kBlockSizeFloor || byteCount % BlockSize != 0) return STATUS_LDM_CONFIG_BROKEN_CODE;
  uint32_t blockNumber = firstOffset / BlockSize;
  if (byteCount == 0) return STATUS_SUCCESS_CODE;
  if (cursor == nullptr) return STATUS_LDM_CONFIG_BROKEN_CODE;
  if (!BlockTable && !CreateBlockTable()) return STATUS_INSUFFICIENT_RESOURCES_CODE;

  BlockWalk walk(*this);
  const uint8_t* block = cursor;
  uint64_t remaining = byteCount;
  // Bounded by the byte count and by NumBlocks: a region without an end
  // marker still ends.
  while (remaining > 0 && blockNumber < NumBlocks && blockNumber < BlockTableCount) {
    const NTSTATUS status = walk.VisitBlock(block, blockNumber);
    if (status != STATUS_SUCCESS_CODE) return status;
    block += BlockSize;
    remaining -= BlockSize;
    ++blockNumber;
  }
  if (remaining > 0) return STATUS_LDM_CONFIG_BROKEN_CODE;
  cursor += byteCount;
  return STATUS_SUCCESS_CODE;
}

}  // namespace kestrand
