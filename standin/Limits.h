// Limits of the socket. Each has a cheap refusal past it.
#pragma once

#include <cstddef>

namespace standin {

constexpr std::size_t mebibyte = std::size_t{1024} * 1024;

constexpr std::size_t maxLineBytes = mebibyte;
/// Nesting of lists and objects in one request.
constexpr unsigned int maxNesting = 32;
constexpr std::size_t maxMembers = 64;         ///< of one object
constexpr std::size_t maxLineMembers = 65536;  ///< of one line, in all objects
constexpr std::size_t maxBatch = 4096;
/// Bytes of one connection that are read and not served, without the line in turn.
constexpr std::size_t maxWaitingBytes = mebibyte;
/// Bytes of requests without an id whose clients are gone, in all.
constexpr std::size_t maxOrphanBytes = 8 * mebibyte;
constexpr std::size_t maxKeyBlocks = 4096;
constexpr std::size_t maxGroups = 4096;
constexpr std::size_t maxConnections = 64;
/// Past it a connection's further requests are not served until it drains.
constexpr std::size_t maxUnsentReplyBytes = 4 * mebibyte;
/// Past it, notifications included, a connection is closed.
constexpr std::size_t maxUnsentBytes = 32 * mebibyte;
constexpr std::size_t maxJournalEntries = 4096;
constexpr std::size_t maxJournalBytes = mebibyte;
constexpr std::size_t maxJournalEntryBytes = std::size_t{64} * 1024;
constexpr std::size_t maxJournalPage = 1000;
constexpr std::size_t maxFaults = 64;
/// Pauses that one `advanceTime` ends.
constexpr std::uint64_t maxEndedPauses = 10'000;
/// Set indications whose outcome nobody has reported.
constexpr std::size_t maxOutstandingSetInds = 65536;

}  // namespace standin
