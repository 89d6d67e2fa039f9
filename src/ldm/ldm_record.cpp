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

// Ids and names must be unique across all records of a copy, whatever their type.
bool IsDuplicate(const RECORD_LIST& list, const RECORD_ENTRY& entry) {
  for (const auto& other : list.Entries) {
    if (other->RecordId == entry.RecordId) return true;
    if (std::strcmp(other->Record->RecordName, entry.Record->RecordName) == 0) return true;
  }
  return false;
}

void AdvanceNextRecordId(RECORD_LIST& list, uint64_t recordId) {
  if (recordId < list.NextRecordId) return;
  list.NextRecordId = recordId + 1;
  if (list.NextRecordId == 0) list.NextRecordId = 1;
}

}  // namespace

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

  if (IsDuplicate(list, *entry)) return STATUS_LDM_CONFIG_BROKEN_CODE;
  AdvanceNextRecordId(list, entry->RecordId);

  const NTSTATUS status = record.Parse(next, static_cast<uint32_t>(end - next));
  if (status != STATUS_SUCCESS_CODE) return status;

  group.Entry = entry.get();
  list.Entries.push_back(std::move(entry));
  cursor = end;  // bytes after the last field are ignored
  return STATUS_SUCCESS_CODE;
}

}  // namespace kestrand
