// The braced GUID text the registry keeps the primary pack id in:
// "{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}".
#pragma once

#include <string_view>

#include "platform/types.h"

namespace kestrand {

// Parses the 38-character braced form (hexadecimal digits of either case);
// zero characters after it (a stored terminator) are allowed, anything else
// is not. False, with `guid` unchanged, for any other text.
bool ParseBracedGuidText(std::u16string_view text, GUID& guid);

}  // namespace kestrand
