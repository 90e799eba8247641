#include "session/Session.h"

#include <EnvironmentVariable.h>
#include <KnownSettings.h>
#include <SettingSources.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "output/ExitStatus.h"
#include "session/SignInAdvice.h"
#include "session/Verdict.h"

namespace VarnelBase {

namespace {

constexpr const char* TlsVariable = "VARNEL_API_TLS";

} // namespace

std::chrono::milliseconds MakeDuration(double seconds) {
    return std::chrono::milliseconds(std::llround(seconds * 1000));
}

ServiceClient& Session::GetClient() {
    if (client) { return *client; }
    ClientOptions wanted;
    wanted.tls = UsesTls();
    wanted.maxAttempts = options.retries + 1;
    wanted.observer = [this](const AttemptReport& attempt) {
        hasSent = hasSent || attempt.sent != SentState::NotSent;
    };
    if (options.timeoutSeconds) {
        wanted.timeout = MakeDuration(*options.timeoutSeconds);
        wanted.projectTimeout = wanted.timeout;
        wanted.connectTimeout = std::min(wanted.connectTimeout, wanted.timeout);
    }
    return client.emplace(wanted);
}

bool Session::UsesTls() const {
    const std::string variable = ReadVariable(TlsVariable);
    return options.isTls || (!variable.empty() && ParseFlag({variable, TlsVariable}));
}

Outcome Session::Send(const std::string& method, const std::string& target,
                      const std::optional<std::string>& body) {
    CallOptions call;
    if (deadline) {
        const auto usual = options.timeoutSeconds ? MakeDuration(*options.timeoutSeconds)
                                                  : ClientOptions().timeout;
        call.timeout = std::clamp(ComputeTimeLeft(), std::chrono::milliseconds(1), usual);
    }
    return GetClient().Send(method, target, body, call);
}

void Session::LimitTime(double seconds) {
    deadline = std::chrono::steady_clock::now() + MakeDuration(seconds);
}

std::chrono::milliseconds Session::ComputeTimeLeft() const {
    return deadline ? std::chrono::duration_cast<std::chrono::milliseconds>(
                          *deadline - std::chrono::steady_clock::now())
                    : std::chrono::milliseconds::max();
}

std::string Session::Read(const std::string& target) {
    return RequireDocument("GET " + target, Send("GET", target));
}

std::string Session::FormatUrl(const std::string& target) {
    const std::string host = BuildHost();
    const std::string name = host.find(':') == std::string::npos ? host : "[" + host + "]";
    return (UsesTls() ? "https://" : "http://") + name + ":" +
           std::to_string(GetClient().GetPort()) + target;
}

std::string Session::FormatPageUrl(const std::string& path) {
    return "https://" + BuildHost() + path;
}

std::string Session::BuildHost() {
    ServiceClient& used = GetClient();
    try {
        return used.GetHostname();
    } catch (const std::runtime_error& error) {
        throw CommandError(ExitStatus::LoginNeeded, DescribeMissingToken(error));
    }
}

void Session::Print(const json& document) const {
    Print(document.dump());
}

void Session::Note(const std::string& text) const {
    if (!options.isQuiet) { WriteMessage(text); }
}

void ApplyEnvironmentOptions(const CommonOptions& options) {
    if (options.isOffline) { setenv("VARNEL_OFFLINE", "1", 1); }
    if (options.environment.empty()) { return; }

    const auto wanted = FindEnvironmentNamed(options.environment);
    if (!wanted) {
        throw CommandError(ExitStatus::Usage,
                           "--environment: must be local, staging or "
                           "production, not \"" +
                               options.environment + "\"");
    }
    const std::string current = ReadVariable("VARNEL_ENVIRONMENT");
    if (!current.empty() && FindEnvironmentNamed(current) != wanted) {
        for (const KnownSetting& setting : KnownSettings) {
            if (std::string(setting.name) != "offline") { unsetenv(setting.variable); }
        }
        unsetenv(TokenVariable);
    }
    setenv("VARNEL_ENVIRONMENT", NameEnvironment(*wanted).c_str(), 1);
}

} // namespace VarnelBase
