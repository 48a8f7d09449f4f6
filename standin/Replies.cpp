#include "standin/Replies.h"

#include "records/Block.h"

namespace standin {
namespace {

std::string inQuotes(const std::string& text) { return '"' + text + '"'; }

}  // namespace

std::string groupText(std::uint16_t group) { return inQuotes("0x" + Zel::hexText(group)); }

std::string groupsText(Zel::OamSvcRegInd::SvcRegType type,
                       const std::vector<std::uint16_t>& groups) {
  return rpc::ObjectText()
      .add("type", std::int64_t{type})
      .addArray("groups", groups.size(), [&](std::size_t i) { return groupText(groups[i]); })
      .take();
}

std::string quotedBlock(const Zel::Record& record) {
  return inQuotes(Zel::blockText([&](Zel::SerialStream& stream) {
                    record.serialize(stream, false);
                  }).value_or(""));
}

std::string quotedBlock(const Zel::RecordKeys& keys) {
  return inQuotes(
      Zel::blockText([&](Zel::SerialStream& stream) { keys.serialize(stream); }).value_or(""));
}

rpc::ObjectText resultText(Zel::MgmtResult result) {
  rpc::ObjectText text;
  text.add("result", std::int64_t{result}).add("resultText", Zel::mgmtResultText(result));
  return text;
}

}  // namespace standin
