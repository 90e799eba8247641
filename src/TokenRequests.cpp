#include "TokenRequests.h"

#include "AccessTokenClaims.h"
#include "AttemptMarks.h"
#include "RenewalRest.h"

namespace VarnelBase {

namespace {

/// Takes the last field off a form.
std::string TakeLastValue(std::string& form) {
    const std::size_t field = form.rfind('&');
    std::string value = form.substr(form.find('=', field) + 1);
    form.erase(field);
    return value;
}

} // namespace

TokenAnswer RequestByCode(const SessionSettings& session, const std::string& issuer,
                          std::string form) {
    const std::string nonce = TakeLastValue(form);
    const IdentityProvider provider = DiscoverProvider(issuer, session.client);
    TokenAnswer answer = RequestTokens(provider, session.client, form);
    RequireConsent(issuer, "signing in", answer.refusal);
    if (!answer.idToken.empty() && ReadTextClaim(answer.idToken, "nonce") != nonce) {
        throw IdentityError(issuer + ": answered with the ID token of another login");
    }
    return answer;
}

TokenAnswer RequestByRefresh(const SessionSettings& session, const std::string& issuer,
                             const std::string& refreshToken) {
    const IdentityProvider provider = DiscoverProvider(issuer, session.client);
    if (IsTooLateToRefresh()) {
        throw IdentityError(issuer + ": answers too slowly to renew the token before it expires");
    }
    TokenAnswer answer = RequestTokens(
        provider, session.client,
        BuildForm({{"grant_type", "refresh_token"}, {"refresh_token", refreshToken}}));
    RequireConsent(issuer, "renewing the token", answer.refusal);
    if (answer.refreshToken.empty()) { answer.refreshToken = refreshToken; }
    return answer;
}

TokenAnswer RequestByPassword(const SessionSettings& session, const std::string& issuer,
                              const EnvConfig& config) {
    if (WasPasswordJustRefused(session.file)) {
        throw IdentityRefusal(issuer +
                                  ": the password was refused less than a minute ago and is not "
                                  "tried again yet: check VARNEL_USERNAME and VARNEL_PASSWORD",
                              false);
    }
    const IdentityProvider provider = DiscoverProvider(issuer, session.client);
    TokenAnswer answer = RequestTokens(provider, session.client,
                                       BuildForm({{"grant_type", "password"},
                                                  {"username", config.GetUsername()},
                                                  {"password", config.GetPassword()},
                                                  {"scope", session.identity.scope}}));
    if (!answer.refusal.error.empty() && !IsAboutClient(answer.refusal)) {
        MarkPasswordRefused(session.file);
    }
    RequireConsent(issuer, "the password", answer.refusal);
    return answer;
}

void RequireConsent(const std::string& issuer, const std::string& what, const Refusal& refusal) {
    if (refusal.error.empty()) { return; }
    throw IdentityRefusal(issuer + ": " + DescribeRefusal(what, refusal),
                          refusal.error == "invalid_grant");
}

} // namespace VarnelBase
