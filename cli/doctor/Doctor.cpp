#include <AccessTokenClaims.h>
#include <ConfigFile.h>
#include <IdentitySettings.h>
#include <SettingSources.h>
#include <httplib.h>
#include <openssl/crypto.h>

#include <chrono>
#include <cmath>
#include <ctime>
#include <stdexcept>

#include "CommandTree.h"
#include "commands/SettingReport.h"
#include "commands/TokenReport.h"
#include "doctor/ProviderCheck.h"
#include "network/TcpConnection.h"
#include "output/ExitStatus.h"
#include "output/Table.h"
#include "session/Diagnosis.h"

namespace VarnelBase {

namespace {

constexpr long SlowConnectMilliseconds = 1000;
constexpr std::size_t ResultColumns = 6;
constexpr double LargeClockDifference = 30;

enum class Health { Ok, Warn, Fail };

/// The lines of the report and what the worst of them means for a script.
class Findings {
public:
    void Add(Health health, const std::string& check, const std::string& found,
             const std::string& advice = "") {
        const char* name = health == Health::Ok ? "ok" : health == Health::Warn ? "warn" : "fail";
        json line = json::object({{"check", check}, {"result", name}, {"found", found}});
        if (!advice.empty()) { line["do"] = advice; }
        lines.push_back(std::move(line));
    }

    void Fail(ExitStatus reason, const std::string& check, const std::string& found,
              const std::string& advice) {
        Add(Health::Fail, check, found, advice);
        if (status == ExitStatus::Done) { status = reason; }
    }

    const json& GetLines() const { return lines; }

    /// The lines for people, who are to read every word of them whatever the width.
    std::string FormatText() const {
        std::string text;
        for (const json& line : lines) {
            std::string result = line.at("result");
            result.resize(ResultColumns, ' ');
            text += result + DescribeValue(line.at("check")) + ": " +
                    DescribeValue(line.at("found")) + "\n";
            if (line.contains("do")) {
                text +=
                    std::string(ResultColumns, ' ') + "-> " + DescribeValue(line.at("do")) + "\n";
            }
        }
        return text;
    }
    ExitStatus GetStatus() const { return status; }

private:
    json lines = json::array();
    ExitStatus status = ExitStatus::Done;
};

void CheckDependencies(Findings& findings) {
    findings.Add(Health::Ok, "varnel", VARNEL_VERSION);
    findings.Add(Health::Ok, "cpp-httplib", CPPHTTPLIB_VERSION);
    findings.Add(Health::Ok, "nlohmann json", json::meta().at("version").at("string"));
    findings.Add(Health::Ok, "OpenSSL", OpenSSL_version(OPENSSL_VERSION));
}

/// Whether there are settings that can be used.
bool CheckSettings(Findings& findings) {
    try {
        findings.Add(Health::Ok, "configuration file", FindConfigFile());
        for (const ReportedSetting& setting : ReportSettings(EnvConfig())) {
            findings.Add(Health::Ok, setting.name, setting.value + " (" + setting.source + ")");
        }
        return true;
    } catch (const std::runtime_error& error) {
        findings.Fail(ExitStatus::Usage, "settings", error.what(),
                      "correct it; \"varnel config init\" writes a file to start from");
        return false;
    }
}

/// Whether there is a token, or none is needed.
bool CheckToken(Findings& findings, ApiConnector& connector) {
    try {
        const std::string token = connector.GetApiKey();
        connector.GetHostname();
        if (token.empty()) {
            findings.Add(Health::Ok, "token", "none");
            return true;
        }
        const json report =
            ReportToken(token, ReadIdentitySettings(connector.GetEnvironment()).groupsClaim);
        const bool hasEnd = report.contains("expires");
        findings.Add(hasEnd ? Health::Ok : Health::Warn, "token expires",
                     hasEnd ? report.at("expires").get<std::string>() : "unknown",
                     hasEnd ? "" : "sign in again when the service refuses it: it is not renewed");
        const bool isGrouped = report.contains("group");
        const bool needsGroup = connector.GetEnvironment() != Environment::Local;
        findings.Add(
            isGrouped || !needsGroup ? Health::Ok : Health::Warn, "token's group",
            isGrouped ? report.at("group").get<std::string>() : "none",
            isGrouped || !needsGroup
                ? ""
                : "have the provider put groups into the token, or set VARNEL_GROUPS_CLAIM");
        return true;
    } catch (const std::runtime_error& error) {
        findings.Fail(ExitStatus::LoginNeeded, "token", error.what(), AdviseSignIn());
        return false;
    }
}

/// Whether the service accepts connections.
bool CheckConnection(Findings& findings, ApiConnector& connector) {
    const std::string host = connector.GetHostname();
    const auto start = std::chrono::steady_clock::now();
    const TcpConnection connection = ConnectTo(host, connector.GetPort(), DiagnosisPatience);
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    if (connection.addresses.empty()) {
        findings.Fail(ExitStatus::Unreachable, "name resolution", connection.problem,
                      "check apiHost and the network's name servers");
        return false;
    }
    std::string addresses;
    for (const std::string& address : connection.addresses) {
        addresses += (addresses.empty() ? "" : ", ") + address;
    }
    findings.Add(Health::Ok, "name resolution", host + " is " + addresses);
    if (!connection.socket.IsOpen()) {
        findings.Fail(ExitStatus::Unreachable, "connection", connection.problem,
                      "check that the service runs, apiPort, and what is in between");
        return false;
    }
    const bool isSlow = elapsed.count() > SlowConnectMilliseconds;
    findings.Add(isSlow ? Health::Warn : Health::Ok, "connection",
                 "in " + std::to_string(elapsed.count()) + " ms",
                 isSlow ? "each request opens a connection of its own: look for a nearer way" : "");
    return true;
}

/// Compares this machine's clock with the service's, whose header tells whole seconds.
void CheckClock(Findings& findings, const std::string& date) {
    std::tm parts{};
    if (strptime(date.c_str(), "%a, %d %b %Y %T GMT", &parts) == nullptr) {
        findings.Add(Health::Ok, "clock", "the service does not tell its time");
        return;
    }
    const double difference = std::difftime(std::time(nullptr), timegm(&parts));
    const bool isLarge = std::abs(difference) > LargeClockDifference;
    findings.Add(
        isLarge ? Health::Warn : Health::Ok, "clock",
        std::to_string(std::lround(difference)) + " s ahead of the service's",
        isLarge ? "set this machine's clock: tokens seem expired too early or too late" : "");
}

void CheckService(Findings& findings, ApiConnector& connector) {
    const Answer answer = Ask(connector, "/version");
    const json version = json::parse(answer.body, nullptr, false);
    if (answer.status == 0) {
        findings.Fail(ExitStatus::Unreachable, "service", answer.problem,
                      "check that host and port are the service's");
    } else if (answer.status == 401) {
        findings.Fail(ExitStatus::LoginNeeded, "service", "does not accept the token (401)",
                      AdviseSignIn());
    } else if (answer.status != 200 || version.is_discarded()) {
        findings.Fail(ExitStatus::Refused, "service",
                      "GET /version was answered " + std::to_string(answer.status) + ": " +
                          DescribeErrorBody(answer.body),
                      "check that host and port are the service's");
    } else {
        RequireShallow(version);
        findings.Add(Health::Ok, "service version", version.dump());
        CheckClock(findings, answer.date);
    }
}

void AskProvider(Findings& findings) {
    for (const ProviderFinding& finding : CheckProvider()) {
        findings.Add(finding.advice.empty() ? Health::Ok : Health::Warn, finding.check,
                     finding.found, finding.advice);
    }
}

void CheckEverything(Session& session) {
    Findings findings;
    CheckDependencies(findings);
    if (CheckSettings(findings)) {
        const OutputCapture capture;
        ApiConnector connector;
        if (connector.IsOffline()) {
            findings.Add(Health::Warn, "service", "not asked: offline mode is on",
                         "unset the setting \"offline\" to reach it");
        } else {
            AskProvider(findings);
            if (CheckToken(findings, connector) && CheckConnection(findings, connector)) {
                CheckService(findings, connector);
            }
        }
    }
    const OutputOptions& output = session.arguments.output;
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
