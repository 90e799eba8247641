#pragma once

#include <cstdint>
#include <deque>
#include <iosfwd>
#include <mutex>
#include <string>

#include "Messages.h"

namespace VarnelBase::Emulation {

/// One request and what became of it.
struct Exchange {
    Request request;
    int status = 0;             ///< 0: no answer was sent
    std::int64_t startedAt = 0; ///< machine time in milliseconds
    double durationMs = 0;
    std::int64_t faultRule = 0; ///< 0: none
};

/// Keeps what was asked. Credentials are shown as length and SHA-256 only. For several threads at a
/// time.
class RequestLog {
public:
    /// @param lines where every request goes as a line of JSON; may be null; outlives this object
    explicit RequestLog(std::ostream* lines) : stream(lines) {}

    void Add(Exchange exchange);

    /// The requests in the order of their answers. The oldest ones go when they get too many.
    json List() const;
    void Clear();

private:
    mutable std::mutex mutex;
    std::deque<Exchange> exchanges;
    std::size_t keptBytes = 0;
    std::int64_t dropped = 0;
    std::ostream* stream;
};

} // namespace VarnelBase::Emulation
