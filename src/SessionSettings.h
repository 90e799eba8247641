#pragma once

#include <string>

#include "EnvConfig.h"
#include "IdentityProvider.h"
#include "IdentitySettings.h"
#include "TokenFile.h"

namespace VarnelBase {

/// What one operation of a handler works with.
struct SessionSettings {
    IdentitySettings identity;
    IdentityClient client;
    TokenFile file;
};

/// The settings of a handler that this thread is constructing. The rest of them, from the same
/// reading of the file, is in `GetReadIdentity()` from then on.
///
/// @throws what reading the settings throws (see EnvConfig)
EnvConfig ReadHandlerConfig();
IdentitySettings& GetReadIdentity();

/// A handler's settings: what it has read when it was constructed, and the rest as it is now.
///
/// @throws what reading the settings throws (see ReadIdentitySettings)
SessionSettings ReadSessionSettings(const EnvConfig& config, const std::string& authHost,
                                    const std::string& clientId, const std::string& clientSecret);

} // namespace VarnelBase
