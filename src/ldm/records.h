// Config records: the common base LDM_RECORD, the five record classes
// (volume, plex, subdisk, disk, pack) with the record flags that announce
// their optional fields, the entry that files a record in its copy's record
// list, and CreateRecord, which decodes a gathered record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "ldm/field_decoder.h"
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
struct VBLK_GROUP;

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

  // The group's revision and record flags; 0 without a group.
  uint16_t Revision() const;
  uint16_t RecordFlags() const;

  // The RECORD_TYPE_* of the object's class, fixed when it is made.
  uint16_t ClassType() const { return classType_; }

 protected:
  explicit LDM_RECORD(uint16_t classType) : classType_(classType) {}

 private:
  uint16_t classType_;
};

// The record as its class T, or nullptr when it is of another class: one
// compare, where the reports and the merge ask this for every record.
template <class T>
const T* RecordAs(const LDM_RECORD* record) {
  return record && record->ClassType() == T::kClassType ? static_cast<const T*>(record) : nullptr;
}

// ---- volume records (type 1, revisions 3 to 5) ----

// Record flags of a volume, each announcing an optional field.
constexpr uint16_t VOLUME_FLAG_MOUNT_NAME = 0x0200;
constexpr uint16_t VOLUME_FLAG_PREFERRED_PLEX = 0x0800;
constexpr uint16_t VOLUME_FLAG_APP_RECOVERY = 0x1000;
constexpr uint16_t VOLUME_FLAG_LOG_RECORD = 0x2000;
constexpr uint16_t VOLUME_FLAG_NUMBER_4000 = 0x4000;
constexpr uint16_t VOLUME_FLAG_NUMBER_8000 = 0x8000;

// PersistentFlags bits with names.
constexpr uint32_t VOLUME_PERSISTENT_BOOT = 0x00200000;
constexpr uint32_t VOLUME_PERSISTENT_SYSTEM = 0x00400000;
constexpr uint32_t VOLUME_PERSISTENT_RETAINED = 0x00800000;

class VOLUME_RECORD : public LDM_RECORD {
 public:
  static constexpr uint16_t kClassType = RECORD_TYPE_VOLUME;
  VOLUME_RECORD() : LDM_RECORD(kClassType) {}
  void Reset() override;
  NTSTATUS Parse(const uint8_t*& cursor, uint32_t bytesLeft) override;

  char UsageType[32] = {};
  char FileSystemType[17] = {};  // first byte: bit 0 hidden, bit 1 read only
  char State[15] = {};
  uint8_t ReadPolicy = 0;
  uint64_t PrefferedPlexRecordId = 0;
  uint32_t Minor = 0;
  uint32_t PersistentFlags = 0;
  uint32_t NumPlexes = 0;
  uint64_t DetachSeqNum = 0;
  int64_t Length = 0;
  int64_t LogLength = 0;
  uint64_t LogRecordId = 0;
  uint32_t PartitionType = 0;  // revisions 4 and 5
  uint32_t Number4000 = 0;     // announced by flag 0x4000; meaning unknown, not shown
  int64_t Number8000 = 0;      // announced by flag 0x8000; meaning unknown, not shown
  uint32_t AppRecovery = 0;
  OwnedWideString MountName;   // none without flag 0x0200 or when empty
  GUID VolumeGuid = {};        // revision 5
};

// ---- plex records (type 2, revision 3) ----

constexpr uint16_t PLEX_FLAG_STRIPES = 0x1000;  // StripeWidth and ColumnCount follow

constexpr uint8_t PLEX_LAYOUT_STRIPED = 1;
constexpr uint8_t PLEX_LAYOUT_SIMPLE = 2;
constexpr uint8_t PLEX_LAYOUT_RAID5 = 3;

constexpr uint32_t PLEX_PERSISTENT_STALE = 0x02;
constexpr uint32_t PLEX_PERSISTENT_DETACHED = 0x04;

class PLEX_RECORD : public LDM_RECORD {
 public:
  static constexpr uint16_t kClassType = RECORD_TYPE_PLEX;
  PLEX_RECORD() : LDM_RECORD(kClassType) {}
  void Reset() override;
  NTSTATUS Parse(const uint8_t*& cursor, uint32_t bytesLeft) override;

  char State[15] = {};
  uint8_t Layout = 0;
  uint32_t PersistentFlags = 0;
  uint32_t SubdiskCount = 0;
  uint64_t DetachSequence = 0;
  uint64_t VolumeRecordId = 0;
  uint64_t LogRecordId = 0;
  int64_t StripeWidth = 0;
  uint32_t ColumnCount = 0;
};

// ---- subdisk records (type 3, revision 3) ----

constexpr uint16_t SUBDISK_FLAG_HIDDEN_SECTORS = 0x0200;
constexpr uint16_t SUBDISK_FLAG_COLUMN = 0x0800;
constexpr uint16_t SUBDISK_FLAG_COLUMN_DETACH = 0x1000;  // column number and detach sequence
constexpr uint16_t SUBDISK_FLAG_DETACH = 0x2000;
constexpr uint16_t SUBDISK_FLAG_MINOR = 0x4000;
constexpr uint16_t SUBDISK_FLAG_LAST_DISK = 0x8000;

constexpr uint32_t SUBDISK_PERSISTENT_VOLUME = 0x04;
constexpr uint32_t SUBDISK_PERSISTENT_STALE = 0x08;
constexpr uint32_t SUBDISK_PERSISTENT_DETACHED = 0x10;
constexpr uint32_t SUBDISK_PERSISTENT_RETAINED = 0x40;

class SUBDISK_RECORD : public LDM_RECORD {
 public:
  static constexpr uint16_t kClassType = RECORD_TYPE_SUBDISK;
  SUBDISK_RECORD() : LDM_RECORD(kClassType) {}
  void Reset() override;
  NTSTATUS Parse(const uint8_t*& cursor, uint32_t bytesLeft) override;

  uint32_t PersistentFlags = 0;
  uint64_t DiskOffset = 0;
  uint64_t PlexOffset = 0;
  int64_t Length = 0;
  uint64_t PlexRecordId = 0;
  uint64_t DiskRecordId = 0;
  uint64_t DetachSequence = 0;
  uint32_t ColumnNumber = 0;
  uint32_t Minor = 0;
  int64_t HiddenSectors = 0;
  uint64_t LastDiskRecordId = 0;
};

// ---- disk records (type 4, revisions 3 and 4) ----

constexpr uint32_t DISK_PERSISTENT_NON_VOTER = 0x20;
constexpr uint32_t DISK_PERSISTENT_ISCSI = 0x40;

class DISK_RECORD : public LDM_RECORD {
 public:
  static constexpr uint16_t kClassType = RECORD_TYPE_DISK;
  DISK_RECORD() : LDM_RECORD(kClassType) {}
  void Reset() override;
  NTSTATUS Parse(const uint8_t*& cursor, uint32_t bytesLeft) override;

  GUID DiskId = {};
  OwnedWideString DeviceInstance;  // none when empty
  uint32_t PersistentFlags = 0;
  GUID LastDiskSetId = {};  // revision 4; all-zero for revision 3
};

// ---- pack (disk group) records (type 5, revisions 3 and 4) ----

constexpr uint16_t PACK_FLAG_COPIES = 0x0800;     // ConfigCopiesCount and LogCopiesCount follow
constexpr uint16_t PACK_FLAG_BASE_MINOR = 0x1000;

class PACK_RECORD : public LDM_RECORD {
 public:
  static constexpr uint16_t kClassType = RECORD_TYPE_PACK;
  PACK_RECORD() : LDM_RECORD(kClassType) {}
  void Reset() override;
  NTSTATUS Parse(const uint8_t*& cursor, uint32_t bytesLeft) override;

  GUID PackId = {};
  GUID DiskSetId = {};  // revision 4; all-zero for revision 3
  uint32_t PersistentFlags = 0;
  uint32_t ConfigCopiesCount = 0;
  uint32_t LogCopiesCount = 0;
  uint32_t BaseMinor = 0;
};

// ---- the record list ----

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
  // cover the entries exactly it is rebuilt from them. Two open-addressing
  // tables (linear probing, at most half full), so that keying a record
  // allocates nothing but the tables' growth; a name is kept as the hash of
  // its bytes and the place of its entry in Entries, where it is compared.
  struct NAME_SLOT {
    uint32_t Hash = 0;
    uint32_t Entry = kNoEntry;  // kNoEntry: an empty slot
  };
  static constexpr uint32_t kNoEntry = 0xFFFFFFFF;
  std::vector<uint64_t> idSlots_;
  std::vector<uint8_t> idUsed_;
  std::vector<NAME_SLOT> nameSlots_;
  size_t keyedEntries_ = 0;

  // Whether Entries[place] holds a record named `name` (`length` bytes).
  bool NameAt(uint32_t place, const char* name, size_t length) const;
  // Keys `entry`, which is or will be Entries[place].
  void KeyEntry(const RECORD_ENTRY& entry, size_t place);
  // Makes room for one more key in both tables.
  void Reserve();
};

// Decodes the record data gathered in `group` (`recordSize` bytes from
// `cursor`, preamble excluded) and files it at the end of `list`. 0, and the
// cursor moves past the record; otherwise 0xC0380002 for an unknown type, an
// undecodable or repeated RecordId or RecordName, 0xC000009A when memory
// runs out, or the record's Parse failure. A failed record is discarded.
NTSTATUS CreateRecord(RECORD_LIST& list, const uint8_t*& cursor, uint32_t recordSize,
                      VBLK_GROUP& group);

}  // namespace kestrand
