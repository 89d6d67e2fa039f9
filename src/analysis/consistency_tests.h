// Consistency tests of the LDM databases, each a Test element with a pass or
// fail verdict: the tests of one disk's database, and the report-wide test
// that no two disks share a disk id. A verdict is never an error code: the
// tests return only the report tree's codes.
#pragma once

#include <cstdint>
#include <string>

#include "common/xml_writer.h"

namespace kestrand {

class CDisk;
class CDiskSet;
class CKestrandTreeNode;
class PRIVATE_HEADER_WRAPPER;
class TOC_WRAPPER;

// The Test element: its name and description first, then one attribute per
// mismatch found, then the verdict.

// The value of a mismatch attribute.
constexpr const char* kNotIdentical = "Not identical";

// Icons of a failed test: most tests fail with "5", the disk id test with "4".
constexpr const char* kFailedTestIcon = "5";
constexpr const char* kFailedDiskIdTestIcon = "4";

// A new Test element under `parent` with its display name and description;
// nullptr with `code` set (8, or the tree's error) when it cannot be made.
CKestrandTreeNode* AddTestElement(CKestrandTreeNode* parent, const std::string& name,
                                  const std::string& description, uint32_t& code);

// `_ElementIcon` and `Status`: "16" and "Passed", or `failIcon` and "Failed".
uint32_t SetTestVerdict(CKestrandTreeNode* test, bool passed, const char* failIcon = kFailedTestIcon);

// Collects the mismatch attributes of one test; after the first tree error
// nothing more is added and Code() keeps it.
class CTestMismatches {
 public:
  explicit CTestMismatches(CKestrandTreeNode* test) : test_(test), attributes_(test) {}

  // Adds `name` with "Not identical" when `differs`.
  void Compare(const char* name, bool differs);
  // Adds `name` with `value` in every case.
  void Note(const char* name, const char* value) { attributes_.Text(name, value); }
  // The verdict last: passed when no mismatch was found. After a tree error
  // there is no verdict and the error is returned.
  uint32_t SetVerdict() {
    return attributes_.Then([&] { return SetTestVerdict(test_, !found_); }).Code();
  }

  bool Found() const { return found_; }
  uint32_t Code() const { return attributes_.Code(); }

 private:
  CKestrandTreeNode* test_;
  CAttributeAdder attributes_;
  bool found_ = false;
};

// The whole set of a disk under its Disk element: a Tests element with the
// header copy, table of contents and config headings and their tests, then
// the tests that compare copies. 87 without node or disk; nothing for a disk
// whose number is not known. The first non-zero code of the tree ends it.
uint32_t AddDiskTests(CKestrandTreeNode* diskNode, CDisk* disk);

// Passes when `magic` is exactly `expected`.
uint32_t AddMagicStringTest(CKestrandTreeNode* parent, const char* magic, const char* expected);
// Passes when the byte sum of the copy's sector (`sectorSize` bytes, the
// stored checksum at bytes 8 to 11 left out) equals the stored checksum.
uint32_t AddChecksumTest(CKestrandTreeNode* parent, const PRIVATE_HEADER_WRAPPER& copy, uint32_t sectorSize);
// Fails only when the config header's Flags are exactly 0x0400.
uint32_t AddOfflineStaleTest(CKestrandTreeNode* parent, uint16_t configFlags);
// Passes when the copy's pack name equals the config header's.
uint32_t AddPackNamesTest(CKestrandTreeNode* parent, const PRIVATE_HEADER_WRAPPER& copy,
                          const char* configPackName);
// Compares two private header copies field by field; `pairName` is
// "Primary+Alternate", "Primary+Backup" or "Alternate+Backup".
uint32_t AddHeaderCopiesTest(CKestrandTreeNode* parent, const char* pairName, const PRIVATE_HEADER_WRAPPER& a,
                             const PRIVATE_HEADER_WRAPPER& b);
// Compares the primary and alternate tables of contents region by region.
uint32_t AddTocCopiesTest(CKestrandTreeNode* parent, const TOC_WRAPPER& primary, const TOC_WRAPPER& alternate);

// The sum the checksum test computes.
uint32_t PrivateHeaderByteSum(const uint8_t* sector, uint32_t size);

// The report-wide test that no two disks ready for LDM analysis share the
// DiskId of their primary private header.
// One Test element under `testsNode`; it fails (icon "4") at the first
// duplicate found. 87 without set or node, otherwise the tree's code.
uint32_t AddUniqueDiskIdsTest(CDiskSet* diskSet, CKestrandTreeNode* testsNode);

}  // namespace kestrand
