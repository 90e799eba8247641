#include "SettingSources.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <system_error>

#include "AsciiCase.h"
#include "EnvironmentVariable.h"
#include "KnownSettings.h"

namespace VarnelBase {

namespace {

constexpr std::array<const char*, 3> EnvironmentNames{"local", "staging", "production"};

/// The variables belong to the environment that VARNEL_ENVIRONMENT names, if it is set.
bool HasOwnVariables(Environment environment) {
    const std::string chosen = ReadVariable("VARNEL_ENVIRONMENT");
    if (chosen.empty()) { return true; }
    const auto named = FindEnvironmentNamed(chosen);
    if (!named) {
        RejectSetting({chosen, "VARNEL_ENVIRONMENT"}, "known are local, staging and production");
    }
    return *named == environment;
}

} // namespace

SettingSources::SettingSources()
    : configFile(FindConfigFile()),
      entries(configFile.empty() ? ConfigEntries() : ReadConfigFile(configFile)) {}

std::optional<Setting> SettingSources::FindEnvironment() const {
    const std::string chosen = ReadVariable("VARNEL_ENVIRONMENT");
    if (!chosen.empty()) { return Setting{chosen, "VARNEL_ENVIRONMENT"}; }
    const auto entry = entries.find("environment");
    if (entry == entries.end()) { return std::nullopt; }
    return Setting{entry->second, configFile + ": environment"};
}

std::optional<Setting> SettingSources::Find(const std::string& name,
                                            Environment environment) const {
    const std::string section = "environments." + NameEnvironment(environment) + ".";
    const auto* known =
        std::find_if(KnownSettings.begin(), KnownSettings.end(),
                     [&name](const KnownSetting& setting) { return name == setting.name; });
    if (known != KnownSettings.end() && (name == "offline" || HasOwnVariables(environment))) {
        const std::string value = ReadVariable(known->variable);
        if (!value.empty()) { return Setting{value, known->variable}; }
    }
    for (const std::string& key : {section + name, name}) {
        const auto entry = entries.find(key);
        if (entry != entries.end()) { return Setting{entry->second, configFile + ": " + key}; }
    }
    return std::nullopt;
}

std::string NameEnvironment(Environment environment) {
    const auto number = static_cast<std::size_t>(environment);
    if (number >= EnvironmentNames.size()) {
        throw std::invalid_argument("environment " + std::to_string(static_cast<int>(environment)) +
                                    ": known are 0 (local), 1 (staging) and 2 (production)");
    }
    return EnvironmentNames.at(number);
}

std::optional<Environment> FindEnvironmentNamed(const std::string& name) {
    const auto* found =
        std::find(EnvironmentNames.begin(), EnvironmentNames.end(), LowerCase(name));
    if (found == EnvironmentNames.end()) { return std::nullopt; }
    return static_cast<Environment>(found - EnvironmentNames.begin());
}

unsigned int ParseNumber(const Setting& setting, unsigned int max) {
    unsigned int number = 0;
    const char* end = setting.text.data() + setting.text.size();
    const auto [stop, error] = std::from_chars(setting.text.data(), end, number);
    if (error != std::errc() || stop != end || number < 1 || number > max) {
        RejectSetting(setting, "must be a whole number from 1 to " + std::to_string(max));
    }
    return number;
}

bool ParseFlag(const Setting& setting) {
    const std::string text = LowerCase(setting.text);
    for (const char* yes : {"1", "true", "yes", "on"}) {
        if (text == yes) { return true; }
    }
    for (const char* no : {"0", "false", "no", "off"}) {
        if (text == no) { return false; }
    }
    RejectSetting(setting, "must be 1, true, yes or on, or 0, false, no or off");
}

void RejectSetting(const Setting& setting, const std::string& reason) {
    throw std::runtime_error(setting.origin + ": " + reason);
}

} // namespace VarnelBase
