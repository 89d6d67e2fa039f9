// References in the report tree: a branch held once and shown in several
// places reads and is written exactly as copies of it would be, while the
// references keep their own places, and held nodes stay out of the output.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "common/tree_node.h"
#include "common/xml_writer.h"

namespace kestrand {
namespace {

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
