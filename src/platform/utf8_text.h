// UTF-8 (file names, host names, sysfs and /proc text) to and from the UTF-16
// the platform interface speaks. Invalid input never fails: a byte that
// does not start a valid sequence becomes U+FFFD, an unpaired surrogate too.
#pragma once

#include <string>
#include <string_view>

namespace kestrand {

std::u16string Utf8ToUtf16(std::string_view text);
std::string Utf16ToUtf8(std::u16string_view text);

}  // namespace kestrand
