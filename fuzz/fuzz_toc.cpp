// Arbitrary bytes as a table of contents: decoded directly at their own
// length, and as both table copies of a database file whose private header
// names them, so the text and XML sections see the decoded regions.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_ldm_database.h"
#include "ldm/toc.h"

namespace {

// A minimal sound private header (version 2.11) naming the tables at
// sectors 2 and 2045, like the repaired copies of the real databases.
std::vector<uint8_t> PrivateHeaderSector() {
  std::vector<uint8_t> sector(512, 0);
  auto put64 = [&](size_t at, uint64_t value) {
    for (int i = 0; i < 8; ++i) sector[at + i] = static_cast<uint8_t>(value >> (56 - 8 * i));
  };
  std::memcpy(sector.data(), "PRIVHEAD", 8);
  sector[0x0D] = 2;
  sector[0x0F] = 11;
  const char* guid = "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c";
  for (size_t at : {size_t{0x30}, size_t{0x70}, size_t{0xB0}}) std::memcpy(sector.data() + at, guid, 36);
  put64(0x13B, 2);
  put64(0x143, 2045);
  return sector;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kestrand;
  TOC toc{};
  DecodeToc(data, static_cast<uint32_t>(size), toc);

  // One file for every input: the two table sectors are written and
  // cleared again, so no 1 MB buffer is made per input.
  constexpr size_t kFileBytes = 0x100000;
  constexpr size_t kSector = 512;
  static std::vector<uint8_t> file = [] {
    std::vector<uint8_t> bytes(kFileBytes, 0);
    const std::vector<uint8_t> header = PrivateHeaderSector();
    std::memcpy(bytes.data() + kFileBytes - kSector, header.data(), kSector);
    std::memcpy(bytes.data() + kFileBytes - 0x18000, header.data(), kSector);
    return bytes;
  }();
  const size_t copied = size < kSector ? size : kSector;
  for (size_t at : {2 * kSector, 2045 * kSector}) std::memcpy(file.data() + at, data, copied);
  fuzz::LoadAndReport(file.data(), file.size());
  for (size_t at : {2 * kSector, 2045 * kSector}) std::memset(file.data() + at, 0, copied);
  return 0;
}
