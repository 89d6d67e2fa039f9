// Host facts in the shape of the Windows answers, taken from uname.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/platform.h"

namespace kestrand {

// The kernel release "6.1.0-18-amd64": up to three leading numbers separated
// by "." become major, minor and build (missing ones 0, values saturate at
// 2^32 - 1); everything after the last number taken, verbatim, becomes the
// service pack text ("-18-amd64").
OsVersion ParseKernelRelease(std::string_view release);

// uname's machine name as a wProcessorArchitecture code: x86_64 9 (AMD64),
// i386 to i686 0 (x86), ia64 6, aarch64 12 (ARM64), anything else 0xFFFF.
uint16_t ArchitectureFromMachine(std::string_view machine);

}  // namespace kestrand
