// The Test element of the consistency tests: its name and description first,
// then one attribute per mismatch found, then the verdict.
#pragma once

#include <cstdint>
#include <string>

namespace kestrand {

class CKestrandTreeNode;

// The value of a mismatch attribute.
constexpr const char* kNotIdentical = "Not identical";

// Icons of a failed test: most tests fail with "5", the disk id test with "4".
constexpr const char* kFailedTestIcon = "5";
constexpr const char* kFailedDiskIdTestIcon = "4";

// A new Test element under `parent` with its display name and description;
// nullptr with `code` set (8, or the tree's error) when it cannot be made.
CKestrandTreeNode* AddTestElement(CKestrandTreeNode* parent, const std::string& name,
                                  const std::string& description, uint32_t& code);

// Collects the mismatch attributes of one test; after the first tree error
// nothing more is added and Code() keeps it.
class CTestMismatches {
 public:
  explicit CTestMismatches(CKestrandTreeNode* test) : test_(test) {}

  // Adds `name` with "Not identical" when `differs`.
  void Compare(const char* name, bool differs);
  // Adds `name` with `value` in every case.
  void Note(const char* name, const char* value);

  bool Found() const { return found_; }
  uint32_t Code() const { return code_; }

 private:
  CKestrandTreeNode* test_;
  bool found_ = false;
  uint32_t code_ = 0;
};

// `_ElementIcon` and `Status`: "16" and "Passed", or `failIcon` and "Failed".
uint32_t SetTestVerdict(CKestrandTreeNode* test, bool passed, const char* failIcon = kFailedTestIcon);

}  // namespace kestrand
