// The facts of the host section, gathered once in the order both report forms
// need them, so that the text and the XML always agree; and the words the
// host section prints for the codes the host gives: processor architecture,
// node cluster state, drive type, and the product type and suite texts built
// from the version tests. The source file also holds the host section itself,
// CKestrand's PrintSystemInformation and AddSystemInformation.
#pragma once

#include <cstdint>

#include "common/containers.h"
#include "platform/platform.h"

namespace kestrand {

inline constexpr char16_t kKestrandVersion[] = u"1.0";

// A text that holds no string is absent; the reports show it as "(null)".
struct HostFacts {
  CWideString ComputerName;
  OsVersion Version;
  CWideString ProductTypes;  // absent when no product type matched
  CWideString Suites;        // empty when the host has no suite
  CWideString Processor;
  uint32_t ProcessorCount = 0;
  CWideString ClusterState;  // absent when the state query failed
  // The code of the cluster state query. Its failure does not stop the
  // section, but it becomes the section's result.
  uint32_t ClusterQueryCode = 0;
};

// Returns 0 when the section can be shown (look at ClusterQueryCode for its
// result), otherwise the code that stopped the gathering. A computer name
// that cannot be had is also reported on standard error.
uint32_t GatherHostFacts(HostFacts& facts);

// Each lookup stores a heap copy of the code's word in `place` and returns
// 0, or 8 when the copy cannot be made.
uint32_t LookupProcessorWord(uint32_t architecture, CWideString& place);
uint32_t LookupClusterStateWord(uint32_t state, CWideString& place);
uint32_t LookupDriveTypeWord(uint32_t driveType, CWideString& place);

// The product types the host matches, joined by ", ". Returns 2 and leaves
// `place` untouched when none matches.
uint32_t BuildProductTypeText(CWideString& place);
// The suites the host has, joined by ", "; an empty text when it has none.
uint32_t BuildSuitesText(CWideString& place);

}  // namespace kestrand
