#include "ldm/subdisk_record.h"

namespace kestrand {

namespace {

using S = SUBDISK_RECORD;

constexpr uint16_t kKnownFlags = SUBDISK_FLAG_HIDDEN_SECTORS | SUBDISK_FLAG_COLUMN |
                                 SUBDISK_FLAG_COLUMN_DETACH | SUBDISK_FLAG_DETACH |
                                 SUBDISK_FLAG_MINOR | SUBDISK_FLAG_LAST_DISK;

constexpr FIELD_DESC kAlways[] = {
    Field<S, FIELD_U32, &S::PersistentFlags>(),
    Field<S, FIELD_U64, &S::UpdateSequence>(),
    Field<S, FIELD_U64, &S::DiskOffset>(),
    Field<S, FIELD_U64, &S::PlexOffset>(),
    Field<S, FIELD_VAR_S64, &S::Length>(),
    Field<S, FIELD_VAR_U64, &S::PlexRecordId>(),
    Field<S, FIELD_VAR_U64, &S::DiskRecordId>(),
};
constexpr FIELD_DESC kColumnNumber[] = {Field<S, FIELD_VAR_U32, &S::ColumnNumber>()};
constexpr FIELD_DESC kDetachSequence[] = {Field<S, FIELD_U64, &S::DetachSequence>()};
constexpr FIELD_DESC kMinor[] = {Field<S, FIELD_VAR_U32, &S::Minor>()};
constexpr FIELD_DESC kHiddenSectors[] = {Field<S, FIELD_VAR_S64, &S::HiddenSectors>()};
constexpr FIELD_DESC kLastDisk[] = {Field<S, FIELD_VAR_U64, &S::LastDiskRecordId>()};

}  // namespace

void SUBDISK_RECORD::Reset() { *this = SUBDISK_RECORD(); }

NTSTATUS SUBDISK_RECORD::Parse(const uint8_t*& cursor, uint32_t bytesLeft) {
  const uint16_t flags = RecordFlags();
  if (Revision() != 3 || (flags & ~kKnownFlags) != 0) return STATUS_INVALID_PARAMETER_CODE;

  FieldChain chain(this, cursor, bytesLeft);
  chain.Decode(kAlways);
  // Flag 0x1000 announces two groups: the column number and the detach sequence.
  chain.DecodeIf(flags & (SUBDISK_FLAG_COLUMN | SUBDISK_FLAG_COLUMN_DETACH), kColumnNumber);
  chain.DecodeIf(flags & (SUBDISK_FLAG_COLUMN_DETACH | SUBDISK_FLAG_DETACH), kDetachSequence);
  chain.DecodeIf(flags & SUBDISK_FLAG_MINOR, kMinor);
  chain.DecodeIf(flags & SUBDISK_FLAG_HIDDEN_SECTORS, kHiddenSectors);
  chain.DecodeIf(flags & SUBDISK_FLAG_LAST_DISK, kLastDisk);
  return FinishParse(chain, cursor);
}

}  // namespace kestrand
