#include "analysis/virtual_structure.h"

#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "analysis/primary_pack.h"
#include "common/formatters.h"
#include "common/xml_writer.h"
#include "disk/disk.h"
#include "driver/disk_set.h"
#include "ldm/config_header.h"
#include "ldm/ldm_database.h"
#include "ldm/private_header.h"
#include "ldm/record_report.h"
#include "ldm/record_tree.h"
#include "ldm/records.h"
#include "ldm/report_values.h"

namespace kestrand {

namespace {

struct RecordTypeNames {
  const char* Word;
  const char* Suffix;
};

RecordTypeNames NamesOf(uint16_t type) {
  switch (type) {
    case RECORD_TYPE_VOLUME: return {"Volume", " (Volume)"};
    case RECORD_TYPE_PLEX: return {"Plex", " (Plex)"};
    case RECORD_TYPE_SUBDISK: return {"Subdisk", " (Subdisk)"};
    case RECORD_TYPE_DISK: return {"Disk", " (Disk)"};
    case RECORD_TYPE_PACK: return {"Pack", " (Pack)"};
    default: return {"Unknown", " (Unknown)"};
  }
}

// The display name and icon.
void AddDisplay(CAttributeAdder& add, const RECORD_TREE_NODE& node) {
  const LDM_RECORD& record = *node.Record;
  // The name (at most 31 characters) and the suffix, built on the stack.
  const char* suffix = NamesOf(node.RecordType).Suffix;
  char caption[kRecordNameSize + 16];
  const auto* nul = static_cast<const char*>(std::memchr(record.RecordName, 0, kRecordNameSize - 1));
  const size_t nameLength = nul ? static_cast<size_t>(nul - record.RecordName) : kRecordNameSize - 1;
  std::memcpy(caption, record.RecordName, nameLength);
  std::memcpy(caption + nameLength, suffix, std::strlen(suffix) + 1);
  add.Text("_ElementDisplayName", caption);
  add.Text("_ElementIcon", "3");
}

// The common attributes after the display; the type word's parts come from
// the record's group.
void AddCommonAttributes(CAttributeAdder& add, const RECORD_TREE_NODE& node) {
  const LDM_RECORD& record = *node.Record;
  const VBLK_GROUP* group = record.Group;
  const uint16_t typeWord = group ? group->TypeWord : 0;
  add.Text("Type", NamesOf(node.RecordType).Word);
  add.Number("Id", RecordIdOf(&record));
  add.Text("Name", record.RecordName);
  add.Number("Version", (typeWord >> 4) & 0x0F);
  add.Flags("TransFlags", group ? group->TransFlags : 0);
  add.Flags("RecExt", (typeWord >> 8) & 0xFF);
  add.Flags("Attributes", typeWord);
  add.Number("Size", group ? group->RecordSize : 0);
  add.Number("UpdateSequence", record.UpdateSequence);
}

// The ready disks in list order with their primary DiskIds: a disk record
// shows the first whose DiskId is its own. Readiness does not change while
// the walk runs, so the list is made once rather than at every disk record.
struct ReadyDisk {
  GUID DiskId;
  CDisk* Disk;
};

std::vector<ReadyDisk> ReadyDisksOf(CPtrList<CDisk>* disks) {
  std::vector<ReadyDisk> ready;
  if (!disks) return ready;
  for (CPtrListIterator<CDisk> it(*disks); !it.AtEnd(); it.Advance())
    if (const PRIVATE_HEADER* header = ReadyPrimaryHeader(it.Current())) ready.push_back({header->DiskId, it.Current()});
  return ready;
}

CDisk* PhysicalDiskOf(const DISK_RECORD& record, const std::vector<ReadyDisk>& ready) {
  for (const ReadyDisk& disk : ready)
    if (disk.DiskId == record.DiskId) return disk.Disk;
  return nullptr;
}

// What the walk over the tree shares: the disk list, and the branch of each
// physical disk shown so far. A disk's branch holds all its records and is
// shown under every disk record on that disk (one per subdisk), so it is
// built once, held by the element of the whole virtual structure, and shown
// through references.
//
// The Records elements themselves are written straight into bytes (nothing
// looks at them again), and these bytes become fragment children of the
// virtual structure's element, between the references to the disks'
// branches: written in order, they give the same document as nested nodes.
struct VirtualStructureWalk {
  std::vector<ReadyDisk> ReadyDisks;
  CKestrandTreeNode* Holder;
  std::unordered_map<const CDisk*, const CKestrandTreeNode*> Branches;
  // Branches the report already holds (CDiskSet::ShownBranches), or none.
  const std::unordered_map<const CDisk*, const CKestrandTreeNode*>* Shown;
  // The bytes since the holder's last child.
  std::string Pending;
  // The records' attributes as the disks' Records branches show them.
  CShownRecordAttributes ShownAttributes;
};

// Every attribute of a record's element. The host is asked for a volume's
// name; the common attributes from Type on and the record's own are the
// bytes its Records branch shows when that was made with the same answer
// (the node's type is its entry's, so the words agree), else made here.
void AddAttributes(VirtualStructureWalk& walk, CAttributeAdder& add, const RECORD_TREE_NODE& node) {
  AddDisplay(add, node);
  const VolumeNameAnswer answer = AskVolumeNameOf(*node.Record);
  const std::string_view shown = walk.ShownAttributes.Find(*node.Record, answer);
  const RECORD_ENTRY* entry = node.Record->Entry;
  if (!shown.empty() && add.Code() == 0 && entry && node.RecordType == entry->RecordType) {
    walk.Pending += shown;
    return;
  }
  AddCommonAttributes(add, node);
  AddRecordTypeAttributes(add, *node.Record, answer);
}

// The pending bytes as the holder's next child (a copy: the pending buffer
// keeps its room for the bytes after it).
uint32_t AddPending(VirtualStructureWalk& walk) {
  if (walk.Pending.empty()) return 0;
  const bool added = walk.Holder->AddFragment(walk.Pending) != nullptr;
  walk.Pending.clear();
  return added ? 0 : ERROR_NOT_ENOUGH_MEMORY_CODE;
}

uint32_t AddShown(VirtualStructureWalk& walk, const CKestrandTreeNode* target) {
  const uint32_t code = AddPending(walk);
  if (code != 0) return code;
  return walk.Holder->AddReference(target) ? 0 : ERROR_NOT_ENOUGH_MEMORY_CODE;
}

// The physical disk's own branch (without tests), or MissingDisk.
uint32_t AddPhysicalDisk(VirtualStructureWalk& walk, CElementBytes& element, const RECORD_TREE_NODE& node) {
  const auto* record = RecordAs<DISK_RECORD>(node.Record);
  CDisk* disk = record ? PhysicalDiskOf(*record, walk.ReadyDisks) : nullptr;
  if (disk) {
    if (walk.Shown) {
      auto shown = walk.Shown->find(disk);
      if (shown != walk.Shown->end()) {
        element.Children();
        return AddShown(walk, shown->second);
      }
    }
    const CKestrandTreeNode*& branch = walk.Branches[disk];
    if (!branch) {
      // Whatever the disk adds (its result is not used) goes under a node
      // that is never written; its children are what each reference shows.
      CKestrandTreeNode* built = walk.Holder->HoldNode("PhysicalDisk");
      disk->AddToReport(built, false);
      branch = built;
    }
    for (const CKestrandTreeNode* child = branch->FirstChild(); child; child = child->NextSibling()) {
      element.Children();
      const uint32_t code = AddShown(walk, child);
      if (code != 0) return code;
    }
    return 0;
  }
  element.Children();
  CElementBytes missing(walk.Pending, "MissingDisk");
  missing.Add().Display("Missing", "4");
  missing.End();
  return 0;
}

// Siblings in a loop; the recursion only goes down the five levels.
// The bytes go to walk.Pending, which AddShown empties between the
// references; the elements keep writing to it.
uint32_t AddRecordElements(VirtualStructureWalk& walk, CElementBytes* parent, RECORD_TREE_NODE* node) {
  for (; node; node = node->NextSibling) {
    if (!node->Record) continue;
    if (parent) parent->Children();
    CElementBytes element(walk.Pending, "Records");
    AddAttributes(walk, element.Add(), *node);
    if (node->RecordType == RECORD_TYPE_DISK) {
      const uint32_t code = AddPhysicalDisk(walk, element, *node);
      if (code != 0) return code;
    }
    const uint32_t code = AddRecordElements(walk, &element, node->FirstChild);
    if (code != 0) return code;
    element.End();
  }
  return 0;
}

}  // namespace

uint32_t AddVirtualStructure(CDiskSet* diskSet, CKestrandTreeNode* parent, RECORD_TREE_NODE* node,
                             CPtrList<CDisk>* disks) {
  if (!parent) return ERROR_INVALID_PARAMETER_CODE;
  VirtualStructureWalk walk{ReadyDisksOf(disks), parent, {}, diskSet ? &diskSet->ShownBranches : nullptr, {}, {}};
  if (disks)
    for (CPtrListIterator<CDisk> it(*disks); !it.AtEnd(); it.Advance()) {
      const LDM_DATABASE* database = it.Current()->LdmDatabase();
      if (database && database->Config && database->Config->Header)
        walk.ShownAttributes.Add(*database->Config->Header);
    }
  const uint32_t code = AddRecordElements(walk, nullptr, node);
  if (code != 0) return code;
  return AddPending(walk);
}

}  // namespace kestrand
