// The reasoning by which the primary disk pack would be chosen: the boot
// disk, then four criteria, each with its rule, the facts found and a
// verdict. It only reports; nothing is imported or changed. With it, what
// the analysis reads from a disk that is ready for LDM analysis, and the
// braced GUID text the registry keeps the primary pack id in:
// "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}".
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/types.h"

namespace kestrand {

class CDisk;
class CDiskSet;
class CKestrandTreeNode;
struct CONFIG_HEADER;
struct PRIVATE_HEADER;

// Adds the DriverCode branch under `node` and fills the set's boot disk and
// system disk. 87 without set or node, 8 when an element cannot be created,
// 1168 when no disk is the boot disk (the branch then ends after BootDisk),
// otherwise the first code of the tree; what was added before stays.
uint32_t AddPrimaryPackDetermination(CDiskSet* diskSet, CKestrandTreeNode* node);

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

// Parses the 38-character braced form (hexadecimal digits of either case);
// zero characters after it (a stored terminator) are allowed, anything else
// is not. False, with `guid` unchanged, for any other text.
bool ParseBracedGuidText(std::u16string_view text, GUID& guid);

}  // namespace kestrand
