// Writing several pieces of bytes to a stream at once. The XML report hands
// its blocks over as pieces that lie where they were made (a disk's branch
// appears in the document hundreds of times); sending each with its own
// fwrite costs a system call per piece.
#pragma once

#include <cstddef>
#include <cstdio>

namespace kestrand {

struct StreamPiece {
  const char* Bytes;
  size_t Length;
};

// Writes the pieces in order after what the stream already holds: true when
// every byte was taken. Where the stream is a file of its own, whatever it
// has buffered goes first and the pieces then go to its file together, a
// few calls in all; otherwise (and on Windows) each piece is an fwrite.
bool WritePieces(FILE* stream, const StreamPiece* pieces, size_t count);

}  // namespace kestrand
