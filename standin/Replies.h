// Values of the socket as JSON text.
#pragma once

#include <cstdint>
#include <string>

#include "records/MgmtEnums.h"
#include "records/Record.h"
#include "records/RecordKeys.h"
#include "standin/Faults.h"
#include "standin/JsonText.h"

namespace standin {

/// Appends a group, in quotes.
void appendGroup(std::string& out, std::uint16_t group);

/// Appends the block of a record or key set, in quotes. One that does not fit its length fields,
/// which no class of the catalogue reaches, is an empty string.
void appendQuotedBlock(std::string& out, const Zel::Record& record);
void appendQuotedBlock(std::string& out, const Zel::RecordKeys& keys);

/// Changes the block that ends at `end` in `text`, as a fault wants it.
void spoilBlock(std::string& text, std::size_t end, Fault::Blocks how);

/// Adds what the result of every management request begins with: `result` and `resultText`.
ObjectText& addResult(ObjectText& members, Zel::MgmtResult result);

}  // namespace standin
