#include "doctor/Doctor.h"

#include <AccessTokenClaims.h>
#include <AuthHandler.h>
#include <ConfigFile.h>
#include <EnvironmentVariable.h>
#include <IdentitySettings.h>
#include <JsonView.h>
#include <OperationTable.h>
#include <SettingSources.h>
#include <sys/stat.h>

#include <chrono>
#include <stdexcept>

#include "doctor/ClockCheck.h"
#include "doctor/Findings.h"
#include "doctor/ProviderCheck.h"
#include "doctor/ServiceProbe.h"
#include "session/SettingReport.h"
#include "session/SignInAdvice.h"
#include "session/TokenReport.h"
#include "session/Verdict.h"

namespace VarnelBase {

namespace {

constexpr std::chrono::seconds SlowConnecting{1};
constexpr double UsualTimeoutSeconds = 10;

/// What the questions have found out for the following ones.
struct Facts {
    Environment environment = Environment::Local;
    std::string apiHost;
    unsigned int apiPort = 0;
    bool isTls = false;
    bool hasToken = false; ///< or needs none
    std::string group;     ///< in front of the host
    std::string date;      ///< of the service's answer

    std::string GetHost() const { return group.empty() ? apiHost : group + "." + apiHost; }
};

void CheckConfigFile(Findings& findings) {
    const std::string path = LocateConfigFile();
    struct stat status {};
    if (path.empty()) {
        findings.Add("configuration file", "none: HOME is not set",
                     "set VARNEL_CONFIG, unless variables hold every setting");
    } else if (stat(path.c_str(), &status) != 0) {
        findings.Add("configuration file", "none: " + path + " does not exist",
                     "write one with \"varnel config init\", unless variables hold every setting");
    } else if (S_ISREG(status.st_mode) && (status.st_mode & 022U) != 0) {
        findings.Add("configuration file", path + " can be changed by others", "chmod 600 " + path);
    } else if (S_ISREG(status.st_mode)) {
        findings.Add("configuration file", path);
    }
}

/// Whether there are settings that can be used.
bool CheckSettings(const Session& session, Findings& findings, Facts& facts) {
    try {
        CheckConfigFile(findings);
        const EnvConfig config;
        for (const ReportedSetting& setting : ReportSettings(config)) {
            findings.Add(setting.name, setting.value.empty()
                                           ? "not set"
                                           : setting.value + " (" + setting.source + ")");
        }
        facts.environment = config.GetEnvironment();
        facts.apiHost = config.GetApiHost();
        facts.apiPort = config.GetApiPort();
        facts.isTls = session.UsesTls();
        return true;
    } catch (const std::runtime_error& error) {
        findings.Fail(ExitStatus::Usage, "settings", error.what(),
                      "correct it; \"varnel config init\" writes a file to start from");
        return false;
    }
}

/// The address without what stands in front of "@".
std::string HideCredentials(const std::string& address) {
    const std::size_t begin = address.find("//");
    const std::size_t at = address.rfind('@');
    if (at == std::string::npos) { return address; }
    return (begin == std::string::npos ? "" : address.substr(0, begin + 2)) + "(redacted)" +
           address.substr(at);
}

/// Variables that lead requests elsewhere, which the service's host then never sees.
void CheckProxies(Findings& findings) {
    for (const char* name :
         {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"}) {
        const std::string value = ReadVariable(name);
        if (value.empty()) { continue; }
        findings.Add(name, HideCredentials(value),
                     "requests may go through this proxy: unset it, or put the service's host into "
                     "no_proxy, if they should not");
    }
    for (const char* name : {"no_proxy", "NO_PROXY"}) {
        const std::string value = ReadVariable(name);
        if (!value.empty()) { findings.Add(name, value); }
    }
}

/// Whether it is known which host the token leads to.
bool CheckToken(Findings& findings, Facts& facts) {
    AuthHandler handler;
    const std::string claim = ReadIdentitySettings(facts.environment).groupsClaim;
    std::string token;
    try {
        token = handler.GetApiKey();
    } catch (const std::runtime_error& error) {
        findings.Fail(ExitStatus::LoginNeeded, "token", error.what(), AdviseForToken(error));
        return facts.environment == Environment::Local;
    }
    facts.hasToken = true;
    if (token.empty()) {
        findings.Add("token", "none, and none is needed for " + NameEnvironment(facts.environment));
        return true;
    }
    const json report = ReportToken(token, claim);
    const bool hasEnd = report.contains("expires");
    findings.Add("token expires", hasEnd ? report.at("expires").get<std::string>() : "unknown",
                 hasEnd ? "" : "sign in again when the service refuses it: it is not renewed");
    if (facts.environment == Environment::Local) { return true; }
    const std::string advice =
        "have the provider put the group into the claim, or name another with VARNEL_GROUPS_CLAIM";
    try {
        facts.group = handler.GetFirstGroup(token);
    } catch (const std::runtime_error& error) {
        findings.Fail(ExitStatus::LoginNeeded, "token's group (claim " + claim + ")", error.what(),
                      advice);
        return false;
    }
    const bool isGrouped = !facts.group.empty();
    findings.Add("token's group (claim " + claim + ")", isGrouped ? facts.group : "none",
                 isGrouped ? "" : advice);
    return true;
}

/// Whether the name of the service's host resolves, with the group and without it.
bool CheckName(Findings& findings, const Facts& facts) {
    std::string problem;
    const std::vector<std::string> addresses = ResolveHost(facts.GetHost(), problem);
    if (!addresses.empty()) {
        findings.Add("name", facts.GetHost() + " is " + CLI::detail::join(addresses, ", "));
        return true;
    }
    std::string advice = "check apiHost and the network's name servers";
    if (!facts.group.empty()) {
        std::string ignored;
        const bool isGroup = !ResolveHost(facts.apiHost, ignored).empty();
        problem += isGroup ? "; without the group it does" : "; nor does it without the group";
        if (isGroup) {
            advice = "ask the operator whether the group \"" + facts.group +
                     "\" has a host, or name another claim with VARNEL_GROUPS_CLAIM";
        }
    }
    findings.Fail(ExitStatus::Unreachable, "name", problem, advice);
    return false;
}

/// Whether somebody accepts connections at the service's place and speaks HTTP.
bool CheckConnection(const Session& session, Findings& findings, Facts& facts) {
    if (!CheckName(findings, facts)) { return false; }
    const ServiceProbe probe = ProbeService(facts.GetHost(), facts.apiPort, facts.isTls,
                                            MakeDuration(*session.options.timeoutSeconds));
    const std::string port = std::to_string(facts.apiPort);
    if (!probe.portProblem.empty()) {
        findings.Fail(ExitStatus::Unreachable, "port", probe.portProblem,
                      "check that the service is running, apiPort, and the network in between");
        return false;
    }
    const bool isSlow = probe.connecting > SlowConnecting;
    findings.Add(
        "port",
        port + " accepts connections, in " + std::to_string(probe.connecting.count()) + " ms",
        isSlow ? "the network is slow" : "");
    facts.date = probe.date;
    if (probe.protocolProblem.empty()) { return true; }
    findings.Fail(ExitStatus::Unreachable, "protocol", "port " + port + " " + probe.protocolProblem,
                  probe.advice);
    return false;
}

std::string AdviseRefusal(const Outcome& outcome) {
    if (outcome.failure == Failure::Unauthorized) { return AdviseSignIn(); }
    if (outcome.failure == Failure::Forbidden) {
        return "the service knows the token but denies access: ask its operator, and check the "
               "token's group";
    }
    if (outcome.failure == Failure::Untrusted) {
        return "trust the certificate's authority with VARNEL_CA_FILE, if it is the right one";
    }
    return "check that host and port are the service's, and that it works";
}

void CheckService(Session& session, Findings& findings) {
    constexpr const ServiceOperation& operation = FindOperation("GetVersion");
    const std::string request = std::string(operation.method) + " " + operation.target;
    const Outcome outcome = session.Send(operation.method, operation.target);
    try {
        findings.Add("service version", JsonView(RequireDocument(request, outcome)).Format(0));
    } catch (const CommandError& error) {
        findings.Fail(error.GetStatus(), "service",
                      outcome.Succeeded() ? error.what() : DescribeFailure(request, outcome),
                      AdviseRefusal(outcome));
    }
}

void CheckEverything(Session& session) {
    Findings findings;
    findings.Add("varnel", VARNEL_VERSION);
    Facts facts;
    if (!session.options.timeoutSeconds) { session.options.timeoutSeconds = UsualTimeoutSeconds; }
    if (CheckSettings(session, findings, facts)) {
        if (EnvConfig().IsOffline()) {
            findings.Add("service", "not asked: offline mode is on",
                         "unset the setting \"offline\" to reach it");
        } else {
            CheckProxies(findings);
            const bool isHostKnown = CheckToken(findings, facts);
            CheckProvider(findings, MakeDuration(*session.options.timeoutSeconds));
            if (isHostKnown && CheckConnection(session, findings, facts)) {
                if (facts.hasToken) { CheckService(session, findings); }
                if (!facts.isTls) { CheckClock(findings, facts.date, "service"); }
            }
        }
    }
    const OutputOptions& output = session.options.output;
    if (WantsTable(output) && output.query.empty()) {
        WriteOutput(findings.FormatText());
    } else {
        session.Print(findings.GetLines());
    }
    if (findings.GetStatus() != ExitStatus::Done) {
        throw CommandError(findings.GetStatus(), "something fails: see the lines above");
    }
}

} // namespace

void AddDoctorCommand(CLI::App& root, Session& session) {
    AddCommand(root, session, "doctor", "Check settings, token, network and service",
               CheckEverything, {"varnel doctor", "varnel doctor -o jsonl"});
}

} // namespace VarnelBase
