#include "standin/StandardError.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "platform/LogStream.h"

namespace standin {
namespace {

// The journal names the stream that it has given to a service; standard error may have been
// redirected since.
bool isJournal() {
  const char* stream = std::getenv("JOURNAL_STREAM");
  unsigned long long device = 0, inode = 0;
  struct stat status {};
  return stream != nullptr && std::sscanf(stream, "%llu:%llu", &device, &inode) == 2 &&
         ::fstat(STDERR_FILENO, &status) == 0 && status.st_dev == device && status.st_ino == inode;
}

}  // namespace

const char* journalPriority(int level) {
  static const bool wanted = isJournal();
  if (!wanted) return "";
  // Of syslog: critical for a fatal error, error, ..., debug.
  constexpr const char* priorities[] = {"<2>", "<3>", "<4>", "<5>", "<6>", "<7>"};
  const int last = static_cast<int>(std::size(priorities)) - 1;
  return priorities[std::clamp(level - ZEL_LOG_FATAL, 0, last)];
}

void complain(const char* text) {
  std::fprintf(stderr, "%squorin: %s\n", journalPriority(ZEL_LOG_ERROR), text);
}

}  // namespace standin
