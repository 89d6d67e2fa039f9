// The report tree and its writer: attribute rules, document bytes, detaching.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

#include "common/xml_writer.h"

namespace kestrand {
namespace {

// The bytes WriteNode gives for `node` (below).
std::string Written(const CKestrandTreeNode* node);

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

// A branch turned into its bytes, shown again by a reference, written across
// many blocks (values of varied lengths, one longer than a block): the
// document is what the same tree gives without either.
TEST_F(XmlFileTest, CollapsedBranchesAndBlocksKeepTheBytes) {
  auto build = [](CKestrandTreeNode& root) {
    CKestrandTreeNode* disk = root.AddChild("Disk");
    EXPECT_EQ(CKestrandXMLWriter::SetElementDisplay(disk, "Disk 0", "13"), 0u);
    for (int i = 0; i < 3000; ++i) {
      CKestrandTreeNode* record = disk->AddChild("Record");
      EXPECT_EQ(CKestrandXMLWriter::NewAttribute(record, "Value", std::string(static_cast<size_t>(i % 997), 'v')), 0u);
      EXPECT_EQ(CKestrandXMLWriter::NewAttribute(record, "Empty", ""), 0u);
    }
    CKestrandTreeNode* big = disk->AddChild("Big");
    EXPECT_EQ(CKestrandXMLWriter::NewAttribute(big, "Text", std::string(XML_WRITE_BLOCK_SIZE + 3, 'b')), 0u);
    return disk;
  };
  CKestrandTreeNode plain("root");
  CKestrandTreeNode* plainDisk = build(plain);
  plainDisk->AddChild("Tests");
  CKestrandTreeNode* again = plain.AddChild("Again");
  build(*again);
  const std::string expected = Body(plain);
  ASSERT_GT(expected.size(), 3 * XML_WRITE_BLOCK_SIZE);

  CKestrandTreeNode collapsed("root");
  CKestrandTreeNode* disk = build(collapsed);
  const CKestrandTreeNode* fragment = disk->CollapseChildren();
  ASSERT_NE(fragment, nullptr);
  EXPECT_EQ(disk->FirstChild(), fragment);
  EXPECT_EQ(fragment->NextSibling(), nullptr);
  EXPECT_NE(disk->CollapseChildren(), nullptr);  // collapsing again keeps the bytes
  disk->AddChild("Tests");  // children added later follow the fragment
  CKestrandTreeNode* held = collapsed.HoldNode("Disk");
  EXPECT_EQ(CKestrandXMLWriter::SetElementDisplay(held, "Disk 0", "13"), 0u);
  held->AddReference(disk->FirstChild());
  collapsed.AddChild("Again")->AddReference(held);
  EXPECT_EQ(Body(collapsed), expected);

  CKestrandTreeNode empty("Empty");
  EXPECT_EQ(empty.CollapseChildren(), nullptr);
  EXPECT_EQ(Body(empty), "<Empty />");
}

// Writing a tree to a stream that takes nothing: 1006, and the message names
// the last piece of the call (the closing ">" of a small tree).
TEST_F(XmlFileTest, ShortWriteOfANodeNamesThePieceThatSentTheBlock) {
  { std::ofstream(path_) << "x"; }
  FILE* readOnly = std::fopen(path_.string().c_str(), "r");
  ASSERT_NE(readOnly, nullptr);
  CKestrandXMLWriter writer(readOnly);
  CKestrandTreeNode root("root");
  root.AddChild("Disk");
  ::testing::internal::CaptureStdout();
  uint32_t code = writer.WriteNode(&root);
  std::string message = ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(code, 1006u);
  EXPECT_EQ(message, "Failed string >\n");
  std::fclose(readOnly);
}

// Leaf elements written straight into bytes read as the same element built
// as a node and written: every kind of value, missing and non-ASCII ones
// included.
TEST(XmlWriterTest, AnAdderIntoBytesWritesWhatTheNodeGives) {
  const GUID guid{0x0123abcd, 0x00ef, 0xbeef, {0x80, 0x01, 0x02, 0x03, 0xa4, 0xb5, 0xc6, 0xd7}};
  auto fill = [&](CAttributeAdder& add) {
    add.Display("Record 7 Volume", "3")
        .Text("Name", "Volume1")
        .Text("Missing", static_cast<const char*>(nullptr))
        .Text("Quoted", "a \"b\" & <c>")
        .Wide("Ascii", u"dev")
        .Wide("Beyond", u"Donn\u00e9es")
        .Wide("None", static_cast<const char16_t*>(nullptr))
        .Wide("Empty", u"")
        .Number("Zero", 0)
        .Number("Largest", UINT64_MAX)
        .Flags("Flags", 0x42)
        .Flags("AllFlags", 0xFFFFFFFFu)
        .Grouped("Small", 100)
        .Grouped("Million", 1000000)
        .Grouped("GroupedLargest", UINT64_MAX)
        .Guid("Id", guid);
  };
  CKestrandTreeNode element("Record");
  CAttributeAdder onNode(&element);
  fill(onNode);
  ASSERT_EQ(onNode.Code(), 0u);
  std::string bytes = "<Record";
  CAttributeAdder intoBytes(&bytes);
  fill(intoBytes);
  EXPECT_EQ(intoBytes.Code(), 0u);
  bytes += " />";
  EXPECT_EQ(bytes, Written(&element));
  EXPECT_NE(bytes.find(" Million=\"1,000,000\" GroupedLargest=\"18,446,744,073,709,551,615\""), std::string::npos);
  EXPECT_NE(bytes.find(" Id=\"0123abcd-00ef-beef-8001-0203a4b5c6d7\""), std::string::npos);

  // A missing name stops the chain with 87, as on a node.
  std::string stopped;
  CAttributeAdder broken(&stopped);
  broken.Number("One", 1).Number(nullptr, 2).Text("Later", "x");
  EXPECT_EQ(broken.Code(), 87u);
  EXPECT_EQ(stopped, " One=\"1\"");
}

// Large equal fragments share their bytes; a collapsed branch keeps a large
// fragment among its children as it is, with the elements around it turned
// into fragments of their own, and is written as before.
TEST(XmlWriterTest, LargeFragmentsAreSharedAndKeptWholeByACollapse) {
  const std::string large = "<Record Name=\"" + std::string(XML_SHARED_FRAGMENT_SIZE, 'r') + "\" />";
  CKestrandTreeNode root("root");
  const CKestrandTreeNode* first = root.AddFragment(large);
  const CKestrandTreeNode* second = root.AddFragment(std::string(large));
  const CKestrandTreeNode* small = root.AddFragment("<Small />");
  const CKestrandTreeNode* smallAgain = root.AddFragment("<Small />");
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->Fragment(), second->Fragment());
  EXPECT_NE(small->Fragment(), smallAgain->Fragment());
  EXPECT_NE(root.AddFragment(large + "x")->Fragment(), first->Fragment());

  auto build = [&](CKestrandTreeNode& disk) {
    CKestrandXMLWriter::SetElementDisplay(&disk, "Disk 0", "13");
    disk.AddChild("Header")->AddChild("Inner");
    CKestrandTreeNode* records = disk.AddChild("Records");
    CKestrandXMLWriter::NewAttribute(records, "Count", "1");
    return records;
  };
  CKestrandTreeNode plain("Disk");
  build(plain)->AddFragment(large);
  plain.AddChild("After");
  const std::string expected = Written(&plain);

  CKestrandTreeNode disk("Disk");
  const CKestrandTreeNode* kept = build(disk)->AddFragment(large);
  disk.AddChild("After");
  const CKestrandTreeNode* head = disk.CollapseChildren();
  ASSERT_NE(head, nullptr);
  const CKestrandTreeNode* middle = head->NextSibling();
  ASSERT_NE(middle, nullptr);
  ASSERT_NE(middle->NextSibling(), nullptr);
  EXPECT_EQ(middle->NextSibling()->NextSibling(), nullptr);
  EXPECT_EQ(*head->Fragment(), "<Header><Inner /></Header><Records Count=\"1\">");
  EXPECT_EQ(middle->Fragment(), first->Fragment());  // the shared bytes, not a copy
  EXPECT_NE(kept, nullptr);
  EXPECT_EQ(*middle->NextSibling()->Fragment(), "</Records><After />");
  EXPECT_EQ(Written(&disk), expected);

  // Shown again through references to each fragment.
  CKestrandTreeNode again("Disk");
  CKestrandXMLWriter::SetElementDisplay(&again, "Disk 0", "13");
  for (const CKestrandTreeNode* piece = head; piece; piece = piece->NextSibling()) again.AddReference(piece);
  EXPECT_EQ(Written(&again), expected);
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

// References in the report tree: a branch held once and shown in several
// places reads and is written exactly as copies of it would be, while the
// references keep their own places, and held nodes stay out of the output.

// The bytes WriteNode gives for `node`.
std::string Written(const CKestrandTreeNode* node) {
  FILE* file = std::tmpfile();
  if (!file) {
    ADD_FAILURE() << "no temporary file";
    return "";
  }
  CKestrandXMLWriter writer(file);
  EXPECT_EQ(writer.WriteNode(node), 0u);
  std::string text;
  std::rewind(file);
  for (int c = std::fgetc(file); c != EOF; c = std::fgetc(file)) text.push_back(static_cast<char>(c));
  std::fclose(file);
  return text;
}

// A small branch: Disk (two attributes) holding Info (leaf) and Records
// (one attribute, one leaf child).
void BuildBranch(CKestrandTreeNode* under) {
  CKestrandTreeNode* disk = under->AddChild("Disk");
  CKestrandXMLWriter::SetElementDisplay(disk, "Disk 3", "13");
  disk->AddChild("Info");
  CKestrandTreeNode* records = disk->AddChild("Records");
  CKestrandXMLWriter::NewAttribute(records, "Count", "1");
  records->AddChild("Volume");
}

// Two parents, each with a leaf before and after the branch, and a parent
// whose only child is the branch.
void BuildDocument(CKestrandTreeNode* root, const CKestrandTreeNode* held) {
  for (const char* name : {"First", "Second"}) {
    CKestrandTreeNode* parent = root->AddChild(name);
    parent->AddChild("Before");
    if (held) {
      for (const CKestrandTreeNode* child = held->FirstChild(); child; child = child->NextSibling())
        ASSERT_NE(parent->AddReference(child), nullptr);
    } else {
      BuildBranch(parent);
    }
    parent->AddChild("After");
  }
  CKestrandTreeNode* only = root->AddChild("Only");
  if (held)
    only->AddReference(held->FirstChild());
  else
    BuildBranch(only);
}

TEST(TreeReferenceTest, ReferencesAreWrittenAsCopiesAndHeldNodesNotAtAll) {
  CKestrandTreeNode copies("root");
  BuildDocument(&copies, nullptr);

  CKestrandTreeNode shared("root");
  CKestrandTreeNode* held = shared.HoldNode("Holder");
  BuildBranch(held);
  BuildDocument(&shared, held);

  const std::string expected = Written(&copies);
  EXPECT_EQ(Written(&shared), expected);
  EXPECT_NE(expected.find("<First><Before /><Disk _ElementDisplayName=\"Disk 3\" _ElementIcon=\"13\"><Info />"
                          "<Records Count=\"1\"><Volume /></Records></Disk><After /></First>"),
            std::string::npos)
      << expected;
  EXPECT_EQ(Written(&shared).find("Holder"), std::string::npos);
  // The held node is no child and cannot be detached.
  EXPECT_EQ(shared.FindChild("Holder"), nullptr);
  EXPECT_EQ(held->Parent(), nullptr);
  EXPECT_EQ(held->Detach(), 87u);
}

TEST(TreeReferenceTest, AReferenceReadsAsItsTargetButKeepsItsOwnPlace) {
  CKestrandTreeNode root("root");
  CKestrandTreeNode* held = root.HoldNode("Holder");
  BuildBranch(held);
  const CKestrandTreeNode* target = held->FirstChild();
  CKestrandTreeNode* parent = root.AddChild("Parent");
  CKestrandTreeNode* reference = parent->AddReference(target);
  CKestrandTreeNode* after = parent->AddChild("After");

  EXPECT_EQ(reference->Target(), target);
  EXPECT_STREQ(reference->Name(), "Disk");
  EXPECT_EQ(reference->Attributes(), target->Attributes());
  EXPECT_STREQ(reference->AttributeValue("_ElementDisplayName"), "Disk 3");
  EXPECT_EQ(reference->FirstChild(), target->FirstChild());
  EXPECT_EQ(reference->FindChild("Records"), target->FindChild("Records"));
  EXPECT_EQ(reference->Parent(), parent);
  EXPECT_EQ(reference->NextSibling(), after);
  EXPECT_EQ(target->NextSibling(), nullptr);
  // Found by the target's name among the parent's children.
  EXPECT_EQ(parent->FindChild("Disk"), reference);

  // A reference to a reference shows the first target.
  CKestrandTreeNode* again = root.AddChild("Again");
  CKestrandTreeNode* chained = again->AddReference(reference);
  EXPECT_STREQ(chained->Name(), "Disk");
  EXPECT_EQ(Written(again), "<Again>" + Written(target) + "</Again>");
}

TEST(TreeReferenceTest, AReferenceTakesNothingOfItsOwnAndLeavesItsTargetAlone) {
  CKestrandTreeNode root("root");
  CKestrandTreeNode* held = root.HoldNode("Holder");
  BuildBranch(held);
  const CKestrandTreeNode* target = held->FirstChild();
  const std::string before = Written(target);
  CKestrandTreeNode* reference = root.AddChild("Parent")->AddReference(target);

  EXPECT_EQ(reference->AddChild("Extra"), nullptr);
  EXPECT_EQ(reference->AddReference(target), nullptr);
  EXPECT_EQ(CKestrandXMLWriter::NewAttribute(reference, "Extra", "1"), 87u);
  EXPECT_EQ(CKestrandXMLWriter::NewAttributeULL(reference, "Number", 5), 87u);
  reference->AppendAttribute(CKestrandAttribute::Create("Direct", "1"));  // freed, not added
  EXPECT_EQ(Written(target), before);
  EXPECT_EQ(root.AddChild("Other")->AddReference(nullptr), nullptr);
}

TEST(TreeReferenceTest, DetachingAReferenceLeavesTheOthersShowingTheBranch) {
  CKestrandTreeNode root("root");
  CKestrandTreeNode* held = root.HoldNode("Holder");
  CKestrandTreeNode* empty = held->AddChild("Empty");
  CKestrandTreeNode* one = root.AddChild("One");
  CKestrandTreeNode* two = root.AddChild("Two");
  CKestrandTreeNode* first = one->AddReference(empty);
  two->AddReference(empty);
  // A target without children or attributes is written as an empty element.
  EXPECT_EQ(Written(&root), "<root><One><Empty /></One><Two><Empty /></Two></root>");
  ASSERT_EQ(first->Detach(), 0u);
  EXPECT_EQ(Written(&root), "<root><One /><Two><Empty /></Two></root>");
  EXPECT_EQ(empty->Parent(), held);
}

}  // namespace
}  // namespace kestrand
