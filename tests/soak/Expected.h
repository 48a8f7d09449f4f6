// Requests with what their replies must be, byte by byte.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace soak {

/// The system under test is wrong: the soak ends.
struct Wrong : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Says where two texts part.
[[noreturn]] void throwDifference(const std::string& where, std::string_view expected,
                                  std::string_view got);

/// The low `bytes` bytes of a number, the highest first, as hexadecimal digits.
inline std::string hex(std::uint64_t value, unsigned int bytes) {
  std::string text(std::size_t{2} * bytes, '0');
  for (auto digit = text.rbegin(); digit != text.rend(); ++digit, value >>= 4) {
    *digit = "0123456789abcdef"[value & 0xF];
  }
  return text;
}

/// What a set leaves behind as the result of the requests after it.
enum class SetKind { none, plain, deferring };

struct Request {
  std::string method;  ///< by which replies are counted
  std::string text;
  std::string reply = {};  ///< empty where none must come
  /// The result in the reply is what the last set of all clients has left behind: Success, for
  /// which `reply` stands, or "Response deferred".
  bool lagging = false;
  bool onlyBeginning = false;  ///< `reply` is how the reply begins
  bool counted = false;        ///< in the daemon's status
  bool alone = false;          ///< cannot stand in a batch
  SetKind set = SetKind::none;
  std::uint16_t transactionId = 0;  ///< of a deferring set
};

/// One line: a request, or a batch of them.
struct Line {
  std::vector<Request> requests;
  bool batch = false;

  std::string text() const;
  bool hasReply() const;
};

/// A reply that is an error.
std::string errorReply(const std::string& id, int code, const std::string& message);

/// Which results of the last set a request may meet.
struct Possible {
  bool success, deferred;
};

/// Checks a reply line; a difference is thrown as a Wrong.
void checkReply(const Line& line, const std::vector<Possible>& possible, std::string_view reply);

}  // namespace soak
