// Sending requests through the slots that the daemon registered.
#pragma once

#include <string>
#include <vector>

#include "Daemon.h"
#include "records/Block.h"
#include "records/Record.h"

namespace scripted {

/// The payload as hexadecimal text, in network order.
inline std::string payloadOf(const Zel::Record& record) {
  return Zel::blockText([&](Zel::SerialStream& stream) { record.serialize(stream, true); }).value();
}

struct Answer {
  int result = 0;
  std::string errorString;
  std::vector<std::string> payloads;

  friend bool operator==(const Answer&, const Answer&) = default;
};

class RequestTest : public DaemonTest {
 protected:
  struct GetOptions {
    Zel::RecordKeysList keys = {};
    unsigned short batchSize = 0;
    bool clearOnRead = false;
  };

  static Answer get(unsigned int recordId, const GetOptions& options) {
    Zel::RecordList records;
    Zel::ErrorString errorString;
    std::snprintf(errorString.data(), Zel::ErrorString::size(), "as the caller left it");
    Answer answer;
    answer.result = slots().get(recordId, options.keys, options.batchSize, options.clearOnRead,
                                records, errorString);
    answer.errorString = errorString.c_str();
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
