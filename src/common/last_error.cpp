#include "common/last_error.h"

namespace kestrand {

namespace {
// The tool is single-threaded, so one value per process is enough.
uint32_t lastErrorCode = 0;
}  // namespace

void SetLastErrorCode(uint32_t code) { lastErrorCode = code; }

uint32_t GetLastErrorCode() { return lastErrorCode; }

}  // namespace kestrand
