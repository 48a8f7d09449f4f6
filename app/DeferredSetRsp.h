// The deferred set response that a set leaves owed, on its way from the callback thread to the
// simulator thread.
#pragma once

#include <atomic>
#include <cstdint>

/// One word, so that it is handed over whole; aligned as one, or Clang calls a library for it.
struct alignas(4) DeferredSetRsp {
  bool pending = false;
  bool testRun = false;
  std::uint16_t transactionId = 0;
};

/// Holds one response: a newer one replaces it, and each is taken once.
class DeferredSetRspMailbox {
 public:
  void owe(std::uint16_t transactionId, bool testRun) {
    owed_.store({true, testRun, transactionId}, std::memory_order_release);
  }

  /// Takes what is owed; not pending when nothing is.
  DeferredSetRsp take() { return owed_.exchange({}, std::memory_order_acquire); }

 private:
  std::atomic<DeferredSetRsp> owed_{DeferredSetRsp{}};
  static_assert(std::atomic<DeferredSetRsp>::is_always_lock_free);
};
