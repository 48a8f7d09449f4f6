// Values of the socket as JSON text.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/OamTypes.h"
#include "records/MgmtEnums.h"
#include "records/Record.h"
#include "records/RecordKeys.h"
#include "standin/JsonRpc.h"

namespace standin {

/// Appends a group, in quotes.
void appendGroup(std::string& out, std::uint16_t group);

/// The parameters of a service registration indication.
std::string groupsText(Zel::OamSvcRegInd::SvcRegType type,
                       const std::vector<std::uint16_t>& groups);

/// Appends the block of a record or key set, in quotes. One that does not fit its length fields,
/// which no class of the catalogue reaches, is an empty string.
void appendQuotedBlock(std::string& out, const Zel::Record& record);
void appendQuotedBlock(std::string& out, const Zel::RecordKeys& keys);

/// The same as a text of its own.
std::string quotedBlock(const Zel::Record& record);

/// Adds what the result of every management request begins with: `result` and `resultText`.
rpc::ObjectText& addResult(rpc::ObjectText& text, Zel::MgmtResult result);

}  // namespace standin
