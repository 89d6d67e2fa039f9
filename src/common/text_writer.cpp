#include "common/text_writer.h"

namespace kestrand {

int WriteBytes(FILE* stream, std::string_view bytes) {
  if (stream == nullptr) return -1;
  if (bytes.empty()) return 0;
  const size_t written = std::fwrite(bytes.data(), 1, bytes.size(), stream);
  return static_cast<int>(written);
}

}  // namespace kestrand
