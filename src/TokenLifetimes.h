#pragma once

#include <string>

#include "AccessTokenClaims.h"

namespace VarnelBase {

/// Remembers in this process the lifetime in a token answer, which an opaque token does not state,
/// by the provider's clock.
void KeepTokenLifetime(const std::string& token, const TokenLifetime& lifetime);

/// The remembered lifetime of a token; empty if there is none.
TokenLifetime FindKeptLifetime(const std::string& token);

/// The lifetime that the token states, else the remembered one.
TokenLifetime FindTokenLifetime(const std::string& token);

} // namespace VarnelBase
