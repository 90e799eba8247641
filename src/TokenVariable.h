#pragma once

#include <string>

namespace VarnelBase {

/// The token in VARNEL_TOKEN; empty if not set. If set, clears the session's token, which must not
/// return after a login, nor make this thread parse both on each request.
///
/// @throws std::runtime_error when it is unusable, saying why
std::string TakeTokenVariable(std::string& sessionToken);

} // namespace VarnelBase
