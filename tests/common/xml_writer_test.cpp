// The report tree and its writer: attribute rules, document bytes, detaching.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "common/tree_node.h"
#include "common/xml_writer.h"

namespace kestrand {
namespace {

const char kDeclaration[] = "<?xml version='1.0' encoding='utf-8'?>";

// A file name of its own per test, removed at the end.
class XmlFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::random_device random;
    path_ = std::filesystem::temp_directory_path() /
            ("kestrand_xml_" + std::to_string(random()) + "_" +
             ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".xml");
  }
  void TearDown() override {
    std::error_code ignored;
    std::filesystem::remove(path_, ignored);
  }

  // The document written for `root`, or "" when it could not be written.
  std::string WriteAndRead(const CKestrandTreeNode& root) {
    uint32_t code = WriteXmlDocument(path_.string().c_str(), &root);
    EXPECT_EQ(code, 0u);
    std::ifstream in(path_, std::ios::binary);
    std::stringstream content;
    content << in.rdbuf();
    return content.str();
  }

  // The body after the declaration.
  std::string Body(const CKestrandTreeNode& root) {
    std::string document = WriteAndRead(root);
    if (document.rfind(kDeclaration, 0) != 0) {
      ADD_FAILURE() << "no declaration: " << document;
      return document;
    }
    return document.substr(sizeof(kDeclaration) - 1);
  }

  std::filesystem::path path_;
};

TEST_F(XmlFileTest, WritesTheDocumentOnOneLine) {
  CKestrandTreeNode root("root");
  ASSERT_EQ(CKestrandXMLWriter::SetElementDisplay(&root, "Kestrand", "1"), 0u);
  ASSERT_NE(root.AddChild("Tests"), nullptr);
  EXPECT_EQ(WriteAndRead(root),
            std::string(kDeclaration) + "<root _ElementDisplayName=\"Kestrand\" _ElementIcon=\"1\"><Tests /></root>");
}

TEST_F(XmlFileTest, AttributesAndChildrenKeepTheirOrder) {
  CKestrandTreeNode root("Disks");
  root.AddChild("Disk");
  CKestrandTreeNode* second = root.AddChild("Disk");
  root.AddChild("Other");
  ASSERT_EQ(CKestrandXMLWriter::NewAttribute(second, "Z", "1"), 0u);
  ASSERT_EQ(CKestrandXMLWriter::NewAttribute(second, "A", "2"), 0u);
  CKestrandTreeNode* grandchild = second->AddChild("Inner");
  ASSERT_EQ(CKestrandXMLWriter::NewAttribute(grandchild, "Value", ""), 0u);  // empty values are zero bytes
  EXPECT_EQ(Body(root), "<Disks><Disk /><Disk Z=\"1\" A=\"2\"><Inner Value=\"\" /></Disk><Other /></Disks>");
}

TEST_F(XmlFileTest, ValuesAreWrittenWithoutEscaping) {
  CKestrandTreeNode root("Volume");
  ASSERT_EQ(CKestrandXMLWriter::NewAttribute(&root, "Label", "Tom & \"Jerry\" <1>"), 0u);
  EXPECT_EQ(Body(root), "<Volume Label=\"Tom & \"Jerry\" <1>\" />");
}

TEST_F(XmlFileTest, DetachedBranchIsNotWrittenWithItsChildren) {
  CKestrandTreeNode root("Disks");
  CKestrandTreeNode* basic = root.AddChild("BasicDisks");
  basic->AddChild("Disk")->AddChild("Geometry");
  CKestrandTreeNode* withLdm = root.AddChild("BasicDisksWithLDMDB");
  CKestrandTreeNode* dynamic = root.AddChild("DynamicDisks");
  dynamic->AddChild("Disk");

  EXPECT_EQ(basic->Detach(), 0u);  // the first child
  EXPECT_EQ(Body(root), "<Disks><BasicDisksWithLDMDB /><DynamicDisks><Disk /></DynamicDisks></Disks>");
  EXPECT_EQ(dynamic->Detach(), 0u);  // the last child: later children go after the one before it
  root.AddChild("Tests");
  EXPECT_EQ(Body(root), "<Disks><BasicDisksWithLDMDB /><Tests /></Disks>");
  EXPECT_EQ(withLdm->Detach(), 0u);  // a middle child
  EXPECT_EQ(Body(root), "<Disks><Tests /></Disks>");
  EXPECT_EQ(root.FirstChild()->Detach(), 0u);  // the only child
  EXPECT_EQ(Body(root), "<Disks />");
  root.AddChild("Again");
  EXPECT_EQ(Body(root), "<Disks><Again /></Disks>");
  EXPECT_EQ(withLdm->Detach(), 87u);  // already unlinked
  EXPECT_EQ(root.Detach(), 87u);      // no parent
  // The detached nodes are freed with root; the sanitizer build checks it.
}

TEST_F(XmlFileTest, UnopenableFileGives87) {
  CKestrandTreeNode root("root");
  std::string inMissingFolder = (path_ / "missing" / "report.xml").string();
  EXPECT_EQ(WriteXmlDocument(inMissingFolder.c_str(), &root), 87u);
  EXPECT_EQ(WriteXmlDocument(nullptr, &root), 87u);
  EXPECT_EQ(WriteXmlDocument(path_.string().c_str(), nullptr), 87u);
}

TEST_F(XmlFileTest, ShortWriteGives1006AndAMessage) {
  { std::ofstream(path_) << "x"; }
  FILE* readOnly = std::fopen(path_.string().c_str(), "r");
  ASSERT_NE(readOnly, nullptr);
  CKestrandXMLWriter writer(readOnly);
  EXPECT_EQ(writer.WriteString(""), 0u);  // nothing to write is not a failure
  ::testing::internal::CaptureStdout();
  uint32_t code = writer.WriteString("<Disk");
  std::string message = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(code, 1006u);
  EXPECT_EQ(message, "Failed string <Disk\n");
  std::fclose(readOnly);
}

TEST(XmlWriterTest, RefusesNamesWithABlankAndKeepsTheNodeUnchanged) {
  CKestrandTreeNode node("Disk");
  EXPECT_EQ(CKestrandXMLWriter::NewAttribute(&node, "Disk Size", "1"), 87u);
  EXPECT_EQ(node.Attributes(), nullptr);  // not even the list was created
  EXPECT_EQ(CKestrandXMLWriter::NewAttribute(&node, "Disk_Size", "1"), 0u);
  // Only the blank is refused, not other whitespace.
  EXPECT_EQ(CKestrandXMLWriter::NewAttribute(&node, "Tab\tName", "2"), 0u);
  EXPECT_EQ(node.Attributes()->Count(), 2u);
}

TEST(XmlWriterTest, RefusesARepeatedNameAndTheFirstValueStays) {
  CKestrandTreeNode node("Disk");
  EXPECT_EQ(CKestrandXMLWriter::NewAttribute(&node, "Size", "100"), 0u);
  EXPECT_EQ(CKestrandXMLWriter::NewAttribute(&node, "Size", "200"), 87u);
  EXPECT_EQ(CKestrandXMLWriter::NewAttributeULL(&node, "Size", 300), 87u);
  EXPECT_EQ(CKestrandXMLWriter::NewAttributeW(&node, "Size", u"400"), 87u);
  EXPECT_STREQ(node.AttributeValue("Size"), "100");
  // Names compare case-sensitively.
  EXPECT_EQ(CKestrandXMLWriter::NewAttribute(&node, "size", "500"), 0u);
  EXPECT_EQ(node.Attributes()->Count(), 2u);
}

TEST(XmlWriterTest, MissingNameIsRefusedAndMissingValueIsNullText) {
  CKestrandTreeNode node("Disk");
  EXPECT_EQ(CKestrandXMLWriter::NewAttributeW(&node, nullptr, u"1"), 87u);
  EXPECT_EQ(CKestrandXMLWriter::SetElementDisplay(&node, "Disk 0", nullptr), 87u);
  EXPECT_EQ(node.Attributes(), nullptr);  // SetElementDisplay added nothing
  EXPECT_EQ(CKestrandXMLWriter::NewAttribute(&node, "Narrow", static_cast<const char*>(nullptr)), 0u);
  EXPECT_EQ(CKestrandXMLWriter::NewAttributeW(&node, "Wide", static_cast<const char16_t*>(nullptr)), 0u);
  EXPECT_STREQ(node.AttributeValue("Narrow"), "(null)");
  EXPECT_STREQ(node.AttributeValue("Wide"), "(null)");
}

TEST(XmlWriterTest, SetElementDisplaySucceedsOnlyOnce) {
  CKestrandTreeNode node("Disk");
  EXPECT_EQ(CKestrandXMLWriter::SetElementDisplay(&node, "Disk 0", "13"), 0u);
  EXPECT_EQ(CKestrandXMLWriter::SetElementDisplay(&node, "Disk 1", "4"), 87u);
  EXPECT_STREQ(node.AttributeValue("_ElementDisplayName"), "Disk 0");
  EXPECT_STREQ(node.AttributeValue("_ElementIcon"), "13");
}

TEST(XmlWriterTest, WideValuesOutsideAsciiBecomeUnknown) {
  CKestrandTreeNode node("Host");
  EXPECT_EQ(CKestrandXMLWriter::NewAttributeW(&node, "ComputerName", u"SERVER-01"), 0u);
  EXPECT_EQ(CKestrandXMLWriter::NewAttributeW(&node, "Label", u"Donn\u00e9es"), 0u);
  EXPECT_EQ(CKestrandXMLWriter::NewAttributeW(&node, "Empty", std::u16string()), 0u);
  EXPECT_STREQ(node.AttributeValue("ComputerName"), "SERVER-01");
  EXPECT_STREQ(node.AttributeValue("Label"), "Unknown");
  EXPECT_STREQ(node.AttributeValue("Empty"), "");
}

TEST(XmlWriterTest, NumberAttributesAreUngroupedDecimal) {
  CKestrandTreeNode node("Numbers");
  EXPECT_EQ(CKestrandXMLWriter::NewAttributeULL(&node, "Zero", 0), 0u);
  EXPECT_EQ(CKestrandXMLWriter::NewAttributeULL(&node, "TwoTo32", 1ull << 32), 0u);
  EXPECT_EQ(CKestrandXMLWriter::NewAttributeULL(&node, "Largest", UINT64_MAX), 0u);
  EXPECT_EQ(CKestrandXMLWriter::NewAttributeULL(&node, "Status", 0xC000000Du), 0u);
  EXPECT_STREQ(node.AttributeValue("Zero"), "0");
  EXPECT_STREQ(node.AttributeValue("TwoTo32"), "4294967296");
  EXPECT_STREQ(node.AttributeValue("Largest"), "18446744073709551615");
  EXPECT_STREQ(node.AttributeValue("Status"), "3221225485");
}

}  // namespace
}  // namespace kestrand
