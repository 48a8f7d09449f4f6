// The time of day, as log lines and the journal write it.
#pragma once

#include <sys/time.h>

#include <string>

namespace standin {

timeval timeNow();

/// UTC with microseconds: 2026-11-22T19:30:54.123456Z.
std::string utcText(const timeval& time);

constexpr std::size_t utcTextBytes = 27;

}  // namespace standin
