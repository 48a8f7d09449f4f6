#include "tools/Replies.h"

#include <iostream>

#include "records/Hex.h"
#include "records/MgmtEnums.h"
#include "tools/ExitStatus.h"
#include "tools/Members.h"
#include "tools/Output.h"

namespace json = boost::json;

namespace tools {

std::string title(const RecordType& type) { return type.name + " (" + hexId(type.id) + ")"; }

int exitStatusOf(std::int64_t result) { return result == 0 ? exitSuccess : exitOtherResult; }

std::string resultText(const json::object& reply) {
  const std::int64_t result = integerMember(reply, "result");
  const std::string text = textMember(reply, "resultText");
  return result == 0 ? text : text + " (" + std::to_string(result) + ")";
}

void printErrorString(const json::object& reply) {
  const std::string errorString = textMember(reply, "errorString");
  if (!errorString.empty()) std::cout << "  error string: " << errorString << '\n';
}

Bytes bytesOf(const json::value& block) {
  if (!block.is_string()) nonsense("a block is no string");
  auto bytes = Zel::fromHex(block.get_string());
  if (!bytes) nonsense("a block is no hexadecimal text");
  return std::move(*bytes);
}

std::vector<Decoded> decodeAll(const json::array& blocks,
                               const std::function<Decoded(Bytes)>& decode) {
  std::vector<Decoded> decoded;
  for (const json::value& block : blocks) {
    decoded.push_back(decode(bytesOf(block)));
    if (!decoded.back().valid) nonsense("a block does not read: " + decoded.back().problem);
  }
  return decoded;
}

std::string applyActionOf(const json::object& reply) {
  return Zel::applyActionText(
      static_cast<Zel::ApplyActionType>(integerMember(reply, "applyAction")));
}

std::string joined(const json::array& values) {
  std::string text;
  for (const json::value& value : values) {
    if (!value.is_string()) nonsense("a group is no string");
    if (!text.empty()) text += ' ';
    text += value.get_string();
  }
  return text.empty() ? "none" : text;
}

int printResult(const Invocation& invocation, const std::string& what, const json::object& reply) {
  // Before anything is printed: a reply that makes no sense prints nothing.
  const std::string summary = what + ": " + resultText(reply);
  const int status = exitStatusOf(integerMember(reply, "result"));
  if (invocation.json) {
    printJson(reply);
  } else {
    std::cout << summary << '\n';
    if (reply.contains("errorString")) printErrorString(reply);
  }
  return status;
}

}  // namespace tools
