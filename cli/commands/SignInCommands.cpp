#include <EnvironmentVariable.h>
#include <IdentitySettings.h>
#include <SettingSources.h>

#include <stdexcept>

#include "CommandTree.h"
#include "commands/TokenReport.h"
#include "output/ExitStatus.h"

namespace VarnelBase {

namespace {

/// Environment, provider and what the token says; the connector has found a token.
json ReportIdentity(ApiConnector& connector, const std::string& token) {
    const Environment environment = connector.GetEnvironment();
    const IdentitySettings identity = ReadIdentitySettings(environment);
    json report = ReportToken(token, identity.groupsClaim);
    report["environment"] = NameEnvironment(environment);
    report["signedIn"] = !token.empty();
    if (!identity.authHost.empty()) {
        report["issuer"] = FindIssuer(identity.authHost, EnvConfig(environment).GetAuthRealm());
    }
    return report;
}

void SignIn(Session& session) {
    OutputCapture capture;
    if (session.arguments.isQuiet) { capture.Silence(); }
    ApiConnector connector;
    std::string token;
    try {
        token = connector.Login();
    } catch (const std::runtime_error& error) {
        throw CommandError(ExitStatus::LoginNeeded, error.what());
    }
    if (token.empty()) {
        session.Note(NameEnvironment(connector.GetEnvironment()) +
                     " has no identity provider: nothing to sign in to");
    }
    session.Print(ReportIdentity(connector, token));
}

void SignOut(Session& session) {
    TokenStore().Clear();
    session.Note("the stored token is forgotten");
    if (!ReadVariable("VARNEL_TOKEN").empty()) {
        session.Note("the token in VARNEL_TOKEN still counts");
    }
}

void ShowIdentity(Session& session) {
    ApiConnector& connector = session.Connect();
    session.Print(ReportIdentity(connector, connector.GetApiKey()));
}

} // namespace

void AddSignInCommands(CLI::App& root, Session& session) {
    AddCommand(root, session, "login", "Sign in, and keep the token for the commands that follow",
               SignIn, {"varnel login"});
    AddCommand(root, session, "logout", "Forget the stored token", SignOut, {"varnel logout"});
    AddCommand(root, session, "whoami", "Show who the token says you are", ShowIdentity,
               {"varnel whoami", "varnel whoami --query /environment"});
}

} // namespace VarnelBase
