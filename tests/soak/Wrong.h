#pragma once

#include <stdexcept>

namespace soak {

/// The system under test is wrong: the soak ends.
struct Wrong : std::runtime_error {
  using std::runtime_error::runtime_error;
};

}  // namespace soak
