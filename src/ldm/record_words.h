// The words the record reports show for record types, plex layouts, read
// policies, file system type bits and persistent flags.
#pragma once

#include <cstdint>
#include <string>

namespace kestrand {

// nullptr for a value without a word: the callers print it as "Unknown".
const char* RecordTypeWord(uint16_t type);
const char* PlexLayoutWord(uint8_t layout);
// The text report's word; the XML spells policy 2 correctly.
const char* ReadPolicyTextWord(uint8_t policy);
const char* ReadPolicyXmlWord(uint8_t policy);
// Bits 0 and 1 of the first FileSystemType byte; nullptr when neither is set.
const char* FileSystemTypeWord(char firstByte);

// " boot", " system", ... for the named bits that are set, lowest bit first.
std::string VolumePersistentWords(uint32_t flags);
std::string PlexPersistentWords(uint32_t flags);
std::string SubdiskPersistentWords(uint32_t flags);
std::string DiskPersistentWords(uint32_t flags);

}  // namespace kestrand
