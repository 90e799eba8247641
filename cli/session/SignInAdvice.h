#pragma once

#include <stdexcept>
#include <string>

namespace VarnelBase {

/// What somebody can do whose token is missing or is not accepted.
///
/// @throws std::runtime_error when the settings cannot be used
std::string AdviseSignIn();

/// What to do about a missing token; empty where signing in does not help.
std::string AdviseForToken(const std::runtime_error& error);

/// Why there is no token, with that advice.
std::string DescribeMissingToken(const std::runtime_error& error);

} // namespace VarnelBase
