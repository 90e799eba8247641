#include "SignInPlan.h"

#include <algorithm>
#include <array>

namespace VarnelBase {

namespace {

constexpr double MaxLeewaySeconds = 30;

constexpr std::array<int, 4> RestSeconds{5, 10, 20, 30};

} // namespace

TokenAge JudgeToken(const std::string& token, const TokenLifetime& lifetime, double now) {
    if (token.empty()) { return TokenAge::Ended; }
    if (!lifetime.expiry) { return TokenAge::Fresh; }
    double leeway = MaxLeewaySeconds;
    if (lifetime.issuedAt) {
        leeway = std::clamp((*lifetime.expiry - *lifetime.issuedAt) / 10, 0.0, MaxLeewaySeconds);
    }
    if (now < *lifetime.expiry - leeway) { return TokenAge::Fresh; }
    return now < *lifetime.expiry ? TokenAge::Ending : TokenAge::Ended;
}

SignInStep ChooseStep(const SignInState& state) {
    const bool isForKey = state.purpose == SignInPurpose::Key;
    const bool isRelogin = state.purpose == SignInPurpose::Relogin;
    if (!state.hasProvider && state.isLocal) { return SignInStep::UseNothing; }
    if (state.isOffline && !isRelogin) { return SignInStep::UseToken; }
    if (!state.hasProvider) { return SignInStep::NameNoProvider; }
    if (state.isOffline) { return SignInStep::RefuseOffline; }

    const bool isGood = state.age != TokenAge::Ended;
    if (isForKey && (state.age == TokenAge::Fresh || (isGood && state.isResting))) {
        return SignInStep::UseToken;
    }
    if (state.hasRefreshToken && state.refresh == Attempt::None && !isRelogin) {
        return SignInStep::Refresh;
    }
    // A provider that cannot be asked is asked once only, unless somebody waits for it.
    const bool isUnreachable = isForKey && state.refresh == Attempt::Failed;
    if (state.hasPassword && state.password == Attempt::None && !isUnreachable) {
        return SignInStep::Password;
    }
    if (isForKey && isGood) { return SignInStep::UseToken; }
    if (state.password != Attempt::None || isUnreachable) { return SignInStep::Fail; }
    return isForKey ? SignInStep::AskForOne : SignInStep::Person;
}

bool NeedsNoPerson(const SignInState& state) {
    return (!state.hasProvider && state.isLocal) || state.isOffline || state.hasPassword ||
           state.hasRefreshToken;
}

std::chrono::seconds ChooseRest(int failures) {
    const auto last = static_cast<int>(RestSeconds.size());
    return std::chrono::seconds(
        RestSeconds.at(static_cast<std::size_t>(std::clamp(failures, 1, last) - 1)));
}

} // namespace VarnelBase
