// Arbitrary bytes as a private header: decoded directly at their own length,
// and as the primary copy of an otherwise empty database file, where its
// table-of-contents sectors steer the rest of the loader.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_ldm_database.h"
#include "ldm/field_decoder.h"
#include "ldm/private_header.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kestrand;
  PRIVATE_HEADER header{};
  DecodePrivateHeader(data, static_cast<uint32_t>(size), header);
  CALENDAR_TIME time{};
  FileTimeToCalendarTime(header.UpdateTime, time);

  // One file for every input: its last sector is written and cleared again.
  constexpr size_t kFileBytes = 0x100000;
  constexpr size_t kSector = 512;
  static std::vector<uint8_t> file(kFileBytes, 0);
  const size_t copied = size < kSector ? size : kSector;
  std::memcpy(file.data() + kFileBytes - kSector, data, copied);
  fuzz::LoadAndReport(file.data(), file.size());
  std::memset(file.data() + kFileBytes - kSector, 0, copied);
  return 0;
}
