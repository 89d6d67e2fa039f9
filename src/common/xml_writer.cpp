#include "common/xml_writer.h"

#include <cstdio>
#include <cstdlib>
#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <new>
#include <unordered_map>

#include "common/formatters.h"
#include "common/text_format.h"
#include "platform/types.h"

namespace kestrand {

namespace {

// Before each stored attribute: the lengths of its name and its value.
constexpr size_t ATTRIBUTE_HEAD = 2 * sizeof(uint32_t);
// Fragments at least this long join a block by their address.
constexpr size_t XML_IN_PLACE_FRAGMENT_SIZE = 4096;
// What a node's string holds before its first attribute grows to at once,
// so that a node with a few attributes grows it once or twice.
constexpr size_t ATTRIBUTE_RESERVE = 192;

struct StoredAttribute {
  std::string_view Name;
  std::string_view Value;
  std::string_view Written;  // ` name="value"`
};

// The attribute stored at `at` in `bytes`; returns where the next one is.
size_t ReadAttribute(std::string_view bytes, size_t at, StoredAttribute& attribute) {
  uint32_t lengths[2];
  std::memcpy(lengths, bytes.data() + at, ATTRIBUTE_HEAD);
  const char* written = bytes.data() + at + ATTRIBUTE_HEAD;
  const size_t size = size_t{lengths[0]} + lengths[1] + 4;
  attribute.Written = std::string_view(written, size);
  attribute.Name = std::string_view(written + 1, lengths[0]);
  attribute.Value = std::string_view(written + lengths[0] + 3, lengths[1]);
  return at + ATTRIBUTE_HEAD + size;
}

}  // namespace

CKestrandTreeNode::CKestrandTreeNode(const char* name) {
  if (!name) return;
  try {
    text_.assign(name, std::strlen(name) + 1);
    named_ = true;
    attributesAt_ = static_cast<uint32_t>(text_.size());
  } catch (const std::bad_alloc&) {
    PrintWide(stderr, u"%s\n", u"CKestrandTreeNode::CKestrandTreeNode() : Failed allocating string");
  }
}

CKestrandTreeNode::~CKestrandTreeNode() {
  CKestrandTreeNode* child = firstChild_;
  while (child) {
    CKestrandTreeNode* next = child->nextSibling_;
    delete child;
    child = next;
  }
  delete detached_;
}

CKestrandTreeNode* CKestrandTreeNode::AddChild(const char* name) {
  if (target_) return nullptr;
  CKestrandTreeNode* child = new CKestrandTreeNode(name);
  LinkChild(child);
  return child;
}

CKestrandTreeNode* CKestrandTreeNode::AddReference(const CKestrandTreeNode* target) {
  if (target_ || !target) return nullptr;
  CKestrandTreeNode* child = new CKestrandTreeNode(nullptr);
  child->target_ = target;
  LinkChild(child);
  return child;
}

CKestrandTreeNode* CKestrandTreeNode::HoldNode(const char* name) {
  CKestrandTreeNode* held = new CKestrandTreeNode(name);
  if (!detached_) detached_ = new CPtrList<CKestrandTreeNode>(true);
  detached_->Append(held);
  return held;
}

const CKestrandTreeNode* CKestrandTreeNode::CollapseChildren() {
  if (target_ || !firstChild_) return nullptr;
  std::vector<std::shared_ptr<const std::string>> pieces = CKestrandXMLWriter::RenderPieces(this);
  CKestrandTreeNode* child = firstChild_;
  while (child) {
    CKestrandTreeNode* next = child->nextSibling_;
    delete child;
    child = next;
  }
  firstChild_ = lastChild_ = nullptr;
  const CKestrandTreeNode* first = nullptr;
  for (auto& piece : pieces) {
    auto* fragment = new CKestrandTreeNode(nullptr);
    fragment->fragment_ = std::move(piece);
    LinkChild(fragment);
    if (!first) first = fragment;
  }
  return first;
}

namespace {

// Fragments alive with their bytes' hash, so that equal bytes share one copy.
// A fragment leaves when its last holder frees it; its entry goes when met.
class CFragmentPool {
 public:
  // The hash of the length, the first and last 4 KiB and 64 bytes of every
  // 4 KiB between: fragments are hundreds of KiB, and whether two with the
  // same hash are equal is decided by comparing them whole.
  static size_t SampleHash(std::string_view bytes) {
    constexpr size_t kEdge = 4096, kStride = 4096, kSample = 64;
    const std::hash<std::string_view> hash;
    size_t h = bytes.size();
    auto mix = [&h](size_t part) { h ^= part + 0x9E3779B97F4A7C15ull + (h << 6) + (h >> 2); };
    if (bytes.size() <= 2 * kEdge) {
      mix(hash(bytes));
      return h;
    }
    mix(hash(bytes.substr(0, kEdge)));
    mix(hash(bytes.substr(bytes.size() - kEdge)));
    for (size_t at = kEdge; at + kSample <= bytes.size() - kEdge; at += kStride) mix(hash(bytes.substr(at, kSample)));
    return h;
  }

  // `bytes` is moved into a new fragment, or left as it is when an equal
  // one is alive.
  std::shared_ptr<const std::string> Share(std::string&& bytes) {
    const size_t hash = SampleHash(bytes);
    std::lock_guard<std::mutex> lock(mutex_);
    auto [begin, end] = pool_.equal_range(hash);
    for (auto it = begin; it != end;) {
      std::shared_ptr<const std::string> alive = it->second.lock();
      if (!alive) {
        it = pool_.erase(it);
        continue;
      }
      if (*alive == bytes) return alive;
      ++it;
    }
    auto shared = std::make_shared<const std::string>(std::move(bytes));
    // Entries of freed fragments go now and then, so that a long-lived
    // process (many runs in one) does not gather them.
    if (pool_.size() >= sweepAt_) {
      std::erase_if(pool_, [](const auto& entry) { return entry.second.expired(); });
      sweepAt_ = 2 * pool_.size() + 64;
    }
    pool_.emplace(hash, shared);
    return shared;
  }

 private:
  std::mutex mutex_;
  std::unordered_multimap<size_t, std::weak_ptr<const std::string>> pool_;
  size_t sweepAt_ = 64;
};

CFragmentPool& FragmentPool() {
  static CFragmentPool pool;
  return pool;
}

}  // namespace

std::shared_ptr<const std::string> ShareFragment(std::string&& bytes) {
  if (bytes.size() >= XML_SHARED_FRAGMENT_SIZE) return FragmentPool().Share(std::move(bytes));
  return std::make_shared<const std::string>(std::move(bytes));
}

const CKestrandTreeNode* CKestrandTreeNode::AddFragment(std::string_view bytes) {
  if (target_) return nullptr;
  return AddFragment(ShareFragment(std::string(bytes)));
}

const CKestrandTreeNode* CKestrandTreeNode::AddFragment(std::shared_ptr<const std::string> bytes) {
  if (target_ || !bytes) return nullptr;
  auto* fragment = new CKestrandTreeNode(nullptr);
  fragment->fragment_ = std::move(bytes);
  LinkChild(fragment);
  return fragment;
}

void CKestrandTreeNode::LinkChild(CKestrandTreeNode* child) {
  child->parent_ = this;
  if (lastChild_)
    lastChild_->nextSibling_ = child;
  else
    firstChild_ = child;
  lastChild_ = child;
}

uint32_t CKestrandTreeNode::Detach() {
  if (!parent_) return ERROR_INVALID_PARAMETER_CODE;
  CKestrandTreeNode* previous = nullptr;
  for (CKestrandTreeNode* sibling = parent_->firstChild_; sibling != this; sibling = sibling->nextSibling_)
    previous = sibling;
  if (previous)
    previous->nextSibling_ = nextSibling_;
  else
    parent_->firstChild_ = nextSibling_;
  if (parent_->lastChild_ == this) parent_->lastChild_ = previous;
  if (!parent_->detached_) parent_->detached_ = new CPtrList<CKestrandTreeNode>(true);
  parent_->detached_->Append(this);
  parent_ = nullptr;
  nextSibling_ = nullptr;
  return 0;
}

uint32_t CKestrandTreeNode::AddAttribute(std::string_view name, std::string_view value) {
  if (name.size() > UINT32_MAX || value.size() > UINT32_MAX || text_.size() > UINT32_MAX)
    return ERROR_NOT_ENOUGH_MEMORY_CODE;
  // Text of this node's own (its name, a value) moves when the string grows.
  const std::less<const char*> before;
  auto inside = [&](std::string_view text) {
    return !text.empty() && !before(text.data(), text_.data()) && before(text.data(), text_.data() + text_.size());
  };
  if (inside(name) || inside(value)) {
    const std::string nameCopy(name), valueCopy(value);
    return AddAttribute(nameCopy, valueCopy);
  }
  const size_t size = text_.size();
  try {
    const size_t needed = size + ATTRIBUTE_HEAD + name.size() + value.size() + 4;
    if (needed > text_.capacity()) text_.reserve(std::max({needed, ATTRIBUTE_RESERVE, 2 * text_.capacity()}));
    text_.resize(needed);
    const uint32_t lengths[2] = {static_cast<uint32_t>(name.size()), static_cast<uint32_t>(value.size())};
    char* at = text_.data() + size;
    std::memcpy(at, lengths, ATTRIBUTE_HEAD);
    at += ATTRIBUTE_HEAD;
    *at++ = ' ';
    std::memcpy(at, name.data(), name.size());
    at += name.size();
    *at++ = '=';
    *at++ = '"';
    if (!value.empty()) std::memcpy(at, value.data(), value.size());
    at[value.size()] = '"';
  } catch (const std::bad_alloc&) {
    text_.resize(size);
    return ERROR_NOT_ENOUGH_MEMORY_CODE;
  }
  return 0;
}

std::optional<std::string_view> CKestrandTreeNode::AttributeValue(std::string_view name) const {
  const std::string_view bytes = AttributeBytes();
  StoredAttribute attribute;
  for (size_t at = 0; at < bytes.size();) {
    at = ReadAttribute(bytes, at, attribute);
    if (attribute.Name == name) return attribute.Value;
  }
  return std::nullopt;
}

uint32_t CKestrandTreeNode::CopyAttributes(const CKestrandTreeNode* from) {
  if (target_ || !from || text_.size() != attributesAt_) return ERROR_INVALID_PARAMETER_CODE;
  try {
    text_ += from->AttributeBytes();
  } catch (const std::bad_alloc&) {
    text_.resize(attributesAt_);
    return ERROR_NOT_ENOUGH_MEMORY_CODE;
  }
  return 0;
}

uint32_t CKestrandXMLWriter::NewAttribute(CKestrandTreeNode* node, const char* name, const char* value) {
  if (!node || !name || node->Target()) return ERROR_INVALID_PARAMETER_CODE;
  if (!value) value = "(null)";
  const std::string_view nameText(name);
  if (nameText.find(' ') != std::string_view::npos) return ERROR_INVALID_PARAMETER_CODE;
  if (node->AttributeValue(nameText)) return ERROR_INVALID_PARAMETER_CODE;
  return node->AddAttribute(nameText, value);
}

uint32_t CKestrandXMLWriter::NewAttribute(CKestrandTreeNode* node, const char* name, const std::string& value) {
  return NewAttribute(node, name, value.c_str());
}

uint32_t CKestrandXMLWriter::NewAttributeW(CKestrandTreeNode* node, const char* name, const char16_t* value) {
  if (!name) return ERROR_INVALID_PARAMETER_CODE;
  if (!value) value = u"(null)";
  bool lossless = false;
  std::string narrow = WideToAnsi(value, &lossless);
  return NewAttribute(node, name, lossless ? narrow.c_str() : "Unknown");
}

uint32_t CKestrandXMLWriter::NewAttributeW(CKestrandTreeNode* node, const char* name, const std::u16string& value) {
  return NewAttributeW(node, name, value.c_str());
}

uint32_t CKestrandXMLWriter::NewAttributeULL(CKestrandTreeNode* node, const char* name, uint64_t value) {
  if (!name) return ERROR_INVALID_PARAMETER_CODE;
  return NewAttribute(node, name, std::to_string(static_cast<unsigned long long>(value)));
}

uint32_t CKestrandXMLWriter::SetElementDisplay(CKestrandTreeNode* node, const char* caption, const char* icon) {
  if (!caption || !icon) return ERROR_INVALID_PARAMETER_CODE;
  uint32_t code = NewAttribute(node, "_ElementDisplayName", caption);
  if (code != 0) return code;
  return NewAttribute(node, "_ElementIcon", icon);
}

uint32_t CKestrandXMLWriter::Send(const StreamPiece* pieces, size_t count, const char* piece) {
  if (WritePieces(stream_, pieces, count)) return 0;
  PrintNarrow(stdout, "Failed string %s\n", piece);
  return ERROR_XML_SHORT_WRITE_CODE;
}

uint32_t CKestrandXMLWriter::SendBlock(const char* piece) {
  std::vector<StreamPiece> pieces;
  pieces.reserve(parts_.size());
  for (const BlockPart& part : parts_)
    pieces.push_back(StreamPiece{part.Bytes ? part.Bytes : block_.data() + part.Offset, part.Length});
  return Send(pieces.data(), pieces.size(), piece);
}

void CKestrandXMLWriter::ClearBlock() {
  block_.clear();
  parts_.clear();
  blockSize_ = 0;
}

uint32_t CKestrandXMLWriter::Flush() {
  if (memory_ || blockSize_ == 0) return 0;
  uint32_t code = SendBlock(lastPiece_);
  ClearBlock();
  return code;
}

void CKestrandXMLWriter::Append(const char* text, size_t length, bool inPlace) {
  blockSize_ += length;
  if (inPlace) {
    parts_.push_back(BlockPart{text, 0, length});
    return;
  }
  // The block grows as it fills: a small document never takes a whole
  // block's memory.
  if (parts_.empty() || parts_.back().Bytes)
    parts_.push_back(BlockPart{nullptr, block_.size(), length});
  else
    parts_.back().Length += length;
  block_.append(text, length);
}

uint32_t CKestrandXMLWriter::PutPiece(const char* text, size_t length, bool inPlace) {
  if (memory_) {
    memory_->append(text, length);
    return 0;
  }
  // An empty value is written as zero bytes, which is not a short write.
  if (length == 0) return 0;
  if (blockSize_ + length > XML_WRITE_BLOCK_SIZE) {
    uint32_t code = SendBlock(text);
    ClearBlock();
    if (code != 0) return code;
  }
  lastPiece_ = text;
  if (length >= XML_WRITE_BLOCK_SIZE) {
    const StreamPiece whole{text, length};
    return Send(&whole, 1, text);
  }
  Append(text, length, inPlace);
  return 0;
}

uint32_t CKestrandXMLWriter::Put(const char* text, size_t length) { return PutPiece(text, length, false); }

uint32_t CKestrandXMLWriter::Put(const char* text) { return Put(text, std::strlen(text)); }

uint32_t CKestrandXMLWriter::WriteString(const char* text) {
  if (!text || !stream_) return ERROR_INVALID_PARAMETER_CODE;
  uint32_t code = Put(text);
  if (code != 0) {
    ClearBlock();
    return code;
  }
  return Flush();
}

uint32_t CKestrandXMLWriter::PutAttributes(const CKestrandTreeNode* node) {
  const std::string_view bytes = node->AttributeBytes();
  StoredAttribute attribute;
  for (size_t at = 0; at < bytes.size();) {
    at = ReadAttribute(bytes, at, attribute);
    if (memory_) {
      memory_->append(attribute.Written);
      continue;
    }
    if (blockSize_ + attribute.Written.size() <= XML_WRITE_BLOCK_SIZE) {
      Append(attribute.Written.data(), attribute.Written.size(), false);
      lastPiece_ = "\"";
      continue;
    }
    // The block is sent within this attribute: piece by piece, so that a
    // refused block names the piece it names for the pieces one by one.
    const std::string name(attribute.Name), value(attribute.Value);
    const char* pieces[] = {" ", name.c_str(), "=\"", value.c_str(), "\""};
    for (const char* piece : pieces) {
      uint32_t code = Put(piece);
      if (code != 0) return code;
    }
  }
  return 0;
}

uint32_t CKestrandXMLWriter::PutNode(const CKestrandTreeNode* node) {
  if (const std::string* fragment = node->Fragment()) {
    if (pieces_ && fragment->size() >= XML_SHARED_FRAGMENT_SIZE) {
      // Kept as it is: the bytes so far become a piece of their own.
      if (!memory_->empty()) {
        memory_->shrink_to_fit();
        pieces_->push_back(std::make_shared<const std::string>(std::move(*memory_)));
        memory_->clear();
      }
      const CKestrandTreeNode* shown = node;
      while (shown->Target()) shown = shown->Target();
      pieces_->push_back(shown->fragment_);
      return 0;
    }
    // A long fragment stays where it is until its block is sent: the
    // document's repeated branches are not copied once more on their way.
    return PutPiece(fragment->c_str(), fragment->size(), fragment->size() >= XML_IN_PLACE_FRAGMENT_SIZE);
  }
  const char* name = node->Name();
  CFirstCode code;
  code.Then([&] { return Put("<"); })
      .Then([&] { return name ? Put(name) : ERROR_INVALID_PARAMETER_CODE; })
      .Then([&] { return PutAttributes(node); });
  if (code.Failed()) return code.Code();
  if (!node->FirstChild()) return Put(" />");
  code.Then([&] { return Put(">"); });
  for (const CKestrandTreeNode* child = node->FirstChild(); child && !code.Failed(); child = child->NextSibling())
    code.Then([&] { return PutNode(child); });
  code.Then([&] { return Put("</"); }).Then([&] { return Put(name); }).Then([&] { return Put(">"); });
  return code.Code();
}

uint32_t CKestrandXMLWriter::WriteNode(const CKestrandTreeNode* node) {
  if (!node || !stream_) return ERROR_INVALID_PARAMETER_CODE;
  uint32_t code = PutNode(node);
  if (code != 0) {
    ClearBlock();
    return code;
  }
  return Flush();
}

void CKestrandXMLWriter::RenderNode(const CKestrandTreeNode* node, std::string& out) {
  if (!node) return;
  CKestrandXMLWriter writer(&out);
  writer.PutNode(node);
}

std::vector<std::shared_ptr<const std::string>> CKestrandXMLWriter::RenderPieces(const CKestrandTreeNode* node) {
  std::vector<std::shared_ptr<const std::string>> pieces;
  std::string current;
  CKestrandXMLWriter writer(&current);
  writer.pieces_ = &pieces;
  for (const CKestrandTreeNode* child = node->FirstChild(); child; child = child->NextSibling())
    writer.PutNode(child);
  // Children that write nothing still leave one (empty) fragment, so that
  // the element keeps its closing tag.
  if (!current.empty() || pieces.empty()) {
    current.shrink_to_fit();
    pieces.push_back(std::make_shared<const std::string>(std::move(current)));
  }
  return pieces;
}

uint32_t WriteXmlDocument(const char* fileName, const CKestrandTreeNode* root) {
  if (!fileName || !root) return ERROR_INVALID_PARAMETER_CODE;
  FILE* file = std::fopen(fileName, "w");
  if (!file) return ERROR_INVALID_PARAMETER_CODE;
  CKestrandXMLWriter writer(file);
  CFirstCode code;
  code.Then([&] { return writer.WriteString("<?xml version='1.0' encoding='utf-8'?>"); })
      .Then([&] { return writer.WriteNode(root); });
  // Buffered bytes reach the file only here, so closing decides success; the
  // file is closed whatever the writing met.
  code.Keep(std::fclose(file) != 0 ? ERROR_INVALID_PARAMETER_CODE : 0);
  return code.Code();
}

bool CAttributeAdder::Open(const char* name) {
  if (code_.Failed()) return false;
  if (!name) {
    code_.Keep(ERROR_INVALID_PARAMETER_CODE);
    return false;
  }
  const size_t length = std::strlen(name);
  std::string& bytes = *bytes_;
  const size_t at = bytes.size();
  bytes.resize(at + length + 3);
  char* out = bytes.data() + at;
  out[0] = ' ';
  std::memcpy(out + 1, name, length);
  out[length + 1] = '=';
  out[length + 2] = '"';
  return true;
}

namespace {

// Room on the stack for one ` name="value"`: put together there and
// appended at once, since the record branches write tens of thousands.
constexpr size_t kAttributeRoom = 128;

// ` name="` at the start of `room`; its length.
size_t PutOpening(char* room, const char* name, size_t nameLength) {
  room[0] = ' ';
  std::memcpy(room + 1, name, nameLength);
  room[nameLength + 1] = '=';
  room[nameLength + 2] = '"';
  return nameLength + 3;
}

}  // namespace

CAttributeAdder& CAttributeAdder::Put(const char* name, const char* value) {
  if (code_.Failed()) return *this;
  if (!name) return Fail(ERROR_INVALID_PARAMETER_CODE);
  const size_t nameLength = std::strlen(name);
  const size_t valueLength = std::strlen(value);
  if (nameLength + valueLength + 4 > kAttributeRoom) {
    Open(name);
    bytes_->append(value, valueLength);
    *bytes_ += '"';
    return *this;
  }
  char room[kAttributeRoom];
  size_t length = PutOpening(room, name, nameLength);
  std::memcpy(room + length, value, valueLength);
  length += valueLength;
  room[length++] = '"';
  bytes_->append(room, length);
  return *this;
}

template <typename PutValue>
CAttributeAdder& CAttributeAdder::PutFormatted(const char* name, PutValue put) {
  if (code_.Failed()) return *this;
  if (!name) return Fail(ERROR_INVALID_PARAMETER_CODE);
  const size_t nameLength = std::strlen(name);
  char room[kAttributeRoom];
  if (nameLength + 4 + kLongestFormatted > kAttributeRoom) {
    Open(name);
    bytes_->append(room, static_cast<size_t>(put(room) - room));
    *bytes_ += '"';
    return *this;
  }
  char* end = put(room + PutOpening(room, name, nameLength));
  *end++ = '"';
  bytes_->append(room, static_cast<size_t>(end - room));
  return *this;
}

CAttributeAdder& CAttributeAdder::Wide(const char* name, const char16_t* value) {
  if (!bytes_) {
    code_.Then([&] { return CKestrandXMLWriter::NewAttributeW(node_, name, value); });
    return *this;
  }
  if (!value) return Put(name, "(null)");
  size_t length = 0;
  while (value[length] != 0) {
    if (value[length] >= 0x80) return Put(name, "Unknown");
    ++length;
  }
  if (!Open(name)) return *this;
  const size_t at = bytes_->size();
  bytes_->resize(at + length + 1);
  char* out = bytes_->data() + at;
  for (size_t i = 0; i < length; ++i) out[i] = static_cast<char>(value[i]);
  out[length] = '"';
  return *this;
}

template <typename Narrow>
CAttributeAdder& CAttributeAdder::Formatted(const char* name, Narrow&& narrow) {
  if (code_.Failed()) return *this;
  std::string text;
  narrow(text);
  return Text(name, text);
}

CAttributeAdder& CAttributeAdder::Number(const char* name, uint64_t value) {
  if (!bytes_) {
    code_.Then([&] { return CKestrandXMLWriter::NewAttributeULL(node_, name, value); });
    return *this;
  }
  return PutFormatted(name, [value](char* at) { return PutDecimal(at, value); });
}

CAttributeAdder& CAttributeAdder::Flags(const char* name, uint32_t value) {
  if (!bytes_) return Formatted(name, [&](std::string& out) { AppendHex8(out, value); });
  return PutFormatted(name, [value](char* at) { return PutHex8(at, value); });
}

CAttributeAdder& CAttributeAdder::Grouped(const char* name, uint64_t value) {
  if (!bytes_) return Formatted(name, [&](std::string& out) { AppendGrouped(out, value); });
  return PutFormatted(name, [value](char* at) { return PutGrouped(at, value); });
}

CAttributeAdder& CAttributeAdder::Guid(const char* name, const GUID& value) {
  if (!bytes_) return Formatted(name, [&](std::string& out) { AppendGuid(out, value); });
  return PutFormatted(name, [&value](char* at) { return PutGuid(at, value); });
}

}  // namespace kestrand
