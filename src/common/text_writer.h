// Writes report lines to a C stream as bytes. Wide lines are formatted, then
// narrowed with WideToAnsi, so both builds write the same bytes; the stream's
// own text mode turns "\n" into the platform's line end.
#pragma once

#include <cstdio>
#include <string_view>

#include "common/text_format.h"

namespace kestrand {

// Writes raw bytes; returns the count written or -1 without a stream.
int WriteBytes(FILE* stream, std::string_view bytes);

template <class... A>
int PrintWide(FILE* stream, std::u16string_view format, const A&... args) {
  return WriteBytes(stream, WideToAnsi(FormatWide(format, args...)));
}

template <class... A>
int PrintNarrow(FILE* stream, std::string_view format, const A&... args) {
  return WriteBytes(stream, FormatNarrow(format, args...));
}

}  // namespace kestrand
