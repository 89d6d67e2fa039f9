// Writes one synthetic pack: kestrand_make_pack --disks N --blocks B --out DIR
// [--disk-gib G]. B is the config database's number of blocks, header
// blocks included (at most 5,924); as many volumes are laid out as fit.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "pack_generator.h"

int main(int argc, char** argv) {
  kestrand::bench::PackRequest request;
  std::string directory;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    const char* value = argv[i + 1];
    if (name == "--disks") request.Disks = static_cast<uint32_t>(std::strtoul(value, nullptr, 10));
    else if (name == "--blocks") request.NumBlocks = static_cast<uint32_t>(std::strtoul(value, nullptr, 10));
    else if (name == "--disk-gib") request.DiskBytes = std::strtoull(value, nullptr, 10) << 30;
    else if (name == "--out") directory = value;
    else {
      std::fprintf(stderr, "unknown option %s\n", argv[i]);
      return 2;
    }
  }
  if (directory.empty() || argc % 2 == 0) {
    std::fprintf(stderr, "usage: %s --disks N --blocks B --out DIR [--disk-gib G]\n", argv[0]);
    return 2;
  }
  kestrand::bench::PackFacts facts;
  const std::string problem = kestrand::bench::WritePack(request, directory, facts);
  if (!problem.empty()) {
    std::fprintf(stderr, "%s\n", problem.c_str());
    return 1;
  }
  std::printf("%s: %u disks, %u of %u blocks used, %u records (%u volumes, %u plexes, %u subdisks)\n",
              directory.c_str(), facts.Disks, facts.UsedBlocks, facts.NumBlocks, facts.Records, facts.Volumes,
              facts.Plexes, facts.Subdisks);
  return 0;
}
