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

/// Learns the difference between this machine's clock and the provider's from the "Date" header of
/// an answer that has just arrived. Ignores a malformed date.
void LearnProviderClock(const std::string& date);

/// The last reading, if any.
std::optional<ClockReading> FindProviderClock();

/// Restores a reading of an earlier process, unless a newer one exists. Ignores a reading from the
/// future: this machine's clock has been set since.
void RestoreProviderClock(const ClockReading& reading);

/// The provider's time, by which tokens expire; this machine's time until an answer has been read.
/// The whole process shares the difference.
std::time_t ReadProviderClock();

} // namespace VarnelBase
