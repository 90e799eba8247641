#pragma once

#include <stdexcept>
#include <string>

namespace VarnelBase {

/// What somebody can do whose token is missing or is not accepted.
///
/// @throws std::runtime_error when the settings cannot be used
std::string AdviseSignIn();

/// Why there is no token, with the advice to sign in where that helps.
std::string DescribeMissingToken(const std::runtime_error& error);

} // namespace VarnelBase
