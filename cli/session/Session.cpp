#include "session/Session.h"

#include <EnvironmentVariable.h>
#include <KnownSettings.h>
#include <SettingSources.h>

#include <cstdlib>
#include <iostream>
#include <stdexcept>

#include "output/ExitStatus.h"
#include "output/Utf8Text.h"
#include "session/SignInAdvice.h"

namespace VarnelBase {

ApiConnector& Session::Connect() {
    if (connector) { return *connector; }
    capture.emplace();
    if (arguments.isQuiet) { capture->Silence(); }
    connector.emplace();
    if (!connector->IsOffline()) {
        try {
            connector->GetHostname();
        } catch (const std::runtime_error& error) {
            throw CommandError(ExitStatus::LoginNeeded, DescribeMissingToken(error));
        }
    }
    return *connector;
}

ApiConnector& Session::ConnectOnline() {
    ApiConnector& opened = Connect();
    if (!opened.IsOffline()) { return opened; }
    const auto origin = SettingSources().Find("offline", opened.GetEnvironment());
    throw CommandError(ExitStatus::Offline, "nothing was sent: offline mode is on" +
                                                (origin ? " (" + origin->origin + ")" : ""));
}

void Session::Print(const json& document) const {
    PrintDocument(document, arguments.output);
}

void Session::Note(const std::string& text) const {
    if (!arguments.isQuiet) { std::cerr << "varnel: " << MakePrintable(text) << std::endl; }
}

std::string AdviseSignIn() {
    return ReadVariable("VARNEL_TOKEN").empty() ? "sign in with: varnel login"
                                                : "put another token into VARNEL_TOKEN";
}

void ApplyEnvironmentOptions(const Arguments& arguments) {
    if (arguments.isOffline) { setenv("VARNEL_OFFLINE", "1", 1); }
    if (arguments.environment.empty()) { return; }

    const auto wanted = FindEnvironmentNamed(arguments.environment);
    if (!wanted) {
        throw CommandError(ExitStatus::Usage,
                           "--environment: known are local, staging and "
                           "production, not \"" +
                               arguments.environment + "\"");
    }
    const std::string current = ReadVariable("VARNEL_ENVIRONMENT");
    if (!current.empty() && FindEnvironmentNamed(current) != wanted) {
        for (const KnownSetting& setting : KnownSettings) {
            if (std::string(setting.name) != "offline") { unsetenv(setting.variable); }
        }
        unsetenv("VARNEL_TOKEN");
    }
    setenv("VARNEL_ENVIRONMENT", NameEnvironment(*wanted).c_str(), 1);
}

} // namespace VarnelBase
