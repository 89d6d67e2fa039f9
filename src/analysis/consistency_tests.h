// Consistency tests of one disk's LDM database, each a Test element with a
// pass or fail verdict. A verdict is never an error code: the tests return
// only the report tree's codes.
#pragma once

#include <cstdint>

namespace kestrand {

class CDisk;
class CKestrandTreeNode;
class PRIVATE_HEADER_WRAPPER;
class TOC_WRAPPER;

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

}  // namespace kestrand
