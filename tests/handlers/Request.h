// Sending requests through the slots that the daemon registered.
#pragma once

#include <boost/make_shared.hpp>
#include <string>
#include <vector>

#include "Daemon.h"
#include "records/BoundedCopy.h"
#include "records/Record.h"

namespace scripted {

struct Answer {
  int result = 0;
  std::string errorString;
  std::vector<std::string> payloads;

  friend bool operator==(const Answer&, const Answer&) = default;
};

/// Query keys of the tables that are keyed by a pair.
template <class Keys>
boost::shared_ptr<Zel::RecordKeys> pairKeys(std::uint32_t key1, std::uint32_t key2,
                                            bool wildcardAllowed = false, std::uint8_t marker1 = 0,
                                            std::uint8_t marker2 = 0) {
  auto keys = boost::make_shared<Keys>(wildcardAllowed);
  keys->key1 = {key1, marker1};
  keys->key2 = {key2, marker2};
  keys->valid = false;  // no handler looks at it
  return keys;
}

class RequestTest : public DaemonTest {
 protected:
  struct SetOptions {
    Zel::MgmtOpType opType = Zel::MGMT_OPTYPE_SET;
    std::uint32_t applyAction = 77;  ///< what the framework sends
    unsigned short transactionId = 0;
    const char* errorString = "";
    bool regDownloadFlag = false;
  };
  struct SetAnswer {
    int result;
    std::uint32_t applyAction;
    std::string errorString = "";

    friend bool operator==(const SetAnswer&, const SetAnswer&) = default;
  };

  static SetAnswer set(const boost::shared_ptr<Zel::Record>& record, const SetOptions& options) {
    Zel::ErrorString errorString;
    record->valid = false;  // nor here
    Zel::boundedCopy(errorString.data(), options.errorString, Zel::ErrorString::size());
    auto applyAction = static_cast<Zel::ApplyActionType>(options.applyAction);
    const int result = slots().set(record, options.opType, options.regDownloadFlag, applyAction,
                                   errorString, options.transactionId);
    return {result, applyAction, errorString.c_str()};
  }
  static SetAnswer set(const boost::shared_ptr<Zel::Record>& record) {
    return set(record, SetOptions());
  }

  static int clear(unsigned int recordId) {
    Zel::ErrorString errorString;
    return slots().clear(recordId, errorString);
  }

  struct GetOptions {
    Zel::RecordKeysList keys = {};
    unsigned short batchSize = 0;
    bool clearOnRead = false;
  };

  static Answer get(unsigned int recordId, const GetOptions& options) {
    // What the list holds already stays in front.
    Zel::RecordList records{nullptr};
    Zel::ErrorString errorString;
    std::snprintf(errorString.data(), Zel::ErrorString::size(), "as the caller left it");
    Answer answer;
    answer.result = slots().get(recordId, options.keys, options.batchSize, options.clearOnRead,
                                records, errorString);
    answer.errorString = errorString.c_str();
    EXPECT_EQ(records.at(0), nullptr);
    records.erase(records.begin());
    for (const auto& record : records) {
      EXPECT_EQ(record->id, recordId);
      EXPECT_TRUE(record->valid);
      answer.payloads.push_back(payloadOf(*record));
    }
    return answer;
  }
  static Answer get(unsigned int recordId) { return get(recordId, GetOptions()); }

  static Answer refusedGroup(const char* id) {
    return {14, std::string("Invalid record id 0x") + id, {}};
  }
};

}  // namespace scripted
