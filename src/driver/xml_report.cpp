// The XML report: the document frame, the disks sorted into their sections,
// and the analysis branches, built as one tree and written in one pass.
#include <memory>
#include <unordered_map>

#include "analysis/consistency_tests.h"
#include "analysis/primary_pack.h"
#include "analysis/virtual_structure.h"
#include "common/xml_writer.h"
#include "disk/disk.h"
#include "disk/disk_layout.h"
#include "driver/disk_set.h"
#include "driver/kestrand.h"

namespace kestrand {

namespace {

CKestrandTreeNode* AddSection(CKestrandTreeNode* parent, const char* name, const char* caption, const char* icon) {
  CKestrandTreeNode* section = parent->AddChild(name);
  if (section && CKestrandXMLWriter::SetElementDisplay(section, caption, icon) != 0) return nullptr;
  return section;
}

struct DiskSections {
  CKestrandTreeNode* Basic;
  CKestrandTreeNode* BasicWithLdm;
  CKestrandTreeNode* Dynamic;
};

using ShownBranches = std::unordered_map<const CDisk*, const CKestrandTreeNode*>;

// Each shown disk goes into one section; raw disks and disks without a
// layout or number are in none. A disk's branch is also what the virtual
// structure shows under every disk record on that disk, without the tests:
// its children are kept as their bytes (fragments), and a node held by
// `holder` with the disk element's attributes shows them again (`shown`).
uint32_t AddDisks(CPtrList<CDisk>& disks, const DiskSections& sections, CKestrandTreeNode* holder,
                  ShownBranches& shown) {
  for (CPtrListIterator<CDisk> it(disks); !it.AtEnd(); it.Advance()) {
    CDisk* disk = it.Current();
    if (!disk->DiskNumberKnown() || !disk->Layout()) continue;
    uint32_t kind = disk->Layout()->GetDiskKind();
    CKestrandTreeNode* section = nullptr;
    if (disk->BasicDiskWithLdmDatabase())
      section = sections.BasicWithLdm;
    else if (kind == DISK_KIND_BASIC)
      section = sections.Basic;
    else if (kind == DISK_KIND_DYNAMIC)
      section = sections.Dynamic;
    if (!section) continue;
    uint32_t code = disk->AddToReport(section, false);
    if (code != 0) return code;
    CKestrandTreeNode* diskNode = section->LastChild();
    const CKestrandTreeNode* children = diskNode->CollapseChildren();
    CKestrandTreeNode* again = holder->HoldNode(diskNode->Name());
    code = again->CopyAttributes(diskNode);
    if (code != 0) return code;
    for (const CKestrandTreeNode* child = children; child; child = child->NextSibling())
      if (!again->AddReference(child)) return ERROR_NOT_ENOUGH_MEMORY_CODE;
    shown[disk] = again;
    // As CDisk::AddToReport adds them; their code does not end the branch.
    if (disk->DiskKind() == DISK_KIND_DYNAMIC || disk->BasicDiskWithLdmDatabase()) AddDiskTests(diskNode, disk);
  }
  return 0;
}

uint32_t AddAnalysis(CKestrand& kestrand, CKestrandTreeNode* root, CKestrandTreeNode* dynamicDisks,
                     ShownBranches& shown) {
  auto diskSet = std::make_unique<CDiskSet>();
  uint32_t code = BuildDiskSet(diskSet.get(), &kestrand);
  if (code != 0) return code;
  diskSet->ShownBranches = std::move(shown);

  // Built even when DynamicDisks was detached: then it is simply not written.
  CKestrandTreeNode* tests = AddSection(dynamicDisks, "Tests", "Tests", "0");
  if (!tests) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  code = AddUniqueDiskIdsTest(diskSet.get(), tests);
  if (code != 0) return code;

  CKestrandTreeNode* virtualStructure = AddSection(root, "VirtualStructure", "Virtual Structure", "0");
  if (!virtualStructure) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  code = AddVirtualStructure(diskSet.get(), virtualStructure, diskSet->RecordTree, &diskSet->Disks);
  if (code != 0) return code;
  if (!virtualStructure->FirstChild() &&
      !AddSection(virtualStructure, "VirtualStructure", "NoValidDynamicDisks", "4"))
    return ERROR_NOT_ENOUGH_MEMORY_CODE;

  // The section shows how far the reasoning got; its code is not used.
  if (kestrand.LiveDisks) AddPrimaryPackDetermination(diskSet.get(), root);
  return 0;
}

}  // namespace

uint32_t CKestrand::WriteAnalysis(const char* fileName) {
  if (!fileName) return ERROR_INVALID_PARAMETER_CODE;
  // The tree is built once and freed when it has been written (or refused).
  auto tree = std::make_unique<CKestrandTreeNode>("root");
  CKestrandTreeNode* root = tree.get();
  uint32_t code = CFirstCode()
                      .Then([&] { return CKestrandXMLWriter::SetElementDisplay(root, "Kestrand", "1"); })
                      .Then([&] { return AddSystemInformation(root); })
                      .Then([&] { return AddMountPoints(root); })
                      .Then([&] { return AddDriveLetters(root); })
                      .Code();
  if (code != 0) return code;

  DiskSections sections{AddSection(root, "BasicDisks", "Basic Disks", "0"),
                        AddSection(root, "BasicDisksWithLDMDB", "Basic Disks w/ LDM DB", "0"),
                        AddSection(root, "DynamicDisks", "Dynamic Disks", "0")};
  if (!sections.Basic || !sections.BasicWithLdm || !sections.Dynamic) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  ShownBranches shown;
  code = AddDisks(Disks, sections, root, shown);
  if (code != 0) return code;
  // Every section has its parent, root, so Detach cannot fail here.
  for (CKestrandTreeNode* section : {sections.Basic, sections.BasicWithLdm, sections.Dynamic})
    if (!section->FirstChild()) section->Detach();

  code = AddAnalysis(*this, root, sections.Dynamic, shown);
  if (code != 0) return code;
  return WriteXmlDocument(fileName, root);
}

}  // namespace kestrand
