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

/// The configuration file as it was when it was read.
struct SettingFile {
    std::string path;
    ConfigEntries entries;
};

/// One operation's reading of the settings: while it exists, whatever this thread asks of the
/// configuration file is answered from one reading of it, so that an edit meanwhile cannot mix two
/// configurations. An operation within another one shares the outer one's reading.
class SettingsReading {
public:
    SettingsReading();
    ~SettingsReading();
    SettingsReading(const SettingsReading&) = delete;
    SettingsReading& operator=(const SettingsReading&) = delete;
};

/// The configuration file and the environment variables.
///
/// Settings go by their names in the file ("apiHost"); the variable of that one is VARNEL_API_HOST.
/// A variable goes before the file's entry for the environment, which goes before the file's top
/// level. An empty variable counts as unset.
class SettingSources {
public:
    /// Reads the file, unless this thread's operation has read it already.
    ///
    /// @throws std::runtime_error naming the file (see ReadConfigFile)
    SettingSources();

    /// The environment that was chosen, as it was written; none: nobody chose one.
    std::optional<Setting> FindEnvironment() const;

    /// What was set for one environment; none: the built-in value holds.
    std::optional<Setting> Find(const std::string& name, Environment environment) const;

private:
    std::shared_ptr<const SettingFile> file;
};

/// The environment's name in the file: "local", "staging" or "production".
///
/// @throws std::invalid_argument when the value is none of the three
std::string NameEnvironment(Environment environment);

/// The environment of that name, in letters of any case; none: there is no such one.
std::optional<Environment> FindEnvironmentNamed(const std::string& name);

/// A number in decimal digits.
///
/// @throws std::runtime_error naming the origin when the text is no number from 1 to `max`
unsigned int ParseNumber(const Setting& setting, unsigned int max);

/// 1, true, yes, on or 0, false, no, off, in letters of any case.
///
/// @throws std::runtime_error naming the origin when the text is none of these
bool ParseFlag(const Setting& setting);

/// Throws std::runtime_error "ORIGIN: reason". The text itself is left out: it may be a secret.
[[noreturn]] void RejectSetting(const Setting& setting, const std::string& reason);

} // namespace VarnelBase
