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

std::string groupsText(Zel::OamSvcRegInd::SvcRegType type,
                       const std::vector<std::uint16_t>& groups) {
  return rpc::ObjectText()
      .add("type", std::int64_t{type})
      .addArray("groups", groups.size(),
                [&](std::string& out, std::size_t i) { appendGroup(out, groups[i]); })
      .take();
}

void appendQuotedBlock(std::string& out, const Zel::Record& record) {
  appendInQuotes(out, [&](Zel::SerialStream& stream) { record.serialize(stream, false); });
}

void appendQuotedBlock(std::string& out, const Zel::RecordKeys& keys) {
  appendInQuotes(out, [&](Zel::SerialStream& stream) { keys.serialize(stream); });
}

std::string quotedBlock(const Zel::Record& record) {
  std::string block;
  appendQuotedBlock(block, record);
  return block;
}

rpc::ObjectText& addResult(rpc::ObjectText& text, Zel::MgmtResult result) {
  return text.add("result", std::int64_t{result}).add("resultText", Zel::mgmtResultText(result));
}

}  // namespace standin
