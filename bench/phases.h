// Where the time of a run goes before any report is written: gathering
// (probing the disks, reading and decoding every LDM database) and merging
// the records of all disks into one tree.
#pragma once

#include <cstdint>

#include "pack_generator.h"

namespace kestrand::bench {

struct Phases {
  double GatherMs = -1;  // -1: the child failed
  double MergeMs = -1;
  uint64_t TreeNodes = 0;
};

// Gathers and merges once in a child process (so that the decoded disks do
// not stay in this one) and reads the figures back through a pipe.
Phases MeasurePhases(const PackFacts& facts);

}  // namespace kestrand::bench
