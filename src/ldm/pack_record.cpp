#include "ldm/pack_record.h"

namespace kestrand {

namespace {

using K = PACK_RECORD;

constexpr uint16_t kKnownFlags = PACK_FLAG_COPIES | PACK_FLAG_BASE_MINOR;

constexpr FIELD_DESC kRevision3[] = {
    Field<K, FIELD_GUID_TEXT_VAR, &K::PackId>(),
    Field<K, FIELD_U32, &K::PersistentFlags>(),
    Field<K, FIELD_U64, &K::UpdateSequence>(),
};
constexpr FIELD_DESC kRevision4[] = {
    Field<K, FIELD_GUID, &K::PackId>(),
    Field<K, FIELD_GUID, &K::DiskSetId>(),
    Field<K, FIELD_U32, &K::PersistentFlags>(),
    Field<K, FIELD_U64, &K::UpdateSequence>(),
};
constexpr FIELD_DESC kCopies[] = {
    Field<K, FIELD_VAR_U32, &K::ConfigCopiesCount>(),
    Field<K, FIELD_VAR_U32, &K::LogCopiesCount>(),
};
constexpr FIELD_DESC kBaseMinor[] = {Field<K, FIELD_VAR_U32, &K::BaseMinor>()};

}  // namespace

void PACK_RECORD::Reset() { *this = PACK_RECORD(); }

NTSTATUS PACK_RECORD::Parse(const uint8_t*& cursor, uint32_t bytesLeft) {
  const uint16_t revision = Revision();
  const uint16_t flags = RecordFlags();
  if ((revision != 3 && revision != 4) || (flags & ~kKnownFlags) != 0) return STATUS_INVALID_PARAMETER_CODE;

  FieldChain chain(this, cursor, bytesLeft);
  chain.DecodeIf(revision == 3, kRevision3);
  chain.DecodeIf(revision == 4, kRevision4);
  chain.DecodeIf(flags & PACK_FLAG_COPIES, kCopies);
  chain.DecodeIf(flags & PACK_FLAG_BASE_MINOR, kBaseMinor);
  return FinishParse(chain, cursor);
}

}  // namespace kestrand
