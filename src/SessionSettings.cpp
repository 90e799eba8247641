#include "SessionSettings.h"

#include "RenewalRest.h"

namespace VarnelBase {

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
