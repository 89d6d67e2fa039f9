// The test that the primary and alternate tables of contents agree, region by
// region, as far as both lists go.
#include <algorithm>
#include <cstring>

#include "analysis/consistency_tests.h"
#include "analysis/test_element.h"
#include "common/text_format.h"
#include "ldm/ldm_database.h"

namespace kestrand {

namespace {

void CompareRegions(CTestMismatches& m, const TOC_REGION& p, const TOC_REGION& a) {
  m.Compare("CopyType", p.RegionType != a.RegionType);
  m.Compare("ExtentOffset", p.ExtentOffset != a.ExtentOffset);
  m.Compare("CopyLength", p.ExtentLength != a.ExtentLength);
  m.Compare("CopyNumber", p.CopyNumber != a.CopyNumber);
  m.Compare("OffsetInCopyr", p.OffsetInCopy != a.OffsetInCopy);
  m.Compare("CopyFlag", p.Flags != a.Flags);
}

}  // namespace

uint32_t AddTocCopiesTest(CKestrandTreeNode* parent, const TOC_WRAPPER& primary, const TOC_WRAPPER& alternate) {
  uint32_t code = 0;
  CKestrandTreeNode* test =
      AddTestElement(parent, "Table of Contents Identical",
                     "This test verifies that the primary and alternate Toc in the LDM database are identical.",
                     code);
  if (!test) return code;
  CTestMismatches mismatches(test);
  mismatches.Compare("MagicStrings", std::strncmp(primary.Magic, alternate.Magic, sizeof primary.Magic) != 0);

  // Pairs beyond the shorter list are not compared; the walk stops at the
  // first pair that fails the test (or after the first when the magic did).
  const uint32_t pairs = std::min({primary.Toc.RegionCount, alternate.Toc.RegionCount, TOC::kMaxRegions});
  for (uint32_t i = 0; i < pairs; ++i) {
    mismatches.Note(FormatNarrow("Entry%u", i + 1).c_str(), "Testing");
    CompareRegions(mismatches, primary.Toc.Regions[i], alternate.Toc.Regions[i]);
    if (mismatches.Found()) break;
  }
  if (mismatches.Code() != 0) return mismatches.Code();
  return SetTestVerdict(test, !mismatches.Found());
}

}  // namespace kestrand
