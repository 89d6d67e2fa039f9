// What ldmtool (Debian package ldmtool) shows for the disk group of the real
// images of the shared test data: the one table every test of those images
// checks against. Sizes and offsets are in sectors; a partition's start is
// from the start of its disk's data area.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestrand::test {

struct LdmtoolVolume {
  std::string Name, Guid, Type, MountHint;
  int64_t Size;
  int64_t ChunkSize;  // 0 unless striped or RAID-5
  std::vector<std::string> Partitions;
};

struct LdmtoolPartition {
  std::string Name, Disk;
  uint64_t Start;
  int64_t Size;
};

struct LdmtoolFacts {
  std::string GroupName = "Red-nzv8x6obywgDg0";
  std::string GroupGuid = "03c0c4fc-8b6f-402b-9431-4be2e5823b1c";
  // DiskN is image N-1 of RealImages::Names().
  std::vector<std::string> DiskGuids = {
      "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c", "c85a6ce4-edb3-4dbc-a3b9-7fba4b6e6f75",
      "004c32fa-91e1-41ac-83b3-bc1baff2dc93", "6c7ca470-6934-4dfd-9269-c3102b9ae158",
      "ce97d979-fabb-4e9b-b44c-7d9580ae1f53", "bfcb718c-3809-44b7-ae62-c94a3bd6b057",
      "47980158-abc7-46e3-a95f-7c00f8539073", "ce3fd206-854c-4207-985b-9e0125885f20",
      "fa21d8d9-e087-4585-9761-5710b88e4c92", "bb1570c9-aa66-47df-a8f1-4c89db3e0704"};
  std::vector<LdmtoolVolume> Volumes = {
      {"Volume1", "6e30daae-8e42-40fb-9af0-807416c3fede", "simple", "E:", 96256, 0, {"Disk1-01"}},
      {"Volume2", "fad18ad4-5054-4dea-8fe3-ca433d5fe1d1", "spanned", "F:", 192512, 0, {"Disk3-01", "Disk2-01"}},
      {"Volume3", "1010eeb7-09e4-4a6d-9c43-6753ec9d3af2", "mirrored", "H:", 96256, 0, {"Disk6-01", "Disk7-01"}},
      {"Volume4", "782ff9fb-f2f6-465e-9f13-935a20458f00", "spanned", "J:", 69632, 0, {"Disk4-02", "Disk5-02"}},
      {"Stripe1", "e5396ff0-7477-4b1a-91e8-476b9b5c6fb5", "striped", "G:", 122880, 128, {"Disk4-01", "Disk5-01"}},
      {"Raid1", "f8528b30-cbe8-4ce0-9188-e60e39afcc72", "raid5", "I:", 192512, 128,
       {"Disk10-01", "Disk9-01", "Disk8-01"}},
  };
  std::vector<LdmtoolPartition> Partitions = {
      {"Disk1-01", "Disk1", 0, 96256},      {"Disk2-01", "Disk2", 0, 96256},  {"Disk3-01", "Disk3", 0, 96256},
      {"Disk4-01", "Disk4", 0, 61440},      {"Disk4-02", "Disk4", 61440, 34816},
      {"Disk5-01", "Disk5", 0, 61440},      {"Disk5-02", "Disk5", 61440, 34816},
      {"Disk6-01", "Disk6", 0, 96256},      {"Disk7-01", "Disk7", 0, 96256},  {"Disk8-01", "Disk8", 0, 96256},
      {"Disk9-01", "Disk9", 0, 96256},      {"Disk10-01", "Disk10", 0, 96256},
  };
};

}  // namespace kestrand::test
