#include "standin/Faults.h"

#include <algorithm>

#include "platform/OamTypes.h"
#include "records/Hex.h"
#include "standin/JsonRpc.h"
#include "standin/Limits.h"

namespace standin {
namespace {

constexpr std::uint32_t longestDelay = 3'600'000;

[[noreturn]] void refuse(const std::string& why) { throw rpc::Error{rpc::badParameters, why}; }

constexpr struct {
  const char* name;
  Fault::Action action;
} actions[] = {{"drop", Fault::Action::drop},
               {"disconnect", Fault::Action::disconnect},
               {"duplicate", Fault::Action::duplicate}};

}  // namespace

std::uint64_t Faults::add(Parameters& parameters, const Known& isMethod,
                          const Known& isNotification) {
  Fault fault;
  fault.ofNotification = parameters.has("notification");
  if (parameters.has("method") == fault.ofNotification) {
    refuse("exactly one of method and notification must be given");
  }
  const char* const kind = fault.ofNotification ? "notification" : "method";
  fault.name = parameters.text(kind, "");
  if (!(fault.ofNotification ? isNotification : isMethod)(fault.name)) {
    refuse(std::string(kind) + " must be a " + kind + " of the daemon");
  }
  if (parameters.has("recordId")) fault.recordId = parameters.recordId("recordId");
  if (parameters.has("count")) fault.count = parameters.positive("count", 0xFFFFFFFF);
  if (parameters.has("delayMilliseconds")) {
    fault.delayMilliseconds = parameters.number("delayMilliseconds", longestDelay);
  }
  if (parameters.has("result")) fault.result = parameters.result("result");
  if (parameters.has("errorString")) fault.errorString = parameters.text("errorString", "");
  constexpr std::size_t most = Zel::ErrorString::size() - 1;
  if (fault.errorString && fault.errorString->size() > most) {
    refuse("errorString must hold at most " + std::to_string(most) + " bytes");
  }
  for (const auto& [name, action] : actions) {
    if (!parameters.has(name)) continue;
    if (!parameters.flag(name, true)) refuse(std::string(name) + " must be true");
    if (fault.action != Fault::Action::none) {
      refuse("drop, disconnect and duplicate exclude each other");
    }
    fault.action = action;
  }
  if (parameters.has("blocks")) {
    const std::string blocks = parameters.text("blocks", "");
    if (blocks != "truncate" && blocks != "flip") refuse("blocks must be truncate or flip");
    fault.blocks = blocks == "flip" ? Fault::Blocks::flip : Fault::Blocks::truncate;
  }
  parameters.finish();
  if (fault.ofNotification && fault.result) refuse("result is for a method, not a notification");
  if (fault.errorString && !fault.result) refuse("errorString is for a fault with result");
  if (!fault.ofNotification && fault.action == Fault::Action::duplicate) {
    refuse("duplicate is for a notification, not a method");
  }
  if (!fault.delayMilliseconds && !fault.result && fault.action == Fault::Action::none &&
      fault.blocks == Fault::Blocks::whole) {
    refuse(
        "nothing would happen: give delayMilliseconds, result, drop, disconnect, duplicate or "
        "blocks");
  }
  if (faults_.size() >= maxFaults) {
    refuse("at most " + std::to_string(maxFaults) + " faults; remove some with faultRemove");
  }
  fault.id = last_ + 1;
  faults_.push_back(std::move(fault));
  return ++last_;
}

void Faults::write(std::string& out) const {
  out += '[';
  for (std::size_t i = 0; i < faults_.size(); ++i) {
    const Fault& fault = faults_[i];
    if (i != 0) out += ',';
    ObjectText members(out);
    members.add("faultId", fault.id).add("hits", fault.hits);
    members.add(fault.ofNotification ? "notification" : "method", fault.name);
    if (fault.recordId) members.add("recordId", "0x" + Zel::hexText(*fault.recordId));
    if (fault.count) members.add("count", *fault.count);
    if (fault.delayMilliseconds) members.add("delayMilliseconds", *fault.delayMilliseconds);
    if (fault.result) members.add("result", *fault.result);
    if (fault.errorString) members.add("errorString", *fault.errorString);
    for (const auto& [name, action] : actions) {
      if (fault.action == action) members.add(name, true);
    }
    if (fault.blocks == Fault::Blocks::truncate) members.add("blocks", "truncate");
    if (fault.blocks == Fault::Blocks::flip) members.add("blocks", "flip");
    members.end();
  }
  out += ']';
}

std::size_t Faults::remove(std::optional<std::uint64_t> id) {
  return std::erase_if(faults_, [&](const Fault& fault) { return !id || fault.id == *id; });
}

Fault* Faults::choose(bool ofNotification, std::string_view name,
                      std::optional<std::uint32_t> recordId) {
  const auto found = std::find_if(faults_.begin(), faults_.end(), [&](const Fault& fault) {
    return fault.ofNotification == ofNotification && fault.name == name &&
           (!fault.recordId || fault.recordId == recordId) &&
           (!fault.count || fault.hits < *fault.count);
  });
  return found == faults_.end() ? nullptr : &*found;
}

}  // namespace standin
