#include "DeviceLogin.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <thread>

#include "LoginGuide.h"
#include "TokenRequests.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

using Clock = std::chrono::steady_clock;

constexpr const char* DeviceGrant = "urn:ietf:params:oauth:grant-type:device_code";
constexpr std::chrono::seconds UsualInterval(
    5); ///< and what "slow_down" adds (RFC 8628, section 3.5)
constexpr std::chrono::seconds MaxSeconds(86400);

/// A code and what belongs to it.
struct DeviceSession {
    DeviceCode shown;
    std::string deviceCode;
    std::chrono::seconds interval{UsualInterval}; ///< between two questions
};

std::string FindCodeText(const json& document, const char* name) {
    const auto member = document.find(name);
    return member != document.end() && member->is_string() ? member->get<std::string>() : "";
}

std::chrono::seconds FindSeconds(const json& document, const char* name,
                                 std::chrono::seconds otherwise) {
    const auto member = document.find(name);
    if (member == document.end() || !member->is_number()) { return otherwise; }
    const auto max = static_cast<double>(MaxSeconds.count());
    return std::chrono::seconds(static_cast<long>(std::clamp(member->get<double>(), 1.0, max)));
}

DeviceSession RequestCode(const IdentityProvider& provider, const SessionSettings& settings) {
    const std::string where = provider.issuer + ": device authorization endpoint";
    if (provider.deviceEndpoint.empty()) {
        throw IdentityError(provider.issuer + ": does not offer sign-in on another device");
    }
    const std::string form = BuildForm({{"scope", settings.identity.scope}});
    const IdentityAnswer answer = SendForm(ParseIdentityUrl(provider.deviceEndpoint, where),
                                           provider, settings.client, form, where);
    if (answer.status >= 400 && answer.status < 500) {
        RequireConsent(provider.issuer, "signing in on another device", ReadRefusal(answer, form));
    }
    const json document = json::parse(answer.body, nullptr, false);
    DeviceSession session;
    if (answer.status == 200 && document.is_object()) {
        session.deviceCode = FindCodeText(document, "device_code");
        session.shown.code = CleanReason(FindCodeText(document, "user_code"), "");
        session.shown.address = CleanReason(FindCodeText(document, "verification_uri"), "");
        session.shown.completeAddress =
            CleanReason(FindCodeText(document, "verification_uri_complete"), "");
        session.shown.lifetime = FindSeconds(document, "expires_in", MaxSeconds);
        session.interval = FindSeconds(document, "interval", UsualInterval);
    }
    if (session.deviceCode.empty() || session.shown.code.empty() || session.shown.address.empty()) {
        throw IdentityError(where + ": answered with status " + std::to_string(answer.status) +
                            " and without a code");
    }
    return session;
}

} // namespace

TokenAnswer SignInOnDevice(const IdentityProvider& provider, const SessionSettings& settings) {
    const LoginGuide& guide = GuidedLogin::GetGuide();
    if (!guide.showCode) { throw IdentityError("the program has no way to show a code"); }
    DeviceSession session = RequestCode(provider, settings);
    const auto end = Clock::now() + session.shown.lifetime;
    guide.showCode(session.shown);
    while (Clock::now() + session.interval < end) {
        std::this_thread::sleep_for(session.interval);
        TokenAnswer answer;
        try {
            answer = RequestTokens(
                provider, settings.client,
                BuildForm({{"grant_type", DeviceGrant}, {"device_code", session.deviceCode}}));
        } catch (const IdentityError&) {
            session.interval += UsualInterval; // The provider may need rest.
            continue;
        }
        const std::string& error = answer.refusal.error;
        if (error.empty()) { return answer; }
        if (error == "slow_down") { session.interval += UsualInterval; }
        if (error == "expired_token") { break; }
        if (error != "slow_down" && error != "authorization_pending") {
            RequireConsent(provider.issuer, "signing in", answer.refusal);
        }
    }
    throw IdentityError(provider.issuer + ": nobody used the code within " +
                        std::to_string(session.shown.lifetime.count()) + " s: sign in again");
}

} // namespace VarnelBase
