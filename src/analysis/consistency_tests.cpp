// The single-structure tests: magic strings, the private header checksum, the
// offline or stale mark and the pack name agreement.
#include "analysis/consistency_tests.h"

#include <cstring>
#include <string>

#include "analysis/test_element.h"
#include "ldm/ldm_database.h"

namespace kestrand {

namespace {

// The config header Flags value that marks a database offline or stale.
constexpr uint16_t kOfflineOrStale = 0x0400;
// Where the stored checksum lies in a PRIVHEAD sector.
constexpr uint32_t kChecksumFirst = 8;
constexpr uint32_t kChecksumEnd = 12;

uint32_t AddVerdictOnlyTest(CKestrandTreeNode* parent, const char* name, const std::string& description,
                            bool passed) {
  uint32_t code = 0;
  CKestrandTreeNode* test = AddTestElement(parent, name, description, code);
  if (!test) return code;
  return SetTestVerdict(test, passed);
}

}  // namespace

uint32_t PrivateHeaderByteSum(const uint8_t* sector, uint32_t size) {
  uint32_t sum = 0;
  if (!sector) return sum;
  for (uint32_t i = 0; i < size; ++i)
    if (i < kChecksumFirst || i >= kChecksumEnd) sum += sector[i];
  return sum;
}

uint32_t AddMagicStringTest(CKestrandTreeNode* parent, const char* magic, const char* expected) {
  const bool passed = magic && expected && std::strcmp(magic, expected) == 0;
  return AddVerdictOnlyTest(parent, "Magic String",
                            std::string("Verifies that the first 8 bytes contains the correct magic string: ") +
                                (expected ? expected : ""),
                            passed);
}

uint32_t AddChecksumTest(CKestrandTreeNode* parent, const PRIVATE_HEADER_WRAPPER& copy, uint32_t sectorSize) {
  // Never past the bytes that were kept.
  const uint32_t size = sectorSize < copy.RawSectorSize ? sectorSize : copy.RawSectorSize;
  const bool passed = PrivateHeaderByteSum(copy.RawSector.get(), size) == copy.StoredChecksum;
  return AddVerdictOnlyTest(
      parent, "Check Sum",
      "This test computes the checksum and compares it with the stored check (4 bytes after the magic string).",
      passed);
}

uint32_t AddOfflineStaleTest(CKestrandTreeNode* parent, uint16_t configFlags) {
  // Equality, not a bit test: 0x0401 passes.
  return AddVerdictOnlyTest(
      parent, "Disk not offline/stale",
      "This test verifies that the LDM Database is not marked offline or stale (0x0400) in the Config Header.",
      configFlags != kOfflineOrStale);
}

uint32_t AddPackNamesTest(CKestrandTreeNode* parent, const PRIVATE_HEADER_WRAPPER& copy,
                          const char* configPackName) {
  uint32_t code = 0;
  CKestrandTreeNode* test =
      AddTestElement(parent, "Pack Names Consistent",
                     "This test verifies that the packname in this private header is consistent with the "
                     "packname in the config header.",
                     code);
  if (!test) return code;
  CTestMismatches mismatches(test);
  mismatches.Compare("PackNames", std::strncmp(copy.Header.PackName, configPackName ? configPackName : "",
                                               sizeof copy.Header.PackName) != 0);
  if (mismatches.Code() != 0) return mismatches.Code();
  return SetTestVerdict(test, !mismatches.Found());
}

}  // namespace kestrand
