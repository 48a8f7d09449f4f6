// The option table, and reading the options back into the members.
#include "app/Options.h"

#include <boost/program_options/value_semantic.hpp>
#include <cstdio>

#include "app/GroupOptions.h"
#include "app/Quorin.h"
#include "records/BoundedCopy.h"

namespace po = boost::program_options;

po::options_description optionsDescription("Quorin Options",
                                           po::options_description::m_default_line_length,
                                           po::options_description::m_default_line_length / 2);

const po::options_description& describeOptions() {
  if (!optionsDescription.options().empty()) return optionsDescription;
  // clang-format off
  optionsDescription.add_options()
      ("group", po::value<std::string>(),
       "The list of group ids (subsystem/group combined) in hex separated by ':' "
       "For example --group 0x111d:0x111e")
      ("set-update", po::value<std::vector<std::string>>(),
       "X:Y0[:Y1..] where, "
       "when X is 'L'ist 'Y' is a continuous ':' separated list of 16-bit subsystem/groups (in hex)"
       "when X is 'R'ange Y0 is the beginning 16-bit subsystem/group and "
       "Y1 is the ending 16-bit subsystem/group both in hex"
       "when X is 'A'll only Y0 can be set to 8-bit subsystem in hex")
      ("mgmt-result", po::value<unsigned int>(), "The mgmtResult to return (as int)")
      ("error-string", po::value<std::string>(), "The errorString to return")
      ("no-get", "Omit get callback")
      ("no-get-keys", "Omit getKeys callback")
      ("no-set", "Omit set callback")
      ("no-notify", "Omit notify callback")
      ("no-clear", "Omit clear callback")
      ("no-init-prov", "Omit initProvComplete callback")
      ("sleep-time", po::value<unsigned int>(), "Seconds to sleep before response")
      ("quiet", "Quiet mode")
      ("event-sim", po::value<unsigned int>(),
       "send event(1)/alarm(2)/setInd(4)/recordUpdate(8) periodically"
       "bits can be combined to send, like 15, for all event types")
      ("set-ind", "send set inds")
      ("send-deferred-set-rsp", "send deferred set rsp");
  // clang-format on
  return optionsDescription;
}

bool Quorin::readOptions() {
  const po::variables_map& options = programOptions();
  const auto given = [&](const char* name) { return options.count(name) != 0; };
  const auto accepted = [](const char* refusal) {
    if (refusal != nullptr) std::fputs(refusal, stdout);
    return refusal == nullptr;
  };

  if (given("group") && !accepted(readGroups(options["group"].as<std::string>(), groupList))) {
    return false;
  }
  if (given("set-update")) {
    for (const std::string& text : options["set-update"].as<std::vector<std::string>>()) {
      if (!accepted(readSetUpdate(text, setUpdateList, setUpdateType))) return false;
    }
  }
  if (given("mgmt-result")) {
    mgmtResult = static_cast<Zel::MgmtResult>(options["mgmt-result"].as<unsigned int>());
  }
  if (given("error-string")) {
    Zel::fillText(errorStringText, options["error-string"].as<std::string>().c_str());
  }
  noGet = given("no-get");
  noGetKeys = given("no-get-keys");
  noSet = given("no-set");
  noNotify = given("no-notify");
  noClear = given("no-clear");
  noInitProv = given("no-init-prov");
  quiet = given("quiet");
  if (given("sleep-time")) sleepTime = options["sleep-time"].as<unsigned int>();
  if (given("event-sim")) eventSim = options["event-sim"].as<unsigned int>();
  setInd = given("set-ind");
  sendDeferredSetRsp = given("send-deferred-set-rsp");
  return true;
}
