// A whole database file (-l) of arbitrary bytes through the loader and both
// LDM reports.
#include <cstddef>
#include <cstdint>

#include "fuzz_ldm_database.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  kestrand::fuzz::LoadAndReport(data, size);
  return 0;
}
