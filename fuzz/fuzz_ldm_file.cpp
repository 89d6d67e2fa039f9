// A database file (-l) of arbitrary bytes through the loader and both LDM
// reports. A saved database is 1 MiB and its private header and primary
// table of contents are its last sectors, so an input shorter than that is
// the end of a 1 MiB file of zeros: short inputs reach the headers and
// tables, an input of 1 MiB is the whole file, a longer one is the file as
// it is. The 1 MiB file is made once; each input's bytes are written into
// it and cleared again.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "fuzz_ldm_database.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr size_t kFileBytes = 0x100000;
  if (size >= kFileBytes) {
    kestrand::fuzz::LoadAndReport(data, size);
    return 0;
  }
  static std::vector<uint8_t> file(kFileBytes, 0);
  uint8_t* tail = file.data() + kFileBytes - size;
  if (size > 0) std::memcpy(tail, data, size);
  kestrand::fuzz::LoadAndReport(file.data(), file.size());
  if (size > 0) std::memset(tail, 0, size);
  return 0;
}
