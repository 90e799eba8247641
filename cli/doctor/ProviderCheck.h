#pragma once

#include <chrono>
#include <string>

#include "doctor/Findings.h"

namespace VarnelBase {

/// Compares this machine's clock with somebody's, whose header tells whole seconds.
///
/// @param date  that header
/// @param whose "service"
void CheckClock(Findings& findings, const std::string& date, const std::string& whose);

/// Asks the configured provider, without any person: whether it can be reached and describes
/// itself, what it offers, how far the clocks are apart, and whether it knows the client and the
/// redirect as far as it tells. Nothing when no provider is configured.
///
/// @param patience with each answer
/// @throws std::runtime_error when the settings cannot be used
void CheckProvider(Findings& findings, std::chrono::milliseconds patience);

} // namespace VarnelBase
