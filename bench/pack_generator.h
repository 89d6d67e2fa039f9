// Synthetic disk packs for the benchmarks: N dynamic MBR disks of one pack
// whose config database (the same on every disk) holds as many volumes as
// fit into a given number of blocks. Volumes are laid out in a repeating
// cycle of simple, spanned, mirrored and striped volumes over the disks, so
// that the merged record tree gets disk nodes under many subdisks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestrand::bench {

// What a pack holds, as written to its facts file.
struct PackFacts {
  uint32_t Disks = 0;
  uint32_t NumBlocks = 0;   // blocks of the config database, header blocks included
  uint32_t UsedBlocks = 0;  // header blocks and blocks that carry a record
  uint32_t Volumes = 0;
  uint32_t Plexes = 0;
  uint32_t Subdisks = 0;
  uint32_t Records = 0;  // pack, disks, volumes, plexes and subdisks
  std::string PackGuid;
  std::string PackName;
  std::vector<std::string> ImagePaths;  // in disk order
  std::vector<std::string> VolumeNames;
  std::vector<std::string> VolumeKinds;  // "simple", "spanned", "mirrored", "striped"
};

// The largest config database of the 1 MiB LDM area: the config region of
// 1,481 sectors between the tables of contents and the log region.
constexpr uint32_t kLargestConfigBlocks = 1481 * 512 / 128;

struct PackRequest {
  uint32_t Disks = 2;
  uint32_t NumBlocks = 256;
  uint64_t DiskBytes = 8ull << 30;  // sparse; only the MBR and the LDM area are written
};

// Writes disk00.img ... and pack.txt into `directory` (created when missing).
// Returns an empty string or what went wrong.
std::string WritePack(const PackRequest& request, const std::string& directory, PackFacts& facts);

// Reads the facts file of a pack directory. Returns an empty string or what
// went wrong.
std::string ReadPackFacts(const std::string& directory, PackFacts& facts);

}  // namespace kestrand::bench
