#include "standin/Replies.h"

#include <string_view>

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
  constexpr std::string_view digits = "0123456789abcdef", opposites = "fedcba9876543210";
  for (std::size_t at = end - 2; at != end; ++at) text[at] = opposites[digits.find(text[at])];
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
