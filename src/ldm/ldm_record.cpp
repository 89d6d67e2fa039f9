#include "ldm/ldm_record.h"

#include <cstring>
#include <new>

#include "ldm/disk_record.h"
#include "ldm/pack_record.h"
#include "ldm/plex_record.h"
#include "ldm/subdisk_record.h"
#include "ldm/volume_record.h"

namespace kestrand {

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
std::string NameKey(const char* recordName) {
  const void* terminator = std::memchr(recordName, '\0', kRecordNameSize);
  const size_t length = terminator ? static_cast<size_t>(static_cast<const char*>(terminator) - recordName)
                                   : kRecordNameSize;
  return std::string(recordName, length);
}

void AdvanceNextRecordId(RECORD_LIST& list, uint64_t recordId) {
  if (recordId < list.NextRecordId) return;
  list.NextRecordId = recordId + 1;
  if (list.NextRecordId == 0) list.NextRecordId = 1;
}

}  // namespace

bool RECORD_LIST::Holds(uint64_t recordId, const char* recordName) {
  if (keyedEntries_ != Entries.size()) {
    ReleaseKeys();
    for (const auto& entry : Entries) KeyEntry(*entry);
  }
  return ids_.count(recordId) != 0 || names_.count(NameKey(recordName)) != 0;
}

void RECORD_LIST::Append(std::unique_ptr<RECORD_ENTRY> entry) {
  // Keys are only added to a set that covers every earlier entry.
  if (keyedEntries_ == Entries.size()) KeyEntry(*entry);
  Entries.push_back(std::move(entry));
}

void RECORD_LIST::ReleaseKeys() {
  std::unordered_set<uint64_t>().swap(ids_);
  std::unordered_set<std::string>().swap(names_);
  keyedEntries_ = 0;
}

void RECORD_LIST::KeyEntry(const RECORD_ENTRY& entry) {
  ids_.insert(entry.RecordId);
  if (entry.Record) names_.insert(NameKey(entry.Record->RecordName));
  ++keyedEntries_;
}

void LDM_RECORD::Reset() {
  UpdateSequence = 0;
  std::memset(RecordName, 0, sizeof(RecordName));
  Entry = nullptr;
  Group = nullptr;
}

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

}  // namespace kestrand
