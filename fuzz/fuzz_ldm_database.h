// Runs a database file held in memory through the loader and both LDM
// reports (text to the null device, XML tree written there too). The
// loader's lines for unreadable structures go to standard error; run with
// -close_fd_mask=2 to keep them out of the log.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

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
  CImagePlatform platform;
  platform.RecordOpens = false;
  platform.MemoryFiles[kFileName] = MemoryImage{data, size};
  InstallPlatform(&platform);
  {
    CKestrand owner;
    CLdmFileDisk disk;
    disk.Initialize(kFileName, &owner);
    if (LDM_DATABASE* database = disk.LdmDatabase()) {
      database->PrintText(sink);
      CKestrandTreeNode root("Disk");
      AddLdmDatabaseToReport(database, &root);
      CKestrandXMLWriter(sink).WriteNode(&root);
    }
  }
  InstallPlatform(nullptr);
}

}  // namespace kestrand::fuzz
