// The test that two private header copies of one disk agree in every field.
#include <cstring>
#include <string>

#include "analysis/consistency_tests.h"
#include "analysis/test_element.h"
#include "ldm/ldm_database.h"

namespace kestrand {

namespace {

// Text fields are compared as strings, never past their buffers.
template <size_t N>
bool TextDiffers(const char (&a)[N], const char (&b)[N]) {
  return std::strncmp(a, b, N) != 0;
}

// Every comparison is made, in the order the attributes appear.
void CompareCopies(CTestMismatches& m, const PRIVATE_HEADER_WRAPPER& a, const PRIVATE_HEADER_WRAPPER& b) {
  const PRIVATE_HEADER& x = a.Header;
  const PRIVATE_HEADER& y = b.Header;
  m.Compare("MagicStrings", TextDiffers(a.Magic, b.Magic));
  m.Compare("CheckSums", a.StoredChecksum != b.StoredChecksum);
  m.Compare("AlternateHeaders", x.AlternateHeader != y.AlternateHeader);
  m.Compare("AlternateTocFirstSector", x.TocAlternateSector != y.TocAlternateSector);
  m.Compare("IOsize", x.IOsize != y.IOsize);
  m.Compare("BootDiskSignature", x.BootSig != y.BootSig);
  m.Compare("ConfigCopiesCount", x.ConfigCopiesCount != y.ConfigCopiesCount);
  m.Compare("ConfigCopyLength", x.ConfigCopyLength != y.ConfigCopyLength);
  m.Compare("DiskId", !(x.DiskId == y.DiskId));
  m.Compare("DiskSetId", !(x.DiskSetId == y.DiskSetId));
  m.Compare("Flags", x.Flags != y.Flags);
  m.Compare("HostId", !(x.HostId == y.HostId));
  m.Compare("LogCopiesCount", x.LogCopiesCount != y.LogCopiesCount);
  m.Compare("LogCopyLength", x.LogCopyLength != y.LogCopyLength);
  m.Compare("NewDiskId", !(x.NewDiskId == y.NewDiskId));
  m.Compare("NewDiskSetId", !(x.NewDiskSetId == y.NewDiskSetId));
  m.Compare("NewPackId", !(x.NewPackId == y.NewPackId));
  m.Compare("NewPackName", TextDiffers(x.NewPackName, y.NewPackName));
  m.Compare("PackId", !(x.PackId == y.PackId));
  m.Compare("PackName", TextDiffers(x.PackName, y.PackName));
  m.Compare("PrimaryHeader", x.PrimaryHeader != y.PrimaryHeader);
  m.Compare("PrivateId", x.PrivateId != y.PrivateId);
  m.Compare("PrivateLength", x.PrivateLength != y.PrivateLength);
  m.Compare("PrivateOffset", x.PrivateOffset != y.PrivateOffset);
  m.Compare("PublicId", x.PublicId != y.PublicId);
  m.Compare("PublicLength", x.PublicLength != y.PublicLength);
  m.Compare("PublicOffset", x.PublicOffset != y.PublicOffset);
  m.Compare("TocFirstSector", x.TocPrimarySector != y.TocPrimarySector);
  m.Compare("UpdateSequence", x.UpdateSequence != y.UpdateSequence);
  m.Compare("UpdateTime", x.UpdateTime != y.UpdateTime);
  m.Compare("VersionMajor", x.VersionMajor != y.VersionMajor);
  m.Compare("VersionMinor", x.VersionMinor != y.VersionMinor);
}

}  // namespace

uint32_t AddHeaderCopiesTest(CKestrandTreeNode* parent, const char* pairName, const PRIVATE_HEADER_WRAPPER& a,
                             const PRIVATE_HEADER_WRAPPER& b) {
  const std::string pair = pairName ? pairName : "";
  uint32_t code = 0;
  CKestrandTreeNode* test =
      AddTestElement(parent, pair + " Private Headers Identical",
                     "This test verifies that the " + pair + " private headers are identical", code);
  if (!test) return code;
  CTestMismatches mismatches(test);
  CompareCopies(mismatches, a, b);
  if (mismatches.Code() != 0) return mismatches.Code();
  return SetTestVerdict(test, !mismatches.Found());
}

}  // namespace kestrand
