// The host section in both forms, from a host set up in a fake platform.
#include <gtest/gtest.h>

#include <string>

#include "common/text_format.h"
#include "common/xml_writer.h"
#include "driver/kestrand.h"
#include "inventory/host_facts.h"
#include "support/fake_host_platform.h"
#include "support/report_tree.h"
#include "support/text_capture.h"

namespace kestrand {
namespace {

class SystemInformationTest : public ::testing::Test {
 protected:
  SystemInformationTest() {
    host_.ProductTypes = {3, 2};
    host_.SuiteMask = 0x0010 | 0x0002;
    host_.ClusterState = 19;
  }

  std::string PrintText(uint32_t& code) {
    return CaptureText([this](FILE* stream) { return kestrand_.PrintSystemInformation(stream); }, &code);
  }

  FakeHostPlatform host_;
  ScopedPlatform installed_{host_};
  CKestrand kestrand_;
};

TEST_F(SystemInformationTest, TextLinesAreRightAlignedInTheirOrder) {
  uint32_t code = ~0u;
  EXPECT_EQ(PrintText(code),
            "       Computer Name: host.example.test\n"
            "             Version: 10.0 Build 19045 Service Pack 1\n"
            "        Product Type: Server, Domain Controller\n"
            "              Suites: Enterprise, Terminal\n"
            "            CPU Type: AMD64 (4 CPU)\n"
            "       Cluster State: Running\n"
            "    Kestrand Version: 1.0\n");
  EXPECT_EQ(code, 0u);
  EXPECT_EQ(host_.ClusterNodeAsked, u"host.example.test");
}

TEST_F(SystemInformationTest, AbsentTextsPrintAsNullAndTheFailedClusterQueryIsTheResult) {
  host_.ProductTypes.clear();
  host_.SuiteMask = 0;
  host_.Processor = {12, 1};
  host_.Version.ServicePack.clear();
  host_.ClusterCode = 1060;  // the cluster service is not installed
  uint32_t code = 0;
  EXPECT_EQ(PrintText(code),
            "       Computer Name: host.example.test\n"
            "             Version: 10.0 Build 19045 \n"
            "        Product Type: (null)\n"
            "              Suites: \n"
            "            CPU Type: UNKNOWN (1 CPU)\n"
            "       Cluster State: (null)\n"
            "    Kestrand Version: 1.0\n");
  EXPECT_EQ(code, 1060u);
}

TEST_F(SystemInformationTest, MissingComputerNameStopsBothFormsWithTheTextFormsMessage) {
  host_.ComputerName.clear();
  const std::string message =
      "CKestrand::PrintSystemInformation() : Failed getting computer name size\n";

  uint32_t code = 0;
  ::testing::internal::CaptureStderr();
  std::string text = PrintText(code);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), message);
  EXPECT_EQ(text, "");
  EXPECT_EQ(code, 1u);

  CKestrandTreeNode root("root");
  ::testing::internal::CaptureStderr();
  EXPECT_EQ(kestrand_.AddSystemInformation(&root), 1u);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), message);

  // A failed query returns its code and prints nothing.
  host_.ComputerName = u"host.example.test";
  host_.ComputerNameCode = 5;
  EXPECT_EQ(PrintText(code), "");
  EXPECT_EQ(code, 5u);
}

TEST_F(SystemInformationTest, XmlAttributesInTheirOrder) {
  CKestrandTreeNode root("root");
  ASSERT_EQ(kestrand_.AddSystemInformation(&root), 0u);
  auto children = ChildrenOf(&root);
  ASSERT_EQ(children.size(), 1u);
  EXPECT_STREQ(children[0]->Name(), "SystemInformation");
  EXPECT_EQ(AttributesOf(children[0]), (NodeAttributes{
                                           {"_ElementDisplayName", "System Information"},
                                           {"_ElementIcon", "3"},
                                           {"ComputerName", "host.example.test"},
                                           {"MajorVersion", "10"},
                                           {"MinorVersion", "0"},
                                           {"BuildNumber", "19045"},
                                           {"CSDVersion", "Service Pack 1"},
                                           {"ProductTypes", "Server, Domain Controller"},
                                           {"Suites", "Enterprise, Terminal"},
                                           {"Processor", "AMD64"},
                                           {"NumberOfProcessors", "4"},
                                           {"ClusterState", "Running"},
                                           {"KestrandVersion", "1.0"},
                                       }));
  EXPECT_EQ(ChildrenOf(children[0]).size(), 0u);
}

TEST_F(SystemInformationTest, XmlKeepsAbsentAndEmptyTextsAsAttributes) {
  host_.ProductTypes.clear();
  host_.SuiteMask = 0;
  host_.ClusterCode = 1722;
  CKestrandTreeNode root("root");
  EXPECT_EQ(kestrand_.AddSystemInformation(&root), 1722u);
  const CKestrandTreeNode* node = root.FindChild("SystemInformation");
  ASSERT_NE(node, nullptr);
  EXPECT_STREQ(node->AttributeValue("ProductTypes"), "(null)");
  ASSERT_NE(node->AttributeValue("Suites"), nullptr);
  EXPECT_STREQ(node->AttributeValue("Suites"), "");
  EXPECT_STREQ(node->AttributeValue("ClusterState"), "(null)");
  EXPECT_STREQ(node->AttributeValue("KestrandVersion"), "1.0");
}

// The words shown for host codes outside their tables, and the product type
// and suite texts.

template <class Lookup>
std::u16string WordOf(Lookup lookup, uint32_t code) {
  CWideString place;
  EXPECT_EQ(lookup(code, place), 0u);
  return place.Get() ? std::u16string(place.Get()) : u"<none>";
}

// The words inside the tables show in the host, volume and drive letter
// reports; here only what lies past them.
TEST(WordTablesTest, CodesOutsideTheTablesHaveAWordToo) {
  EXPECT_EQ(WordOf(LookupProcessorWord, 12), u"UNKNOWN");
  EXPECT_EQ(WordOf(LookupProcessorWord, 0xFFFF), u"UNKNOWN");
  EXPECT_EQ(WordOf(LookupClusterStateWord, 2), u"Unknown");
  EXPECT_EQ(WordOf(LookupDriveTypeWord, 0), u"Unknown");
  EXPECT_EQ(WordOf(LookupDriveTypeWord, 7), u"Unknown");
}

class VersionTextTest : public ::testing::Test {
 protected:
  FakeHostPlatform host_;
  ScopedPlatform installed_{host_};
};

TEST_F(VersionTextTest, ProductTypesJoinInTableOrderOrAreNotFound) {
  host_.ProductTypes = {2, 3};  // domain controller, server: asked in the other order
  CWideString text;
  ASSERT_EQ(BuildProductTypeText(text), 0u);
  EXPECT_EQ(std::u16string(text.Get()), u"Server, Domain Controller");

  host_.ProductTypes.clear();
  CWideString none;
  EXPECT_EQ(BuildProductTypeText(none), 2u);
  EXPECT_EQ(none.Get(), nullptr);
}

TEST_F(VersionTextTest, SuitesJoinInTableOrderOrGiveAnEmptyText) {
  host_.SuiteMask = 0x06B7 | 0x0100;  // every suite of the table, and one it does not know
  CWideString all;
  ASSERT_EQ(BuildSuitesText(all), 0u);
  EXPECT_EQ(std::u16string(all.Get()),
            u"Backoffice, Blade, Datacenter, Enterprise, Personal, Small Business, "
            u"Small Business Restricted, Terminal");

  host_.SuiteMask = 0;
  CWideString none;
  ASSERT_EQ(BuildSuitesText(none), 0u);
  ASSERT_NE(none.Get(), nullptr);
  EXPECT_EQ(WideLength(none.Get()), 0u);
}

}  // namespace
}  // namespace kestrand
