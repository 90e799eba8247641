#pragma once

#include <string>

#include "IdentityProvider.h"

namespace VarnelBase {

/// Has a person sign in at another device (RFC 8628): asks the provider for a code, shows it, and
/// waits until the person has used it or it has expired.
///
/// @throws IdentityError when the provider offers no such thing, nobody has used the code in time,
///         or the person refused
TokenAnswer SignInOnDevice(const IdentityProvider& provider, const IdentityClient& client,
                           const std::string& scope);

} // namespace VarnelBase
