#include "SignOut.h"

#include <stdexcept>

#include "EnvConfig.h"
#include "RefreshLock.h"
#include "SessionSettings.h"
#include "SettingSources.h"
#include "TokenRequests.h"
#include "TokenStore.h"

namespace VarnelBase {

namespace {

SignOutReport RevokeSession(const EnvConfig& config, const SessionSettings& session,
                            const TokenSet& tokens) {
    if (session.identity.authHost.empty()) { return {Revocation::NotOffered, ""}; }
    if (config.IsOffline()) { return {Revocation::Failed, "offline mode is on"}; }
    try {
        const std::string issuer = BuildIssuer(session.identity.authHost, config.GetAuthRealm());
        const IdentityProvider provider = DiscoverProvider(issuer, session.client);
        if (provider.revocationEndpoint.empty()) { return {Revocation::NotOffered, ""}; }
        const std::string where = issuer + ": revocation endpoint";
        const bool isRenewable = !tokens.refreshToken.empty();
        const std::string form =
            BuildForm({{"token", isRenewable ? tokens.refreshToken : tokens.accessToken},
                       {"token_type_hint", isRenewable ? "refresh_token" : "access_token"}});
        const IdentityAnswer answer = SendForm(ParseIdentityUrl(provider.revocationEndpoint, where),
                                               provider, session.client, form, where);
        if (answer.status != 200) {
            RequireConsent(issuer, "ending the session", ReadRefusal(answer, form));
        }
        return {Revocation::Revoked, ""};
    } catch (const std::runtime_error& error) { return {Revocation::Failed, error.what()}; }
}

} // namespace

SignOutReport SignOut() {
    const SettingsReading reading;
    const EnvConfig config;
    const IdentitySettings identity = ReadIdentitySettings(config.GetEnvironment());
    const SessionSettings session =
        ReadSessionSettings(config, identity.authHost, identity.clientId, identity.clientSecret);
    const RefreshLock lock(session.file); // A refresh must not bring back what is revoked.
    TokenStore store;
    const TokenSet tokens = store.Load();
    SignOutReport report;
    if (!tokens.accessToken.empty()) { report = RevokeSession(config, session, tokens); }
    store.Clear();
    return report;
}

} // namespace VarnelBase
