// The line on standard error for an LDM structure that could not be read.
#pragma once

#include <cstdint>

#include "platform/types.h"

namespace kestrand {

// "Status code %04u : Disk %04lu : %-20s : %s\n", wide.
void PrintReadFailure(NTSTATUS status, uint32_t diskNumber, const char16_t* where, const char16_t* what);

}  // namespace kestrand
