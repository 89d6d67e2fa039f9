// The loader and the LDM reports on the saved databases of real dynamic
// disks (the last megabyte of each image in the shared test data), as found
// and with their private headers repaired to name the tables of contents
// at sectors 2 and 2045, where the config area is then found.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "common/tree_node.h"
#include "driver/kestrand.h"
#include "ldm/ldm_database.h"
#include "support/ldm_loader_support.h"

namespace kestrand::test {
namespace {

namespace fs = std::filesystem;

constexpr uint64_t kAreaBytes = 0x100000;

struct RealImage {
  const char* File;
  const char* DiskName;
  const char* DiskId;
};

const RealImage kImages[] = {
    {"ldm-2003r2-simple-1.img", "Disk1", "d17c2c04-6afc-46c3-84b7-cdc2f3956c5c"},
    {"ldm-2003r2-spanned-1.img", "Disk2", "c85a6ce4-edb3-4dbc-a3b9-7fba4b6e6f75"},
    {"ldm-2003r2-spanned-2.img", "Disk3", "004c32fa-91e1-41ac-83b3-bc1baff2dc93"},
    {"ldm-2003r2-striped-1.img", "Disk4", "6c7ca470-6934-4dfd-9269-c3102b9ae158"},
    {"ldm-2003r2-striped-2.img", "Disk5", "ce97d979-fabb-4e9b-b44c-7d9580ae1f53"},
    {"ldm-2003r2-mirrored-1.img", "Disk6", "bfcb718c-3809-44b7-ae62-c94a3bd6b057"},
    {"ldm-2003r2-mirrored-2.img", "Disk7", "47980158-abc7-46e3-a95f-7c00f8539073"},
    {"ldm-2003r2-raid5-1.img", "Disk8", "ce3fd206-854c-4207-985b-9e0125885f20"},
    {"ldm-2003r2-raid5-2.img", "Disk9", "fa21d8d9-e087-4585-9761-5710b88e4c92"},
    {"ldm-2003r2-raid5-3.img", "Disk10", "bb1570c9-aa66-47df-a8f1-4c89db3e0704"},
};

// Every image holds the whole group: 6 volumes, 7 plexes, 12 subdisks,
// 10 disks and the pack.
constexpr size_t kRecordCount = 36;
const char* const kVolumeNames[] = {"Volume1", "Volume2", "Volume3", "Volume4", "Stripe1", "Raid1"};

class RealImageLoaderTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    const fs::path tarball = fs::path(KESTRAND_SHARED_DIR) / "testdata" / "ldm-2003r2.tar.xz";
    if (!fs::exists(tarball)) return;
    // A directory of its own, so that concurrent runs never share one.
    const auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    directory_ = fs::temp_directory_path() / ("kestrand-ldm-images-" + std::to_string(stamp));
    fs::create_directories(directory_);
    const std::string command = "tar -xJf '" + tarball.string() + "' -C '" + directory_.string() + "'";
    unpacked_ = std::system(command.c_str()) == 0;
  }

  static void TearDownTestSuite() {
    std::error_code ignored;
    if (!directory_.empty()) fs::remove_all(directory_, ignored);
  }

  void SetUp() override {
    if (!unpacked_) GTEST_SKIP() << "the real disk images (shared testdata) are not available";
  }

  // The last megabyte of the image, as a database file is saved.
  static std::vector<uint8_t> DatabaseFileOf(const RealImage& image) {
    std::ifstream in(directory_ / image.File, std::ios::binary);
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    std::vector<uint8_t> bytes(kAreaBytes);
    in.seekg(size - static_cast<std::streamoff>(kAreaBytes));
    in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return in ? bytes : std::vector<uint8_t>();
  }

  // Loads `bytes` as a database file.
  const LDM_DATABASE* Load(std::vector<uint8_t> bytes) {
    platform_.Files["image.ldm"] = std::move(bytes);
    file_ = std::make_unique<CLdmFileDisk>();
    if (file_->Initialize("image.ldm", &owner_) != 0) return nullptr;
    return file_->LdmDatabase();
  }

  static std::string Text(const LDM_DATABASE& database) {
    return CaptureText([&](FILE* stream) { database.PrintText(stream); });
  }

  static std::vector<std::string> ChildNames(const CKestrandTreeNode& node) {
    std::vector<std::string> names;
    for (const CKestrandTreeNode* child = node.FirstChild(); child; child = child->NextSibling())
      names.push_back(child->Name());
    return names;
  }

  static bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

  static inline fs::path directory_;
  static inline bool unpacked_ = false;

  MemoryReadPlatform platform_;
  ScopedPlatform installed_{platform_};
  CKestrand owner_;
  std::unique_ptr<CLdmFileDisk> file_;
};

TEST_F(RealImageLoaderTest, AsFoundTheConfigCopyIsReadButDoesNotParse) {
  for (const RealImage& image : kImages) {
    SCOPED_TRACE(image.File);
    std::vector<uint8_t> bytes = DatabaseFileOf(image);
    ASSERT_EQ(bytes.size(), kAreaBytes);
    const LDM_DATABASE* database = Load(bytes);
    ASSERT_NE(database, nullptr);
    EXPECT_EQ(database->PrimaryHeader->ParseStatus, 0);
    EXPECT_EQ(database->AlternateHeader->ParseStatus, 0);
    EXPECT_EQ(database->PrimaryHeader->Header.TocPrimarySector, 1u);
    EXPECT_EQ(database->PrimaryHeader->Header.TocAlternateSector, 2046u);
    EXPECT_STREQ(database->PrimaryToc->Magic, "TOCBLOCK");
    EXPECT_STREQ(database->AlternateToc->Magic, "TOCBLOCK");
    // Sector 16 is all zeros: read, but no VMDB header.
    EXPECT_EQ(database->Config->Offset, 16u * 512);
    EXPECT_EQ(database->Config->ReadStatus, 0);
    EXPECT_EQ(database->Config->ParseStatus, STATUS_LDM_CONFIG_BROKEN_CODE);
    EXPECT_TRUE(database->Config->Header->RecordList.Entries.empty());

    const std::string text = Text(*database);
    EXPECT_TRUE(Has(text, "----- LDM Database Private Header -----\n\nMagic Str:   PRIVHEAD\nSectorOffset: 2047\n"));
    EXPECT_TRUE(Has(text, std::string("DiskId:      ") + image.DiskId + "\n"));
    EXPECT_TRUE(Has(text, "Pack:        Red-nzv8x6obywgDg0\n"));
    EXPECT_TRUE(Has(text, "TOCs:        Primary Sector=1 Alternate Sector=2046\n"));
    EXPECT_TRUE(Has(text, "----- LDM Database Table of Contents -----\n\nMagic Str:   TOCBLOCK\n"));
    EXPECT_TRUE(Has(text, "  config  Range=000017-001498 Length=001481 Copy=01 Offset=000000 CopyFlag=enabled\n"));
    EXPECT_TRUE(Has(text,
                    "----- LDM Database Config Header -----\n\n"
                    "Config copy: 01\n"
                    "Magic Str:   \n"
                    "SectorOffset: 16\n"
                    "Header:      NumBlocks=0 BlockSize=0 HeaderSize=0\n"
                    "Status:      Unknown (0x0000)\n"
                    "Pack:        \n"
                    "PackId:      00000000-0000-0000-0000-000000000000\n"));
    // No block list and no records follow the header lines.
    EXPECT_EQ(text.substr(text.size() - 3), "\n\n\n");
    EXPECT_FALSE(Has(text, "BlockNumber:"));
    EXPECT_FALSE(Has(text, "Record "));
  }
}

TEST_F(RealImageLoaderTest, RepairedCopyShowsTheBlockListAndEveryRecord) {
  for (const RealImage& image : kImages) {
    SCOPED_TRACE(image.File);
    std::vector<uint8_t> bytes = DatabaseFileOf(image);
    ASSERT_EQ(bytes.size(), kAreaBytes);
    RenameTocSectors(bytes, {kAreaBytes - 512, kAreaBytes - 0x18000}, 2, 2045);
    const LDM_DATABASE* database = Load(bytes);
    ASSERT_NE(database, nullptr);
    EXPECT_EQ(database->PrimaryHeader->ParseStatus, 0);
    EXPECT_EQ(database->Config->Offset, 17u * 512);
    EXPECT_STREQ(database->Config->Magic, "VMDB");
    EXPECT_EQ(database->Config->ParseStatus, 0);
    EXPECT_EQ(database->Config->Header->RecordList.Entries.size(), kRecordCount);

    const std::string text = Text(*database);
    EXPECT_TRUE(Has(text,
                    "Magic Str:   VMDB\nSectorOffset: 17\n"
                    "Header:      NumBlocks=5924 BlockSize=128 HeaderSize=512\n"));
    EXPECT_TRUE(Has(text, "Pack:        Red-nzv8x6obywgDg0\nPackId:      03c0c4fc-8b6f-402b-9431-4be2e5823b1c\n"));
    EXPECT_TRUE(Has(text, "Active:      Sequence="));
    EXPECT_TRUE(Has(text, "BlockNumber: 4   "));
    size_t records = 0;
    for (size_t at = text.find("\n----------\n"); at != std::string::npos; at = text.find("\n----------\n", at + 1))
      ++records;
    EXPECT_EQ(records, kRecordCount);
    for (const char* name : kVolumeNames) EXPECT_TRUE(Has(text, std::string("RecordName:        ") + name + "\n"));
    for (const RealImage& other : kImages) {
      EXPECT_TRUE(Has(text, std::string("RecordName:        ") + other.DiskName + "\n"));
      EXPECT_TRUE(Has(text, std::string("DiskId:            ") + other.DiskId + "\n"));
    }
    EXPECT_TRUE(Has(text, "RecordName:        Red-nzv8x6obywgDg0\n"));

    CKestrandTreeNode root("Disk");
    ASSERT_EQ(AddLdmDatabaseToReport(file_->LdmDatabase(), &root), 0u);
    EXPECT_EQ(ChildNames(root), (std::vector<std::string>{"PrivateHeader", "PrivateHeader", "TableOfContents",
                                                          "TableOfContents", "ConfigHeader", "BlockList",
                                                          "Records"}));
    EXPECT_EQ(ChildNames(*root.FindChild("Records")).size(), kRecordCount);
    EXPECT_EQ(ChildNames(*root.FindChild("BlockList")).size(), 32u);
  }
}

}  // namespace
}  // namespace kestrand::test
