#include "SettingSources.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <system_error>

#include "AsciiCase.h"
#include "EnvironmentNames.h"
#include "EnvironmentVariable.h"
#include "KnownSettings.h"

namespace VarnelBase {

namespace {

/// What this thread's operation has read.
struct CurrentReading {
    int holders = 0;
    std::shared_ptr<const SettingFile> file;
};

CurrentReading& GetCurrentReading() {
    thread_local CurrentReading current;
    return current;
}

std::shared_ptr<const SettingFile> ReadSettingFile() {
    CurrentReading& current = GetCurrentReading();
    if (current.file) { return current.file; }
    auto file = std::make_shared<SettingFile>();
    file->path = LocateConfigFile();
    if (!file->path.empty()) { file->entries = ReadConfigFile(file->path); }
    if (current.holders > 0) { current.file = file; }
    return file;
}

/// The variables belong to the environment that VARNEL_ENVIRONMENT names, if it is set.
bool HasOwnVariables(Environment environment) {
    const std::string chosen = ReadVariable("VARNEL_ENVIRONMENT");
    if (chosen.empty()) { return true; }
    const auto named = FindEnvironmentNamed(chosen);
    if (!named) { RejectSetting({chosen, "VARNEL_ENVIRONMENT"}, KnownEnvironments); }
    return *named == environment;
}

} // namespace

SettingsReading::SettingsReading() {
    ++GetCurrentReading().holders;
}

SettingsReading::~SettingsReading() {
    CurrentReading& current = GetCurrentReading();
    if (--current.holders == 0) { current.file.reset(); }
}

SettingSources::SettingSources() : file(ReadSettingFile()) {}

std::optional<Setting> SettingSources::FindEnvironment() const {
    const std::string chosen = ReadVariable("VARNEL_ENVIRONMENT");
    if (!chosen.empty()) { return Setting{chosen, "VARNEL_ENVIRONMENT"}; }
    const auto entry = file->entries.find("environment");
    if (entry == file->entries.end()) { return std::nullopt; }
    return Setting{entry->second, file->path + ": environment"};
}

std::optional<Setting> SettingSources::Find(const std::string& name,
                                            Environment environment) const {
    const std::string section = "environments." + NameEnvironment(environment) + ".";
    const KnownSetting* known = FindKnownSetting(name);
    if (known != nullptr && (name == "offline" || HasOwnVariables(environment))) {
        const std::string value = ReadVariable(known->variable);
        if (!value.empty()) { return Setting{value, known->variable}; }
    }
    for (const std::string& key : {section + name, name}) {
        const auto entry = file->entries.find(key);
        if (entry != file->entries.end()) {
            return Setting{entry->second, file->path + ": " + key};
        }
    }
    return std::nullopt;
}

std::string NameEnvironment(Environment environment) {
    const auto number = static_cast<std::size_t>(environment);
    if (number >= EnvironmentNames.size()) {
        throw std::invalid_argument("environment " + std::to_string(static_cast<int>(environment)) +
                                    ": must be 0 (local), 1 (staging) or 2 (production)");
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
