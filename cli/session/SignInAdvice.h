#pragma once

#include <stdexcept>
#include <string>

namespace VarnelBase {

/// Why there is no token, with the advice to sign in where that helps.
std::string DescribeMissingToken(const std::runtime_error& error);

} // namespace VarnelBase
