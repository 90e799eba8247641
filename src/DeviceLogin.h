#pragma once

#include "IdentityProvider.h"
#include "SessionSettings.h"

namespace VarnelBase {

/// Has a person sign in on another device (RFC 8628): asks the provider for a code, shows it, and
/// waits until the person has used it or it has expired.
///
/// @throws IdentityError when the provider offers no such thing, nobody has used the code in time,
///         or the person refused
TokenAnswer SignInOnDevice(const IdentityProvider& provider, const SessionSettings& settings);

} // namespace VarnelBase
