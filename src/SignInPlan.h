#pragma once

#include <chrono>
#include <string>

#include "AccessTokenClaims.h"

namespace VarnelBase {

/// What decides how a token is come by: pure functions of tokens, settings and time.

/// How much is left of a token's lifetime.
enum class TokenAge {
    Fresh,  ///< good for use
    Ending, ///< good for use, but time to renew it: within 30 s of its end, or a tenth of its
            ///< lifetime if that is less
    Ended,  ///< over, or there is no token
};

/// @param now the provider's time
TokenAge JudgeToken(const std::string& token, const TokenLifetime& lifetime, double now);

/// What somebody has asked for.
enum class SignInPurpose {
    Key,     ///< a token, without a person
    Login,   ///< new tokens, with a person if need be
    Relogin, ///< the same, without the session there is
};

/// What became of a request to the provider.
enum class Attempt {
    None,
    Refused, ///< the provider said no
    Failed,  ///< it could not be asked, or its answer was of no use
};

/// All that the next step depends on.
struct SignInState {
    SignInPurpose purpose = SignInPurpose::Key;

    // Settings
    bool isLocal = false;
    bool hasProvider = false;
    bool isOffline = false;
    bool hasPassword = false;

    // Tokens
    TokenAge age = TokenAge::Ended;
    bool hasRefreshToken = false;

    // What was tried
    bool isResting = false; ///< a renewal has failed a moment ago
    Attempt refresh = Attempt::None;
    Attempt password = Attempt::None;
};

enum class SignInStep {
    UseToken,       ///< as it is, even if it is empty
    UseNothing,     ///< signing in is not needed here
    NameNoProvider, ///< an error: no provider is configured
    RefuseOffline,  ///< an error: nobody can sign in offline
    Refresh,
    Password,
    Person,    ///< in the browser or on another device
    AskForOne, ///< an error: only a person can help
    Fail,      ///< the error of the last attempt
};

SignInStep ChooseStep(const SignInState& state);

/// Whether those settings and tokens let `ChooseStep` end without a person.
bool NeedsNoPerson(const SignInState& state);

/// How long no operation tries again to renew a token that is still good, after so many failures in
/// a row: 5 s, 10, 20, then 30.
std::chrono::seconds ChooseRest(int failures);

} // namespace VarnelBase
