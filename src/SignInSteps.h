#pragma once

#include <functional>
#include <string>

#include "EnvConfig.h"
#include "SessionSettings.h"
#include "SignInPlan.h"

namespace VarnelBase {

/// How much of a token's lifetime is left now.
TokenAge JudgeNow(const std::string& token);

/// Whether signing in is not needed there: in `Local` without an identity provider.
bool IsWithoutSignIn(const EnvConfig& config, const std::string& authHost);

/// Takes one step after another until one has brought a token or no other is left.
///
/// @param token,refreshToken the handler's own, loaded from the store; steps replace them
/// @param ask takes a step that asks the provider and returns the token that it has brought; empty:
///            none
/// @throws SignInNeeded when only a person can help
/// @throws std::runtime_error saying why there is no token
void TakeSteps(SignInPurpose purpose, const EnvConfig& config, const SessionSettings& session,
               const std::string& token, const std::string& refreshToken,
               const std::function<std::string(SignInStep)>& ask);

/// Whether `Login` can do without a person (see AuthHandler).
bool CanDoWithoutPerson();

/// What somebody can do who has no browser, or must not wait for a person.
constexpr const char* WaysWithoutPerson =
    "set VARNEL_TOKEN, or VARNEL_USERNAME and VARNEL_PASSWORD";

/// Throws std::runtime_error where the settings do not let a person be asked.
void RequirePersonAllowed(const std::string& issuer);

/// Throws std::runtime_error naming the setting that is missing.
[[noreturn]] void RefuseWithoutProvider(Environment environment);

} // namespace VarnelBase
