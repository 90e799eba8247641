#pragma once

#include <string>

#include "AccessTokenClaims.h"

namespace VarnelBase {

/// Keeps for this process what a token answer said about a token's lifetime, which an opaque token
/// does not say itself. By the provider's clock.
void KeepTokenLifetime(const std::string& token, const TokenLifetime& lifetime);

/// What was kept about a token; nothing: nothing was.
TokenLifetime FindKeptLifetime(const std::string& token);

/// The lifetime that the token itself states, else the one that was kept.
TokenLifetime FindTokenLifetime(const std::string& token);

} // namespace VarnelBase
