// The volumes and their mount paths, in the map's order (bucket by bucket),
// for both reports.
#include <cstdio>

#include "common/text_writer.h"
#include "common/tree_node.h"
#include "common/xml_writer.h"
#include "driver/kestrand.h"
#include "platform/types.h"

namespace kestrand {

uint32_t CKestrand::PrintMountPoints(FILE* stream) {
  if (!stream) return ERROR_INVALID_PARAMETER_CODE;
  return MountPoints.ForEach([stream](const CWideString& volume, MountPathList* paths) -> uint32_t {
    if (!volume.Get()) return ERROR_NOT_ENOUGH_MEMORY_CODE;
    PrintWide(stream, u"\t%s\n", volume.Get());
    if (paths) {
      for (CPtrListIterator<CWideString> it(*paths); !it.AtEnd(); it.Advance()) {
        const char16_t* path = it.Current() ? it.Current()->Get() : nullptr;
        if (!path) return ERROR_NOT_ENOUGH_MEMORY_CODE;
        PrintWide(stream, u"\t\t%s\n", path);
      }
    }
    PrintWide(stream, u"\n");
    return 0;
  });
}

namespace {

uint32_t AddMount(CKestrandTreeNode* section, const char16_t* volume, const char16_t* path) {
  CKestrandTreeNode* mount = section->AddChild("Mount");
  if (!mount) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  uint32_t code = CKestrandXMLWriter::NewAttributeW(mount, "_ElementDisplayName", volume);
  if (code == 0) code = CKestrandXMLWriter::NewAttribute(mount, "_ElementIcon", "3");
  if (code == 0) code = CKestrandXMLWriter::NewAttributeW(mount, "MountPoint", path);
  return code;
}

}  // namespace

// One Mount element per mount path; a volume without paths adds none.
uint32_t CKestrand::AddMountPoints(CKestrandTreeNode* root) {
  if (!root) return ERROR_INVALID_PARAMETER_CODE;
  CKestrandTreeNode* section = root->AddChild("MountPoints");
  if (!section) return ERROR_NOT_ENOUGH_MEMORY_CODE;
  uint32_t code = CKestrandXMLWriter::SetElementDisplay(section, "Mount Points", "3");
  if (code != 0) return code;
  return MountPoints.ForEach([section](const CWideString& volume, MountPathList* paths) -> uint32_t {
    if (!volume.Get()) return ERROR_NOT_ENOUGH_MEMORY_CODE;
    if (!paths) return 0;
    for (CPtrListIterator<CWideString> it(*paths); !it.AtEnd(); it.Advance()) {
      const char16_t* path = it.Current() ? it.Current()->Get() : nullptr;
      if (!path) return ERROR_NOT_ENOUGH_MEMORY_CODE;
      uint32_t added = AddMount(section, volume.Get(), path);
      if (added != 0) return added;
    }
    return 0;
  });
}

}  // namespace kestrand
