#include "standin/UtcTime.h"

#include <array>
#include <cstdio>
#include <ctime>

namespace standin {

timeval timeNow() {
  timeval now{};
  ::gettimeofday(&now, nullptr);
  return now;
}

std::string utcText(const timeval& time) {
  tm parts{};
  ::gmtime_r(&time.tv_sec, &parts);
  std::array<char, 32> seconds;
  std::strftime(seconds.data(), seconds.size(), "%Y-%m-%dT%H:%M:%S", &parts);
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "%s.%06ldZ", seconds.data(),
                static_cast<long>(time.tv_usec));
  return text.data();
}

}  // namespace standin
