// The values of "group" and "set-update", from the command line to what is sent for them.
//
// Input, in lines: the value of "group", if any; then one of "set-update" each.
#include <algorithm>

#include "ScriptedPlatform.h"
#include "app/Quorin.h"
#include "records/Hex.h"
#include "tests/fuzz/Input.h"

namespace fuzz {
namespace {

using Texts = std::vector<std::string>;

/// A piece: blanks, a sign, 0x, digits, of which all but the digits may be missing; a number too
/// large for 64 bits is the largest.
struct Number {
  explicit Number(const std::string& piece) {
    std::size_t at = 0;
    const auto is = [&](const char* any, std::size_t further = 0) {
      return at + further < piece.size() &&
             std::string(any).find(piece[at + further]) != std::string::npos;
    };
    constexpr const char* digits = "0123456789abcdefABCDEF";
    while (is(" \t\n\v\f\r")) ++at;
    const bool negative = is("-");
    if (is("+-")) ++at;
    if (is("0") && is("xX", 1) && is(digits, 2)) at += 2;
    unsigned __int128 value = 0;
    const std::size_t firstDigit = at;
    constexpr unsigned __int128 largest = 0xFFFFFFFFFFFFFFFF;
    for (; is(digits); ++at) {
      const auto digit = static_cast<unsigned>(std::stoi(piece.substr(at, 1), nullptr, 16));
      value = std::min(value * 16 + digit, largest + 1);
    }
    whole = piece.empty() || (at == piece.size() && at != firstDigit);
    if (value > largest) {
      low = 0xFFFF;
    } else {
      low = static_cast<std::uint16_t>(negative ? -value : value);
    }
  }

  bool whole = false;
  std::uint16_t low = 0;  ///< the low 16 bits
};

struct Expected {
  bool good = true;
  std::string type = "0";
  std::string groups, setUpdate;  ///< each in hexadecimal, behind a blank
};

Texts piecesOf(const std::string& text) {
  Texts pieces = between(text, ':');
  if (pieces.back().empty()) pieces.pop_back();
  return pieces;
}

bool appendAll(const Texts& pieces, std::size_t first, std::string& values) {
  for (std::size_t i = first; i < pieces.size(); ++i) {
    const Number number(pieces[i]);
    if (!number.whole) return false;
    values += " " + Zel::hexText(number.low);
  }
  return true;
}

bool readSetUpdate(const std::string& text, Expected& expected) {
  const Texts pieces = piecesOf(text);
  if (pieces.empty() || pieces[0].size() != 1) return false;
  const std::size_t type = std::string("LRA").find(pieces[0]);
  if (type == std::string::npos) return false;
  expected.type = std::to_string(type);
  if (type == 0) return appendAll(pieces, 1, expected.setUpdate);
  if (pieces.size() != (type == 1 ? 3 : 2)) return false;
  for (std::size_t i = 1; i < pieces.size(); ++i) {
    expected.setUpdate += " " + Zel::hexText(Number(pieces[i]).low);
  }
  return type == 2 || Number(pieces[1]).low < Number(pieces[2]).low;
}

std::string sent() {
  const auto all = scripted::platform().takeSent();
  expect(all.size() == 1, "one indication is sent");
  return all.front().what;
}

/// `arguments` hold the values that `expected` was made of.
void check(const Texts& arguments, const Expected& expected) {
  scripted::CommandLine commandLine(arguments);
  scripted::Platform& platform = scripted::platform();
  platform.reset();
  Quorin quorin(commandLine.count(), commandLine.values());
  expect(quorin.isGood() == expected.good, "a value is refused when its pieces are");
  expect(bool(platform.slots.get) == expected.good, "a refused value ends the start");
  if (!expected.good) return;
  platform.slots.svcRegInd();
  expect(sent() == "svcRegInd 0" + expected.groups, "the groups are the low 16 bits of each piece");
  platform.slots.svcRegResult(12, Zel::MGMT_SUCCESS, {});
  expect(sent() == "svcRegSetUpdateInd " + expected.type + expected.setUpdate,
         "the set-update values are those of all options, with the kind of the last");
}

}  // namespace
}  // namespace fuzz

int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  // A refusal is explained on standard output, which the tests of the options look at.
  static std::FILE* const quiet = std::freopen("/dev/null", "w", stdout);
  fuzz::expect(quiet != nullptr, "there is /dev/null");
  const fuzz::Texts values = fuzz::Input(bytes, count).arguments();
  fuzz::Texts arguments;
  fuzz::Expected expected;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::string& value = values[i];
    if (value.empty()) continue;  // which is the option parser's to refuse
    arguments.push_back((i == 0 ? "--group=" : "--set-update=") + value);
    expected.good =
        expected.good && (i == 0 ? fuzz::appendAll(fuzz::piecesOf(value), 0, expected.groups)
                                 : fuzz::readSetUpdate(value, expected));
  }
  fuzz::check(arguments, expected);
  return 0;
}
