// The merge with its side index against a plain reference of the merge rules
// (walks from the pack node and from each subdisk) on thousands of random
// small sets of config copies: equal and differing copies of records, ids
// repeated within a copy and across types, links to records that do not
// exist, several packs, copies without a pack record, and copies merged
// again, at once or later. The trees must agree node for node, in child order.
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "ldm/config_header.h"
#include "ldm/record_tree.h"
#include "ldm/records.h"

namespace kestrand {
namespace {

// ---- the reference: the merge rules as plain walks ----

// Held by `start`, below it, by a later sibling or below one.
bool RefFind(const RECORD_TREE_NODE* start, const LDM_RECORD* record, uint16_t type) {
  for (const RECORD_TREE_NODE* node = start; node; node = node->NextSibling) {
    if (node->RecordType == type && RecordsEqual(node->Record, record, type)) return true;
    if (RefFind(node->FirstChild, record, type)) return true;
  }
  return false;
}

RECORD_TREE_NODE* RefAppend(RECORD_TREE_NODE* parent, LDM_RECORD* record, uint16_t type) {
  auto* node = new RECORD_TREE_NODE{.Parent = parent, .Record = record, .RecordType = type};
  RECORD_TREE_NODE** place = &parent->FirstChild;
  while (*place) place = &(*place)->NextSibling;
  *place = node;
  return node;
}

void RefInsert(RECORD_TREE_NODE* pack, LDM_RECORD* record, uint16_t type) {
  if (type != RECORD_TYPE_DISK && RefFind(pack, record, type)) return;
  if (type == RECORD_TYPE_VOLUME) {
    RefAppend(pack, record, type);
  } else if (type == RECORD_TYPE_PLEX) {
    const uint64_t volumeId = dynamic_cast<const PLEX_RECORD&>(*record).VolumeRecordId;
    for (RECORD_TREE_NODE* volume = pack->FirstChild; volume; volume = volume->NextSibling)
      if (RecordIdOf(volume->Record) == volumeId) {
        RefAppend(volume, record, type);
        return;
      }
  } else if (type == RECORD_TYPE_SUBDISK) {
    const uint64_t plexId = dynamic_cast<const SUBDISK_RECORD&>(*record).PlexRecordId;
    for (RECORD_TREE_NODE* volume = pack->FirstChild; volume; volume = volume->NextSibling)
      for (RECORD_TREE_NODE* plex = volume->FirstChild; plex; plex = plex->NextSibling)
        if (RecordIdOf(plex->Record) == plexId) {
          RefAppend(plex, record, type);
          break;
        }
  } else if (type == RECORD_TYPE_DISK) {
    for (RECORD_TREE_NODE* volume = pack->FirstChild; volume; volume = volume->NextSibling)
      for (RECORD_TREE_NODE* plex = volume->FirstChild; plex; plex = plex->NextSibling)
        for (RECORD_TREE_NODE* subdisk = plex->FirstChild; subdisk; subdisk = subdisk->NextSibling) {
          if (dynamic_cast<const SUBDISK_RECORD&>(*subdisk->Record).DiskRecordId != RecordIdOf(record)) continue;
          if (RefFind(subdisk, record, type)) continue;
          RefAppend(subdisk, record, type);
          break;
        }
  }
}

LDM_RECORD* RecordOfType(const VBLK_GROUP& group, uint16_t type) {
  return group.Entry && group.Entry->RecordType == type ? group.Entry->Record.get() : nullptr;
}

void RefMerge(const std::vector<const CONFIG_HEADER*>& copies, RECORD_TREE_NODE** root) {
  RECORD_TREE_NODE* current = nullptr;
  for (const CONFIG_HEADER* header : copies) {
    for (const auto& group : header->GroupList) {
      LDM_RECORD* pack = RecordOfType(*group, RECORD_TYPE_PACK);
      if (!pack) continue;
      RECORD_TREE_NODE** place = root;
      while (*place && !RecordsEqual((*place)->Record, pack, RECORD_TYPE_PACK)) place = &(*place)->NextSibling;
      if (!*place) *place = new RECORD_TREE_NODE{.Record = pack, .RecordType = RECORD_TYPE_PACK};
      current = *place;
    }
    if (!current) continue;
    for (uint16_t type : {RECORD_TYPE_VOLUME, RECORD_TYPE_PLEX, RECORD_TYPE_SUBDISK, RECORD_TYPE_DISK})
      for (const auto& group : header->GroupList)
        if (LDM_RECORD* record = RecordOfType(*group, type)) RefInsert(current, record, type);
  }
}

// ---- random config copies ----

// What a record is made of; `variant` goes into a field that equality
// compares, `link` and `link2` into the ids that place it.
struct RecordPlan {
  uint16_t Type;
  uint64_t Id;
  uint32_t Variant;
  uint64_t Link;
  uint64_t Link2;
};

class Copies {
 public:
  explicit Copies(uint32_t seed) : random_(seed) {}

  std::vector<const CONFIG_HEADER*> Make() {
    std::vector<RecordPlan> base;
    const uint32_t count = 4 + Below(24);
    for (uint32_t i = 0; i < count; ++i) base.push_back(RandomPlan());
    std::vector<const CONFIG_HEADER*> copies;
    const uint32_t copyCount = 1 + Below(5);
    for (uint32_t c = 0; c < copyCount; ++c) {
      // Now and then one copy comes again, right after itself (as the disks
      // of a group share one header) or later: every record meets itself.
      if (!copies.empty() && Below(4) == 0) {
        copies.push_back(Below(2) ? copies.back() : copies[Below(static_cast<uint32_t>(copies.size()))]);
        continue;
      }
      copies.push_back(Derive(base));
    }
    return copies;
  }

 private:
  uint32_t Below(uint32_t n) { return static_cast<uint32_t>(random_() % n); }

  // Small id pools, so that links often hit and ids often repeat.
  uint64_t Id(uint16_t type) {
    if (Below(10) == 0) return 1 + Below(12);  // any id, across types
    switch (type) {
      case RECORD_TYPE_PACK: return 1 + Below(2);
      case RECORD_TYPE_VOLUME: return 3 + Below(3);
      case RECORD_TYPE_PLEX: return 6 + Below(3);
      case RECORD_TYPE_SUBDISK: return 9 + Below(4);
      default: return 13 + Below(3);  // disks
    }
  }

  RecordPlan RandomPlan() {
    // One pack, two volumes, two plexes, three subdisks and two disks in ten.
    static const uint16_t kTypes[] = {5, 1, 1, 2, 2, 3, 3, 3, 4, 4};
    RecordPlan plan{kTypes[Below(10)], 0, Below(2), 0, 0};
    plan.Id = Id(plan.Type);
    if (plan.Type == RECORD_TYPE_PLEX) plan.Link = Id(RECORD_TYPE_VOLUME);
    if (plan.Type == RECORD_TYPE_SUBDISK) {
      plan.Link = Id(RECORD_TYPE_PLEX);
      plan.Link2 = Id(RECORD_TYPE_DISK);
    }
    return plan;
  }

  // A copy of the base: most records as they are, some left out, some
  // changed, a few added, in a somewhat shuffled group order.
  const CONFIG_HEADER* Derive(const std::vector<RecordPlan>& base) {
    std::vector<RecordPlan> plans;
    for (RecordPlan plan : base) {
      const uint32_t dice = Below(20);
      if (dice == 0) continue;
      if (dice == 1) plan.Variant = 2 + Below(2);
      if (dice == 2 && plan.Type == RECORD_TYPE_SUBDISK) plan.Link2 = Id(RECORD_TYPE_DISK);
      if (dice == 3 && plan.Type == RECORD_TYPE_PLEX) plan.Link = Id(RECORD_TYPE_VOLUME);
      plans.push_back(plan);
    }
    for (uint32_t extra = Below(3); extra > 0; --extra) plans.push_back(RandomPlan());
    for (uint32_t swaps = Below(4); swaps > 0 && plans.size() > 1; --swaps)
      std::swap(plans[Below(static_cast<uint32_t>(plans.size()))], plans[Below(static_cast<uint32_t>(plans.size()))]);

    auto header = std::make_unique<CONFIG_HEADER>();
    for (const RecordPlan& plan : plans) {
      AddRecord(*header, plan);
      // A group without a decoded record (broken or ignored) is passed over.
      if (Below(12) == 0) header->GroupList.push_back(std::make_unique<VBLK_GROUP>());
    }
    owned_.push_back(std::move(header));
    return owned_.back().get();
  }

  // A record of the plan's type whose field that equality compares holds
  // the variant, and whose links are the plan's.
  template <class Record, class Fill>
  static std::unique_ptr<LDM_RECORD> Make(Fill fill) {
    auto record = std::make_unique<Record>();
    fill(*record);
    return record;
  }
  static std::unique_ptr<LDM_RECORD> NewRecord(const RecordPlan& p) {
    if (p.Type == RECORD_TYPE_PACK) return Make<PACK_RECORD>([&](auto& r) { r.PackId.Data1 = 0x1000 + p.Variant; });
    if (p.Type == RECORD_TYPE_VOLUME) return Make<VOLUME_RECORD>([&](auto& r) { r.Length = 100 + p.Variant; });
    if (p.Type == RECORD_TYPE_DISK) return Make<DISK_RECORD>([&](auto& r) { r.PersistentFlags = p.Variant; });
    if (p.Type == RECORD_TYPE_PLEX) {
      return Make<PLEX_RECORD>([&](auto& r) {
        r.VolumeRecordId = p.Link;
        r.SubdiskCount = p.Variant;
      });
    }
    return Make<SUBDISK_RECORD>([&](auto& r) {
      r.PlexRecordId = p.Link;
      r.DiskRecordId = p.Link2;
      r.DetachSequence = p.Variant;
    });
  }

  static void AddRecord(CONFIG_HEADER& header, const RecordPlan& plan) {
    auto entry = std::make_unique<RECORD_ENTRY>(RECORD_ENTRY{&header.RecordList, plan.Id, plan.Type, NewRecord(plan)});
    auto group = std::make_unique<VBLK_GROUP>();
    entry->Record->Entry = entry.get();
    entry->Record->Group = group.get();
    group->GroupNumber = static_cast<uint32_t>(header.GroupList.size() + 1);
    group->TypeWord = plan.Type;
    group->Entry = entry.get();
    header.GroupList.push_back(std::move(group));
    header.RecordList.Entries.push_back(std::move(entry));
  }

  std::mt19937 random_;
  std::vector<std::unique_ptr<CONFIG_HEADER>> owned_;
};

// ---- comparing trees ----

// Node for node, in child order: type, id and record object, and the record
// object of the parent (only disk nodes, which have no children, share one).
std::string Describe(const RECORD_TREE_NODE* node) {
  std::ostringstream out;
  for (; node; node = node->NextSibling) {
    out << node->RecordType << ':' << RecordIdOf(node->Record) << '@' << node->Record << '^'
        << (node->Parent ? node->Parent->Record : nullptr);
    if (node->FirstChild) out << '[' << Describe(node->FirstChild) << ']';
    out << ' ';
  }
  return out.str();
}

size_t CountNodes(const RECORD_TREE_NODE* node, uint16_t type) {
  size_t count = 0;
  for (; node; node = node->NextSibling) count += (node->RecordType == type) + CountNodes(node->FirstChild, type);
  return count;
}

TEST(RecordTreeIndexTest, RandomCopiesMergeAsThePlainWalksMergeThem) {
  size_t packs = 0, subdisks = 0, disks = 0, sharedDisks = 0;
  for (uint32_t seed = 1; seed <= 4000; ++seed) {
    Copies maker(seed);
    const std::vector<const CONFIG_HEADER*> copies = maker.Make();
    RECORD_TREE_NODE *indexed = nullptr, *reference = nullptr;
    // Odd seeds merge in two calls: the index is then also built over a tree that has nodes.
    const auto half = static_cast<std::ptrdiff_t>(seed % 2 ? copies.size() / 2 : 0);
    for (const auto& part :
         {std::vector(copies.begin(), copies.begin() + half), std::vector(copies.begin() + half, copies.end())}) {
      MergeConfigCopies(part, &indexed);
      RefMerge(part, &reference);
    }
    const std::string described = Describe(indexed), expected = Describe(reference);
    packs += CountNodes(reference, RECORD_TYPE_PACK);
    subdisks += CountNodes(reference, RECORD_TYPE_SUBDISK);
    const size_t diskNodes = CountNodes(reference, RECORD_TYPE_DISK);
    FreeRecordTree(indexed);
    FreeRecordTree(reference);
    ASSERT_EQ(described, expected) << "seed " << seed;
    disks += diskNodes;
    sharedDisks += diskNodes > 1;
  }
  // The cases reach every level, often with more than one pack and more
  // than one disk node (6,670 packs, 13,543 subdisks, 11,246 disks and 1,590
  // cases with several disk nodes when this was written).
  EXPECT_GT(packs, 5000u);
  EXPECT_GT(subdisks, 10000u);
  EXPECT_GT(disks, 8000u);
  EXPECT_GT(sharedDisks, 1000u);
}

}  // namespace
}  // namespace kestrand
