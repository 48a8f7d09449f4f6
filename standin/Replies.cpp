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

void spoilBlock(std::string& text, std::size_t end, Fault::Blocks how) {
  if (text[end - 1] == '"') return;  // there is nothing in it
  if (how == Fault::Blocks::truncate) text.erase(end - 2, 2);
  if (how != Fault::Blocks::flip) return;
  for (std::size_t at = end - 2; at != end; ++at) {
    const int digit = text[at] <= '9' ? text[at] - '0' : text[at] - 'a' + 10;
    text[at] = "fedcba9876543210"[digit];
  }
}

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
