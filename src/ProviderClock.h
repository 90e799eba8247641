#pragma once

#include <ctime>
#include <string>

namespace VarnelBase {

/// Takes the difference between this machine's clock and the provider's from an answer's "Date"
/// header (RFC 9110, section 5.6.7, IMF-fixdate) that has just come. Another text changes nothing.
void LearnProviderClock(const std::string& date);

/// The provider's time, which tokens are issued by: this machine's until an answer has told better.
/// The difference is the whole process's, for it belongs to the machine's clock.
std::time_t ReadProviderClock();

} // namespace VarnelBase
