// The date text of error lines, cheap enough for every servo tick.
#pragma once

#include <cstddef>
#include <ctime>

constexpr std::size_t kDateTextSize = 192;

/// Writes a local time as "MMMM-dd-yyyy  hh-mm-ss-AP" (QDateTime's format: full month name and digits of the system's
/// locale, twelve-hour clock) and returns its length in bytes, UTF-8. `text` has kDateTextSize bytes.
/// Allocates nothing; the calendar is worked out once a minute for each thread. Any thread.
std::size_t dateText(std::time_t time, char* text);
