// Faults of the API itself, which clients add and remove while the daemon runs.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "standin/JsonText.h"
#include "standin/Parameters.h"

namespace standin {

struct Fault {
  enum class Action { none, drop, disconnect, duplicate };
  enum class Blocks { whole, truncate, flip };

  std::uint64_t id = 0;
  bool ofNotification = false;
  std::string name;  ///< of the method, or of the notification
  std::optional<std::uint32_t> recordId;
  std::optional<std::uint32_t> count;
  std::uint64_t hits = 0;
  std::optional<std::uint32_t> delayMilliseconds;
  std::optional<std::int32_t> result;
  std::optional<std::string> errorString;
  Action action = Action::none;
  Blocks blocks = Blocks::whole;
};

/// Whoever has the baton.
class Faults {
 public:
  using Known = std::function<bool(std::string_view name)>;

  /// Adds a fault; throws an rpc::Error where the parameters are bad. `isMethod(name)` and
  /// `isNotification(name)` say what there is.
  std::uint64_t add(Parameters& parameters, const Known& isMethod, const Known& isNotification);
  /// Appends all of them as a list.
  void write(std::string& out) const;
  /// Removes one, or all (nothing given); returns how many.
  std::size_t remove(std::optional<std::uint64_t> id);

  /// The fault for a request or notification about a record, or null. It is not hit yet.
  Fault* choose(bool ofNotification, std::string_view name, std::optional<std::uint32_t> recordId);

 private:
  std::vector<Fault> faults_;
  std::uint64_t last_ = 0;
};

}  // namespace standin
