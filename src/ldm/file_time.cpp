#include "ldm/file_time.h"

namespace kestrand {

namespace {

constexpr uint64_t kTicksPerSecond = 10000000;
constexpr uint64_t kSecondsPerDay = 86400;
// Days from 1601-01-01 to 0000-03-01 in the proleptic Gregorian calendar,
// negated: the civil conversion below counts from the latter.
constexpr int64_t kDaysFrom0000March1To1601 = 584694;

}  // namespace

bool FileTimeToCalendarTime(uint64_t fileTime, CALENDAR_TIME& time) {
  if (fileTime >> 63) return false;
  const uint64_t seconds = fileTime / kTicksPerSecond;
  const uint64_t secondOfDay = seconds % kSecondsPerDay;

  // Years start on March 1st, so the leap day is the last day of a year.
  const int64_t days = static_cast<int64_t>(seconds / kSecondsPerDay) + kDaysFrom0000March1To1601;
  const int64_t era = days / 146097;
  const int64_t dayOfEra = days - era * 146097;
  const int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
  const int64_t month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
  const int64_t year = yearOfEra + era * 400 + (month <= 2 ? 1 : 0);

  time.Year = static_cast<uint32_t>(year);
  time.Month = static_cast<uint32_t>(month);
  time.Day = static_cast<uint32_t>(dayOfYear - (153 * monthFromMarch + 2) / 5 + 1);
  time.Hour = static_cast<uint32_t>(secondOfDay / 3600);
  time.Minute = static_cast<uint32_t>(secondOfDay / 60 % 60);
  time.Second = static_cast<uint32_t>(secondOfDay % 60);
  time.Milliseconds = static_cast<uint32_t>(fileTime % kTicksPerSecond / 10000);
  return true;
}

}  // namespace kestrand
