#include "ldm/read_failure_message.h"

#include <cstdio>

#include "common/text_format.h"

namespace kestrand {

void PrintReadFailure(NTSTATUS status, uint32_t diskNumber, const char16_t* where, const char16_t* what) {
  PrintWide(stderr, u"Status code %04u : Disk %04lu : %-20s : %s\n", static_cast<uint32_t>(status), diskNumber,
            where, what);
}

}  // namespace kestrand
