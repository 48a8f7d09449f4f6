#include "tests/soak/Requests.h"

#include <iterator>
#include <utility>

#include "tests/soak/Tables.h"

namespace soak {
namespace {

const std::string success = R"("result":0,"resultText":"Success")";

// The beginning of an answer that refuses.
std::string refusal(const char* result, const char* reason) {
  return std::string("{") + result + R"(,"errorString":")" + reason + '"';
}

std::string list(const std::vector<std::string>& blocks) {
  std::string text;
  for (const std::string& block : blocks) text += (text.empty() ? "\"" : ",\"") + block + '"';
  return "[" + text + "]";
}

struct Key {
  unsigned int bytes;
  std::uint32_t value;
  bool wildcard = false;
};

std::string keyBlock(const std::vector<Key>& keys, bool markers) {
  std::string text;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    text += hex(i + 1, 2);
    if (markers) text += keys[i].wildcard ? "01" : "00";
    if (!markers || !keys[i].wildcard)
      text += hex(keys[i].bytes, 2) + hex(keys[i].value, keys[i].bytes);
  }
  return hex(text.size() / 2, 2) + text;
}

std::string pairRow(std::uint32_t id, std::uint32_t key1, std::uint32_t key2) {
  return hex(id, 4) + "001c" + hex(key1, 4) + hex(key2, 4) +
         "00000001"
         "0000000000000002"
         "0000000000000003";
}

// Position `p` of the 1024 x 10 tables.
std::string tableRow(std::uint32_t key1, std::uint32_t p) {
  const std::uint32_t sfn = p / 10 % 1024, sf = p % 10;
  return "111f00070010" + hex(key1, 4) + hex(sfn, 2) + hex(sf, 2) + hex(sfn, 4) + hex(sf, 4);
}

}  // namespace

Requests::Requests(unsigned int client, std::uint32_t seed, Asked& asked)
    : client_(client), engine_(seed), asked_(asked) {}

std::uint32_t Requests::random(std::uint32_t below) {
  return std::uniform_int_distribution<std::uint32_t>(0, below - 1)(engine_);
}

std::string Requests::id() {
  const std::string number = std::to_string(++lastId_);
  return chance(8) ? "\"request " + number + '"' : number;
}

Request Requests::call(const std::string& method, const std::string& params,
                       const std::string& result) {
  const std::string id = this->id(), head = R"({"jsonrpc":"2.0","id":)" + id;
  return {.method = method,
          .text = head + R"(,"method":")" + method + R"(","params":)" + params + "}",
          .reply = head + R"(,"result":)" + result + "}",
          .counted = true};
}

// Answered by the daemon with the result of the last set.
Request Requests::answered(const std::string& method, const std::string& params,
                           const std::string& more) {
  Request request = call(method, params, "{" + success + R"(,"errorString":"")" + more + "}");
  request.lagging = true;
  return request;
}

std::string Requests::recordId(std::uint32_t id) {
  if (chance(4)) return R"("recordId":)" + std::to_string(id);
  return R"("recordId":"0x)" + hex(id, 4) + '"';
}

Request Requests::get(const std::string& params, const std::vector<std::string>& records) {
  return answered("get", "{" + params + "}", R"(,"records":)" + list(records));
}

Request Requests::constantGet() {
  const ConstantRecord& record = constantRecords[random(std::size(constantRecords))];
  return get(recordId(record.id) + (chance(4) ? R"(,"batchSize":0,"clearOnRead":true)" : ""),
             record.rows);
}

// Rows that repeat their keys. With a wildcard, Test3-Stats8 has the rows 1 to 40; the others see
// a key without a value.
Request Requests::keyPairGet() {
  constexpr std::uint32_t ids[] = {0x111f0005, 0x111f000d, 0x111f000e};
  const std::uint32_t id = ids[random(3)];
  const bool expands = id == 0x111f000e, markers = chance(2);
  std::vector<std::string> blocks, rows;
  for (std::uint32_t count = 1 + random(3); count != 0; --count) {
    Key key[2];
    for (Key& k : key) {
      k = {4, random(0x10000) * random(0x10000), markers && chance(3)};
    }
    blocks.push_back(keyBlock({key[0], key[1]}, markers));
    const bool many = expands && (key[0].wildcard || key[1].wildcard);
    for (std::uint32_t i = 1; i <= (many ? 40U : 1U); ++i) {
      const auto value = [&](const Key& k) { return !k.wildcard ? k.value : many ? i : 0; };
      rows.push_back(pairRow(id, value(key[0]), value(key[1])));
    }
  }
  return get(recordId(id) + R"(,"queryKeys":)" + list(blocks) +
                 (markers ? R"(,"wildcardAllowed":true)" : ""),
             rows);
}

Request Requests::positionGet() {
  const bool third = chance(2);
  std::vector<std::string> blocks, rows;
  for (std::uint32_t count = 2 + random(4); count != 0; --count) {
    const std::uint32_t key1 = random(10), sfn = random(1024), sf = random(10);
    if (third) {
      blocks.push_back(keyBlock({{2, sfn}, {2, sf}}, false));
      rows.push_back("111f0006000c" + hex(sfn, 2) + hex(sf, 2) + hex(sfn, 4) + hex(sf, 4));
    } else {
      blocks.push_back(keyBlock({{4, key1}, {2, sfn}, {2, sf}}, false));
      rows.push_back(tableRow(key1, sfn * 10 + sf));
    }
  }
  return get(
      recordId(third ? 0x111f0006 : 0x111f0007) + R"(,"batchSize":3,"queryKeys":)" + list(blocks),
      rows);
}

// As many rows as the batch, from a position on, through the tables and around.
Request Requests::walkGet() {
  const bool keyed = chance(2);
  const std::uint32_t key1 = keyed ? random(10) : 0, from = keyed ? random(10240) : 0;
  const std::uint32_t count = random(64);
  std::vector<std::string> rows;
  for (std::uint32_t i = 0; i < count; ++i) rows.push_back(tableRow(key1, from + i));
  const std::string key = keyBlock({{4, key1}, {2, from / 10}, {2, from % 10}}, false);
  return get(recordId(0x111f0007) + R"(,"batchSize":)" + std::to_string(count) +
                 (keyed ? R"(,"queryKeys":)" + list({key}) : ""),
             rows);
}

Request Requests::largeGet() {
  std::vector<std::string> rows;
  for (std::uint32_t i = 0; i < 65535; ++i) rows.push_back(tableRow(0, i));
  return get(R"("recordId":"0x111f0007","batchSize":65535)", rows);
}

Request Requests::refusedQuery() {
  const auto& [method, params, result, reason] = refusedQueries[random(std::size(refusedQueries))];
  const std::string name = method;
  const char* const lists = name == "get"       ? R"(,"records":[])"
                            : name == "getKeys" ? R"(,"keys":[],"lastBatch":false)"
                                                : "";
  return call(method, params, refusal(result, reason) + lists + "}");
}

// All pages of a walk: every wildcard key counts from 1 to the last, a fixed one stays.
Request Requests::walkKeys() {
  if (pages_.empty()) {
    constexpr std::uint32_t ids[] = {0x111f0005, 0x111f000d, 0x111f000e};
    const std::uint32_t id = ids[random(3)], last = id == 0x111f0005 ? 100 : 40;
    const std::uint32_t fixed = 1 + random(39), batchSize = chance(4) ? 0 : 1 + random(60);
    const std::uint32_t wildcards = random(4);  // bit 0 for key1, bit 1 for key2
    const Key query[2] = {{4, fixed, (wildcards & 1) != 0}, {4, fixed, (wildcards & 2) != 0}};
    const auto at = [&](std::uint32_t i) {
      return keyBlock({{4, query[0].wildcard ? i : fixed}, {4, query[1].wildcard ? i : fixed}},
                      false);
    };
    const std::uint32_t end = wildcards == 0 ? 1 : last;
    for (std::uint32_t sent = 0; sent < end;) {
      std::vector<std::string> keys;
      const std::string lastSent = sent == 0 ? "" : R"(,"lastSentKeys":")" + at(sent) + '"';
      while (sent < end && (batchSize == 0 || keys.size() < batchSize)) keys.push_back(at(++sent));
      pages_.push_back(answered(
          "getKeys",
          "{" + recordId(id) + R"(,"wildcardAllowed":true,"batchSize":)" +
              std::to_string(batchSize) + R"(,"queryKeys":")" +
              keyBlock({query[0], query[1]}, true) + '"' + lastSent + "}",
          R"(,"keys":)" + list(keys) + R"(,"lastBatch":)" + (sent == end ? "true" : "false")));
    }
  }
  Request page = std::move(pages_.front());
  pages_.pop_front();
  return page;
}

Request Requests::otherKeys() {
  const ConstantRecord& record = constantRecords[random(8)];
  return answered("getKeys", "{" + recordId(record.id) + R"(,"batchSize":5})",
                  R"(,"keys":[],"lastBatch":false)");
}

// `answeredAction` is -1 where the apply action comes back as it was sent.
Request Requests::set(const std::string& block, unsigned int opType, int answeredAction) {
  const unsigned int applyAction = random(4);
  const std::string params = R"({"record":")" + block + R"(","opType":)" + std::to_string(opType) +
                             R"(,"applyAction":)" + std::to_string(applyAction) +
                             (chance(4) ? R"(,"errorString":"old","transactionId":65535)" : "") +
                             "}";
  const int answer = answeredAction < 0 ? static_cast<int>(applyAction) : answeredAction;
  Request request =
      call("set", params,
           "{" + success + R"(,"errorString":"","applyAction":)" + std::to_string(answer) + "}");
  request.set = SetKind::plain;
  return request;
}

Request Requests::plainSet() {
  const std::string more = chance(2) ? "ff" : "";  // bytes behind the last field
  if (chance(5)) return set("111d000200021234" + more, 1 + random(5), 0);
  return set(plainBlocks[random(std::size(plainBlocks))] + more, 1 + random(5), -1);
}

// Few rows with few values, so that all happens: rows that are there and not, fields that are the
// same and not. The apply action tells which field was the first that differed.
Request Requests::setTest1Prov3() {
  const auto key = static_cast<std::uint16_t>(client_ * 1000 + random(6));
  std::array<std::uint16_t, 4> fields{};
  for (std::uint16_t& field : fields)
    field = static_cast<std::uint16_t>(random(4) == 0 ? 7 : 0xf506);
  std::string block = "111d0004000a" + hex(key, 2);
  for (const std::uint16_t field : fields) block += hex(field, 2);
  const unsigned int opType = 1 + random(5);
  const auto row = rows_.find(key);
  int action = -1;
  if (opType == 1) {
    rows_[key] = fields;
    action = 3;
  } else if (opType == 2) {
    constexpr int actions[] = {3, 1, 2, 0};
    action = 0;
    for (std::size_t i = 0; row != rows_.end() && i < fields.size(); ++i) {
      if (row->second[i] == fields[i]) continue;
      row->second[i] = fields[i];
      action = actions[i];
      break;
    }
  } else if (opType == 3) {
    action = row == rows_.end() ? 0 : 3;
    if (row != rows_.end()) rows_.erase(row);
  }
  return set(block, opType, action);
}

Request Requests::refusedSet() {
  const auto& [block, result, reason] = refusedBlocks[random(std::size(refusedBlocks))];
  const std::string params =
      std::string(R"({"record":")") + block + R"(","opType":1,"applyAction":2})";
  if (chance(2)) return call("notify", params, refusal(result, reason) + "}");
  return call("set", params, refusal(result, reason) + R"(,"applyAction":2})");
}

Request Requests::setAction1(bool initProvComplete) {
  testRun_ = chance(2);
  return set(testRun_ ? "111f0004000101" : "111f0004000100", 5, initProvComplete ? 2 : 0);
}

Request Requests::setAction2() {
  testRun_ = chance(2);
  Request request =
      call("set",
           R"({"record":"111f001000010)" + std::string(testRun_ ? "1" : "0") +
               R"(","opType":5,"applyAction":3,"transactionId":)" +
               std::to_string(++transactionId_) + "}",
           R"({"result":30,"resultText":"Response deferred","errorString":"","applyAction":0})");
  request.set = SetKind::deferring;
  request.transactionId = transactionId_;
  return request;
}

Request Requests::initProvComplete() { return call("initProvComplete", "{}", "{" + success + "}"); }

Request Requests::notify() {
  const char* const block =
      chance(4) ? "111d0004000a03e80001000200030004" : plainBlocks[random(std::size(plainBlocks))];
  return answered("notify",
                  std::string(R"({"record":")") + block + R"(","opType":)" +
                      std::to_string(1 + random(5)) + R"(,"regDownloadFlag":true,"applyAction":3})",
                  "");
}

Request Requests::clearOther() {
  return answered("clear", "{" + recordId(constantRecords[random(8)].id) + "}", "");
}

Request Requests::registration() {
  const std::string done = "{" + success + "}";
  if (chance(4)) return initProvComplete();
  if (chance(3)) {
    return call(
        "svcRegResult",
        std::string(R"({"kind":)") + (chance(2) ? "12" : "14") + R"(,"result":4,"groups":[]})",
        done);
  }
  const std::uint32_t kind = random(3);
  ++asked_.notifications["svcRegEndInd"];
  if (kind == 2) {
    return call("svcRegResult", R"({"kind":14,"result":0,"groups":["0x1234"]})", done);
  }
  ++asked_.notifications["svcRegSetUpdateInd"];
  if (kind == 1) {
    return call("svcRegResult", R"({"kind":12,"result":0,"groups":["0x111f",4382]})", done);
  }
  ++asked_.notifications["svcRegInd"];
  return call("svcRegInd", "{}", done);
}

Request Requests::faulty() {
  const std::string id = this->id(), head = R"({"jsonrpc":"2.0","id":)" + id + R"(,"method":")";
  if (chance(std::size(faults))) {
    // Counted, since its parameters are right.
    return {
        .method = "setIndResult",
        .text = head + R"(setIndResult","params":{"setIndId":4000000000,"result":0}})",
        .reply = errorReply(id, -32602, "setIndId 4000000000 names no outstanding set indication"),
        .counted = true};
  }
  const auto& [method, params, code, message] = faults[random(std::size(faults))];
  return {.method = "(error)",
          .text = head + method + R"(","params":)" + params + "}",
          .reply = errorReply(id, code, message)};
}

Request Requests::broken() {
  const auto& [line, id, code, message] = brokenLines[random(std::size(brokenLines))];
  std::string reply = errorReply(id, code, message);
  if (message == noJson) reply.resize(reply.find(noJson) + std::string_view(noJson).size());
  return {.method = "(error)",
          .text = line,
          .reply = std::move(reply),
          .onlyBeginning = message == noJson,
          .alone = true};
}

// Nothing comes back, whatever the daemon thinks of it.
Request Requests::withoutId() {
  Request request = chance(2) ? constantGet() : chance(2) ? faulty() : registration();
  request.text.erase(0, request.text.find(R"(,"method")"));
  request.text.insert(0, R"({"jsonrpc":"2.0")");
  request.reply.clear();
  request.lagging = false;
  // Without a valid request there is no telling whether it wanted a reply.
  if (request.text.ends_with(R"("params":5})")) {
    request.reply = errorReply("null", -32600, "params must be an object");
  }
  return request;
}

// What the daemon keeps and this client alone changes.
Request Requests::own() {
  switch (client_) {
    case ofTest2Stats1:
      if (chance(30)) {
        test2Stats1_ = 0;
        return answered("clear", "{" + recordId(0x111e0001) + "}", "");
      }
      test2Stats1_ = (test2Stats1_ + 1) % 100;
      return get(recordId(0x111e0001), {"111e000100040000" + hex(test2Stats1_, 2)});
    case ofTest3Stats4: {
      std::vector<std::string> rows;
      for (std::uint32_t i = 1; i <= 3; ++i) {
        test3Stats4_ = (test3Stats4_ + 1) % 100;
        rows.push_back("111f00080006" + hex(i, 2) + hex(test3Stats4_, 2) +
                       hex(100 - test3Stats4_, 2));
      }
      const bool clear = chance(40);
      if (clear) test3Stats4_ = 0;
      return get(recordId(0x111f0008) + (clear ? R"(,"clearOnRead":true)" : ""), rows);
    }
    case ofAction1:
      if (chance(2)) return setAction1(true);
      return get(recordId(0x111f0004), {testRun_ ? "111f0004000101" : "111f0004000100"});
    case ofAction2:
      return get(recordId(0x111f0010), {testRun_ ? "111f0010000101" : "111f0010000100"});
    default:
      return setTest1Prov3();
  }
}

Line Requests::next(std::size_t most) {
  constexpr Pick picks[] = {
      &Requests::own,          &Requests::own,           &Requests::constantGet,
      &Requests::keyPairGet,   &Requests::positionGet,   &Requests::walkGet,
      &Requests::refusedQuery, &Requests::walkKeys,      &Requests::otherKeys,
      &Requests::plainSet,     &Requests::setTest1Prov3, &Requests::setTest1Prov3,
      &Requests::refusedSet,   &Requests::notify,        &Requests::clearOther,
      &Requests::registration, &Requests::faulty,        &Requests::broken,
      &Requests::withoutId,
  };
  Line line;
  line.batch = most > 1;
  for (std::size_t count = 1 + random(static_cast<std::uint32_t>(most)); count != 0; --count) {
    Request request = (this->*picks[random(std::size(picks))])();
    if (!request.alone || !line.batch) line.requests.push_back(std::move(request));
  }
  if (line.requests.empty()) line.requests.push_back(constantGet());
  return line;
}

}  // namespace soak
