// Feeds arbitrary bytes to the config-area decoder: once as a whole area
// behind its own VMDB header, and once as bare VBLK blocks behind a sound
// header, so that inputs whose header fails still exercise the block walk.
#include <cstddef>
#include <cstdint>

#include "ldm/config_header.h"

namespace {

void DecodeWholeArea(const uint8_t* data, size_t size) {
  kestrand::CONFIG_HEADER header;
  header.Initialize(data, size);
}

// The first byte picks the VMDB status (it steers the transaction rule); the
// rest are blocks numbered from 4, as after a 512-byte header.
void WalkBareBlocks(const uint8_t* data, size_t size) {
  if (size < 1) return;
  kestrand::CONFIG_HEADER header;
  header.Status = data[0] % 8;
  header.BlockSize = kestrand::kVmdbBlockSize;
  header.HeaderSize = kestrand::kVmdbHeaderSize;
  const size_t blocks = (size - 1) / kestrand::kVmdbBlockSize;
  header.NumBlocks = static_cast<uint32_t>(blocks + header.HeaderSize / header.BlockSize);
  const uint8_t* cursor = data + 1;
  header.ParseConfigBlocks(cursor, blocks * header.BlockSize, header.HeaderSize);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  DecodeWholeArea(data, size);
  WalkBareBlocks(data, size);
  return 0;
}
