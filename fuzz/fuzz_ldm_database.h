// Runs a database file held in memory through the loader and both LDM
// reports (text to the null device, XML tree written there too). The
// loader's lines for unreadable structures go to standard error; run with
// -close_fd_mask=2 to keep them out of the log.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "common/xml_writer.h"
#include "disk/disk.h"
#include "driver/kestrand.h"
#include "fuzz_memory_platform.h"
#include "ldm/ldm_database.h"

namespace kestrand::fuzz {

inline void LoadAndReport(std::vector<uint8_t> file) {
  static MemoryFilePlatform platform;
  static FILE* sink = std::fopen("/dev/null", "w");
  platform.File = std::move(file);
  InstallPlatform(&platform);
  {
    CKestrand owner;
    CLdmFileDisk disk;
    disk.Initialize(kFuzzFileName, &owner);
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
