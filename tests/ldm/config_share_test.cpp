// Config areas read one after the other: an area whose bytes equal the one
// read just before takes the header decoded from it; any other area is
// decoded on its own, and a shared header lives as long as any disk holds it.
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "analysis/virtual_structure.h"
#include "disk/disk.h"
#include "common/xml_writer.h"
#include "driver/kestrand.h"
#include "ldm/ldm_database.h"
#include "ldm/record_report.h"
#include "ldm/record_tree.h"
#include "support/image_platform.h"
#include "support/ldm_builder.h"
#include "support/run_binary.h"

namespace kestrand::test {
namespace {

std::vector<uint8_t> Area(const std::string& lastVolumeName) {
  ConfigAreaBuilder config(5924);  // the largest area
  config.AddRecord(1, PackRecord());
  config.AddRecord(2, VolumeRecord(0x421, "Volume1"));
  // In the last block, so that the areas differ far from their start.
  config.PutFragment(5923, 3, 0, 1, SplitRecord(VolumeRecord(0x422, lastVolumeName))[0]);
  LdmAreaImage area;
  area.Config = config.Build();
  return area.Build();
}

TEST(ConfigSharing, OnlyAnAreaEqualToThePreviousOneTakesItsHeader) {
  const std::vector<uint8_t> a = Area("Last"), b = Area("Lost");
  CImagePlatform platform;
  for (const auto& [name, bytes] : {std::pair{"a", &a}, std::pair{"b", &b}})
    platform.MemoryFiles[name] = MemoryImage{bytes->data(), bytes->size()};
  ScopedPlatform installed(platform);
  CKestrand owner;
  std::vector<std::unique_ptr<CLdmFileDisk>> disks;
  // Reads the file `name` as a new disk: its decoded header.
  auto load = [&](const char* name) {
    disks.push_back(std::make_unique<CLdmFileDisk>());
    EXPECT_EQ(disks.back()->Initialize(name, &owner), 0u);
    const CONFIG_WRAPPER& config = *disks.back()->LdmDatabase()->Config;
    EXPECT_EQ(config.ParseStatus, 0) << name;
    EXPECT_EQ(config.Header->RecordList.Entries.size(), 3u) << name;
    return config.Header.get();
  };

  const struct {
    const char* Name;
    int Decode;  // disks with the same number share one header
  } table[] = {{"a", 0}, {"a", 0}, {"a", 0}, {"b", 1}, {"b", 1}, {"a", 2}, {"a", 2}};
  std::vector<const CONFIG_HEADER*> headers;
  for (const auto& row : table) {
    headers.push_back(load(row.Name));
    for (size_t i = 0; i + 1 < headers.size(); ++i)
      EXPECT_EQ(headers.back() == headers[i], table[i].Decode == row.Decode) << headers.size() - 1 << " " << i;
  }
  // Disk 6 holds the header of disk 5 after disk 5 is gone; once both are
  // gone, the next equal area is decoded again.
  disks[5].reset();
  EXPECT_STREQ(disks[6]->LdmDatabase()->Config->Header->RecordList.Entries[2]->Record->RecordName, "Last");
  disks[6].reset();
  EXPECT_NE(load("a"), nullptr);
}

// Disks that share a header show the same records, made once for the text
// report and for the XML report; the host is still asked for every volume's
// name, and a new answer makes them anew.
TEST(ConfigSharing, ASharedHeaderShowsItsRecordsOnceWhileTheHostNamesTheVolumesAlike) {
  const std::vector<uint8_t> a = Area("Last"), b = Area("Lost");
  CImagePlatform platform;
  platform.MemoryFiles["a"] = MemoryImage{a.data(), a.size()};
  platform.MemoryFiles["b"] = MemoryImage{b.data(), b.size()};
  ScopedPlatform installed(platform);
  CKestrand owner;
  std::vector<std::unique_ptr<CLdmFileDisk>> disks;
  for (const char* name : {"a", "a", "b", "a"}) {
    disks.push_back(std::make_unique<CLdmFileDisk>());
    ASSERT_EQ(disks.back()->Initialize(name, &owner), 0u);
  }
  auto text = [&](const CONFIG_WRAPPER& config) {
    return CaptureText([&](FILE* out) { PrintRecordSection(out, config); });
  };
  auto xml = [](const CONFIG_WRAPPER& config) {
    CKestrandTreeNode disk("Disk");
    EXPECT_EQ(AddRecordsToReport(config, &disk), 0u);
    std::string bytes;
    CKestrandXMLWriter::RenderNode(&disk, bytes);
    return bytes;
  };
  for (const auto& show : {std::function<std::string(const CONFIG_WRAPPER&)>(text), {xml}}) {
    platform.DynamicVolumes = {{VolumeFields().VolumeGuid, u"\\Device\\HarddiskDmVolumes\\Dg0\\Volume1"}};
    auto records = [&](size_t disk) { return show(*disks[disk]->LdmDatabase()->Config); };
    const std::string first = records(0);
    EXPECT_NE(first.find("Last"), std::string::npos);
    EXPECT_NE(first.find("Dg0\\Volume1"), std::string::npos);
    EXPECT_EQ(records(1), first);
    const std::string other = records(2);
    EXPECT_NE(other.find("Lost"), std::string::npos);
    EXPECT_EQ(other.find("Last"), std::string::npos);
    EXPECT_EQ(records(3), first);
    platform.DynamicVolumes[0].second = u"\\Device\\HarddiskDmVolumes\\Dg0\\Volume7";
    const std::string renamed = records(3);  // the header of the call before
    EXPECT_EQ(renamed.find("Dg0\\Volume1"), std::string::npos);
    EXPECT_NE(renamed.find("Dg0\\Volume7"), std::string::npos);
    platform.DynamicVolumes.clear();
    EXPECT_EQ(records(3).find("HarddiskDmVolumes"), std::string::npos);
    // A name longer than the room a record's lines take ahead: whole, and
    // the lines after it in place.
    const std::u16string longName = u"\\Device\\" + std::u16string(3000, u'n');
    platform.DynamicVolumes = {{VolumeFields().VolumeGuid, longName}};
    std::string withLongName = records(3);
    const std::string longNarrow = "\\Device\\" + std::string(3000, 'n');
    size_t replaced = 0;
    for (size_t at = withLongName.find(longNarrow); at != std::string::npos; at = withLongName.find(longNarrow, at)) {
      withLongName.replace(at, longNarrow.size(), "\\Device\\HarddiskDmVolumes\\Dg0\\Volume1");
      ++replaced;
    }
    EXPECT_GT(replaced, 0u);
    EXPECT_EQ(withLongName, first);
    platform.DynamicVolumes.clear();
  }
}

// The virtual structure copies a record's attributes from the Records branch
// already made for its header, but only while the host names a volume as it
// did then: the copies are the bytes the structure would make itself.
TEST(ConfigSharing, TheVirtualStructureTakesARecordsAttributesOnlyWhileTheHostNamesTheVolumeAlike) {
  const std::vector<uint8_t> a = Area("Last");
  CImagePlatform platform;
  platform.MemoryFiles["a"] = MemoryImage{a.data(), a.size()};
  ScopedPlatform installed(platform);
  CKestrand owner;
  CLdmFileDisk disk;
  ASSERT_EQ(disk.Initialize("a", &owner), 0u);
  const CONFIG_WRAPPER& config = *disk.LdmDatabase()->Config;
  RECORD_TREE_NODE* root = nullptr;
  MergeConfigCopies({config.Header.get()}, &root);
  ASSERT_NE(root, nullptr);
  CPtrList<CDisk> disks(false);
  disks.Append(&disk);
  auto structure = [&] {
    CKestrandTreeNode parent("VirtualStructure");
    EXPECT_EQ(AddVirtualStructure(nullptr, &parent, root, &disks), 0u);
    std::string bytes;
    CKestrandXMLWriter::RenderNode(&parent, bytes);
    return bytes;
  };
  auto makeRecordsBranch = [&] {
    CKestrandTreeNode branch("Disk");
    EXPECT_EQ(AddRecordsToReport(config, &branch), 0u);
  };

  platform.DynamicVolumes = {{VolumeFields().VolumeGuid, u"\\Device\\HarddiskDmVolumes\\Dg0\\Volume1"}};
  const std::string made = structure();  // no Records branch yet: every attribute made here
  EXPECT_NE(made.find("VolumeName=\"\\Device\\HarddiskDmVolumes\\Dg0\\Volume1\""), std::string::npos);
  makeRecordsBranch();
  EXPECT_EQ(structure(), made);
  platform.DynamicVolumes[0].second = u"\\Device\\HarddiskDmVolumes\\Dg0\\Volume7";
  const std::string renamed = structure();
  EXPECT_EQ(renamed.find("Dg0\\Volume1"), std::string::npos);
  EXPECT_NE(renamed.find("Dg0\\Volume7"), std::string::npos);
  platform.DynamicVolumes.clear();
  EXPECT_EQ(structure().find("HarddiskDmVolumes"), std::string::npos);
  // Made anew with that answer, the branch is taken again.
  makeRecordsBranch();
  EXPECT_EQ(structure().find("HarddiskDmVolumes"), std::string::npos);
  FreeRecordTree(root);
}

}  // namespace
}  // namespace kestrand::test
