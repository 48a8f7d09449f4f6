// What one client asks, and what the daemon must answer: written down from what each record is, not
// taken from the daemon's code. Where the daemon keeps state, one client only changes it and knows
// it: requests of one connection are served in their order.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/soak/Expected.h"

namespace soak {

/// Clients that alone use a part of the daemon's state; the others have rows of Test1-Prov3.
enum Owner : unsigned int { ofTest2Stats1, ofTest3Stats4, ofAction1, ofAction2 };

/// What all clients have asked for, by what the daemon counts.
struct Asked {
  std::map<std::string, std::uint64_t> requests;       ///< by method
  std::map<std::string, std::uint64_t> notifications;  ///< that must come, by method
};

class Requests {
 public:
  Requests(unsigned int client, std::uint32_t seed, Asked& asked);

  /// One or more requests, and their number at most.
  Line next(std::size_t most);

  // What does not come by chance, or not only.
  /// A get that all clients may make, of 65,535 rows.
  Request largeGet();
  Request setAction1(bool initProvComplete);
  Request setAction2();
  Request initProvComplete();
  Request constantGet();
  Request plainSet();

 private:
  using Pick = Request (Requests::*)();

  std::uint32_t random(std::uint32_t below);
  bool chance(std::uint32_t in) { return random(in) == 0; }
  std::string id();
  Request call(const std::string& method, const std::string& params, const std::string& result);
  Request answered(const std::string& method, const std::string& params, const std::string& more);
  Request set(const std::string& block, unsigned int opType, int answeredAction);
  std::string recordId(std::uint32_t id);
  Request get(const std::string& params, const std::vector<std::string>& records);

  Request own();
  Request keyPairGet();
  Request positionGet();
  Request walkGet();
  Request refusedQuery();
  Request walkKeys();
  Request otherKeys();
  Request setTest1Prov3();
  Request refusedSet();
  Request notify();
  Request clearOther();
  Request registration();
  Request faulty();
  Request broken();
  Request withoutId();

  const unsigned int client_;
  std::mt19937 engine_;
  Asked& asked_;
  std::uint64_t lastId_ = 0;
  std::deque<Request> pages_;  ///< of a walk, not asked for yet

  // The state of the daemon that is this client's.
  std::map<std::uint16_t, std::array<std::uint16_t, 4>> rows_;  ///< of Test1-Prov3
  std::uint32_t test2Stats1_ = 0, test3Stats4_ = 0;
  bool testRun_ = false;
  std::uint16_t transactionId_ = 0;
};

}  // namespace soak
