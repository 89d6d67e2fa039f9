// The words shown for host codes, and the product type and suite texts.
#include <gtest/gtest.h>

#include <string>

#include "common/text_format.h"
#include "inventory/word_tables.h"
#include "support/fake_host_platform.h"

namespace kestrand {
namespace {

template <class Lookup>
std::u16string WordOf(Lookup lookup, uint32_t code) {
  CWideString place;
  EXPECT_EQ(lookup(code, place), 0u);
  return place.Get() ? std::u16string(place.Get()) : u"<none>";
}

TEST(WordTablesTest, ProcessorArchitectures) {
  EXPECT_EQ(WordOf(LookupProcessorWord, 0), u"x86");
  EXPECT_EQ(WordOf(LookupProcessorWord, 6), u"IA64");
  EXPECT_EQ(WordOf(LookupProcessorWord, 8), u"MSIL");
  EXPECT_EQ(WordOf(LookupProcessorWord, 9), u"AMD64");
  EXPECT_EQ(WordOf(LookupProcessorWord, 12), u"UNKNOWN");
  EXPECT_EQ(WordOf(LookupProcessorWord, 0xFFFF), u"UNKNOWN");
}

TEST(WordTablesTest, ClusterStates) {
  EXPECT_EQ(WordOf(LookupClusterStateWord, 0), u"Not Installed");
  EXPECT_EQ(WordOf(LookupClusterStateWord, 1), u"Not Configured");
  EXPECT_EQ(WordOf(LookupClusterStateWord, 2), u"Unknown");
  EXPECT_EQ(WordOf(LookupClusterStateWord, 3), u"Not running");
  EXPECT_EQ(WordOf(LookupClusterStateWord, 19), u"Running");
}

TEST(WordTablesTest, DriveTypes) {
  EXPECT_EQ(WordOf(LookupDriveTypeWord, 0), u"Unknown");
  EXPECT_EQ(WordOf(LookupDriveTypeWord, 1), u"NoRootDir");
  EXPECT_EQ(WordOf(LookupDriveTypeWord, 2), u"Removable");
  EXPECT_EQ(WordOf(LookupDriveTypeWord, 3), u"Fixed");
  EXPECT_EQ(WordOf(LookupDriveTypeWord, 4), u"Remote");
  EXPECT_EQ(WordOf(LookupDriveTypeWord, 5), u"CDRom");
  EXPECT_EQ(WordOf(LookupDriveTypeWord, 6), u"RamDisk");
  EXPECT_EQ(WordOf(LookupDriveTypeWord, 7), u"Unknown");
}

class VersionTextTest : public ::testing::Test {
 protected:
  FakeHostPlatform host_;
  ScopedPlatform installed_{host_};
};

TEST_F(VersionTextTest, ProductTypesJoinInTableOrderWithoutTrailingSeparator) {
  host_.ProductTypes = {2, 3};  // domain controller, server: asked in the other order
  CWideString text;
  ASSERT_EQ(BuildProductTypeText(text), 0u);
  ASSERT_NE(text.Get(), nullptr);
  EXPECT_EQ(std::u16string(text.Get()), u"Server, Domain Controller");

  host_.ProductTypes = {1};
  CWideString workstation;
  ASSERT_EQ(BuildProductTypeText(workstation), 0u);
  EXPECT_EQ(std::u16string(workstation.Get()), u"Workstation");
}

TEST_F(VersionTextTest, NoProductTypeIsNotFoundAndLeavesNoText) {
  CWideString text;
  EXPECT_EQ(BuildProductTypeText(text), 2u);
  EXPECT_EQ(text.Get(), nullptr);
}

TEST_F(VersionTextTest, SuitesJoinInTableOrder) {
  host_.SuiteMask = 0x0010 | 0x0002;  // Terminal and Enterprise
  CWideString text;
  ASSERT_EQ(BuildSuitesText(text), 0u);
  EXPECT_EQ(std::u16string(text.Get()), u"Enterprise, Terminal");

  host_.SuiteMask = 0x06B7 | 0x0100;  // every suite of the table, and one it does not know
  CWideString all;
  ASSERT_EQ(BuildSuitesText(all), 0u);
  EXPECT_EQ(std::u16string(all.Get()),
            u"Backoffice, Blade, Datacenter, Enterprise, Personal, Small Business, "
            u"Small Business Restricted, Terminal");
}

TEST_F(VersionTextTest, NoSuiteGivesAnEmptyText) {
  CWideString text;
  ASSERT_EQ(BuildSuitesText(text), 0u);
  ASSERT_NE(text.Get(), nullptr);
  EXPECT_EQ(WideLength(text.Get()), 0u);
}

}  // namespace
}  // namespace kestrand
