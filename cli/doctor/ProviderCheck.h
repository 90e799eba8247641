#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace VarnelBase {

/// One answer about the identity provider.
struct ProviderFinding {
    std::string check;
    std::string found;
    std::string advice; ///< what to do about it; empty: all is well
};

/// Asks the configured provider, without any person: whether it can be reached and describes
/// itself, what it offers, how far the clocks are apart, and whether it knows the client and the
/// redirect as far as it tells. Nothing when no provider is configured.
///
/// @param patience with each answer
/// @throws std::runtime_error when the settings cannot be used
std::vector<ProviderFinding> CheckProvider(std::chrono::milliseconds patience);

} // namespace VarnelBase
