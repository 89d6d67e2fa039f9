// FILETIME values (100 ns ticks since 1601-01-01 UTC) as calendar time, with
// plain arithmetic so that both builds print the same text.
#pragma once

#include <cstdint>

namespace kestrand {

struct CALENDAR_TIME {
  uint32_t Year;
  uint32_t Month;   // 1 to 12
  uint32_t Day;     // 1 to 31
  uint32_t Hour;
  uint32_t Minute;
  uint32_t Second;
  uint32_t Milliseconds;
};

// False for a value with the top bit set, which the platform's own
// conversion refuses as well; `time` is then left alone.
bool FileTimeToCalendarTime(uint64_t fileTime, CALENDAR_TIME& time);

}  // namespace kestrand
