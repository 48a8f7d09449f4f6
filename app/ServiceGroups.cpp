// Service groups: the "group" and "set-update" values, and the service registration sequence.
#include <cstdio>
#include <cstdlib>

#include "app/Quorin.h"
#include "platform/KorOamApi.h"
#include "records/LogLine.h"

namespace {

// The outcomes of a service registration to which the daemon reacts, by their kind.
constexpr unsigned int svcRegIndOutcome = 12;
constexpr unsigned int svcRegSetUpdateOutcome = 14;

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

/// Appends the pieces from `first` on; false at one that is not wholly a number.
bool appendHexPieces(const std::vector<std::string>& pieces, std::size_t first,
                     std::vector<std::uint16_t>& values) {
  for (std::size_t i = first; i < pieces.size(); ++i) {
    bool whole = false;
    const std::uint16_t value = hexPiece(pieces[i], whole);
    if (!whole) return false;
    values.push_back(value);
  }
  return true;
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

bool Quorin::refuseOption(const char* message) {
  std::fputs(message, stdout);
  good = false;
  return false;
}

bool Quorin::readGroups(const std::string& text) {
  return appendHexPieces(split(text), 0, groupList) || refuseOption(notANumber);
}

bool Quorin::readSetUpdate(const std::string& text) {
  const std::vector<std::string> pieces = split(text);
  const std::string kind = pieces.empty() ? "" : pieces.front();
  if (kind == "L") {
    setUpdateType = Zel::OamSvcRegInd::SVC_REG_LIST;
    return appendHexPieces(pieces, 1, setUpdateList) || refuseOption(notANumber);
  }
  if (kind == "R") {
    if (pieces.size() != 3) return refuseOption("Expecting 'R:<Range Start>:<Range End>'");
    const std::uint16_t start = leadingHex(pieces[1]);
    const std::uint16_t end = leadingHex(pieces[2]);
    if (start >= end) return refuseOption("<Range Start> is not less than <Range End>");
    setUpdateType = Zel::OamSvcRegInd::SVC_REG_RANGE;
    setUpdateList.push_back(start);
    setUpdateList.push_back(end);
    return true;
  }
  if (kind == "A") {
    if (pieces.size() != 2) return refuseOption("Expecting 'A:<Subsystem>'");
    setUpdateList.push_back(leadingHex(pieces[1]));
    setUpdateType = Zel::OamSvcRegInd::SVC_REG_ALL;
    return true;
  }
  return refuseOption("only 'L', 'R' or 'A' are valid");
}

void Quorin::svcRegIndCallback() {
  KorOamApi::instance().sendVmbSvcRegInd(Zel::OamSvcRegInd::SVC_REG_LIST, groupList);
}

void Quorin::svcRegResultCallback(unsigned int kind, Zel::MgmtResult result,
                                  const std::vector<unsigned short>& groups) {
  if (result == Zel::MGMT_SUCCESS && kind == svcRegIndOutcome) {
    groupIds.insert(groups.begin(), groups.end());
    KorOamApi::instance().sendVmbSvcRegSetUpdateInd(setUpdateType, setUpdateList);
  } else if (result == Zel::MGMT_SUCCESS && kind == svcRegSetUpdateOutcome) {
    KorOamApi::instance().sendVmbSvcRegEndInd();
  } else {
    Zel::logLine(ZEL_LOG_ERROR, "svcReg failed with error code = ", mgmtResultText(result));
  }
}
