#include "ldm/volume_record.h"

namespace kestrand {

namespace {

using V = VOLUME_RECORD;

constexpr uint16_t kKnownFlags = VOLUME_FLAG_MOUNT_NAME | VOLUME_FLAG_PREFERRED_PLEX |
                                 VOLUME_FLAG_APP_RECOVERY | VOLUME_FLAG_LOG_RECORD |
                                 VOLUME_FLAG_NUMBER_4000 | VOLUME_FLAG_NUMBER_8000;

constexpr FIELD_DESC kAlways[] = {
    Field<V, FIELD_STRING, &V::UsageType>(),
    Field<V, FIELD_STRING, &V::FileSystemType>(),
    Field<V, FIELD_BYTES, &V::State, 14>(),
    Field<V, FIELD_U8, &V::ReadPolicy>(),
    Field<V, FIELD_VAR_U32, &V::Minor>(),
    Field<V, FIELD_U32, &V::PersistentFlags>(),
    Field<V, FIELD_VAR_U32, &V::NumPlexes>(),
    Field<V, FIELD_U64, &V::UpdateSequence>(),
    Field<V, FIELD_U64, &V::DetachSeqNum>(),
    Field<V, FIELD_VAR_S64, &V::Length>(),
    Field<V, FIELD_VAR_S64, &V::LogLength>(),
};
constexpr FIELD_DESC kPartitionType[] = {Field<V, FIELD_U32, &V::PartitionType>()};
constexpr FIELD_DESC kVolumeGuid[] = {Field<V, FIELD_GUID, &V::VolumeGuid>()};
constexpr FIELD_DESC kPreferredPlex[] = {Field<V, FIELD_VAR_U64, &V::PrefferedPlexRecordId>()};
constexpr FIELD_DESC kLogRecord[] = {Field<V, FIELD_VAR_U64, &V::LogRecordId>()};
constexpr FIELD_DESC kNumber4000[] = {Field<V, FIELD_VAR_U32, &V::Number4000>()};
constexpr FIELD_DESC kNumber8000[] = {Field<V, FIELD_VAR_S64, &V::Number8000>()};
constexpr FIELD_DESC kAppRecovery[] = {Field<V, FIELD_VAR_U32, &V::AppRecovery>()};
constexpr FIELD_DESC kMountName[] = {Field<V, FIELD_WSTRING, &V::MountName>()};

}  // namespace

void VOLUME_RECORD::Reset() { *this = VOLUME_RECORD(); }

NTSTATUS VOLUME_RECORD::Parse(const uint8_t*& cursor, uint32_t bytesLeft) {
  const uint16_t revision = Revision();
  const uint16_t flags = RecordFlags();
  if (revision < 3 || revision > 5 || (flags & ~kKnownFlags) != 0) return STATUS_INVALID_PARAMETER_CODE;

  FieldChain chain(this, cursor, bytesLeft);
  chain.Decode(kAlways);
  chain.DecodeIf(revision >= 4, kPartitionType);
  chain.DecodeIf(revision == 5, kVolumeGuid);
  // The optional groups lie in this order, whatever their flag values.
  chain.DecodeIf(flags & VOLUME_FLAG_PREFERRED_PLEX, kPreferredPlex);
  chain.DecodeIf(flags & VOLUME_FLAG_LOG_RECORD, kLogRecord);
  chain.DecodeIf(flags & VOLUME_FLAG_NUMBER_4000, kNumber4000);
  chain.DecodeIf(flags & VOLUME_FLAG_NUMBER_8000, kNumber8000);
  chain.DecodeIf(flags & VOLUME_FLAG_APP_RECOVERY, kAppRecovery);
  chain.DecodeIf(flags & VOLUME_FLAG_MOUNT_NAME, kMountName);
  return FinishParse(chain, cursor);
}

}  // namespace kestrand
