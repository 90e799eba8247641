#include <AuthHandler.h>
#include <EnvironmentVariable.h>
#include <IdentitySettings.h>
#include <KnownSettings.h>
#include <LoginGuide.h>
#include <SettingSources.h>
#include <SignOut.h>
#include <unistd.h>

#include <iostream>
#include <stdexcept>

#include "commands/Commands.h"
#include "output/ExitStatus.h"
#include "output/Terminal.h"
#include "session/SignInAdvice.h"
#include "session/TokenReport.h"

namespace VarnelBase {

namespace {

struct SignInOptions {
    bool isOnDevice = false;
    bool isOtherUser = false;
};

/// Environment, provider and what the token says.
json ReportIdentity(const std::string& token) {
    const EnvConfig config;
    const Environment environment = config.GetEnvironment();
    const IdentitySettings identity = ReadIdentitySettings(environment);
    json report = ReportToken(token, identity.groupsClaim);
    report["environment"] = NameEnvironment(environment);
    report["signedIn"] = !token.empty();
    if (!identity.authHost.empty()) {
        report["issuer"] = BuildIssuer(identity.authHost, config.GetAuthRealm());
    }
    return report;
}

/// Says on standard error what the person has to do, and notes why tokens were not stored.
LoginGuide MakeGuide(const Session& session, const SignInOptions& options, std::string& problem) {
    LoginGuide guide;
    guide.isOnDevice = options.isOnDevice;
    guide.isOtherUser = options.isOtherUser;
    guide.showAddress = [&session](const std::string& address) {
        session.Note("sign in with your browser, which may open by itself: " + address);
        session.Note("waiting for the browser (Ctrl-C cancels)");
    };
    // Without the code there is no way on, quiet or not.
    guide.showCode = [](const DeviceCode& code) {
        std::cerr << "varnel: open " << code.address
                  << " on any device and type this code: " << code.code << '\n';
        if (!code.completeAddress.empty()) {
            std::cerr << "varnel: or open " << code.completeAddress << '\n';
        }
        std::cerr << "varnel: waiting for you, " << code.lifetime.count() / 60
                  << " minutes at most (Ctrl-C cancels)" << std::endl;
    };
    guide.tellUnstored = [&problem](const std::string& reason) { problem = reason; };
    return guide;
}

void SignIn(Session& session, const SignInOptions& options) {
    const SettingsReading reading;
    if (options.isOtherUser && !EnvConfig().GetUsername().empty()) {
        throw CommandError(ExitStatus::Usage,
                           "--as-other-user: a user name is set: take it out of VARNEL_USERNAME or "
                           "the configuration file first");
    }
    std::string problem;
    const LoginGuide guide = MakeGuide(session, options, problem);
    const GuidedLogin guided(guide);
    std::string token;
    try {
        token = AuthHandler().Login();
    } catch (const std::runtime_error& error) {
        throw CommandError(ExitStatus::LoginNeeded, error.what());
    }
    if (!ReadVariable(TokenVariable).empty()) {
        session.Note("signing in is not needed: VARNEL_TOKEN is set");
    } else if (token.empty()) {
        session.Note(NameEnvironment(EnvConfig().GetEnvironment()) +
                     " needs no sign-in: authHost, the identity provider, is not set");
    }
    session.Print(ReportIdentity(token));
    if (!problem.empty()) {
        throw CommandError(ExitStatus::Refused,
                           "signed in, but only for this command: the tokens could not "
                           "be stored: " +
                               problem);
    }
}

void EndSession(Session& session) {
    const SignOutReport report = SignOut();
    switch (report.revocation) {
        case Revocation::NothingStored:
            session.Note("no token was stored");
            break;
        case Revocation::Revoked:
            session.Note("the session has ended, here and at the provider");
            break;
        case Revocation::NotOffered:
            session.Note(
                "the stored token is deleted; the provider offers no way to end the "
                "session there");
            break;
        case Revocation::Failed:
            session.Note(
                "the stored token is deleted, but the session continues at the provider: " +
                report.problem);
            break;
    }
    if (!ReadVariable(TokenVariable).empty()) {
        session.Note("the token in VARNEL_TOKEN is still used");
    }
}

/// The token; without one, throws with advice.
std::string FindToken() {
    try {
        return AuthHandler().GetApiKey();
    } catch (const std::runtime_error& error) {
        throw CommandError(ExitStatus::LoginNeeded, DescribeMissingToken(error));
    }
}

void PrintToken(Session& session) {
    const SettingsReading reading;
    const std::string token = FindToken();
    if (token.empty()) {
        throw CommandError(ExitStatus::LoginNeeded,
                           "there is no token: none is stored, and " +
                               NameEnvironment(EnvConfig().GetEnvironment()) +
                               " is offline or has no identity provider");
    }
    if (IsTerminal(STDOUT_FILENO)) {
        session.Note("whoever sees this token can act as you until it expires");
    }
    WriteOutput(token + "\n");
}

void ShowIdentity(Session& session) {
    const SettingsReading reading;
    session.Print(ReportIdentity(FindToken()));
}

} // namespace

void AddSignInCommands(CLI::App& root, Session& session) {
    const auto login = AddCommand<SignInOptions>(
        root, session, "login", "Sign in, and keep the token for the commands that follow", SignIn,
        {"varnel login", "varnel login --device"});
    login.app.add_flag("--device", login.options.isOnDevice,
                       "Sign in on another device, with a code that is shown here");
    login.app.add_flag("--as-other-user", login.options.isOtherUser,
                       "Ask who signs in, even if somebody is signed in already");
    AddCommand(root, session, "logout", "End the stored session, here and at the provider",
               EndSession, {"varnel logout"});
    AddCommand(root, session, "token", "Print the access token, for scripts", PrintToken,
               {"varnel token"});
    AddCommand(root, session, "whoami", "Show who the token says you are", ShowIdentity,
               {"varnel whoami", "varnel whoami --query /environment"});
}

} // namespace VarnelBase
