#include "doctor/ProviderCheck.h"

#include <CryptoText.h>
#include <SessionSettings.h>
#include <SettingSources.h>

#include <stdexcept>

#include "doctor/ClockCheck.h"

namespace VarnelBase {

namespace {

constexpr int AnyPort = 53682; ///< asked about where the settings leave the port open

/// The error in the address that a provider sends a browser back to; empty: none.
std::string FindRedirectError(const std::string& location) {
    for (const char* name : {"?error=", "&error="}) {
        const std::size_t begin = location.find(name);
        if (begin == std::string::npos) { continue; }
        const std::string value = location.substr(begin + std::string(name).size());
        return NameErrorCode(value.substr(0, value.find_first_of("&#")));
    }
    return "";
}

/// Asks for a code without a person, which a provider refuses only once it knows the client and the
/// redirect (OpenID Connect Core 1.0, section 3.1.2.6).
void CheckRedirect(Findings& findings, const IdentityProvider& provider,
                   const SessionSettings& session) {
    const PortRanges& ports = session.identity.callbackPorts;
    const std::string redirect =
        "http://127.0.0.1:" + std::to_string(ports.empty() ? AnyPort : ports.front().first) +
        "/callback";
    const std::string advice =
        "register client \"" + session.client.id + "\" with the redirect " + redirect +
        (ports.empty() ? ", or set callbackPorts to ports that are registered" : "");
    IdentityRequest request;
    request.caFile = session.client.caFile;
    request.deadline = session.client.deadline;
    request.url = ParseIdentityUrl(
        BuildAuthorizationUrl(provider, BuildForm({{"response_type", "code"},
                                                   {"client_id", session.client.id},
                                                   {"redirect_uri", redirect},
                                                   {"scope", session.identity.scope},
                                                   {"state", MakeRandomText()},
                                                   {"nonce", MakeRandomText()},
                                                   {"code_challenge", MakeRandomText()},
                                                   {"code_challenge_method", "S256"},
                                                   {"prompt", "none"}})),
        "authorization_endpoint");
    const IdentityAnswer answer = SendIdentityRequest(request);
    const std::string check = "client and redirect";
    const std::string error = FindRedirectError(answer.location);
    if (answer.location.rfind(redirect, 0) == 0) {
        const bool isForPerson = error.empty() || error == "login_required" ||
                                 error == "interaction_required" || error == "consent_required" ||
                                 error == "account_selection_required";
        findings.Add(check, isForPerson ? "accepted" : "refused (" + error + ")",
                     isForPerson ? "" : advice + ", and check scope");
    } else if (answer.status >= 400 || !error.empty()) {
        findings.Add(check, "not accepted (status " + std::to_string(answer.status) + ")", advice);
    } else {
        findings.Add(check, "the provider shows a page, which only a person can judge");
    }
}

/// Offers a code that cannot be one, which a provider refuses as a code only once it knows the
/// client.
void CheckClient(Findings& findings, const IdentityProvider& provider,
                 const SessionSettings& session) {
    const TokenAnswer answer = RequestTokens(provider, session.client,
                                             BuildForm({{"grant_type", "authorization_code"},
                                                        {"code", MakeRandomText()},
                                                        {"redirect_uri", "http://127.0.0.1/"},
                                                        {"code_verifier", MakeRandomText()}}));
    const std::string& error = answer.refusal.error;
    const bool isUnknown =
        error == "invalid_client" || error == "unauthorized_client" || error == "status 401";
    findings.Add("client's authentication", isUnknown ? "refused (" + error + ")" : "not refused",
                 isUnknown ? "check clientId and clientSecret" : "");
}

} // namespace

void CheckProvider(Findings& findings, std::chrono::milliseconds patience) {
    const SettingsReading reading;
    const EnvConfig config;
    const IdentitySettings identity = ReadIdentitySettings(config.GetEnvironment());
    if (identity.authHost.empty()) { return; }
    SessionSettings session =
        ReadSessionSettings(config, identity.authHost, identity.clientId, identity.clientSecret);
    const auto limitTime = [&] {
        session.client.deadline = std::chrono::steady_clock::now() + patience;
    };
    try {
        limitTime();
        const IdentityProvider provider =
            DiscoverProvider(BuildIssuer(identity.authHost, config.GetAuthRealm()), session.client);
        findings.Add("identity provider", provider.issuer + " answers");
        CheckClock(findings, provider.date, "provider");
        findings.Add("sign-in",
                     std::string("browser") +
                         (provider.deviceEndpoint.empty() ? "" : ", other device") +
                         (provider.revocationEndpoint.empty() ? "" : "; sessions can be ended"));
        limitTime();
        CheckRedirect(findings, provider, session);
        limitTime();
        CheckClient(findings, provider, session);
    } catch (const std::runtime_error& error) {
        findings.Add("identity provider", error.what(),
                     "check authHost, authRealm, caFile and the network");
    }
}

} // namespace VarnelBase
