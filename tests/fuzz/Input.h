// What the targets share: taking an input apart, and saying which property does not hold.
//
// A target is one function, `LLVMFuzzerTestOneInput`. It is linked with libFuzzer where the build
// has it, else with Replay.cpp, which runs the files of a folder.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count);

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;

/// The texts between separators, an empty one after the last separator included.
inline std::vector<std::string> between(const std::string& text, char separator) {
  std::vector<std::string> pieces(1);
  for (const char character : text) {
    if (character == separator) {
      pieces.emplace_back();
    } else {
      pieces.back() += character;
    }
  }
  return pieces;
}

/// The bytes of one execution: a few that choose what is done, then those it is done with.
class Input {
 public:
  Input(const std::uint8_t* bytes, std::size_t count) : next_(bytes), left_(count) {}

  /// The next byte; 0 after the last.
  std::uint8_t byte() {
    if (left_ == 0) return 0;
    --left_;
    return *next_++;
  }

  /// What is left, in a heap buffer of exactly its size: AddressSanitizer sees who leaves it.
  Bytes rest() const { return Bytes(next_, next_ + left_); }
  std::string text() const { return std::string(next_, next_ + left_); }
  /// As the arguments of a program, a line each, which ends at its first NUL.
  std::vector<std::string> arguments() const {
    std::vector<std::string> lines = between(text(), '\n');
    for (std::string& line : lines) line.erase(std::min(line.find('\0'), line.size()));
    return lines;
  }

 private:
  const std::uint8_t* next_;
  std::size_t left_;
};

/// Ends the process, which is how a target reports a finding, unless `holds`.
inline void expect(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", property);
  std::abort();
}

}  // namespace fuzz
