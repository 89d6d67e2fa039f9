// The facts of the host section, gathered once in the order both report forms
// need them, so that the text and the XML always agree.
#pragma once

#include <cstdint>

#include "common/wide_string.h"
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

}  // namespace kestrand
