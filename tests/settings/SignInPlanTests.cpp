#include "SignInPlan.h"

#include <gtest/gtest.h>

#include <tuple>
#include <vector>

namespace VarnelBase {

TEST(SignInPlan, JudgesATokenByItsLifetime) {
    const std::tuple<const char*, TokenLifetime, double, TokenAge> cases[] = {
        {"", {}, 0, TokenAge::Ended},
        {"", {1000, 2000}, 1000, TokenAge::Ended},
        {"t", {}, 1e12, TokenAge::Fresh},
        {"t", {1000, {}}, 1e12, TokenAge::Fresh},
        {"t", {{}, 2000}, 1969.9, TokenAge::Fresh},
        {"t", {{}, 2000}, 1970, TokenAge::Ending},
        {"t", {1000, 2000}, 1970, TokenAge::Ending},
        {"t", {1990, 2000}, 1998.9, TokenAge::Fresh},
        {"t", {1990, 2000}, 1999, TokenAge::Ending},
        {"t", {3000, 2000}, 1999.9, TokenAge::Fresh},
        {"t", {1000, 2000}, 2000, TokenAge::Ended},
        {"t", {1000, 2000}, 0, TokenAge::Fresh},
    };
    for (const auto& [token, lifetime, now, age] : cases) {
        EXPECT_EQ(JudgeToken(token, lifetime, now), age)
            << token << " " << now << " of " << lifetime.expiry.value_or(-1);
    }
}

namespace {

constexpr auto Key = SignInPurpose::Key;
constexpr auto Login = SignInPurpose::Login;
constexpr auto Relogin = SignInPurpose::Relogin;
constexpr auto None = Attempt::None;
constexpr auto Refused = Attempt::Refused;
constexpr auto Failed = Attempt::Failed;

/// @param settings p: a provider, l: local, o: offline, w: a password, r: a refresh token,
///                 z: a renewal has failed a moment ago
SignInState MakeState(SignInPurpose purpose, const std::string& settings, TokenAge age,
                      Attempt refresh, Attempt password) {
    const auto has = [&settings](char c) { return settings.find(c) != std::string::npos; };
    SignInState state;
    state.purpose = purpose;
    state.hasProvider = has('p');
    state.isLocal = has('l');
    state.isOffline = has('o');
    state.hasPassword = has('w');
    state.hasRefreshToken = has('r');
    state.isResting = has('z');
    state.age = age;
    state.refresh = refresh;
    state.password = password;
    return state;
}

} // namespace

TEST(SignInPlan, ChoosesTheNextStep) {
    using Step = SignInStep;
    using Age = TokenAge;
    // clang-format off
    // With the attempts to refresh and to use the password.
    const std::tuple<SignInPurpose, const char*, Age, Attempt, Attempt, Step> cases[] = {
        // Nobody is to sign in, or nobody can.
        {Key, "l", Age::Ended, None, None, Step::UseNothing},
        {Login, "low", Age::Ended, None, None, Step::UseNothing},
        {Relogin, "lo", Age::Ended, None, None, Step::UseNothing},
        {Key, "", Age::Fresh, None, None, Step::NameNoProvider},
        {Login, "wr", Age::Ended, None, None, Step::NameNoProvider},
        {Key, "o", Age::Ended, None, None, Step::UseToken},
        {Login, "powr", Age::Ended, None, None, Step::UseToken},
        {Relogin, "powr", Age::Fresh, None, None, Step::RefuseOffline},
        // A token without a person.
        {Key, "pwr", Age::Fresh, None, None, Step::UseToken},
        {Key, "pwr", Age::Ending, None, None, Step::Refresh},
        {Key, "pwrz", Age::Ending, None, None, Step::UseToken},
        {Key, "plrz", Age::Ended, None, None, Step::Refresh},
        {Key, "pwr", Age::Ended, Refused, None, Step::Password},
        {Key, "pwr", Age::Ended, Failed, None, Step::Fail},
        {Key, "pwr", Age::Ending, Failed, None, Step::UseToken},
        {Key, "pw", Age::Ending, None, None, Step::Password},
        {Key, "pwr", Age::Ending, Refused, Refused, Step::UseToken},
        {Key, "pwr", Age::Ended, Refused, Failed, Step::Fail},
        {Key, "pr", Age::Ended, Refused, None, Step::AskForOne},
        {Key, "p", Age::Ending, None, None, Step::UseToken},
        {Key, "p", Age::Ended, None, None, Step::AskForOne},
        // New tokens, with a person if need be.
        {Login, "pwr", Age::Fresh, None, None, Step::Refresh},
        {Login, "pwrz", Age::Ending, None, None, Step::Refresh},
        {Login, "pwr", Age::Fresh, Failed, None, Step::Password},
        {Login, "pr", Age::Fresh, Refused, None, Step::Person},
        {Login, "pw", Age::Fresh, None, Refused, Step::Fail},
        {Relogin, "pwr", Age::Fresh, None, None, Step::Password},
        {Relogin, "pr", Age::Fresh, None, None, Step::Person},
        {Relogin, "pw", Age::Ended, None, Failed, Step::Fail},
    };
    // clang-format on
    for (const auto& [purpose, settings, age, refresh, password, step] : cases) {
        const SignInState state = MakeState(purpose, settings, age, refresh, password);
        EXPECT_EQ(ChooseStep(state), step) << settings << " of age " << static_cast<int>(age);
    }
    for (const auto& [settings, isFree] : std::vector<std::pair<const char*, bool>>{
             {"l", true}, {"p", false}, {"pl", false}, {"po", true}, {"pw", true}, {"pr", true}}) {
        EXPECT_EQ(NeedsNoPerson(MakeState(Key, settings, Age::Ended, None, None)), isFree)
            << settings;
    }
}

TEST(SignInPlan, RestsLongerAfterEachFailure) {
    int failures = 0;
    for (const int seconds : {5, 10, 20, 30, 30}) {
        EXPECT_EQ(ChooseRest(++failures).count(), seconds);
    }
}

} // namespace VarnelBase
