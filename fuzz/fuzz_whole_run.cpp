// One to four dynamic disks (MBR or GPT) made by the builders, edited as the
// input says (see fuzz_pack.h), through the whole tool as it runs over live
// disks.
#include <cstddef>
#include <cstdint>

#include "fuzz_pack.h"

// The images are built before the first input, outside its time limit.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  kestrand::fuzz::PackImages();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static kestrand::fuzz::CEditedPack pack;
  pack.Apply(data, size);
  kestrand::fuzz::RunWholeTool(pack);
  pack.Restore();
  return 0;
}
