#pragma once

#include <string>

namespace VarnelBase {

/// The token in VARNEL_TOKEN; empty when there is none. Clears the session's token if there is one:
/// it must not come back after a login, nor make this thread parse both with each request.
///
/// @throws std::runtime_error when it cannot be used, saying why
std::string TakeTokenVariable(std::string& sessionToken);

} // namespace VarnelBase
