// The LDM area of one disk of the built pack, edited as the input says (see
// fuzz_pack.h; edits to other disks land on disks this target does not
// read), as a saved database file (-l) through the loader and both LDM
// reports.
#include <cstddef>
#include <cstdint>

#include "fuzz_ldm_database.h"
#include "fuzz_pack.h"

// The images are built before the first input, outside its time limit.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  kestrand::fuzz::PackImages();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static kestrand::fuzz::CEditedPack pack;
  pack.Apply(data, size);
  kestrand::fuzz::LoadAndReport(pack.Area(0), kestrand::fuzz::kAreaBytes);
  pack.Restore();
  return 0;
}
