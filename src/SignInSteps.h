#pragma once

#include <functional>
#include <string>

#include "EnvConfig.h"
#include "SessionSettings.h"
#include "SignInPlan.h"
#include "TokenFile.h"

namespace VarnelBase {

/// How much of a token's lifetime is left now.
TokenAge JudgeNow(const std::string& token);

/// What the settings, and the program that guides this thread's logins, say about the next step.
SignInState DescribeSettings(SignInPurpose purpose, const EnvConfig& config,
                             const std::string& authHost);

/// Adds what the tokens say, and how their last renewal went.
void DescribeTokens(SignInState& state, const std::string& token, const std::string& refreshToken,
                    const TokenFile& file);

/// Takes one step after another until one has brought a token or no other is left.
///
/// @param token the handler's own, which steps replace
/// @param ask   takes a step that asks the provider and returns the token that it has brought;
///              empty: none
/// @throws SignInNeeded when only a person can help
/// @throws std::runtime_error saying why there is no token
void TakeSteps(SignInState state, const EnvConfig& config, const SessionSettings& session,
               const std::string& token, const std::function<std::string(SignInStep)>& ask);

/// What somebody can do who has no browser, or must not wait for a person.
constexpr const char* WaysWithoutPerson =
    "set VARNEL_TOKEN, or VARNEL_USERNAME and VARNEL_PASSWORD";

/// Whether settings let a person be asked.
bool MayAskPerson();

/// Throws std::runtime_error naming the setting that is missing.
[[noreturn]] void RefuseWithoutProvider(Environment environment);

} // namespace VarnelBase
