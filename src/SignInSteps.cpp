#include "SignInSteps.h"

#include <sys/stat.h>

#include <exception>
#include <stdexcept>

#include "EnvironmentVariable.h"
#include "IdentityRequest.h"
#include "KnownSettings.h"
#include "LoginGuide.h"
#include "ProviderClock.h"
#include "RenewalRest.h"
#include "SettingSources.h"
#include "SignInNeeded.h"
#include "TokenLifetimes.h"
#include "TokenStore.h"

namespace VarnelBase {

namespace {

/// @param refusal what the provider said to an attempt; empty: nothing was attempted
[[noreturn]] void AskForPerson(const std::string& issuer, const TokenFile& file,
                               const std::string& token, const std::string& refusal) {
    std::string message = "not signed in to " + issuer + ": call Login()";
    const std::string path = file.GetPath();
    struct stat status {};
    if (!refusal.empty()) {
        message += " (" + refusal + ")";
    } else if (token.empty() && IsStoreFile(file) && lstat(path.c_str(), &status) == 0) {
        message += " (" + path + " cannot be trusted as a token file)";
    }
    throw SignInNeeded(message);
}

/// What the settings, and the program that guides this thread's logins, say about the next step.
SignInState DescribeSettings(SignInPurpose purpose, const EnvConfig& config,
                             const std::string& authHost) {
    const LoginGuide& guide = GuidedLogin::GetGuide();
    const bool isPersonWanted =
        purpose != SignInPurpose::Key && (guide.isOnDevice || guide.isOtherUser);
    SignInState state;
    state.purpose = isPersonWanted ? SignInPurpose::Relogin : purpose;
    state.isLocal = config.GetEnvironment() == Environment::Local;
    state.hasProvider = !authHost.empty();
    state.isOffline = config.IsOffline();
    state.hasPassword = config.HasCredentials() && !isPersonWanted;
    return state;
}

} // namespace

TokenAge JudgeNow(const std::string& token) {
    if (token.empty()) { return TokenAge::Ended; }
    return JudgeToken(token, FindTokenLifetime(token), static_cast<double>(ReadProviderClock()));
}

bool IsWithoutSignIn(const EnvConfig& config, const std::string& authHost) {
    return ChooseStep(DescribeSettings(SignInPurpose::Key, config, authHost)) ==
           SignInStep::UseNothing;
}

bool CanDoWithoutPerson() {
    if (!ReadVariable(TokenVariable).empty()) { return true; }
    const SettingsReading reading;
    const EnvConfig config;
    SignInState state = DescribeSettings(SignInPurpose::Key, config,
                                         ReadIdentitySettings(config.GetEnvironment()).authHost);
    state.hasRefreshToken = !TokenStore().Load().refreshToken.empty();
    return NeedsNoPerson(state);
}

void TakeSteps(SignInPurpose purpose, const EnvConfig& config, const SessionSettings& session,
               const std::string& token, const std::string& refreshToken,
               const std::function<std::string(SignInStep)>& ask) {
    SignInState state = DescribeSettings(purpose, config, session.identity.authHost);
    state.age = JudgeNow(token);
    state.hasRefreshToken = !refreshToken.empty();
    const std::string path = session.file.GetPath();
    state.isResting = IsRenewalResting(path);
    const RenewalLimit limit(purpose == SignInPurpose::Key && state.age == TokenAge::Ending);
    const std::string issuer = BuildIssuer(session.identity.authHost, config.GetAuthRealm());
    std::exception_ptr failure;
    std::string refusal;
    while (true) {
        const SignInStep step = ChooseStep(state);
        switch (step) {
            case SignInStep::UseToken:
            case SignInStep::UseNothing:
                return;
            case SignInStep::NameNoProvider:
                RefuseWithoutProvider(config.GetEnvironment());
            case SignInStep::RefuseOffline:
                throw std::runtime_error("offline mode: nobody can sign in");
            case SignInStep::AskForOne:
                AskForPerson(issuer, session.file, token, refusal);
            case SignInStep::Fail:
                std::rethrow_exception(failure);
            case SignInStep::Person:
                ask(step);
                return;
            case SignInStep::Refresh:
            case SignInStep::Password:
                break;
        }
        Attempt& attempt = step == SignInStep::Refresh ? state.refresh : state.password;
        try {
            attempt = Attempt::Refused;
            if (!ask(step).empty()) {
                NoteRenewal(path);
                return;
            }
        } catch (const IdentityRefusal& error) {
            failure = std::current_exception();
            refusal = error.what();
            refusal.erase(0, refusal.rfind(issuer + ": ", 0) == 0 ? issuer.size() + 2 : 0);
        } catch (const std::runtime_error&) {
            failure = std::current_exception();
            attempt = Attempt::Failed;
        }
        NoteFailedRenewal(path);
        state.age = JudgeNow(token);
    }
}

void RequirePersonAllowed(const std::string& issuer) {
    const Setting setting{ReadVariable("VARNEL_NONINTERACTIVE"), "VARNEL_NONINTERACTIVE"};
    if (setting.text.empty() || !ParseFlag(setting)) { return; }
    throw std::runtime_error("signing in to " + issuer + ": " + WaysWithoutPerson);
}

void RefuseWithoutProvider(Environment environment) {
    throw std::runtime_error("no identity provider for " + NameEnvironment(environment) +
                             ": set VARNEL_AUTH_HOST, or a token in VARNEL_TOKEN");
}

} // namespace VarnelBase
