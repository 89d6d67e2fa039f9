// The report tree, its attributes, and the XML writer. The tree holds named
// elements, each with ordered name/value attributes and ordered children,
// built once and written to the XML report in one pass: one line, no
// whitespace but the blanks inside tags, nothing escaped. Attribute names
// have no blank and are unique per element; values are narrow text.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/containers.h"
#include "common/first_code.h"
#include "platform/stream_write.h"
#include "platform/types.h"

namespace kestrand {

// A node owns its children and keeps its name and attributes in one string:
// the name, then each attribute as the bytes the writer writes for it
// (` name="value"`) behind their two lengths, so that adding an attribute
// allocates nothing but that string's growth. Only a root (a node that was never added as a
// child) is destroyed by its creator; destroying it frees the whole tree.
//
// A reference is a node that shows another node, its target: it reads and is
// written as the target (name, attributes, children), while its parent and
// its place among its siblings are its own. A branch that appears in many
// places is so built and held once (HoldNode) and shown by references.
class CKestrandTreeNode {
 public:
  // Keeps a heap copy of `name`; without memory the node has no name.
  explicit CKestrandTreeNode(const char* name);
  ~CKestrandTreeNode();
  CKestrandTreeNode(const CKestrandTreeNode&) = delete;
  CKestrandTreeNode& operator=(const CKestrandTreeNode&) = delete;

  // A new last child; the tree owns it. None for a reference, which takes
  // no children of its own.
  CKestrandTreeNode* AddChild(const char* name);
  // A new last child that is a reference to `target`. The target must stay
  // as it is and outlive this node (a node held by this tree), and must not
  // contain this node.
  CKestrandTreeNode* AddReference(const CKestrandTreeNode* target);
  // A new node that this node owns without showing it: it is no child, is
  // never written, and is freed with this node. It has no parent, so it
  // cannot be detached.
  CKestrandTreeNode* HoldNode(const char* name);
  // Unlinks this node from its parent's children (87 without a parent), so
  // it is no longer written. The former parent keeps owning it and frees it
  // with itself; the caller must not delete it.
  uint32_t Detach();

  // Replaces this node's children by fragment children that hold their bytes
  // as the XML writer writes them, and frees them: the output stays the same
  // while the branch takes the memory of its text only. Fragments of at least
  // XML_SHARED_FRAGMENT_SIZE bytes among the children stay as they are (their
  // bytes are shared, not copied); the elements before, between and after
  // them become one fragment each. Returns the first fragment, or nullptr
  // when there were no children (then nothing changes) or for a reference;
  // the fragments run from it to the last child. Children added afterwards
  // follow them.
  const CKestrandTreeNode* CollapseChildren();
  // A new last child that is a fragment holding a copy of `bytes`, written
  // as they are; none for a reference. Bytes of at least
  // XML_SHARED_FRAGMENT_SIZE that equal those of a fragment still alive (the
  // records of a database that every disk of a group carries) share that
  // fragment's memory instead.
  const CKestrandTreeNode* AddFragment(std::string_view bytes);
  // A new last fragment child that shows `bytes` (from ShareFragment); none
  // for a reference or without bytes.
  const CKestrandTreeNode* AddFragment(std::shared_ptr<const std::string> bytes);

  // The value of the attribute named `name` (case-sensitive); none when the
  // node has no such attribute. The view lasts until the next attribute is
  // added to the node.
  std::optional<std::string_view> AttributeValue(std::string_view name) const;
  // Gives this node, which must have no attributes yet and be no reference
  // (87 otherwise), the attributes of `from` (a reference's: its target's).
  uint32_t CopyAttributes(const CKestrandTreeNode* from);

  CKestrandTreeNode* Parent() const { return parent_; }
  CKestrandTreeNode* NextSibling() const { return nextSibling_; }
  // The last child; none for a reference.
  CKestrandTreeNode* LastChild() const { return target_ ? nullptr : lastChild_; }
  // These are the target's for a reference.
  CKestrandTreeNode* FirstChild() const { return Shown()->firstChild_; }
  // Lasts until the next attribute is added to the node.
  const char* Name() const { return Shown()->named_ ? Shown()->text_.c_str() : nullptr; }
  // The node a reference shows; none for an ordinary node.
  const CKestrandTreeNode* Target() const { return target_; }
  // The written bytes a fragment stands for (a reference's target's); none
  // for an element. A fragment has no name, attributes or children.
  const std::string* Fragment() const { return Shown()->fragment_.get(); }

 private:
  // The node whose name, attributes and children this one shows: itself, or
  // the end of a chain of references.
  const CKestrandTreeNode* Shown() const {
    const CKestrandTreeNode* node = this;
    while (node->target_) node = node->target_;
    return node;
  }
  // Links `child` as the last child.
  void LinkChild(CKestrandTreeNode* child);
  // The attributes' stored bytes (a reference's: its target's).
  std::string_view AttributeBytes() const {
    const CKestrandTreeNode* shown = Shown();
    return std::string_view(shown->text_).substr(shown->attributesAt_);
  }
  // Appends one attribute; the checks are the writer's.
  uint32_t AddAttribute(std::string_view name, std::string_view value);

  CKestrandTreeNode* parent_ = nullptr;
  CKestrandTreeNode* firstChild_ = nullptr;
  CKestrandTreeNode* nextSibling_ = nullptr;
  // The name and its terminating zero when named_, then the attributes from
  // attributesAt_, each as ATTRIBUTE_HEAD (name length, value length, 32 bits
  // each) and the bytes ` name="value"`.
  std::string text_;
  uint32_t attributesAt_ = 0;
  bool named_ = false;
  CKestrandTreeNode* lastChild_ = nullptr;
  // Children detached from this node and nodes it holds; owned until this
  // node is destroyed.
  CPtrList<CKestrandTreeNode>* detached_ = nullptr;
  const CKestrandTreeNode* target_ = nullptr;  // for a reference
  std::shared_ptr<const std::string> fragment_;  // for a fragment

  friend class CKestrandXMLWriter;
};

// Fragments at least this long are shared between equal copies and kept
// whole when a branch is collapsed.
constexpr size_t XML_SHARED_FRAGMENT_SIZE = size_t{1} << 16;

// The bytes of a fragment, to be added to any number of nodes: `bytes`
// moved into a new fragment, or, from XML_SHARED_FRAGMENT_SIZE bytes, the
// memory of an equal fragment still alive (`bytes` is then left as it was).
std::shared_ptr<const std::string> ShareFragment(std::string&& bytes);

// Returned by WriteString when the stream took fewer bytes than given.
constexpr uint32_t ERROR_XML_SHORT_WRITE_CODE = 1006;

// The writer gathers the pieces of a document into blocks of
// XML_WRITE_BLOCK_SIZE bytes and hands each block to the stream (with one
// fwrite for each run of copied pieces and one for each long fragment the
// block holds where it lies); a fragment at least that long goes to the
// stream as it is, after the block before it. WriteString and WriteNode
// send everything they were given before they return.
//
// A short write: when the stream takes fewer bytes than a block (or a long
// fragment) holds, the writer prints "Failed string %s\n" on standard output
// with the piece that was being written when the block was sent (the piece
// that no longer fitted into the block, the long fragment itself, or, for
// the last block of a call, the last piece of that call), returns 1006 and
// writes nothing more in that call. Which bytes before the failure reached
// the stream is the stream's business; the caller's fclose decides.
constexpr size_t XML_WRITE_BLOCK_SIZE = size_t{1} << 20;

class CKestrandXMLWriter {
 public:
  explicit CKestrandXMLWriter(FILE* stream) : stream_(stream) {}

  // 87 for a missing node or name, a name with a blank, a name the node
  // already has, or a reference node (the node is then unchanged); a missing
  // value is "(null)".
  static uint32_t NewAttribute(CKestrandTreeNode* node, const char* name, const char* value);
  static uint32_t NewAttribute(CKestrandTreeNode* node, const char* name, const std::string& value);
  // A value that is not plain ASCII cannot be converted to the report's
  // narrow code page and becomes "Unknown".
  static uint32_t NewAttributeW(CKestrandTreeNode* node, const char* name, const char16_t* value);
  static uint32_t NewAttributeW(CKestrandTreeNode* node, const char* name, const std::u16string& value);
  // Unsigned decimal, no grouping.
  static uint32_t NewAttributeULL(CKestrandTreeNode* node, const char* name, uint64_t value);
  // `_ElementDisplayName` then `_ElementIcon`; both must be given.
  static uint32_t SetElementDisplay(CKestrandTreeNode* node, const char* caption, const char* icon);

  // 87 without text or stream; 1006 (after the message "Failed string %s\n"
  // on standard output) when the stream takes fewer bytes than given.
  uint32_t WriteString(const char* text);
  // The node and its subtree, a reference as if its target stood in its
  // place, a fragment as its bytes; the first non-zero code stops the walk.
  uint32_t WriteNode(const CKestrandTreeNode* node);
  // Appends to `out` what WriteNode writes for `node`.
  static void RenderNode(const CKestrandTreeNode* node, std::string& out);

 private:
  // Into memory instead of a stream.
  explicit CKestrandXMLWriter(std::string* memory) : stream_(nullptr), memory_(memory) {}

  friend class CKestrandTreeNode;

  // What CollapseChildren keeps of `node`'s children: the rendered bytes, cut
  // around each shared fragment, which is kept as it is.
  static std::vector<std::shared_ptr<const std::string>> RenderPieces(const CKestrandTreeNode* node);

  uint32_t Put(const char* text, size_t length);
  uint32_t Put(const char* text);
  // Put; with `inPlace`, a piece that joins the block is kept there by its
  // address, not copied: `text` must outlive the call that writes it (a
  // tree's fragment).
  uint32_t PutPiece(const char* text, size_t length, bool inPlace);
  void Append(const char* text, size_t length, bool inPlace);
  uint32_t PutNode(const CKestrandTreeNode* node);
  uint32_t PutAttributes(const CKestrandTreeNode* node);
  // Sends the pieces in order; on a short write names `piece`.
  uint32_t Send(const StreamPiece* pieces, size_t count, const char* piece);
  // Sends the block's parts together; on a short write names `piece`.
  uint32_t SendBlock(const char* piece);
  void ClearBlock();
  uint32_t Flush();

  FILE* stream_;
  std::string* memory_ = nullptr;
  // While rendering pieces: the pieces finished so far (memory_ is the one
  // being filled).
  std::vector<std::shared_ptr<const std::string>>* pieces_ = nullptr;
  // The block: its parts in order, each either bytes copied into block_
  // (Bytes null, from Offset) or a long fragment left where it is.
  struct BlockPart {
    const char* Bytes;
    size_t Offset;
    size_t Length;
  };
  std::string block_;
  std::vector<BlockPart> parts_;
  size_t blockSize_ = 0;
  // The last piece given, for the message of a failing last block.
  const char* lastPiece_ = "";
};

// Writes the declaration and the tree rooted at `root` to a new file
// `fileName`: 87 when it cannot be opened or closed, else the first
// non-zero code of the writing.
uint32_t WriteXmlDocument(const char* fileName, const CKestrandTreeNode* root);

// Adds attributes to one node in order; after the first failure nothing more
// is added and Code() keeps that failure.
//
// An adder can also write straight into XML bytes (the text WriteNode gives
// for the attributes, each as ` name="value"`), for branches of many leaf
// elements that are kept as a fragment: no nodes and no copies of names and
// values. The names are then the caller's own literals, without blanks and
// each once per element, so they are not checked.
class CAttributeAdder {
 public:
  explicit CAttributeAdder(CKestrandTreeNode* node, uint32_t code = 0) : node_(node), code_(code) {}
  explicit CAttributeAdder(std::string* bytes) : node_(nullptr), bytes_(bytes) {}

  // A missing value is "(null)".
  CAttributeAdder& Text(const char* name, const char* value) {
    if (bytes_) return Put(name, value ? value : "(null)");
    code_.Then([&] { return CKestrandXMLWriter::NewAttribute(node_, name, value); });
    return *this;
  }
  CAttributeAdder& Text(const char* name, const std::string& value) { return Text(name, value.c_str()); }
  // A value that is not plain ASCII is "Unknown".
  CAttributeAdder& Wide(const char* name, const char16_t* value);
  CAttributeAdder& Wide(const char* name, const std::u16string& value) { return Wide(name, value.c_str()); }
  CAttributeAdder& Number(const char* name, uint64_t value);
  // "0x%08lx"
  CAttributeAdder& Flags(const char* name, uint32_t value);
  // Decimal grouped in threes, as FormatGrouped gives it.
  CAttributeAdder& Grouped(const char* name, uint64_t value);
  // The GUID form of FormatGuid.
  CAttributeAdder& Guid(const char* name, const GUID& value);
  // `_ElementDisplayName` then `_ElementIcon`.
  CAttributeAdder& Display(const char* caption, const char* icon) {
    if (bytes_) {
      if (!caption || !icon) return Fail(ERROR_INVALID_PARAMETER_CODE);
      return Put("_ElementDisplayName", caption).Put("_ElementIcon", icon);
    }
    code_.Then([&] { return CKestrandXMLWriter::SetElementDisplay(node_, caption, icon); });
    return *this;
  }
  // A step of another kind that belongs to the same chain.
  template <typename Step>
  CAttributeAdder& Then(Step&& step) {
    code_.Then(std::forward<Step>(step));
    return *this;
  }

  uint32_t Code() const { return code_.Code(); }

 private:
  // Appends ` name="` to the bytes; false (and nothing appended) once a
  // step has failed, or without a name (87).
  bool Open(const char* name);
  // Appends ` name="value"`.
  CAttributeAdder& Put(const char* name, const char* value);
  // A node's attribute whose value `narrow` appends to a narrow string.
  template <typename Narrow>
  CAttributeAdder& Formatted(const char* name, Narrow&& narrow);
  // Appends ` name="value"` with a value that `put(at)` writes at `at` (at
  // most kLongestFormatted bytes), returning its end.
  template <typename PutValue>
  CAttributeAdder& PutFormatted(const char* name, PutValue put);
  CAttributeAdder& Fail(uint32_t code) {
    code_.Keep(code);
    return *this;
  }

  CKestrandTreeNode* node_;
  std::string* bytes_ = nullptr;
  CFirstCode code_;
};

// An element written straight into XML bytes, as the writer writes a node:
// `<Name`, the attributes added through Add(), then " />", or ">", the
// children (each written the same way, after Children()) and "</Name>".
// For branches that nothing looks at again: no nodes, no copies of names
// and values. The names are the caller's literals (see CAttributeAdder).
class CElementBytes {
 public:
  CElementBytes(std::string& bytes, const char* name) : bytes_(bytes), name_(name), add_(&bytes) {
    bytes_ += '<';
    bytes_ += name_;
  }
  CElementBytes(const CElementBytes&) = delete;
  CElementBytes& operator=(const CElementBytes&) = delete;

  CAttributeAdder& Add() { return add_; }
  // The bytes, to write a child into: the start tag is ended first.
  std::string& Children() {
    if (childless_) bytes_ += '>';
    childless_ = false;
    return bytes_;
  }
  // Ends the element; the code of the first attribute that failed, or 0.
  uint32_t End() {
    if (childless_) {
      bytes_ += " />";
    } else {
      bytes_ += "</";
      bytes_ += name_;
      bytes_ += '>';
    }
    return add_.Code();
  }

 private:
  std::string& bytes_;
  const char* name_;
  CAttributeAdder add_;
  bool childless_ = true;
};

// Adds the elements in `bytes` under `parent` as one fragment child: 0, or 8
// without memory.
inline uint32_t AddElementBytes(CKestrandTreeNode* parent, std::string&& bytes) {
  if (bytes.empty()) return 0;
  return parent->AddFragment(ShareFragment(std::move(bytes))) ? 0 : ERROR_NOT_ENOUGH_MEMORY_CODE;
}

// Ends `element`, written into `bytes`, and adds it under `parent` as far as
// it got, as a node would stand in the tree: the code of adding it, else
// that of the first attribute that failed, else 0.
inline uint32_t AddEndedElement(CKestrandTreeNode* parent, CElementBytes& element, std::string&& bytes) {
  const uint32_t attributes = element.End();
  const uint32_t added = AddElementBytes(parent, std::move(bytes));
  return added != 0 ? added : attributes;
}

}  // namespace kestrand
