// The config database: the VMDB header, the walk over the VBLK blocks that
// gathers record fragments per group number (a group whose fragments arrive
// out of order is broken, a complete group becomes a record), and the config
// header and block list sections of one config copy (text and XML), which
// the record sections follow.
#include "ldm/config_header.h"

#include <cstring>
#include <new>

#include "common/formatters.h"
#include "common/text_format.h"
#include "ldm/ldm_database.h"
#include "ldm/record_report.h"
#include "ldm/report_values.h"

namespace kestrand {

// ---- the VMDB header ----

namespace {

constexpr char kVmdbMagic[4] = {'V', 'M', 'D', 'B'};
constexpr uint16_t kVmdbVersionMajor = 4;
constexpr uint16_t kMinorWithTrailingValue = 10;

// The VMDB header as decoded, before its rules are checked; kept apart so
// that a header that breaks a rule leaves the CONFIG_HEADER untouched.
struct VMDB_FIELDS {
  uint32_t NumBlocks;
  uint32_t BlockSize;
  uint32_t HeaderSize;
  uint16_t Status;
  uint16_t VersionMajor;
  uint16_t VersionMinor;
  char PackName[32];
  GUID PackId;
  uint64_t ActiveSequence;
  uint64_t PendingSequence;
  VMDB_COUNTS ActiveCounts;
  VMDB_COUNTS PendingCounts;
  uint64_t TrailingValue;  // at 0xBD from minor version 10 on; not kept
};

using F = VMDB_FIELDS;
using C = VMDB_COUNTS;

// From 0x04, just past the magic.
constexpr FIELD_DESC kSizesAndVersion[] = {
    Field<F, FIELD_U32, &F::NumBlocks>(),    Field<F, FIELD_U32, &F::BlockSize>(),
    Field<F, FIELD_U32, &F::HeaderSize>(),   Field<F, FIELD_U16, &F::Status>(),
    Field<F, FIELD_U16, &F::VersionMajor>(), Field<F, FIELD_U16, &F::VersionMinor>(),
};
// From 0x16.
constexpr FIELD_DESC kPackAndSequences[] = {
    Field<F, FIELD_BYTES, &F::PackName, 31>(),
    Field<F, FIELD_GUID_TEXT, &F::PackId, 64>(),
    Field<F, FIELD_U64, &F::ActiveSequence>(),
    Field<F, FIELD_U64, &F::PendingSequence>(),
};
// At 0x85 (active) and 0xA1 (pending).
constexpr FIELD_DESC kCounts[] = {
    Field<C, FIELD_U32, &C::Volumes>(),       Field<C, FIELD_U32, &C::Plexes>(),
    Field<C, FIELD_U32, &C::SubDisks>(),      Field<C, FIELD_U32, &C::DiskMedia>(),
    Field<C, FIELD_U32, &C::PhysicalDisks>(), Field<C, FIELD_U32, &C::Count6>(),
    Field<C, FIELD_U32, &C::Count7>(),
};
constexpr FIELD_DESC kTrailingValue[] = {Field<F, FIELD_U64, &F::TrailingValue>()};

uint32_t Remaining(const uint8_t* cursor, const uint8_t* end) {
  return static_cast<uint32_t>(end - cursor);
}

// Decodes the fields after the magic; the cursor ends past the last one, or
// is none when a field did not fit.
const uint8_t* DecodeVmdbFields(VMDB_FIELDS& fields, const uint8_t* cursor, const uint8_t* end) {
  cursor = DecodeFields(kSizesAndVersion, &fields, cursor, Remaining(cursor, end));
  if (cursor == nullptr || fields.VersionMajor != kVmdbVersionMajor) return nullptr;
  cursor = DecodeFields(kPackAndSequences, &fields, cursor, Remaining(cursor, end));
  if (cursor == nullptr) return nullptr;
  cursor = DecodeFields(kCounts, &fields.ActiveCounts, cursor, Remaining(cursor, end));
  if (cursor == nullptr) return nullptr;
  cursor = DecodeFields(kCounts, &fields.PendingCounts, cursor, Remaining(cursor, end));
  if (cursor == nullptr) return nullptr;
  if (fields.VersionMinor >= kMinorWithTrailingValue)
    cursor = DecodeFields(kTrailingValue, &fields, cursor, Remaining(cursor, end));
  return cursor;
}

}  // namespace

NTSTATUS CONFIG_HEADER::ParseConfigHeader(const uint8_t*& cursor, uint64_t regionSize) {
  if (cursor == nullptr || regionSize < sizeof(kVmdbMagic) ||
      std::memcmp(cursor, kVmdbMagic, sizeof(kVmdbMagic)) != 0)
    return STATUS_LDM_CONFIG_BROKEN_CODE;

  // The header is a few hundred bytes: a 32-bit window is plenty.
  const uint64_t window = regionSize < UINT32_MAX ? regionSize : UINT32_MAX;
  const uint8_t* const end = cursor + window;
  VMDB_FIELDS fields{};
  const uint8_t* next = DecodeVmdbFields(fields, cursor + sizeof(kVmdbMagic), end);
  if (next == nullptr || fields.BlockSize != kVmdbBlockSize || fields.HeaderSize != kVmdbHeaderSize)
    return STATUS_LDM_CONFIG_BROKEN_CODE;

  NumBlocks = fields.NumBlocks;
  BlockSize = fields.BlockSize;
  HeaderSize = fields.HeaderSize;
  Status = fields.Status;
  VersionMajor = fields.VersionMajor;
  VersionMinor = fields.VersionMinor;
  std::memset(PackName, 0, sizeof(PackName));
  for (size_t i = 0; i + 1 < sizeof(PackName) && fields.PackName[i] != '\0'; ++i)
    PackName[i] = fields.PackName[i];
  PackId = fields.PackId;
  ActiveSequence = fields.ActiveSequence;
  PendingSequence = fields.PendingSequence;
  ActiveCounts = fields.ActiveCounts;
  PendingCounts = fields.PendingCounts;
  cursor = next;
  return STATUS_SUCCESS_CODE;
}

bool CONFIG_HEADER::CreateBlockTable() {
  BlockTable.reset(new (std::nothrow) BLOCK_ENTRY[NumBlocks]());
  BlockTableCount = BlockTable ? NumBlocks : 0;
  return BlockTable != nullptr || NumBlocks == 0;
}

NTSTATUS CONFIG_HEADER::Initialize(const uint8_t* data, uint64_t size) {
  const uint8_t* cursor = data;
  const NTSTATUS status = ParseConfigHeader(cursor, size);
  if (status != STATUS_SUCCESS_CODE) return status;

  const uint64_t areaSize = static_cast<uint64_t>(NumBlocks) * BlockSize;
  if (areaSize > size || areaSize < HeaderSize) return STATUS_LDM_CONFIG_BROKEN_CODE;
  if (!CreateBlockTable()) return STATUS_INSUFFICIENT_RESOURCES_CODE;
  cursor = data + HeaderSize;
  return ParseConfigBlocks(cursor, areaSize - HeaderSize, HeaderSize);
}

VBLK_GROUP& CONFIG_HEADER::AddGroup(std::unique_ptr<VBLK_GROUP> group) {
  VBLK_GROUP& added = *group;
  // Only an index that covers every earlier group takes the new one; an
  // earlier group with the same number stays the one found.
  if (indexedGroups_ == GroupList.size()) {
    groupIndex_.emplace(added.GroupNumber, &added);
    ++indexedGroups_;
  }
  GroupList.push_back(std::move(group));
  return added;
}

VBLK_GROUP* CONFIG_HEADER::FindGroup(uint32_t groupNumber) const {
  if (indexedGroups_ != GroupList.size()) {
    ReleaseGroupIndex();
    for (const auto& group : GroupList) groupIndex_.emplace(group->GroupNumber, group.get());
    indexedGroups_ = GroupList.size();
  }
  const auto found = groupIndex_.find(groupNumber);
  return found == groupIndex_.end() ? nullptr : found->second;
}

void CONFIG_HEADER::ReleaseGroupIndex() const {
  std::unordered_map<uint32_t, VBLK_GROUP*>().swap(groupIndex_);
  indexedGroups_ = 0;
}

// ---- the block walk ----

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

class CBlockWalk {
 public:
  explicit CBlockWalk(CONFIG_HEADER& header) : header_(header), payload_(header.BlockSize - kVblkHeaderSize) {}

  NTSTATUS VisitBlock(const uint8_t* bytes, uint32_t blockNumber);

 private:
  NTSTATUS AddFirstFragment(const VBLK_BLOCK& block, uint32_t blockNumber, BLOCK_ENTRY& entry);
  NTSTATUS AddLaterFragment(const VBLK_BLOCK& block, uint32_t blockNumber, BLOCK_ENTRY& entry);
  bool FindChainEnd(const VBLK_GROUP& group, uint32_t& lastBlock) const;
  void Break(VBLK_GROUP& group);

  CONFIG_HEADER& header_;
  uint32_t payload_;
};

NTSTATUS CBlockWalk::VisitBlock(const uint8_t* bytes, uint32_t blockNumber) {
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

NTSTATUS CBlockWalk::AddFirstFragment(const VBLK_BLOCK& block, uint32_t blockNumber, BLOCK_ENTRY& entry) {
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

NTSTATUS CBlockWalk::AddLaterFragment(const VBLK_BLOCK& block, uint32_t blockNumber, BLOCK_ENTRY& entry) {
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
bool CBlockWalk::FindChainEnd(const VBLK_GROUP& group, uint32_t& lastBlock) const {
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

void CBlockWalk::Break(VBLK_GROUP& group) {
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

  CBlockWalk walk(*this);
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

// ---- the config header and block list sections ----

namespace {

// The block list shows the first blocks only, and no fragment larger than a
// real one could be.
constexpr uint32_t kListedBlocks = 32;
constexpr uint32_t kLargestListedFragment = 10000;

const char* StatusWord(uint16_t status) {
  switch (status) {
    case VMDB_STATUS_CLEAN: return "Clean";
    case VMDB_STATUS_CHANGE: return "Change";
    case VMDB_STATUS_COMMIT: return "Commit";
    case VMDB_STATUS_ABORT: return "Abort";
    case VMDB_STATUS_STALE: return "Stale";
    default: return nullptr;
  }
}

// Blocks the lists may show: the first 32, never more than the header
// announces or the table holds.
uint32_t ListedBlockCount(const CONFIG_HEADER& header) {
  uint32_t count = header.NumBlocks < kListedBlocks ? header.NumBlocks : kListedBlocks;
  if (!header.BlockTable) return 0;
  return count < header.BlockTableCount ? count : header.BlockTableCount;
}

void PrintCounts(FILE* stream, const char16_t* label, uint64_t sequence, const VMDB_COUNTS& counts) {
  PrintWide(stream, u"%-12s Sequence=%I64u Volumes=%lu Plexes=%lu SubDisks=%lu DiskMedia=%lu PhysicalDisks=%lu\n",
            label, sequence, counts.Volumes, counts.Plexes, counts.SubDisks, counts.DiskMedia, counts.PhysicalDisks);
}

void PrintBlockList(FILE* stream, const CONFIG_HEADER& header) {
  if (!header.BlockListText) {
    std::string text;
    const uint32_t count = ListedBlockCount(header);
    for (uint32_t i = 0; i < count; ++i) {
      const BLOCK_ENTRY& entry = header.BlockTable[i];
      if (entry.FragmentSize > kLargestListedFragment || !entry.Group) continue;
      AppendWide(text, u"BlockNumber: %-3lu Flag=0x%04x Ref=%-4lu Offset=%-8lu FragmentSize=%-4lu\n", i, entry.Flag,
                 entry.Group->GroupNumber, entry.RecordOffset, entry.FragmentSize);
    }
    text += '\n';
    header.BlockListText = std::move(text);
  }
  WriteBytes(stream, *header.BlockListText);
}

void AddCountAttributes(CAttributeAdder& add, const char* prefix, uint64_t sequence, const VMDB_COUNTS& counts) {
  const std::string p(prefix);
  add.Number((p + "Sequence").c_str(), sequence);
  add.Number((p + "Volumes").c_str(), counts.Volumes);
  add.Number((p + "Plexes").c_str(), counts.Plexes);
  add.Number((p + "SubDisks").c_str(), counts.SubDisks);
  add.Number((p + "DisksCount").c_str(), counts.DiskMedia);
  add.Number((p + "PhysicalDisksCount").c_str(), counts.PhysicalDisks);
}

// The Block elements, written straight into bytes once per header: leaves
// that nothing looks at again.
std::shared_ptr<const std::string> BlockElements(const CONFIG_HEADER& header) {
  std::string bytes;
  const uint32_t count = ListedBlockCount(header);
  for (uint32_t i = 0; i < count; ++i) {
    const BLOCK_ENTRY& entry = header.BlockTable[i];
    // Blocks without a group are listed too: the header blocks show next block 0.
    if (entry.FragmentSize > kLargestListedFragment) continue;
    std::string caption = "Block ";
    AppendDecimal(caption, i + 1);
    CElementBytes block(bytes, "Block");
    CAttributeAdder& add = block.Add();
    add.Display(caption.c_str(), "3");
    add.Number("NextBlockNumber", entry.NextBlock);
    add.Flags("TransFlags", entry.Flag);
    add.Number("BlockNumber", i);
    add.Number("Offset", entry.RecordOffset);
    add.Number("FragmentSize", entry.FragmentSize);
    block.End();
  }
  return bytes.empty() ? nullptr : ShareFragment(std::move(bytes));
}

uint32_t AddBlockList(CKestrandTreeNode* parent, const CONFIG_HEADER& header) {
  uint32_t code = 0;
  CKestrandTreeNode* list = AddDisplayedChild(parent, "BlockList", "Block List", "3", code);
  if (!list) return code;
  if (!header.BlockListXml) header.BlockListXml = BlockElements(header);
  const std::shared_ptr<const std::string>& blocks = *header.BlockListXml;
  if (blocks && !list->AddFragment(blocks)) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  return 0;
}

}  // namespace

uint32_t CONFIG_WRAPPER::PrintText(FILE* stream) const {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  if (!ReadAttempted || ReadStatus < 0 || !Header) return 0;
  const uint32_t sectorSize = BytesPerSector();
  if (sectorSize == 0) return ERROR_INVALID_DATA_CODE;
  const CONFIG_HEADER& h = *Header;

  PrintWide(stream, u"----- LDM Database Config Header -----\n\n");
  PrintWide(stream, u"%-12s 01\n", u"Config copy:");
  PrintWide(stream, u"%-12s %s\n", u"Magic Str:", AnsiToWide(Magic));
  PrintWide(stream, u"%-12s %d\n", u"SectorOffset:", Offset / sectorSize);
  PrintWide(stream, u"%-12s NumBlocks=%lu BlockSize=%lu HeaderSize=%lu\n", u"Header:", h.NumBlocks, h.BlockSize,
            h.HeaderSize);
  PrintWide(stream, u"%-12s ", u"Status:");
  if (const char* word = StatusWord(h.Status))
    PrintWide(stream, u"%s\n", word);
  else
    PrintWide(stream, u"Unknown (0x%04x)\n", h.Status);
  PrintWide(stream, u"%-12s %s\n", u"Pack:", AnsiToWide(h.PackName));
  PrintWide(stream, u"%-12s %s\n", u"PackId:", GuidText(h.PackId));
  PrintWide(stream, u"%-12s 0x%04x\n", u"Flags:", h.Flags);
  PrintCounts(stream, u"Active:", h.ActiveSequence, h.ActiveCounts);
  PrintCounts(stream, u"Pending", h.PendingSequence, h.PendingCounts);
  PrintWide(stream, u"\n");

  PrintBlockList(stream, h);
  return PrintRecordSection(stream, *this);
}

uint32_t CONFIG_WRAPPER::AddToReport(CKestrandTreeNode* node) const {
  if (!node) return ERROR_INVALID_PARAMETER_CODE;
  if (!ReadAttempted || ReadStatus < 0 || !Header) return 0;
  const uint32_t sectorSize = BytesPerSector();
  if (sectorSize == 0) return ERROR_INVALID_DATA_CODE;
  const CONFIG_HEADER& h = *Header;

  // A leaf that nothing looks at again: written straight into bytes.
  std::string bytes;
  CElementBytes element(bytes, "ConfigHeader");
  CAttributeAdder& add = element.Add();
  add.Display((std::string("Config Header ") + Name).c_str(), "3");
  add.Wide("MagicString", AnsiToWide(Magic));
  add.Number("SectorOffset", Offset / sectorSize);
  add.Number("BlocksCount", h.NumBlocks);
  add.Number("BlockSize", h.BlockSize);
  add.Number("HeaderSize", h.HeaderSize);
  const char* status = StatusWord(h.Status);
  add.Text("Status", status ? status : "Unknown");
  add.Text("Pack", h.PackName);
  add.Guid("PackId", h.PackId);
  add.Flags("Flags", h.Flags);
  AddCountAttributes(add, "Active", h.ActiveSequence, h.ActiveCounts);
  AddCountAttributes(add, "Pending", h.PendingSequence, h.PendingCounts);
  return CFirstCode()
      .Then([&] { return AddEndedElement(node, element, std::move(bytes)); })
      .Then([&] { return AddBlockList(node, h); })
      .Then([&] { return AddRecordsToReport(*this, node); })
      .Code();
}

}  // namespace kestrand
