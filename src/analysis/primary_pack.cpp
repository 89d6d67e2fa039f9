#include "analysis/primary_pack.h"

#include <algorithm>
#include <string>
#include <vector>

#include "common/text_format.h"
#include "common/xml_writer.h"
#include "disk/disk.h"
#include "disk/disk_layout.h"
#include "driver/disk_set.h"
#include "ldm/config_header.h"
#include "ldm/field_decoder.h"
#include "ldm/ldm_database.h"
#include "ldm/records.h"
#include "ldm/private_header.h"
#include "ldm/record_tree.h"
#include "platform/platform.h"

namespace kestrand {

namespace {

constexpr size_t kBracedLength = 38;
constexpr size_t kInnerLength = 36;

CKestrandTreeNode* AddElement(CKestrandTreeNode* parent, const char* name, const char* caption, const char* icon,
                              uint32_t& code) {
  CKestrandTreeNode* element = parent->AddChild(name);
  code = element ? CKestrandXMLWriter::SetElementDisplay(element, caption, icon) : ERROR_NOT_ENOUGH_MEMORY_CODE;
  return code == 0 ? element : nullptr;
}

// A criterion: display name and rule now, facts next, the verdict last.
CKestrandTreeNode* AddCriterion(CKestrandTreeNode* parent, const char* name, const char* caption,
                                const char* description, uint32_t& code) {
  CKestrandTreeNode* criterion = parent->AddChild(name);
  code = ERROR_NOT_ENOUGH_MEMORY_CODE;
  if (!criterion) return nullptr;
  code = CAttributeAdder(criterion).Text("_ElementDisplayName", caption).Text("Description", description).Code();
  return code == 0 ? criterion : nullptr;
}

uint32_t SetCriterionVerdict(CKestrandTreeNode* criterion, bool passed) {
  return CAttributeAdder(criterion)
      .Text("_ElementIcon", passed ? "16" : "4")
      .Text("Status", passed ? "Passed" : "Failed")
      .Code();
}

uint32_t AddDiskFact(CKestrandTreeNode* element, const CDisk* disk, const std::string& value) {
  return CKestrandXMLWriter::NewAttribute(element, FormatNarrow("Disk%d", disk->DiskNumber()).c_str(), value);
}

bool HasBootIndicator(CDiskLayout& layout) {
  for (uint32_t i = 0; i < layout.EntryCount(); ++i)
    if (const PARTITION_INFORMATION_EX* entry = layout.Entry(i); entry && entry->Mbr.BootIndicator) return true;
  return false;
}

// The first MBR disk with an active partition; the walk stops there.
uint32_t FindBootDisk(CDiskSet& set, CKestrandTreeNode* parent) {
  uint32_t code = 0;
  CKestrandTreeNode* bootDisk = AddElement(parent, "BootDisk", "Boot Disk", "3", code);
  if (!bootDisk) return code;
  for (CPtrListIterator<CDisk> it(set.Disks); !it.AtEnd(); it.Advance()) {
    CDisk* disk = it.Current();
    CDiskLayout* layout = disk->Layout();
    if (!layout || layout->GetPartitionStyle() != PARTITION_STYLE_MBR) {
      code = AddDiskFact(bootDisk, disk, "GPT");
    } else if (HasBootIndicator(*layout)) {
      set.BootDisk = disk;
      return AddDiskFact(bootDisk, disk, "MBR, Boot Indicator True (Is Bootdisk)");
    } else {
      code = AddDiskFact(bootDisk, disk, "MBR, Boot Indicator False (Not Bootdisk)");
    }
    if (code != 0) return code;
  }
  return ERROR_NOT_FOUND_CODE;
}

uint32_t AddCriterionOne(CDiskSet& set, CKestrandTreeNode* parent) {
  if (!set.BootDisk) return ERROR_INVALID_PARAMETER_CODE;
  uint32_t code = 0;
  CKestrandTreeNode* criterion =
      AddCriterion(parent, "PrimaryPackCriteriaOne", "Primary Pack Criteria 1",
                   "If the boot disk is a dynamic disk, it is automatically the primary pack", code);
  if (!criterion) return code;
  const bool dynamic = set.BootDisk->DiskKind() == DISK_KIND_DYNAMIC;
  code = CKestrandXMLWriter::NewAttribute(criterion, "IsBootDiskDynamic", dynamic ? "True" : "False");
  if (code != 0) return code;
  return SetCriterionVerdict(criterion, dynamic);
}

// The registry's primary pack id; all zero when the value is absent or is
// not a braced GUID.
GUID RegisteredPrimaryPackId() {
  GUID id = {};
  std::u16string text;
  if (ThePlatform().QueryPrimaryPackId(text) >= 0) ParseBracedGuidText(text, id);
  return id;
}

uint32_t AddCriterionTwo(CDiskSet& set, CKestrandTreeNode* parent) {
  uint32_t code = 0;
  CKestrandTreeNode* criterion =
      AddCriterion(parent, "PrimaryPackCriteria2", "Primary Pack Criteria 2",
                   "If the PackId in the registry matches a connected pack, then it becomes the primary pack.", code);
  if (!criterion) return code;
  const GUID registered = RegisteredPrimaryPackId();
  bool matched = false;
  for (const RECORD_TREE_NODE* pack = set.RecordTree; pack && !matched; pack = pack->NextSibling) {
    const auto* record = RecordAs<PACK_RECORD>(pack->Record);
    matched = record && record->PackId == registered;
  }
  return SetCriterionVerdict(criterion, matched);
}

// The ready disks, newest primary header first; equal times keep list order.
std::vector<const CDisk*> DisksByHeaderTime(CDiskSet& set) {
  std::vector<const CDisk*> ordered;
  for (CPtrListIterator<CDisk> it(set.Disks); !it.AtEnd(); it.Advance())
    if (ReadyPrimaryHeader(it.Current())) ordered.push_back(it.Current());
  std::stable_sort(ordered.begin(), ordered.end(), [](const CDisk* a, const CDisk* b) {
    return ReadyPrimaryHeader(a)->UpdateTime > ReadyPrimaryHeader(b)->UpdateTime;
  });
  return ordered;
}

// A disk whose config holds no pack record has no pack name: it shows empty.
std::string PackNameText(const CDisk* disk) {
  const char* name = LastPackName(disk);
  return name ? name : "";
}

// Lists the ready disks, newest headers first, until one matches: that one
// with its pack name and a pass; without a match, every disk and a failure.
template <class Matches>
uint32_t ListUntilMatch(CDiskSet& set, CKestrandTreeNode* criterion, Matches matches, const std::string& matchText,
                        const char* missText) {
  for (const CDisk* disk : DisksByHeaderTime(set)) {
    if (matches(disk)) {
      const uint32_t code = AddDiskFact(criterion, disk, matchText + PackNameText(disk));
      return code != 0 ? code : SetCriterionVerdict(criterion, true);
    }
    const uint32_t code = AddDiskFact(criterion, disk, missText);
    if (code != 0) return code;
  }
  return SetCriterionVerdict(criterion, false);
}

uint32_t AddCriterionThree(CDiskSet& set, CKestrandTreeNode* parent) {
  if (!set.BootDisk) return ERROR_INVALID_PARAMETER_CODE;
  uint32_t code = 0;
  CKestrandTreeNode* criterion = AddCriterion(parent, "PrimaryPackCriteria3", "Primary Pack Criteria 3",
                                              "Import the pack of the disk that lists the current boot disk as "
                                              "their boot disk. Favor disks with the most recent headers.",
                                              code);
  if (!criterion) return code;
  uint32_t bootSignature = 0;
  const bool bootHasSignature = MbrDiskSignature(set.BootDisk, bootSignature);
  return ListUntilMatch(
      set, criterion,
      [&](const CDisk* disk) { return bootHasSignature && ReadyPrimaryHeader(disk)->BootSig == bootSignature; },
      "Bootsig matches bootdisk sig. PackName=", "Bootsig does not match bootdisk sig.");
}

// Whether any disk of the set but `disk` has `signature` as its MBR disk
// signature; disks without one never match.
bool SignatureOfAnotherDisk(CDiskSet& set, const CDisk* disk, uint32_t signature) {
  for (CPtrListIterator<CDisk> it(set.Disks); !it.AtEnd(); it.Advance()) {
    uint32_t other = 0;
    if (it.Current() != disk && MbrDiskSignature(it.Current(), other) && other == signature) return true;
  }
  return false;
}

uint32_t AddCriterionFour(CDiskSet& set, CKestrandTreeNode* parent) {
  uint32_t code = 0;
  CKestrandTreeNode* criterion = AddCriterion(parent, "PrimaryPackCriteria4", "Primary Pack Criteria 4",
                                              "Import the pack of a disk that lists a disk that is connected to "
                                              "the system as a boot disk. Favor disks with the most recent headers.",
                                              code);
  if (!criterion) return code;
  return ListUntilMatch(
      set, criterion,
      [&](const CDisk* disk) { return SignatureOfAnotherDisk(set, disk, ReadyPrimaryHeader(disk)->BootSig); },
      "Bootsig matches a disks signature. PackName=", "Bootsig does not match any disks signature");
}

}  // namespace

// What the analysis reads from a disk that is ready for LDM analysis.

const PRIVATE_HEADER* ReadyPrimaryHeader(const CDisk* disk) {
  if (!disk || !disk->IsReadyForLdmAnalysis()) return nullptr;
  const LDM_DATABASE* database = disk->LdmDatabase();
  if (!database || !database->PrimaryHeader) return nullptr;
  return &database->PrimaryHeader->Header;
}

const CONFIG_HEADER* ConfigHeaderOf(const CDisk* disk) {
  const LDM_DATABASE* database = disk ? disk->LdmDatabase() : nullptr;
  if (!database || !database->Config) return nullptr;
  return database->Config->Header.get();
}

const char* LastPackName(const CDisk* disk) {
  const CONFIG_HEADER* header = ConfigHeaderOf(disk);
  if (!header) return nullptr;
  const char* name = nullptr;
  for (const auto& group : header->GroupList) {
    if (!group || !group->Entry || !group->Entry->Record) continue;
    if (group->Entry->RecordType == RECORD_TYPE_PACK) name = group->Entry->Record->RecordName;
  }
  return name;
}

bool MbrDiskSignature(const CDisk* disk, uint32_t& signature) {
  CDiskLayout* layout = disk ? disk->Layout() : nullptr;
  if (!layout || layout->GetPartitionStyle() != PARTITION_STYLE_MBR || !layout->Head()) return false;
  signature = layout->Head()->Mbr.Signature;
  return true;
}

// The braced GUID text of the registry.

bool ParseBracedGuidText(std::u16string_view text, GUID& guid) {
  if (text.size() < kBracedLength || text.front() != u'{' || text[kBracedLength - 1] != u'}') return false;
  for (size_t i = kBracedLength; i < text.size(); ++i)
    if (text[i] != u'\0') return false;
  // The inner text is plain ASCII or no GUID at all.
  char inner[kInnerLength + 1] = {};
  for (size_t i = 0; i < kInnerLength; ++i) {
    const char16_t c = text[i + 1];
    if (c == 0 || c > 0x7F) return false;
    inner[i] = static_cast<char>(c);
  }
  GUID parsed = {};
  if (!ParseGuidText(inner, parsed)) return false;
  guid = parsed;
  return true;
}

// The primary pack determination.

uint32_t AddPrimaryPackDetermination(CDiskSet* diskSet, CKestrandTreeNode* node) {
  if (!diskSet || !node) return ERROR_INVALID_PARAMETER_CODE;
  CDiskSet& set = *diskSet;
  uint32_t code = 0;
  CKestrandTreeNode* driverCode = AddElement(node, "DriverCode", "DriverCode", "0", code);
  if (!driverCode) return code;

  CKestrandTreeNode* reinitialization =
      AddElement(driverCode, "BootDriverReinitialization", "Boot Driver Reinitialization", "0", code);
  if (!reinitialization) return code;
  code = FindBootDisk(set, reinitialization);
  if (code != 0) return code;
  CKestrandTreeNode* systemDisk = AddElement(reinitialization, "SystemDisk", "System Disk", "3", code);
  if (!systemDisk) return code;
  code = CKestrandXMLWriter::NewAttribute(systemDisk, "Disk", "Set to boot disk");
  if (code != 0) return code;
  set.SystemDisk = set.BootDisk;
  code = AddCriterionOne(set, reinitialization);
  if (code != 0) return code;

  CKestrandTreeNode* resume = AddElement(driverCode, "ResumeOnlineInternal", "ResumeOnlineInternal", "0", code);
  if (!resume) return code;
  return CFirstCode()
      .Then([&] { return AddCriterionTwo(set, resume); })
      .Then([&] { return AddCriterionThree(set, resume); })
      .Then([&] { return AddCriterionFour(set, resume); })
      .Code();
}

}  // namespace kestrand
