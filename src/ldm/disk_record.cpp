#include "ldm/disk_record.h"

namespace kestrand {

namespace {

using D = DISK_RECORD;

constexpr FIELD_DESC kRevision3[] = {
    Field<D, FIELD_GUID_TEXT_VAR, &D::DiskId>(),
    Field<D, FIELD_WSTRING, &D::DeviceInstance>(),
    Field<D, FIELD_U32, &D::PersistentFlags>(),
    Field<D, FIELD_U64, &D::UpdateSequence>(),
};
constexpr FIELD_DESC kRevision4[] = {
    Field<D, FIELD_GUID, &D::DiskId>(),
    Field<D, FIELD_GUID, &D::LastDiskSetId>(),
    Field<D, FIELD_WSTRING, &D::DeviceInstance>(),
    Field<D, FIELD_U32, &D::PersistentFlags>(),
    Field<D, FIELD_U64, &D::UpdateSequence>(),
};

}  // namespace

void DISK_RECORD::Reset() { *this = DISK_RECORD(); }

NTSTATUS DISK_RECORD::Parse(const uint8_t*& cursor, uint32_t bytesLeft) {
  const uint16_t revision = Revision();
  // A disk record knows no record flag at all.
  if ((revision != 3 && revision != 4) || RecordFlags() != 0) return STATUS_INVALID_PARAMETER_CODE;

  FieldChain chain(this, cursor, bytesLeft);
  chain.DecodeIf(revision == 3, kRevision3);
  chain.DecodeIf(revision == 4, kRevision4);
  return FinishParse(chain, cursor);
}

}  // namespace kestrand
