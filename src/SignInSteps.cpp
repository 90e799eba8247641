#include "SignInSteps.h"

#include <sys/stat.h>

#include <exception>
#include <stdexcept>

#include "EnvironmentVariable.h"
#include "IdentityRequest.h"
#include "LoginGuide.h"
#include "ProviderClock.h"
#include "RenewalRest.h"
#include "SettingSources.h"
#include "SignInNeeded.h"
#include "TokenLifetimes.h"

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
        message += " (" + path + " is no token file that can be trusted)";
    }
    throw SignInNeeded(message);
}

} // namespace

TokenAge JudgeNow(const std::string& token) {
    if (token.empty()) { return TokenAge::Ended; }
    return JudgeToken(token, FindTokenLifetime(token), static_cast<double>(ReadProviderClock()));
}

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

void DescribeTokens(SignInState& state, const std::string& token, const std::string& refreshToken,
                    const TokenFile& file) {
    state.age = JudgeNow(token);
    state.hasRefreshToken = !refreshToken.empty();
    state.isResting = IsRenewalResting(file.GetPath());
}

void TakeSteps(SignInState state, const EnvConfig& config, const SessionSettings& session,
               const std::string& token, const std::function<std::string(SignInStep)>& ask) {
    const std::string issuer = BuildIssuer(session.identity.authHost, config.GetAuthRealm());
    const std::string path = session.file.GetPath();
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

bool MayAskPerson() {
    const std::string value = ReadVariable("VARNEL_NONINTERACTIVE");
    return value.empty() || !ParseFlag({value, "VARNEL_NONINTERACTIVE"});
}

void RefuseWithoutProvider(Environment environment) {
    throw std::runtime_error("no identity provider for " + NameEnvironment(environment) +
                             ": set VARNEL_AUTH_HOST, or a token in VARNEL_TOKEN");
}

} // namespace VarnelBase
