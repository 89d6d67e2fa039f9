// What the host says about one drive letter.
#pragma once

#include <cstdint>

#include "common/wide_string.h"

namespace kestrand {

struct DRIVE_LETTER_INFO {
  uint32_t DriveType = 0;  // the drive type code of "X:"
  CWideString DeviceName;  // first device name behind the letter
};

}  // namespace kestrand
