#include "SessionSettings.h"

#include "RenewalRest.h"
#include "SettingSources.h"

namespace VarnelBase {

EnvConfig ReadHandlerConfig() {
    const SettingsReading reading;
    EnvConfig config;
    GetReadIdentity() = ReadIdentitySettings(config.GetEnvironment());
    return config;
}

IdentitySettings& GetReadIdentity() {
    thread_local IdentitySettings identity;
    return identity;
}

SessionSettings ReadSessionSettings(const EnvConfig& config, const std::string& authHost,
                                    const std::string& clientId, const std::string& clientSecret) {
    SessionSettings session;
    session.identity = ReadIdentitySettings(config.GetEnvironment());
    session.identity.authHost = authHost;
    session.identity.clientId = clientId;
    session.identity.clientSecret = clientSecret;
    session.client = {clientId, clientSecret, session.identity.caFile, GetRenewalDeadline()};
    session.file = LocateTokenFile(config, session.identity);
    return session;
}

} // namespace VarnelBase
