#pragma once

#include <chrono>

#include "doctor/Findings.h"

namespace VarnelBase {

/// Asks the configured provider, without any person: whether it can be reached and describes
/// itself, what it offers, how far the clocks are apart, and whether it knows the client and the
/// redirect as far as it tells. Nothing when no provider is configured.
///
/// @param patience with each answer
/// @throws std::runtime_error when the settings cannot be used
void CheckProvider(Findings& findings, std::chrono::milliseconds patience);

} // namespace VarnelBase
