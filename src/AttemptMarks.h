#pragma once

#include <chrono>
#include <string>

#include "TokenFile.h"

namespace VarnelBase {

/// What must not be tried again yet, noted for every process to see in the directory of the tokens;
/// what can be noted nowhere else is known only to this process.

/// Notes that the provider has just refused the password.
void MarkPasswordRefused(const TokenFile& tokenFile);

/// Whether the password was refused less than a minute ago. Providers lock accounts whose password
/// is wrong again and again.
bool WasPasswordJustRefused(const TokenFile& tokenFile);

/// Notes for how long a server wants to be asked nothing more; no longer than an hour counts.
void MarkServerPause(const std::string& server, std::chrono::seconds pause);

/// How much of that is left; none: it may be asked.
std::chrono::seconds ReadServerPause(const std::string& server);

} // namespace VarnelBase
