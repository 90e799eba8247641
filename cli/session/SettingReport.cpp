#include "session/SettingReport.h"

#include <EnvironmentVariable.h>
#include <IdentitySettings.h>
#include <KnownSettings.h>
#include <SettingSources.h>

#include <map>

namespace VarnelBase {

namespace {

std::string DescribeSetting(const KnownSetting& known, const std::string& text) {
    return known.kind == SettingKind::Secret && !text.empty() ? "set" : text;
}

} // namespace

std::vector<ReportedSetting> ReportSettings(const EnvConfig& config) {
    const Environment environment = config.GetEnvironment();
    const IdentitySettings identity = ReadIdentitySettings(environment);
    const std::map<std::string, std::string> builtIn{
        {"apiHost", config.GetApiHost()},
        {"apiPort", std::to_string(config.GetApiPort())},
        {"offline", "false"},
        {"clientId", identity.clientId},
        {"scope", identity.scope},
        {"groupsClaim", identity.groupsClaim},
        {"loginTimeout", std::to_string(identity.loginTimeout.count())}};
    const SettingSources sources;
    std::vector<ReportedSetting> report;
    for (const KnownSetting& known : KnownSettings) {
        const bool isChoice = std::string(known.name) == "environment";
        const auto found =
            isChoice ? sources.FindEnvironment() : sources.Find(known.name, environment);
        if (found) {
            report.push_back({known.name, DescribeSetting(known, found->text), found->origin});
            continue;
        }
        const auto value = builtIn.find(known.name);
        report.push_back({known.name,
                          isChoice                 ? NameEnvironment(environment)
                          : value == builtIn.end() ? ""
                                                   : value->second,
                          "built-in"});
    }
    const bool hasToken = !ReadVariable(TokenVariable).empty();
    report.push_back({"token", hasToken ? "set" : "", hasToken ? TokenVariable : "built-in"});
    return report;
}

} // namespace VarnelBase
