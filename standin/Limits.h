// Limits of the socket.
#pragma once

#include <cstddef>

namespace standin {

constexpr std::size_t maxLineBytes = std::size_t{1024} * 1024;
constexpr std::size_t maxConnections = 64;
/// Past it a connection's further requests are not read until it drains.
constexpr std::size_t maxUnsentReplyBytes = std::size_t{4} * 1024 * 1024;
/// Past it, notifications included, a connection is closed.
constexpr std::size_t maxUnsentBytes = std::size_t{32} * 1024 * 1024;
/// Requests of one connection that are read and not yet answered.
constexpr std::size_t maxRequestsInFlight = 256;
constexpr std::size_t maxRequestBytesInFlight = std::size_t{1024} * 1024;
/// Requests of one batch, so that a line does not keep the main thread for long.
constexpr std::size_t maxBatch = 4096;
/// Set indications whose outcome nobody has reported.
constexpr std::size_t maxOutstandingSetInds = 65536;

}  // namespace standin
