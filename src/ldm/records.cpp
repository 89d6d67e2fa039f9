// Config records: the common header and the record list, then each record
// class with its field tables beside the Parse that walks them.
#include "ldm/records.h"

#include <cstring>
#include <new>

#include "ldm/config_header.h"

namespace kestrand {

// ---- the common header and the record list ----

namespace {

constexpr FIELD_DESC kRecordId[] = {Field<RECORD_ENTRY, FIELD_VAR_U64, &RECORD_ENTRY::RecordId>()};
constexpr FIELD_DESC kRecordName[] = {Field<LDM_RECORD, FIELD_STRING, &LDM_RECORD::RecordName>()};

// The object of the class for `type`; none for an unknown type or when memory
// runs out (told apart by the caller through the type).
LDM_RECORD* NewRecordObject(uint16_t type) {
  switch (type) {
    case RECORD_TYPE_VOLUME: return new (std::nothrow) VOLUME_RECORD();
    case RECORD_TYPE_PLEX: return new (std::nothrow) PLEX_RECORD();
    case RECORD_TYPE_SUBDISK: return new (std::nothrow) SUBDISK_RECORD();
    case RECORD_TYPE_DISK: return new (std::nothrow) DISK_RECORD();
    case RECORD_TYPE_PACK: return new (std::nothrow) PACK_RECORD();
    default: return nullptr;
  }
}

bool IsKnownRecordType(uint16_t type) { return type >= RECORD_TYPE_VOLUME && type <= RECORD_TYPE_PACK; }

// The name up to its terminator; the buffer always holds one, the bound
// only guards against a record that was not reset.
size_t NameLength(const char* recordName) {
  const void* terminator = std::memchr(recordName, '\0', kRecordNameSize);
  return terminator ? static_cast<size_t>(static_cast<const char*>(terminator) - recordName) : kRecordNameSize;
}

// The first slot to probe in a table of `size` slots (a power of two).
size_t Home(uint64_t key, size_t size) {
  key ^= key >> 33;
  key *= 0xff51afd7ed558ccdULL;
  key ^= key >> 33;
  return static_cast<size_t>(key) & (size - 1);
}

uint32_t NameHash(const char* name, size_t length) {
  uint64_t hash = 0xcbf29ce484222325ULL;
  for (size_t i = 0; i < length; ++i) hash = (hash ^ static_cast<unsigned char>(name[i])) * 0x100000001b3ULL;
  return static_cast<uint32_t>(hash ^ (hash >> 32));
}

void AdvanceNextRecordId(RECORD_LIST& list, uint64_t recordId) {
  if (recordId < list.NextRecordId) return;
  list.NextRecordId = recordId + 1;
  if (list.NextRecordId == 0) list.NextRecordId = 1;
}

// The end of every Parse: 0xC000000D when a field did not decode, otherwise
// the cursor moves past the decoded fields.
NTSTATUS FinishParse(const CFieldChain& chain, const uint8_t*& cursor) {
  if (chain.Failed()) return STATUS_INVALID_PARAMETER_CODE;
  cursor = chain.Cursor();
  return STATUS_SUCCESS_CODE;
}

}  // namespace

bool RECORD_LIST::Holds(uint64_t recordId, const char* recordName) {
  if (keyedEntries_ != Entries.size()) {
    ReleaseKeys();
    for (size_t i = 0; i < Entries.size(); ++i) KeyEntry(*Entries[i], i);
  }
  if (idSlots_.empty()) return false;
  const size_t mask = idSlots_.size() - 1;
  for (size_t slot = Home(recordId, idSlots_.size()); idUsed_[slot]; slot = (slot + 1) & mask)
    if (idSlots_[slot] == recordId) return true;
  const size_t length = NameLength(recordName);
  const uint32_t hash = NameHash(recordName, length);
  for (size_t slot = Home(hash, nameSlots_.size()); nameSlots_[slot].Entry != kNoEntry; slot = (slot + 1) & mask) {
    if (nameSlots_[slot].Hash != hash) continue;
    if (NameAt(nameSlots_[slot].Entry, recordName, length)) return true;
  }
  return false;
}

bool RECORD_LIST::NameAt(uint32_t place, const char* name, size_t length) const {
  const RECORD_ENTRY* entry = place < Entries.size() ? Entries[place].get() : nullptr;
  if (!entry || !entry->Record) return false;
  const char* kept = entry->Record->RecordName;
  return NameLength(kept) == length && std::memcmp(kept, name, length) == 0;
}

void RECORD_LIST::Append(std::unique_ptr<RECORD_ENTRY> entry) {
  // Keys are only added to a set that covers every earlier entry.
  if (keyedEntries_ == Entries.size()) KeyEntry(*entry, Entries.size());
  Entries.push_back(std::move(entry));
}

void RECORD_LIST::ReleaseKeys() {
  std::vector<uint64_t>().swap(idSlots_);
  std::vector<uint8_t>().swap(idUsed_);
  std::vector<NAME_SLOT>().swap(nameSlots_);
  keyedEntries_ = 0;
}

void RECORD_LIST::Reserve() {
  // Both tables have the same size and at most keyedEntries_ keys each.
  if ((keyedEntries_ + 1) * 2 <= idSlots_.size()) return;
  const size_t size = idSlots_.empty() ? 64 : idSlots_.size() * 2;
  std::vector<uint64_t> ids(size);
  std::vector<uint8_t> used(size);
  std::vector<NAME_SLOT> names(size);
  const size_t mask = size - 1;
  for (size_t i = 0; i < idSlots_.size(); ++i) {
    if (idUsed_[i]) {
      size_t slot = Home(idSlots_[i], size);
      while (used[slot]) slot = (slot + 1) & mask;
      ids[slot] = idSlots_[i];
      used[slot] = 1;
    }
    if (nameSlots_[i].Entry != kNoEntry) {
      size_t slot = Home(nameSlots_[i].Hash, size);
      while (names[slot].Entry != kNoEntry) slot = (slot + 1) & mask;
      names[slot] = nameSlots_[i];
    }
  }
  idSlots_.swap(ids);
  idUsed_.swap(used);
  nameSlots_.swap(names);
}

void RECORD_LIST::KeyEntry(const RECORD_ENTRY& entry, size_t place) {
  Reserve();
  const size_t mask = idSlots_.size() - 1;
  size_t slot = Home(entry.RecordId, idSlots_.size());
  for (; idUsed_[slot]; slot = (slot + 1) & mask)
    if (idSlots_[slot] == entry.RecordId) break;
  idSlots_[slot] = entry.RecordId;
  idUsed_[slot] = 1;
  // A repeated name keeps the entry that brought it first; the list holds
  // fewer than 2 to the 32 entries (a config area has far fewer blocks).
  if (entry.Record && place < kNoEntry) {
    const char* name = entry.Record->RecordName;
    const size_t length = NameLength(name);
    const uint32_t hash = NameHash(name, length);
    for (size_t at = Home(hash, nameSlots_.size()); nameSlots_[at].Entry != kNoEntry; at = (at + 1) & mask) {
      if (nameSlots_[at].Hash != hash) continue;
      if (NameAt(nameSlots_[at].Entry, name, length)) {
        ++keyedEntries_;
        return;
      }
    }
    size_t at = Home(hash, nameSlots_.size());
    while (nameSlots_[at].Entry != kNoEntry) at = (at + 1) & mask;
    nameSlots_[at] = NAME_SLOT{hash, static_cast<uint32_t>(place)};
  }
  ++keyedEntries_;
}

void LDM_RECORD::Reset() {
  UpdateSequence = 0;
  std::memset(RecordName, 0, sizeof(RecordName));
  Entry = nullptr;
  Group = nullptr;
}

uint16_t LDM_RECORD::Revision() const { return Group ? Group->Revision() : 0; }
uint16_t LDM_RECORD::RecordFlags() const { return Group ? Group->RecordFlags() : 0; }

NTSTATUS CreateRecord(RECORD_LIST& list, const uint8_t*& cursor, uint32_t recordSize,
                      VBLK_GROUP& group) {
  std::unique_ptr<RECORD_ENTRY> entry(new (std::nothrow) RECORD_ENTRY());
  if (!entry) return STATUS_INSUFFICIENT_RESOURCES_CODE;
  entry->List = &list;
  entry->RecordType = group.RecordType();
  if (!IsKnownRecordType(entry->RecordType)) return STATUS_LDM_CONFIG_BROKEN_CODE;
  entry->Record.reset(NewRecordObject(entry->RecordType));
  if (!entry->Record) return STATUS_INSUFFICIENT_RESOURCES_CODE;

  LDM_RECORD& record = *entry->Record;
  record.Reset();
  record.Entry = entry.get();

  // The common header: RecordId into the entry, RecordName into the object.
  const uint8_t* next = DecodeFields(kRecordId, entry.get(), cursor, recordSize);
  if (next == nullptr) return STATUS_LDM_CONFIG_BROKEN_CODE;
  const uint8_t* const end = cursor + recordSize;
  next = DecodeFields(kRecordName, &record, next, static_cast<uint32_t>(end - next));
  if (next == nullptr) return STATUS_LDM_CONFIG_BROKEN_CODE;
  record.Group = &group;

  // Ids and names are unique across all records of a copy, whatever their type.
  if (list.Holds(entry->RecordId, record.RecordName)) return STATUS_LDM_CONFIG_BROKEN_CODE;
  AdvanceNextRecordId(list, entry->RecordId);

  const NTSTATUS status = record.Parse(next, static_cast<uint32_t>(end - next));
  if (status != STATUS_SUCCESS_CODE) return status;

  group.Entry = entry.get();
  list.Append(std::move(entry));
  cursor = end;  // bytes after the last field are ignored
  return STATUS_SUCCESS_CODE;
}

// ---- volume records ----

namespace {

using V = VOLUME_RECORD;

constexpr uint16_t kVolumeKnownFlags = VOLUME_FLAG_MOUNT_NAME | VOLUME_FLAG_PREFERRED_PLEX |
                                 VOLUME_FLAG_APP_RECOVERY | VOLUME_FLAG_LOG_RECORD |
                                 VOLUME_FLAG_NUMBER_4000 | VOLUME_FLAG_NUMBER_8000;

constexpr FIELD_DESC kVolumeAlways[] = {
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
  if (revision < 3 || revision > 5 || (flags & ~kVolumeKnownFlags) != 0) return STATUS_INVALID_PARAMETER_CODE;

  CFieldChain chain(this, cursor, bytesLeft);
  chain.Decode(kVolumeAlways);
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

// ---- plex records ----

namespace {

using P = PLEX_RECORD;

constexpr FIELD_DESC kPlexAlways[] = {
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

  CFieldChain chain(this, cursor, bytesLeft);
  chain.Decode(kPlexAlways);
  chain.DecodeIf(flags & PLEX_FLAG_STRIPES, kStripes);
  return FinishParse(chain, cursor);
}

// ---- subdisk records ----

namespace {

using S = SUBDISK_RECORD;

constexpr uint16_t kSubdiskKnownFlags = SUBDISK_FLAG_HIDDEN_SECTORS | SUBDISK_FLAG_COLUMN |
                                 SUBDISK_FLAG_COLUMN_DETACH | SUBDISK_FLAG_DETACH |
                                 SUBDISK_FLAG_MINOR | SUBDISK_FLAG_LAST_DISK;

constexpr FIELD_DESC kSubdiskAlways[] = {
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
  if (Revision() != 3 || (flags & ~kSubdiskKnownFlags) != 0) return STATUS_INVALID_PARAMETER_CODE;

  CFieldChain chain(this, cursor, bytesLeft);
  chain.Decode(kSubdiskAlways);
  // Flag 0x1000 announces two groups: the column number and the detach sequence.
  chain.DecodeIf(flags & (SUBDISK_FLAG_COLUMN | SUBDISK_FLAG_COLUMN_DETACH), kColumnNumber);
  chain.DecodeIf(flags & (SUBDISK_FLAG_COLUMN_DETACH | SUBDISK_FLAG_DETACH), kDetachSequence);
  chain.DecodeIf(flags & SUBDISK_FLAG_MINOR, kMinor);
  chain.DecodeIf(flags & SUBDISK_FLAG_HIDDEN_SECTORS, kHiddenSectors);
  chain.DecodeIf(flags & SUBDISK_FLAG_LAST_DISK, kLastDisk);
  return FinishParse(chain, cursor);
}

// ---- disk records ----

namespace {

using D = DISK_RECORD;

constexpr FIELD_DESC kDiskRevision3[] = {
    Field<D, FIELD_GUID_TEXT_VAR, &D::DiskId>(),
    Field<D, FIELD_WSTRING, &D::DeviceInstance>(),
    Field<D, FIELD_U32, &D::PersistentFlags>(),
    Field<D, FIELD_U64, &D::UpdateSequence>(),
};
constexpr FIELD_DESC kDiskRevision4[] = {
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

  CFieldChain chain(this, cursor, bytesLeft);
  chain.DecodeIf(revision == 3, kDiskRevision3);
  chain.DecodeIf(revision == 4, kDiskRevision4);
  return FinishParse(chain, cursor);
}

// ---- pack records ----

namespace {

using K = PACK_RECORD;

constexpr uint16_t kPackKnownFlags = PACK_FLAG_COPIES | PACK_FLAG_BASE_MINOR;

constexpr FIELD_DESC kPackRevision3[] = {
    Field<K, FIELD_GUID_TEXT_VAR, &K::PackId>(),
    Field<K, FIELD_U32, &K::PersistentFlags>(),
    Field<K, FIELD_U64, &K::UpdateSequence>(),
};
constexpr FIELD_DESC kPackRevision4[] = {
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
  if ((revision != 3 && revision != 4) || (flags & ~kPackKnownFlags) != 0) return STATUS_INVALID_PARAMETER_CODE;

  CFieldChain chain(this, cursor, bytesLeft);
  chain.DecodeIf(revision == 3, kPackRevision3);
  chain.DecodeIf(revision == 4, kPackRevision4);
  chain.DecodeIf(flags & PACK_FLAG_COPIES, kCopies);
  chain.DecodeIf(flags & PACK_FLAG_BASE_MINOR, kBaseMinor);
  return FinishParse(chain, cursor);
}

}  // namespace kestrand
