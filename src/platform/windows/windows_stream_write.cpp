#include "platform/stream_write.h"

namespace kestrand {

// The XML file is written in text mode, which only the C runtime's own
// writes translate: each piece is an fwrite.
bool WritePieces(FILE* stream, const StreamPiece* pieces, size_t count) {
  for (size_t i = 0; i < count; ++i)
    if (pieces[i].Length != 0 && std::fwrite(pieces[i].Bytes, pieces[i].Length, 1, stream) != 1) return false;
  return true;
}

}  // namespace kestrand
