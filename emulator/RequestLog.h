#pragma once

#include <cstdint>
#include <deque>
#include <iosfwd>
#include <mutex>
#include <string>

#include "EventFeed.h"
#include "Messages.h"
#include "RequestPattern.h"

namespace VarnelBase::Emulation {

/// One request and what became of it.
struct Exchange {
    Request request;
    int status = 0;             ///< 0: no answer was sent
    std::int64_t startedAt = 0; ///< machine time in milliseconds
    double durationMs = 0;
    std::int64_t faultRule = 0; ///< 0: none
    std::int64_t number = 0;    ///< in the order of the answers, from 1 on
};

/// Keeps what was asked. Credentials are shown as length and SHA-256 only. For several threads at a
/// time.
class RequestLog {
public:
    /// @param lines  where every request goes as a line of JSON; may be null; outlives this object
    /// @param events told of every request; outlives this object
    RequestLog(std::ostream* lines, EventFeed& events) : stream(lines), feed(events) {}

    void Add(Exchange exchange);

    /// The requests that match, in the order of their answers. The oldest ones go when they get too
    /// many.
    ///
    /// @param limit how many of the newest ones
    json List(const RequestPattern& pattern = {}, std::size_t limit = SIZE_MAX) const;

    /// Holds what was asked against an expectation: a pattern with "times", or "atLeast" and
    /// "atMost".
    ///
    /// @return empty when as many requests match as expected; otherwise a message that says how
    ///         many do, and shows the nearest other ones
    /// @throws Refusal 422 naming the member that cannot be used
    std::string Check(const json& expectation) const;

    void Clear();

private:
    mutable std::mutex mutex;
    std::deque<Exchange> exchanges;
    std::size_t keptBytes = 0;
    std::int64_t dropped = 0;
    std::int64_t added = 0;
    std::ostream* stream;
    EventFeed& feed;
};

} // namespace VarnelBase::Emulation
