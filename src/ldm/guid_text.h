// GUIDs that the LDM database stores as text (the private header, the VMDB
// header and revision 3 disk and pack records).
#pragma once

#include "platform/types.h"

namespace kestrand {

// Parses a zero-terminated 8-4-4-4-12 hexadecimal GUID text (either case, no
// braces, nothing after it). Returns false, leaving `guid` unspecified, for
// anything else.
bool ParseGuidText(const char* text, GUID& guid);

}  // namespace kestrand
