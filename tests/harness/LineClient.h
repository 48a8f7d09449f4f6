// A connection to a Unix stream socket that speaks lines. Used by one thread; blocks in `wait`
// only.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

class LineClient {
 public:
  /// Connects; a failure is a std::system_error.
  explicit LineClient(const std::string& path);
  /// Takes over a connected socket.
  explicit LineClient(int descriptor);
  ~LineClient();
  LineClient(const LineClient&) = delete;
  LineClient& operator=(const LineClient&) = delete;

  int descriptor() const { return descriptor_; }
  /// The events to poll for.
  short events() const;

  /// Sends `bytes`; what the socket does not take at once waits for the next `transfer`.
  void send(std::string_view bytes);
  /// Nothing more will be sent; the other side sees an end.
  void endOutput() const;

  /// Sends what waits and reads what is there. False when the other side has ended the connection;
  /// the lines in front of the end are still to be taken.
  bool transfer();
  /// Waits until there is something to transfer; false when there is nothing for so long.
  bool wait(int milliseconds) const;
  /// The next whole line without its line end, which stays valid until the next `transfer`.
  std::optional<std::string_view> nextLine();
  /// The next line, once it comes; nothing at the end of the connection. A std::runtime_error when
  /// nothing comes for so many milliseconds; -1 waits without end.
  std::optional<std::string_view> awaitLine(int milliseconds);
  /// The next so many bytes, once they are there; valid as long as a line is.
  std::optional<std::string_view> nextBytes(std::size_t count);

 private:
  bool sendWaiting();

  const int descriptor_;
  std::string output_;
  std::size_t sent_ = 0;  ///< of output_
  std::string input_;
  std::size_t begin_ = 0, searched_ = 0, end_ = 0;  ///< of what is held in input_
};
