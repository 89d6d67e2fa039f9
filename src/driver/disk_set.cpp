// The disks of the run: every disk interface the platform lists, numbered,
// sorted and probed; or the one disk that stands for a saved database file.
// Also the analysis disk set built from them, and the closing section of the
// text report, which shows the packs of the set's merged record tree.
#include "driver/disk_set.h"

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "common/formatters.h"
#include "common/text_format.h"
#include "disk/disk.h"
#include "driver/kestrand.h"
#include "ldm/records.h"
#include "ldm/record_tree.h"
#include "platform/platform.h"

namespace kestrand {

namespace {

// SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX: no dialog for a drive
// without medium.
constexpr uint32_t kQuietErrorMode = 0x8001;

// The device number of an interface, or false when its device cannot be
// opened or numbered (held exclusively elsewhere, missing rights, ...).
bool QueryDeviceNumber(const std::u16string& devicePath, uint32_t& number) {
  PlatformHandle device = kInvalidHandle;
  if (ThePlatform().OpenDevice(devicePath, device) != 0) return false;
  WIN32_ERROR error = ThePlatform().GetDeviceNumber(device, number);
  ThePlatform().CloseDevice(device);
  return error == 0;
}

// A numbered disk for one interface; nullptr when it is to be left out.
CDisk* NewNumberedDisk(CKestrand* owner, const DiskInterface& disk) {
  auto* result = new CDisk();
  result->SetOwner(owner);
  uint32_t number = 0;
  if (!result->SetInstanceId(disk.InstanceId.c_str()) || !result->SetDevicePath(disk.DevicePath.c_str()) ||
      !QueryDeviceNumber(disk.DevicePath, number)) {
    delete result;
    return nullptr;
  }
  result->SetDiskNumber(number);
  result->SetDiskNumberKnown(true);
  return result;
}

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
  return node ? RecordAs<T>(node->Record) : nullptr;
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

uint32_t CKestrand::EnumerateDisks() {
  CPlatform& platform = ThePlatform();
  platform.SetErrorMode(platform.SetErrorMode(0) | kQuietErrorMode);

  std::vector<DiskInterface> interfaces;
  WIN32_ERROR ended = platform.ListDiskInterfaces(interfaces);
  for (const DiskInterface& disk : interfaces) {
    // An interface without an instance id is skipped.
    if (disk.InstanceId.empty()) continue;
    if (CDisk* numbered = NewNumberedDisk(this, disk)) Disks.Append(numbered);
  }
  // Stopped early: the disks found so far stay, unsorted and unprobed.
  if (ended != ERROR_NO_MORE_ITEMS_CODE) return ended;

  Disks.StableSort([](const CDisk* a, const CDisk* b) { return a->DiskNumber() < b->DiskNumber(); });
  uint32_t volumes = EnumerateVolumes();
  uint32_t driveLetters = EnumerateDriveLetters();
  uint32_t probe = 0;
  for (CPtrListIterator<CDisk> it(Disks); !it.AtEnd(); it.Advance())
    if (it.Current()->DiskNumberKnown()) probe = it.Current()->Initialize();
  if (driveLetters != 0) return driveLetters;
  if (volumes != 0) return volumes;
  return probe;
}

uint32_t CKestrand::OpenLdmFile(const char* fileName) {
  LiveDisks = false;
  auto* disk = new (std::nothrow) CLdmFileDisk();
  if (!disk) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  uint32_t code = disk->Initialize(fileName, this);
  if (code == 0)
    Disks.Append(disk);
  else
    delete disk;
  return code;
}

CDiskSet::~CDiskSet() { FreeRecordTree(RecordTree); }

uint32_t BuildDiskSet(CDiskSet* diskSet, CKestrand* kestrand) {
  if (!diskSet || !kestrand) return ERROR_INVALID_PARAMETER_CODE;
  for (CPtrListIterator<CDisk> it(kestrand->Disks); !it.AtEnd(); it.Advance())
    if (it.Current()->DiskNumberKnown()) diskSet->Disks.Append(it.Current());
  return BuildRecordTree(&diskSet->Disks, &diskSet->RecordTree);
}

// The Dynamic Disk Information: per disk pack of the merged record tree, its
// name and id and a table of its volumes, one row per subdisk.

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
