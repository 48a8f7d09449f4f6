// The values of the "group" and "set-update" options.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/OamTypes.h"

/// Append what `text` holds, with its kind for a "set-update". Null, or why the text is refused.
const char* readGroups(const std::string& text, std::vector<std::uint16_t>& groups);
const char* readSetUpdate(const std::string& text, std::vector<std::uint16_t>& values,
                          Zel::OamSvcRegInd::SvcRegType& type);
