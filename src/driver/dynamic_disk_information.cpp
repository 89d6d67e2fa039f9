// The closing section of the text report: per disk pack of the merged record
// tree, its name and id and a table of its volumes, one row per subdisk.
#include <memory>
#include <string>

#include "common/formatters.h"
#include "common/text_writer.h"
#include "disk/disk.h"
#include "driver/disk_set.h"
#include "driver/kestrand.h"
#include "ldm/record_tree.h"
#include "ldm/records.h"

namespace kestrand {

namespace {

constexpr const char16_t* kColumnsFormat = u"\n%12s %12s %12s %12s %12s %12s %12s %12s %12s %12s %12s %12s";
constexpr const char16_t* kRule = u"===========";

// The Vol Type word from the plex's layout and the counts.
const char16_t* LayoutWord(const VOLUME_RECORD& volume, const PLEX_RECORD& plex) {
  switch (plex.Layout) {
    case PLEX_LAYOUT_STRIPED: return u"Stripe";
    case PLEX_LAYOUT_RAID5: return u"Raid5";
    case PLEX_LAYOUT_SIMPLE:
      if (volume.NumPlexes > 1) return u"Mirror";
      return plex.SubdiskCount > 1 ? u"Spanned" : u"Simple";
    default: return u"Other";
  }
}

template <class T>
const T* RecordOf(const RECORD_TREE_NODE* node) {
  return node ? dynamic_cast<const T*>(node->Record) : nullptr;
}

void PrintRow(FILE* stream, const VOLUME_RECORD& volume, const PLEX_RECORD& plex, const RECORD_TREE_NODE& node) {
  const auto* subdisk = RecordOf<SUBDISK_RECORD>(&node);
  if (!subdisk) return;
  const auto* disk = RecordOf<DISK_RECORD>(node.FirstChild);
  const char16_t* mountName = volume.MountName ? volume.MountName.get() : u"(null)";
  PrintNarrow(stream, "\n%12s ", volume.RecordName);
  PrintWide(stream, u"%12s ", LayoutWord(volume, plex));
  PrintWide(stream, u"%12s ", mountName);
  PrintNarrow(stream, "%12s ", subdisk->RecordName);
  PrintNarrow(stream, "%12s ", plex.RecordName);
  PrintNarrow(stream, "%12s ", disk ? disk->RecordName : "Unknown");
  PrintNarrow(stream, "%12I64u ", static_cast<uint64_t>(subdisk->Length));
  PrintNarrow(stream, "%12lu ", subdisk->ColumnNumber);
  PrintNarrow(stream, "%12I64u ", subdisk->PlexOffset);
  PrintNarrow(stream, "%12I64u ", subdisk->DiskOffset);
  PrintNarrow(stream, "%12s ", volume.State);
  PrintNarrow(stream, "%12s ", plex.State);
}

void PrintVolume(FILE* stream, const RECORD_TREE_NODE& volumeNode) {
  const auto* volume = RecordOf<VOLUME_RECORD>(&volumeNode);
  if (!volume) return;
  for (const RECORD_TREE_NODE* plexNode = volumeNode.FirstChild; plexNode; plexNode = plexNode->NextSibling) {
    const auto* plex = RecordOf<PLEX_RECORD>(plexNode);
    if (!plex) continue;
    for (const RECORD_TREE_NODE* subdisk = plexNode->FirstChild; subdisk; subdisk = subdisk->NextSibling)
      PrintRow(stream, *volume, *plex, *subdisk);
  }
  PrintWide(stream, u"\n");
}

uint32_t PrintPack(FILE* stream, const RECORD_TREE_NODE& packNode) {
  const auto* pack = RecordOf<PACK_RECORD>(&packNode);
  if (!pack) return 0;
  PrintWide(stream, u"\n\n---------- Dynamic Disk Information ----------\n");
  PrintNarrow(stream, "\n%10s: %s", "DiskGroup", pack->RecordName);
  std::u16string packId;
  uint32_t code = FormatGuid(pack->PackId, packId);
  if (code != 0) return code;
  PrintWide(stream, u"\n%10s: %s", u"Group-ID", packId);
  PrintWide(stream, u"\n");
  PrintWide(stream, u"\n---------- LDM Volume Information ----------\n");
  PrintWide(stream, kColumnsFormat, u"Volume", u"Vol Type", u"Mount Name", u"Subdisk", u"Plex", u"Disk", u"Size",
            u"Column", u"Plex Offset", u"Disk Offset", u"Vol State", u"Plex State");
  PrintWide(stream, kColumnsFormat, kRule, kRule, kRule, kRule, kRule, kRule, kRule, kRule, kRule, kRule, kRule,
            kRule);
  for (const RECORD_TREE_NODE* volume = packNode.FirstChild; volume; volume = volume->NextSibling)
    PrintVolume(stream, *volume);
  PrintWide(stream, u"\n");
  return 0;
}

}  // namespace

uint32_t CKestrand::PrintDynamicDiskInformation(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  // The set frees its list and the tree when it goes.
  auto diskSet = std::make_unique<CDiskSet>();
  uint32_t code = BuildDiskSet(diskSet.get(), this);
  if (code != 0) return code;
  for (const RECORD_TREE_NODE* pack = diskSet->RecordTree; pack; pack = pack->NextSibling) {
    code = PrintPack(stream, *pack);
    if (code != 0) return code;
  }
  return 0;
}

}  // namespace kestrand
