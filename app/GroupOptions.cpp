#include "app/GroupOptions.h"

#include <cstdlib>

#include "app/Quorin.h"

namespace {

constexpr const char* notANumber = "group not a number, please check and try again";

/// The low 16 bits of a hexadecimal number. `whole` tells whether the piece was nothing else.
std::uint16_t hexPiece(const std::string& piece, bool& whole) {
  char* end = nullptr;
  const unsigned long value = std::strtoul(piece.c_str(), &end, 16);
  whole = *end == '\0';
  return static_cast<std::uint16_t>(value);
}

std::uint16_t leadingHex(const std::string& piece) {
  bool ignored = false;
  return hexPiece(piece, ignored);
}

/// Appends the pieces from `first` on, up to one that is not wholly a number.
const char* appendHexPieces(const std::vector<std::string>& pieces, std::size_t first,
                            std::vector<std::uint16_t>& values) {
  for (std::size_t i = first; i < pieces.size(); ++i) {
    bool whole = false;
    const std::uint16_t value = hexPiece(pieces[i], whole);
    if (!whole) return notANumber;
    values.push_back(value);
  }
  return nullptr;
}

}  // namespace

std::vector<std::string> Quorin::split(const std::string& text) {
  std::vector<std::string> pieces;
  std::string piece;
  for (const char character : text) {
    if (character == ':') {
      pieces.push_back(piece);
      piece.clear();
    } else {
      piece += character;
    }
  }
  if (!piece.empty()) pieces.push_back(piece);
  return pieces;
}

const char* readGroups(const std::string& text, std::vector<std::uint16_t>& groups) {
  return appendHexPieces(Quorin::split(text), 0, groups);
}

const char* readSetUpdate(const std::string& text, std::vector<std::uint16_t>& values,
                          Zel::OamSvcRegInd::SvcRegType& type) {
  const std::vector<std::string> pieces = Quorin::split(text);
  const std::string kind = pieces.empty() ? "" : pieces.front();
  if (kind == "L") {
    type = Zel::OamSvcRegInd::SVC_REG_LIST;
    return appendHexPieces(pieces, 1, values);
  }
  if (kind == "R") {
    if (pieces.size() != 3) return "Expecting 'R:<Range Start>:<Range End>'";
    const std::uint16_t start = leadingHex(pieces[1]);
    const std::uint16_t end = leadingHex(pieces[2]);
    if (start >= end) return "<Range Start> is not less than <Range End>";
    type = Zel::OamSvcRegInd::SVC_REG_RANGE;
    values.insert(values.end(), {start, end});
    return nullptr;
  }
  if (kind == "A") {
    if (pieces.size() != 2) return "Expecting 'A:<Subsystem>'";
    type = Zel::OamSvcRegInd::SVC_REG_ALL;
    values.push_back(leadingHex(pieces[1]));
    return nullptr;
  }
  return "only 'L', 'R' or 'A' are valid";
}
