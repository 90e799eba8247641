#pragma once

#include <memory>
#include <optional>
#include <string>

#include "ConfigFile.h"
#include "EnvConfig.h"

namespace VarnelBase {

/// One setting's text and where it was found: the variable's name, or file and key.
struct Setting {
    std::string text;
    std::string origin;
};

/// The configuration file, as read.
struct SettingFile {
    std::string path;
    ConfigEntries entries;
};

/// While it exists, this thread opens the configuration file at most once, so that an edit during
/// an operation cannot mix two configurations. An operation within another shares its reading.
class SettingsReading {
public:
    SettingsReading();
    ~SettingsReading();
    SettingsReading(const SettingsReading&) = delete;
    SettingsReading& operator=(const SettingsReading&) = delete;
};

/// The configuration file and the environment variables.
///
/// Settings are named as in the file ("apiHost", whose variable is VARNEL_API_HOST). Precedence:
/// variable, the file's entry for the environment, the file's top level. An empty variable counts
/// as unset.
class SettingSources {
public:
    /// Reads the file, unless this thread's operation has read it already.
    ///
    /// @throws std::runtime_error naming the file (see ReadConfigFile)
    SettingSources();

    /// The chosen environment as written; none if none is chosen.
    std::optional<Setting> FindEnvironment() const;

    /// What is set for one environment; none if the built-in value applies.
    std::optional<Setting> Find(const std::string& name, Environment environment) const;

private:
    std::shared_ptr<const SettingFile> file;
};

/// The environment's name in the file: "local", "staging" or "production".
///
/// @throws std::invalid_argument when the value is not one of the three
std::string NameEnvironment(Environment environment);

/// The environment of that name, in any case; none if the name is unknown.
std::optional<Environment> FindEnvironmentNamed(const std::string& name);

/// A number in decimal digits.
///
/// @throws std::runtime_error naming the origin when the text is not a number from 1 to `max`
unsigned int ParseNumber(const Setting& setting, unsigned int max);

/// 1, true, yes, on or 0, false, no, off, in any case.
///
/// @throws std::runtime_error naming the origin when the text is something else
bool ParseFlag(const Setting& setting);

/// Throws std::runtime_error "ORIGIN: reason", without the text, which may be a secret.
[[noreturn]] void RejectSetting(const Setting& setting, const std::string& reason);

} // namespace VarnelBase
