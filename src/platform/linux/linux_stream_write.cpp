#include <limits.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "platform/stream_write.h"

namespace kestrand {

namespace {

bool WriteEach(FILE* stream, const StreamPiece* pieces, size_t count) {
  for (size_t i = 0; i < count; ++i)
    if (pieces[i].Length != 0 && std::fwrite(pieces[i].Bytes, pieces[i].Length, 1, stream) != 1) return false;
  return true;
}

}  // namespace

bool WritePieces(FILE* stream, const StreamPiece* pieces, size_t count) {
  const int fd = fileno(stream);
  if (fd < 0 || count < 2) return WriteEach(stream, pieces, count);
  // The stream's own buffer is emptied first, so that the bytes stay in order.
  if (std::fflush(stream) != 0) return false;
  std::vector<iovec> vectors;
  vectors.reserve(count);
  for (size_t i = 0; i < count; ++i)
    if (pieces[i].Length != 0) vectors.push_back(iovec{const_cast<char*>(pieces[i].Bytes), pieces[i].Length});
  size_t next = 0;
  while (next < vectors.size()) {
    const int batch = static_cast<int>(std::min<size_t>(vectors.size() - next, IOV_MAX));
    const ssize_t written = writev(fd, vectors.data() + next, batch);
    if (written < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    if (written == 0) return false;
    // A partial write: skip what was taken and go on from there.
    size_t taken = static_cast<size_t>(written);
    while (next < vectors.size() && taken >= vectors[next].iov_len) taken -= vectors[next++].iov_len;
    if (taken > 0) {
      vectors[next].iov_base = static_cast<char*>(vectors[next].iov_base) + taken;
      vectors[next].iov_len -= taken;
    }
  }
  return true;
}

}  // namespace kestrand
