// A disk image of arbitrary bytes through the probe and the partition table
// reader (MBR with extended boot record chains, GPT headers and entry
// arrays), then both layout reports. Byte 0 picks the sector size (bit 0:
// 4,096 bytes, else 512); the rest is the disk, as long as the input.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "common/xml_writer.h"
#include "disk/disk.h"
#include "disk/disk_layout.h"
#include "driver/kestrand.h"
#include "fuzz_pack.h"
#include "support/image_platform.h"

// The platform is made once (its disk list is set again for every input)
// and the XML is rendered into one string kept from input to input.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace kestrand;
  static FILE* sink = std::fopen(fuzz::NullDevice(), "w");
  static CImagePlatform platform;
  static std::string xml;
  if (size < 1) return 0;
  platform.Disks.clear();
  platform.AddMemoryImage("disk", data + 1, size - 1, 0).BytesPerSector = (data[0] & 1) != 0 ? 4096 : 512;
  InstallPlatform(&platform);
  {
    CKestrand kestrand;
    kestrand.EnumerateDisks();
    for (CPtrListIterator<CDisk> it(kestrand.Disks); !it.AtEnd(); it.Advance()) {
      CDiskLayout* layout = it.Current()->Layout();
      if (!layout) continue;
      layout->PrintText(sink);
      CKestrandTreeNode root("Disk");
      layout->AddToReport(&root);
      xml.clear();
      CKestrandXMLWriter::RenderNode(&root, xml);
    }
  }
  InstallPlatform(nullptr);
  return 0;
}
