// What the analysis reads from a disk that is ready for LDM analysis.
#pragma once

#include <cstdint>

namespace kestrand {

class CDisk;
struct CONFIG_HEADER;
struct PRIVATE_HEADER;

// The decoded primary private header of a disk that is ready for LDM
// analysis; nullptr for any other disk (or one without that copy).
const PRIVATE_HEADER* ReadyPrimaryHeader(const CDisk* disk);

// The config header of a disk's config copy; nullptr when there is none.
const CONFIG_HEADER* ConfigHeaderOf(const CDisk* disk);

// The RecordName of the last pack record in the disk's group list; nullptr
// when the list holds none.
const char* LastPackName(const CDisk* disk);

// The 32-bit disk signature of an MBR layout; false for a disk without a
// layout or with another partition style, which has no such signature.
bool MbrDiskSignature(const CDisk* disk, uint32_t& signature);

}  // namespace kestrand
