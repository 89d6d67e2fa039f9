#include "ldm/record_words.h"

#include "ldm/disk_record.h"
#include "ldm/ldm_record.h"
#include "ldm/plex_record.h"
#include "ldm/subdisk_record.h"
#include "ldm/volume_record.h"

namespace kestrand {

namespace {

struct FLAG_WORD {
  uint32_t Bit;
  const char* Word;
};

template <size_t N>
std::string WordsFor(uint32_t flags, const FLAG_WORD (&table)[N]) {
  std::string words;
  for (const FLAG_WORD& entry : table)
    if (flags & entry.Bit) words += entry.Word;
  return words;
}

constexpr FLAG_WORD kVolumeWords[] = {
    {VOLUME_PERSISTENT_BOOT, " boot"},
    {VOLUME_PERSISTENT_SYSTEM, " system"},
    {VOLUME_PERSISTENT_RETAINED, " retained"},
};
constexpr FLAG_WORD kPlexWords[] = {
    {PLEX_PERSISTENT_STALE, " stale"},
    {PLEX_PERSISTENT_DETACHED, " detached"},
};
constexpr FLAG_WORD kSubdiskWords[] = {
    {SUBDISK_PERSISTENT_VOLUME, " volume"},
    {SUBDISK_PERSISTENT_STALE, " stale"},
    {SUBDISK_PERSISTENT_DETACHED, " detached"},
    {SUBDISK_PERSISTENT_RETAINED, " retained"},
};
constexpr FLAG_WORD kDiskWords[] = {
    {DISK_PERSISTENT_NON_VOTER, " non-voter"},
    {DISK_PERSISTENT_ISCSI, " iscsi"},
};

}  // namespace

const char* RecordTypeWord(uint16_t type) {
  switch (type) {
    case RECORD_TYPE_VOLUME: return "Volume";
    case RECORD_TYPE_PLEX: return "Plex";
    case RECORD_TYPE_SUBDISK: return "Subdisk";
    case RECORD_TYPE_DISK: return "Disk";
    case RECORD_TYPE_PACK: return "Pack";
    default: return nullptr;
  }
}

const char* PlexLayoutWord(uint8_t layout) {
  switch (layout) {
    case PLEX_LAYOUT_STRIPED: return "Striped";
    case PLEX_LAYOUT_SIMPLE: return "Simple";
    case PLEX_LAYOUT_RAID5: return "RAID5";
    default: return nullptr;
  }
}

const char* ReadPolicyTextWord(uint8_t policy) {
  // The text report has always spelt policy 2 this way.
  return policy == 2 ? "Preffered Plex" : ReadPolicyXmlWord(policy);
}

const char* ReadPolicyXmlWord(uint8_t policy) {
  switch (policy) {
    case 1: return "Round Robin";
    case 2: return "Preferred Plex";
    case 3: return "Select Plex";
    case 4: return "RAID5";
    default: return nullptr;
  }
}

const char* FileSystemTypeWord(char firstByte) {
  const bool hidden = (firstByte & 0x01) != 0;
  const bool readOnly = (firstByte & 0x02) != 0;
  if (hidden && readOnly) return "Hidden, Read Only";
  if (hidden) return "Hidden";
  if (readOnly) return "Read Only";
  return nullptr;
}

std::string VolumePersistentWords(uint32_t flags) { return WordsFor(flags, kVolumeWords); }
std::string PlexPersistentWords(uint32_t flags) { return WordsFor(flags, kPlexWords); }
std::string SubdiskPersistentWords(uint32_t flags) { return WordsFor(flags, kSubdiskWords); }
std::string DiskPersistentWords(uint32_t flags) { return WordsFor(flags, kDiskWords); }

}  // namespace kestrand
