#include "ldm/plex_record.h"

namespace kestrand {

namespace {

using P = PLEX_RECORD;

constexpr FIELD_DESC kAlways[] = {
    Field<P, FIELD_STRING, &P::State>(),
    Field<P, FIELD_U8, &P::Layout>(),
    Field<P, FIELD_U32, &P::PersistentFlags>(),
    Field<P, FIELD_VAR_U32, &P::SubdiskCount>(),
    Field<P, FIELD_U64, &P::UpdateSequence>(),
    Field<P, FIELD_U64, &P::DetachSequence>(),
    Field<P, FIELD_VAR_U64, &P::VolumeRecordId>(),
    Field<P, FIELD_VAR_U64, &P::LogRecordId>(),
};
constexpr FIELD_DESC kStripes[] = {
    Field<P, FIELD_VAR_S64, &P::StripeWidth>(),
    Field<P, FIELD_VAR_U32, &P::ColumnCount>(),
};

}  // namespace

void PLEX_RECORD::Reset() { *this = PLEX_RECORD(); }

NTSTATUS PLEX_RECORD::Parse(const uint8_t*& cursor, uint32_t bytesLeft) {
  const uint16_t flags = RecordFlags();
  if (Revision() != 3 || (flags & ~PLEX_FLAG_STRIPES) != 0) return STATUS_INVALID_PARAMETER_CODE;

  FieldChain chain(this, cursor, bytesLeft);
  chain.Decode(kAlways);
  chain.DecodeIf(flags & PLEX_FLAG_STRIPES, kStripes);
  return FinishParse(chain, cursor);
}

}  // namespace kestrand
