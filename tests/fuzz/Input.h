// What the targets share: taking an input apart, and saying which property does not hold.
//
// A target is one function, `LLVMFuzzerTestOneInput`. It is linked with libFuzzer where the build
// has it, else with Replay.cpp, which runs the files of a folder.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count);

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;

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
