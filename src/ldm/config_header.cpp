#include "ldm/config_header.h"

#include <cstring>
#include <new>

namespace kestrand {

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

}  // namespace kestrand
