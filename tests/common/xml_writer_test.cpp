// The report tree and its writer: what the golden reports cannot show
// (refused attributes, detaching, references, failing writes) and the bytes
// of the document around them.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include "common/xml_writer.h"
#include "support/run_binary.h"

namespace kestrand {
namespace {

using W = CKestrandXMLWriter;

// The bytes WriteNode gives for `node`.
std::string Written(const CKestrandTreeNode* node) {
  return test::CaptureText([&](FILE* file) { EXPECT_EQ(CKestrandXMLWriter(file).WriteNode(node), 0u); });
}

// The document on one line, in order, unescaped; the rules of attributes.
TEST(XmlWriter, DocumentAndAttributeRules) {
  test::TempDir dir;
  CKestrandTreeNode root("root");
  ASSERT_EQ(W::SetElementDisplay(&root, "Kestrand", "1"), 0u);
  root.AddChild("Disk");
  CKestrandTreeNode* second = root.AddChild("Disk");
  ASSERT_EQ(W::NewAttribute(second, "Z", "1"), 0u);
  ASSERT_EQ(W::NewAttribute(second, "A", "Tom & \"Jerry\" <1>"), 0u);
  ASSERT_EQ(W::NewAttribute(second->AddChild("Inner"), "Value", ""), 0u);
  ASSERT_EQ(WriteXmlDocument(dir.File("a.xml").c_str(), &root), 0u);
  EXPECT_EQ(test::ReadFileBytes(dir.File("a.xml")),
            "<?xml version='1.0' encoding='utf-8'?><root _ElementDisplayName=\"Kestrand\" _ElementIcon=\"1\"><Disk />"
            "<Disk Z=\"1\" A=\"Tom & \"Jerry\" <1>\"><Inner Value=\"\" /></Disk></root>");
  EXPECT_EQ(WriteXmlDocument(dir.File("missing/a.xml").c_str(), &root), 87u);

  // Names with a blank, missing names and icons, a second display name and
  // names already there are refused (87); names compare case-sensitively.
  CKestrandTreeNode node("Disk");
  EXPECT_EQ(W::NewAttribute(&node, "Disk Size", "1"), 87u);
  EXPECT_EQ(W::NewAttributeW(&node, nullptr, u"1"), 87u);
  EXPECT_EQ(W::SetElementDisplay(&node, "Disk 0", nullptr), 87u);
  EXPECT_EQ(W::SetElementDisplay(&node, "Disk 0", "13"), 0u);
  EXPECT_EQ(W::SetElementDisplay(&node, "Disk 1", "4"), 87u);
  EXPECT_EQ(W::NewAttribute(&node, "Tab\tName", "2"), 0u);
  EXPECT_EQ(W::NewAttribute(&node, "Size", "100"), 0u);
  EXPECT_EQ(W::NewAttribute(&node, "Size", "200") + W::NewAttributeULL(&node, "Size", 300) +
                W::NewAttributeW(&node, "Size", u"400"),
            3 * 87u);
  EXPECT_EQ(W::NewAttribute(&node, "size", "500"), 0u);
  EXPECT_EQ(W::NewAttribute(&node, "Narrow", static_cast<const char*>(nullptr)), 0u);
  EXPECT_EQ(W::NewAttributeW(&node, "Wide", static_cast<const char16_t*>(nullptr)), 0u);
  EXPECT_EQ(W::NewAttributeW(&node, "Label", u"Donn\u00e9es"), 0u);
  EXPECT_EQ(W::NewAttributeW(&node, "Host", u"SERVER-01"), 0u);
  EXPECT_EQ(W::NewAttributeULL(&node, "Largest", UINT64_MAX), 0u);
  EXPECT_EQ(Written(&node), "<Disk _ElementDisplayName=\"Disk 0\" _ElementIcon=\"13\" Tab\tName=\"2\" Size=\"100\" "
                            "size=\"500\" Narrow=\"(null)\" Wide=\"(null)\" Label=\"Unknown\" Host=\"SERVER-01\" "
                            "Largest=\"18446744073709551615\" />");
}

// The first, the last, a middle and the only child; later children go after
// the one before a detached last child.
TEST(XmlWriter, DetachedBranchesAreLeftOut) {
  CKestrandTreeNode root("Disks");
  CKestrandTreeNode* basic = root.AddChild("BasicDisks");
  basic->AddChild("Disk")->AddChild("Geometry");
  CKestrandTreeNode* withLdm = root.AddChild("BasicDisksWithLDMDB");
  CKestrandTreeNode* dynamic = root.AddChild("DynamicDisks");
  dynamic->AddChild("Disk");
  EXPECT_EQ(basic->Detach(), 0u);
  EXPECT_EQ(Written(&root), "<Disks><BasicDisksWithLDMDB /><DynamicDisks><Disk /></DynamicDisks></Disks>");
  EXPECT_EQ(dynamic->Detach(), 0u);
  root.AddChild("Tests");
  EXPECT_EQ(withLdm->Detach(), 0u);
  EXPECT_EQ(Written(&root), "<Disks><Tests /></Disks>");
  EXPECT_EQ(root.FirstChild()->Detach(), 0u);
  root.AddChild("Again");
  EXPECT_EQ(Written(&root), "<Disks><Again /></Disks>");
  EXPECT_EQ(withLdm->Detach(), 87u);
  EXPECT_EQ(root.Detach(), 87u);
}

// A stream that takes nothing: 1006, and the message names the piece that
// failed (for a tree, the last piece of the block: the closing ">").
TEST(XmlWriter, ShortWritesGive1006AndNameThePiece) {
  test::TempDir dir;
  test::WriteFileBytes(dir.File("x"), "x");
  FILE* readOnly = std::fopen(dir.File("x").c_str(), "r");
  ASSERT_NE(readOnly, nullptr);
  CKestrandXMLWriter writer(readOnly);
  EXPECT_EQ(writer.WriteString(""), 0u);
  CKestrandTreeNode root("root");
  root.AddChild("Disk");
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(writer.WriteString("<Disk"), 1006u);
  EXPECT_EQ(writer.WriteNode(&root), 1006u);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Failed string <Disk\nFailed string >\n");
  // Long fragments, which join a block where they lie, count toward it as
  // copies do: the second does not fit beside the first and is named.
  CKestrandTreeNode halves("root");
  const std::string first(XML_WRITE_BLOCK_SIZE / 2 + 1, 'a'), second(XML_WRITE_BLOCK_SIZE / 2 + 1, 'b');
  halves.AddFragment(first);
  halves.AddFragment(second);
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(writer.WriteNode(&halves), 1006u);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Failed string " + second + "\n");
  std::fclose(readOnly);
}

// A branch collapsed into its bytes and shown again by references (a
// reference to a reference shows the first target), written across many
// blocks: the same bytes as the tree of copies. A reference takes nothing.
TEST(XmlWriter, CollapsedBranchesReferencesAndBlocksKeepTheBytes) {
  auto build = [](CKestrandTreeNode& root) {
    CKestrandTreeNode* disk = root.AddChild("Disk");
    W::SetElementDisplay(disk, "Disk 0", "13");
    for (int i = 0; i < 3000; ++i)
      W::NewAttribute(disk->AddChild("Record"), "Value", std::string(static_cast<size_t>(i % 997), 'v'));
    W::NewAttribute(disk->AddChild("Big"), "Text", std::string(XML_WRITE_BLOCK_SIZE + 3, 'b'));
    return disk;
  };
  CKestrandTreeNode plain("root"), collapsed("root");
  build(plain)->AddChild("Tests");
  build(*plain.AddChild("Again"));
  build(*plain.AddChild("Third"));
  const std::string expected = Written(&plain);
  ASSERT_GT(expected.size(), 3 * XML_WRITE_BLOCK_SIZE);

  CKestrandTreeNode* disk = build(collapsed);
  const CKestrandTreeNode* fragment = disk->CollapseChildren();
  ASSERT_NE(fragment, nullptr);
  EXPECT_EQ(fragment->NextSibling(), nullptr);
  EXPECT_NE(disk->CollapseChildren(), nullptr);  // again: the same bytes
  disk->AddChild("Tests");
  CKestrandTreeNode* held = collapsed.HoldNode("Disk");
  W::SetElementDisplay(held, "Disk 0", "13");
  held->AddReference(disk->FirstChild());
  CKestrandTreeNode* again = collapsed.AddChild("Again");
  CKestrandTreeNode* reference = again->AddReference(held);
  collapsed.AddChild("Third")->AddReference(reference);
  EXPECT_EQ(Written(&collapsed), expected);
  EXPECT_EQ(disk->NextSibling(), again);  // the held node is no child
  EXPECT_EQ(reference->AddChild("Extra"), nullptr);
  EXPECT_EQ(W::NewAttribute(reference, "Extra", "1"), 87u);
  EXPECT_EQ(held->Detach(), 87u);
  EXPECT_EQ(reference->Detach(), 0u);
  EXPECT_EQ(Written(again), "<Again />");
  CKestrandTreeNode empty("Empty");
  EXPECT_EQ(empty.CollapseChildren(), nullptr);
}

// Leaf elements written straight into bytes read as the same element built
// as a node and written: every kind of value, missing and non-ASCII ones
// included; a missing name stops the chain with 87, as on a node.
TEST(XmlWriter, AnAdderIntoBytesWritesWhatTheNodeGives) {
  const GUID guid{0x0123abcd, 0x00ef, 0xbeef, {0x80, 0x01, 0x02, 0x03, 0xa4, 0xb5, 0xc6, 0xd7}};
  const char16_t* const noWide = nullptr;
  auto fill = [&](CAttributeAdder& add) {
    add.Display("Record 7 Volume", "3").Text("Name", "Volume1").Text("Missing", static_cast<const char*>(nullptr));
    add.Text("Quoted", "a \"b\" & <c>").Wide("Ascii", u"dev").Wide("Beyond", u"Donn\u00e9es").Wide("None", noWide);
    add.Wide("Empty", u"").Number("Zero", 0).Number("Largest", UINT64_MAX).Flags("Flags", 0x42);
    add.Flags("AllFlags", 0xFFFFFFFFu).Grouped("Small", 100).Grouped("Million", 1000000);
    add.Grouped("GroupedLargest", UINT64_MAX).Guid("Id", guid);
  };
  CKestrandTreeNode element("Record");
  CAttributeAdder onNode(&element);
  fill(onNode);
  ASSERT_EQ(onNode.Code(), 0u);
  std::string bytes = "<Record";
  CAttributeAdder intoBytes(&bytes);
  fill(intoBytes);
  EXPECT_EQ(intoBytes.Code(), 0u);
  EXPECT_EQ(bytes + " />", Written(&element));
  EXPECT_NE(bytes.find(" Million=\"1,000,000\" GroupedLargest=\"18,446,744,073,709,551,615\""), std::string::npos);
  EXPECT_NE(bytes.find(" Id=\"0123abcd-00ef-beef-8001-0203a4b5c6d7\""), std::string::npos);

  std::string stopped;
  CAttributeAdder broken(&stopped);
  broken.Number("One", 1).Number(nullptr, 2).Text("Later", "x");
  EXPECT_EQ(broken.Code(), 87u);
  EXPECT_EQ(stopped, " One=\"1\"");
}

// Large equal fragments share their bytes; a collapsed branch keeps a large
// fragment among its children as it is (shared, not copied), with the
// elements around it turned into fragments of their own, and is written as
// before, also through references to each fragment.
TEST(XmlWriter, LargeFragmentsAreSharedAndKeptWholeByACollapse) {
  const std::string large = "<Record Name=\"" + std::string(XML_SHARED_FRAGMENT_SIZE, 'r') + "\" />";
  CKestrandTreeNode root("root");
  const CKestrandTreeNode* first = root.AddFragment(large);
  ASSERT_NE(first, nullptr);
  EXPECT_EQ(first->Fragment(), root.AddFragment(std::string(large))->Fragment());
  EXPECT_NE(root.AddFragment("<Small />")->Fragment(), root.AddFragment("<Small />")->Fragment());
  EXPECT_NE(root.AddFragment(large + "x")->Fragment(), first->Fragment());
  // As long and alike at both ends, with one byte between that differs:
  // told apart by the whole bytes, not by their hash.
  std::string middle = large;
  middle[middle.size() / 2 + 100] = 's';
  EXPECT_NE(root.AddFragment(middle)->Fragment(), first->Fragment());

  auto build = [&](CKestrandTreeNode& disk) {
    W::SetElementDisplay(&disk, "Disk 0", "13");
    disk.AddChild("Header")->AddChild("Inner");
    CKestrandTreeNode* records = disk.AddChild("Records");
    W::NewAttribute(records, "Count", "1");
    records->AddFragment(large);
    disk.AddChild("After");
  };
  CKestrandTreeNode plain("Disk"), disk("Disk"), again("Disk");
  build(plain);
  build(disk);
  const std::string expected = Written(&plain);
  std::vector<const std::string*> pieces;
  for (const CKestrandTreeNode* piece = disk.CollapseChildren(); piece; piece = piece->NextSibling()) {
    pieces.push_back(piece->Fragment());
    again.AddReference(piece);
  }
  ASSERT_EQ(pieces.size(), 3u);
  EXPECT_EQ(*pieces[0] + "|" + *pieces[2], "<Header><Inner /></Header><Records Count=\"1\">|</Records><After />");
  EXPECT_EQ(pieces[1], first->Fragment());
  EXPECT_EQ(Written(&disk), expected);
  W::SetElementDisplay(&again, "Disk 0", "13");
  EXPECT_EQ(Written(&again), expected);
}

}  // namespace
}  // namespace kestrand
