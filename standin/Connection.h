// One client of the socket: what it has sent and is not served, and what it has not been sent.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "standin/JsonRpc.h"

namespace standin {

/// The input is the queue: one line of it is in turn, a batch element by element. Whoever has the
/// baton.
class Connection {
 public:
  Connection(int descriptor, std::uint64_t acceptanceNumber);
  ~Connection() { close(); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  const std::uint64_t number;  ///< in the order of acceptance
  bool subscribed = false;
  bool waitsForCallback = false;  ///< its next request needs one, and one is away
  bool inTurn = false;            ///< its request is being served
  bool waits = false;             ///< for something else that is being done
  bool seesRequests = false;      ///< subscribed to what the daemon is asked
  std::uint32_t watched = 0;      ///< events that the server waits for

  int descriptor() const { return descriptor_; }
  bool closed() const { return descriptor_ < 0; }
  /// Whether nothing more is replied.
  bool isEnding() const { return closed() || ending_; }
  /// Ends the connection. What was sent arrives, and the client sees an end, never a reset.
  void close();
  /// Ends one that was accepted, in the same way; needs no memory.
  static void end(int descriptor);

  // --- requests ---

  enum class Read { some, nothing, end, failed };
  /// Reads once what has come.
  Read read();
  /// Whether it may read on, and has not come to the end.
  bool wantsInput() const;
  /// Takes no further bytes.
  void endInput() { inputEnded_ = true; }
  bool inputEnded() const { return inputEnded_; }
  /// Whether the line in turn is too long.
  bool isTooLong() const;
  /// Whether a request, or what should be one, waits.
  bool hasRequest() const { return lineEnd_ != none || isTooLong(); }
  /// Whether it can be served now.
  bool isReady(bool mayCall) const {
    return !inTurn && !waits && hasRequest() && !isResting() && (mayCall || !waitsForCallback);
  }

  /// Reads the request in turn into `document`. A request that cannot be read has an error. False
  /// where the line was dealt with otherwise: a batch has begun.
  bool readRequest(JsonDocument& document, rpc::Request& request);
  /// Goes on to what follows the request in turn. What was read refers to bytes that may go.
  void takeRequest();
  /// Ends a batch whose last request was replied to.
  void endRequest();
  /// The lines of the requests without an id that wait, for when the client is gone.
  std::string waitingNotifications(JsonDocument& document);

  // --- replies and notifications ---

  /// Appends a reply to the one in turn with `write(text)`; undone where that throws.
  template <typename Write>
  void reply(Write&& write) {
    if (ending_) return;
    std::string& text = inBatch_ ? batchReply_ : outgoing_;
    const std::size_t before = text.size();
    try {
      if (inBatch_) text += batchHasReply() ? ',' : '[';
      write(text);
      if (!inBatch_) text += '\n';
    } catch (...) {
      text.resize(before);
      throw;
    }
    if (inBatch_) streamBatch();
  }
  /// Appends a notification's line.
  void notify(std::string_view line);

  using Time = std::chrono::steady_clock::time_point;
  /// What is replied from now on, and what follows, is not sent before `time`; of a batch, the
  /// whole reply.
  void hold(Time time);
  /// The same for notifications.
  void holdNotifications(Time time);
  /// The same from what was ready before: the connection ends once that is sent.
  void endAfterThis();
  /// When what is held back may be sent, if something is.
  std::optional<Time> heldUntil() const;
  /// Whether the end of what is ready is held back.
  bool isHeld() { return sendable() == 0 && !holds_.empty(); }
  /// Sends everything at once.
  void release() {
    holds_.clear();
    laterHolds_.clear();
    batchHold_ = {};
  }

  /// Reply bytes, made or in the making, that are not sent are too many.
  bool isResting() const;
  /// Whether it has something to send that the client does not take.
  bool isBlocked() const { return blocked_; }
  /// All bytes that are not sent.
  std::size_t unsentBytes() const {
    return outgoing_.size() - sent_ + batchReply_.size() + afterBatch_.size();
  }
  /// Sends what can be sent; false where the client can be sent nothing any more.
  bool send();

  /// Replies an error to the request in turn and to all that wait, as far as there is room.
  void refuseAll(JsonDocument& document, const rpc::Error& error);

  /// Id of the request in turn, a JSON text; empty where no reply is wanted.
  std::string turnId;

 private:
  static constexpr std::size_t none = std::string::npos;

  /// Notifications in `outgoing_`, so that they do not count as replies.
  struct Stretch {
    std::uint64_t end;  ///< in all that was ever appended
    std::size_t bytes;
  };

  /// From a place on, nothing is sent before a time.
  struct Hold {
    std::uint64_t from;
    Time until;
  };

  static void add(std::deque<Hold>& holds, const Hold& hold);

  void findLine();
  bool beginBatch(std::string_view line, JsonDocument& document, rpc::Request& request);
  bool batchHasReply() const { return streaming_ || !batchReply_.empty(); }
  void finishBatch();
  void holdBatch();
  void streamBatch();
  void appendNotification(std::string_view line);
  void noteSent(std::size_t bytes);
  std::size_t sendable();

  int descriptor_;
  bool kernelRefusesDescriptors_;
  bool inputEnded_ = false;
  std::string input_;
  std::size_t begin_ = 0;       ///< of the line in turn
  std::size_t searched_ = 0;    ///< up to here there is no line end
  std::size_t lineEnd_ = none;  ///< of the line in turn, where it is whole
  bool inBatch_ = false;
  bool lastOfBatch_ = false;    ///< the element that was taken is the last
  std::size_t element_ = 0;     ///< where the batch's element in turn begins
  std::size_t requestEnd_ = 0;  ///< of the request that was read

  std::string outgoing_;
  std::size_t sent_ = 0;               ///< bytes of `outgoing_`
  std::uint64_t sentBefore_ = 0;       ///< bytes that have left `outgoing_`
  std::size_t notificationBytes_ = 0;  ///< in `outgoing_`, not sent
  std::deque<Stretch> stretches_;
  std::deque<Hold> holds_;  ///< in all that was ever appended
  Time batchHold_{};
  bool ending_ = false;     ///< nothing is appended any more
  bool blocked_ = false;    ///< the client does not take what could be sent
  std::string batchReply_;  ///< the reply to the batch in turn
  std::string afterBatch_;  ///< notifications that wait for the end of a reply that is being sent
  std::deque<Hold> laterHolds_;  ///< in `afterBatch_`
  bool streaming_ = false;       ///< a part of the batch's reply is in `outgoing_`
};

}  // namespace standin
