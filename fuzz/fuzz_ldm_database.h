// Runs a database file held in memory through the loader and both LDM
// reports (text to the null device, the XML tree rendered into one string
// kept from input to input). The platform and the owning tool object are
// made once: the file disk only records its owner. The loader's lines for
// unreadable structures go to standard error; run with -close_fd_mask=2 to
// keep them out of the log.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "common/xml_writer.h"
#include "disk/disk.h"
#include "driver/kestrand.h"
#include "fuzz_pack.h"
#include "ldm/ldm_database.h"
#include "support/image_platform.h"

namespace kestrand::fuzz {

inline void LoadAndReport(const uint8_t* data, size_t size) {
  static FILE* sink = std::fopen(NullDevice(), "w");
  static const char* const kFileName = "fuzz.ldm";
  static CImagePlatform platform;
  static CKestrand owner;
  static std::string xml;
  platform.MemoryFiles[kFileName] = MemoryImage{data, size};
  InstallPlatform(&platform);
  {
    CLdmFileDisk disk;
    disk.Initialize(kFileName, &owner);
    if (LDM_DATABASE* database = disk.LdmDatabase()) {
      database->PrintText(sink);
      CKestrandTreeNode root("Disk");
      AddLdmDatabaseToReport(database, &root);
      xml.clear();
      CKestrandXMLWriter::RenderNode(&root, xml);
    }
  }
  InstallPlatform(nullptr);
}

}  // namespace kestrand::fuzz
