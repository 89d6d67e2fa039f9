// Config records: the common base of the five record classes, the entry that
// files a record in its copy's record list, and CreateRecord, which decodes a
// gathered record.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "ldm/vblk_group.h"
#include "platform/types.h"

namespace kestrand {

// Record types: bits 0-3 of the type word.
constexpr uint16_t RECORD_TYPE_VOLUME = 1;
constexpr uint16_t RECORD_TYPE_PLEX = 2;
constexpr uint16_t RECORD_TYPE_SUBDISK = 3;
constexpr uint16_t RECORD_TYPE_DISK = 4;
constexpr uint16_t RECORD_TYPE_PACK = 5;

// Names are at most 31 characters; the buffers keep a terminator.
constexpr size_t kRecordNameSize = 32;

struct RECORD_LIST;
struct RECORD_ENTRY;

class LDM_RECORD {
 public:
  virtual ~LDM_RECORD() = default;
  // Sets every member to zero: numbers 0, strings empty, GUIDs all-zero,
  // owned strings released, links none.
  virtual void Reset();
  // Decodes the type-specific fields from `cursor` (just past the common
  // header) and moves the cursor past them. 0, or 0xC000000D for an
  // unaccepted revision, an unknown record flag or a field that does not
  // decode.
  virtual NTSTATUS Parse(const uint8_t*& cursor, uint32_t bytesLeft) = 0;

  uint64_t UpdateSequence = 0;
  char RecordName[kRecordNameSize] = {};
  RECORD_ENTRY* Entry = nullptr;  // the entry that holds this record
  VBLK_GROUP* Group = nullptr;    // gives the type word, TransFlags and record size

  uint16_t Revision() const { return Group ? Group->Revision() : 0; }
  uint16_t RecordFlags() const { return Group ? Group->RecordFlags() : 0; }
};

// The end of every Parse: 0xC000000D when a field did not decode, otherwise
// the cursor moves past the decoded fields.
inline NTSTATUS FinishParse(const FieldChain& chain, const uint8_t*& cursor) {
  if (chain.Failed()) return STATUS_INVALID_PARAMETER_CODE;
  cursor = chain.Cursor();
  return STATUS_SUCCESS_CODE;
}

struct RECORD_ENTRY {
  RECORD_LIST* List = nullptr;
  uint64_t RecordId = 0;
  uint16_t RecordType = 0;  // RECORD_TYPE_*
  std::unique_ptr<LDM_RECORD> Record;
};

// The records of one config copy in the order they were decoded.
struct RECORD_LIST {
  std::vector<std::unique_ptr<RECORD_ENTRY>> Entries;
  uint64_t NextRecordId = 1;  // one past the largest RecordId seen (1 after a wrap)

  // Whether an entry already holds this RecordId, or a record named
  // `recordName` (compared byte for byte up to the terminator).
  bool Holds(uint64_t recordId, const char* recordName);
  // Files an entry at the end of the list.
  void Append(std::unique_ptr<RECORD_ENTRY> entry);
  // Frees the set of ids and names that Holds keeps; Holds rebuilds it when
  // asked again. The block walk calls this when it ends.
  void ReleaseKeys();

 private:
  // The ids and names of the first keyedEntries_ entries, so that a new
  // record is not compared with every earlier one. Whenever the set does not
  // cover the entries exactly it is rebuilt from them.
  std::unordered_set<uint64_t> ids_;
  std::unordered_set<std::string> names_;
  size_t keyedEntries_ = 0;

  void KeyEntry(const RECORD_ENTRY& entry);
};

// Decodes the record data gathered in `group` (`recordSize` bytes from
// `cursor`, preamble excluded) and files it at the end of `list`. 0, and the
// cursor moves past the record; otherwise 0xC0380002 for an unknown type, an
// undecodable or repeated RecordId or RecordName, 0xC000009A when memory
// runs out, or the record's Parse failure. A failed record is discarded.
NTSTATUS CreateRecord(RECORD_LIST& list, const uint8_t*& cursor, uint32_t recordSize,
                      VBLK_GROUP& group);

}  // namespace kestrand
