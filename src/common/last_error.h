// The process's "last error": the Win32 code that operations signalling
// failure by a false result leave behind (the heap wide string does so).
#pragma once

#include <cstdint>

namespace kestrand {

void SetLastErrorCode(uint32_t code);
uint32_t GetLastErrorCode();

}  // namespace kestrand
