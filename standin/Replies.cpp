#include "standin/Replies.h"

#include "records/Block.h"

namespace standin {
namespace {

template <typename Write>
void appendInQuotes(std::string& out, Write&& write) {
  out += '"';
  Zel::appendBlock(out, write);
  out += '"';
}

}  // namespace

void appendGroup(std::string& out, std::uint16_t group) {
  out += "\"0x" + Zel::hexText(group) + '"';
}

void appendQuotedBlock(std::string& out, const Zel::Record& record) {
  appendInQuotes(out, [&](Zel::SerialStream& stream) { record.serialize(stream, false); });
}

void appendQuotedBlock(std::string& out, const Zel::RecordKeys& keys) {
  appendInQuotes(out, [&](Zel::SerialStream& stream) { keys.serialize(stream); });
}

ObjectText& addResult(ObjectText& members, Zel::MgmtResult result) {
  return members.add("result", std::int64_t{result}).add("resultText", Zel::mgmtResultText(result));
}

}  // namespace standin
