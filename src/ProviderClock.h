#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace VarnelBase {

/// The provider's clock, seen from this machine's.
struct ClockReading {
    long long secondsAhead = 0;
    std::time_t at = 0; ///< when it was read, by this machine's clock
};

/// The time in a "Date" header (RFC 9110, section 5.6.7, IMF-fixdate); none for another text.
std::optional<std::time_t> ParseHttpDate(const std::string& date);

/// Takes the difference between this machine's clock and the provider's from an answer's "Date"
/// header that has just come. Another text changes nothing.
void LearnProviderClock(const std::string& date);

/// What was learned; none: nothing yet.
std::optional<ClockReading> FindProviderClock();

/// Puts back what an earlier process has learned, unless there is something newer. A reading from
/// this machine's future was made before the clock was set, and means nothing any more.
void RestoreProviderClock(const ClockReading& reading);

/// The provider's time, which tokens are issued by: this machine's until an answer has told better.
/// The difference is the whole process's, for it belongs to the machine's clock.
std::time_t ReadProviderClock();

} // namespace VarnelBase
