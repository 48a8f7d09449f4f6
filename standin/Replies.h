// Values of the socket as JSON text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/OamTypes.h"
#include "records/MgmtEnums.h"
#include "records/Record.h"
#include "records/RecordKeys.h"
#include "standin/JsonRpc.h"

namespace standin {

/// A group, in quotes.
std::string groupText(std::uint16_t group);

/// The parameters of a service registration indication.
std::string groupsText(Zel::OamSvcRegInd::SvcRegType type,
                       const std::vector<std::uint16_t>& groups);

/// The block of a record or key set, in quotes. One that does not fit its length fields, which no
/// class of the catalogue reaches, is an empty string.
std::string quotedBlock(const Zel::Record& record);
std::string quotedBlock(const Zel::RecordKeys& keys);

/// Starts the reply of a management request: `result` and `resultText`.
rpc::ObjectText resultText(Zel::MgmtResult result);

}  // namespace standin
