// The words the host sections print for the codes the host gives: processor
// architecture, node cluster state, drive type, and the product type and
// suite texts built from the version tests.
#pragma once

#include <cstdint>

#include "common/wide_string.h"

namespace kestrand {

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
