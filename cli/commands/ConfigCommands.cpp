#include <ConfigFile.h>
#include <IdentitySettings.h>
#include <IdentityUrl.h>
#include <KnownSettings.h>
#include <PrivateConfigFile.h>
#include <PrivateFile.h>
#include <SettingSources.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <limits>
#include <stdexcept>

#include "commands/Commands.h"
#include "commands/ConfigEdit.h"
#include "output/ExitStatus.h"
#include "session/SettingReport.h"

namespace VarnelBase {

namespace {

constexpr const char* StartingPoint =
    R"(// Settings of VarnelBase: JSON with comments. Environment variables take precedence (VARNEL_API_HOST
// over "apiHost"), and an environment's settings take precedence over those at the top.
// See each setting and its source with: varnel config
{
  // The environment to use unless VARNEL_ENVIRONMENT or --environment names another:
  // local, staging or production.
  "environment": "local",

  // The identity provider, an address that begins with https://, and what it knows this client as.
  // "authHost": "https://id.example.com",
  // "authRealm": "main",
  // "clientId": "varnel",

  "environments": {
    // The service on this machine, as varnel-emulator offers it: no identity provider.
    "local": { "apiHost": "127.0.0.1", "apiPort": 8080, "authHost": "" }

    // A deployment. The first group of the token's holder goes in front of its host.
    // , "staging": { "apiHost": "staging.example.com", "apiPort": 80 }
    // , "production": { "apiHost": "example.com", "apiPort": 80 }
  }
}
)";

std::string RequireConfigFile() {
    std::string path = LocateConfigFile();
    if (path.empty()) {
        throw CommandError(ExitStatus::Usage,
                           "there is no place for the configuration file: set VARNEL_CONFIG, "
                           "XDG_CONFIG_HOME or HOME");
    }
    return path;
}

void ShowSettings(Session& session) {
    json settings = json::array();
    for (const ReportedSetting& setting : ReportSettings(EnvConfig())) {
        settings.push_back(json::object(
            {{"name", setting.name}, {"value", setting.value}, {"source", setting.source}}));
    }
    session.Print(settings);
}

void ShowPath(Session& /*session*/) {
    WriteOutput(RequireConfigFile() + "\n");
}

/// Writes the file behind whatever link leads to it.
void WriteConfigFile(const std::string& path, const std::string& text) {
    const std::filesystem::path file =
        std::filesystem::weakly_canonical(std::filesystem::absolute(path));
    std::filesystem::create_directories(file.parent_path());
    ReplacePrivateFile(file.parent_path(), file.filename(), text);
}

struct ConfigInitOptions {
    bool isForced = false;
};

void WriteStartingPoint(Session& session, const ConfigInitOptions& options) {
    const std::string path = RequireConfigFile();
    struct stat status {};
    if (!options.isForced && lstat(path.c_str(), &status) == 0) {
        throw CommandError(ExitStatus::Refused, path + ": exists (--force replaces it)");
    }
    WriteConfigFile(path, StartingPoint);
    session.Note("wrote " + path);
}

struct ChangeOptions {
    std::string name;
    std::string value;
};

const KnownSetting& RequireKnown(const std::string& name) {
    const KnownSetting* known = FindKnownSetting(name);
    if (known == nullptr) {
        throw CommandError(ExitStatus::Usage,
                           "NAME: there is no setting \"" + name + "\", see: varnel config");
    }
    return *known;
}

/// Reads a file that holds this setting alone, as the next command will read the user's.
///
/// @throws CommandError as that command would end
void RequireUsable(const std::string& path, const std::string& section, const KnownSetting& known,
                   const std::string& value) {
    for (const KnownSetting& other : KnownSettings) { unsetenv(other.variable); }
    const PrivateConfigFile probe(LocateRuntimeDirectory(),
                                  SetConfigMember("{}", section, known.name, json(value).dump()));
    setenv("VARNEL_CONFIG", probe.GetPath().c_str(), 1);
    try {
        const auto environment = FindEnvironmentNamed(section);
        const EnvConfig config = environment ? EnvConfig(*environment) : EnvConfig();
        const std::string authHost = ReadIdentitySettings(config.GetEnvironment()).authHost;
        if (!authHost.empty()) { (void)ParseIdentityUrl(authHost, known.name); }
    } catch (const std::runtime_error& error) {
        throw CommandError(ExitStatus::Usage,
                           CLI::detail::find_and_replace(error.what(), probe.GetPath(), path));
    }
}

/// A usable value as the file wants it.
std::string FormatValue(const KnownSetting& known, const std::string& value) {
    const Setting setting{value, known.name};
    switch (known.kind) {
        case SettingKind::Number:
            return std::to_string(ParseNumber(setting, std::numeric_limits<int>::max()));
        case SettingKind::Flag:
            return ParseFlag(setting) ? "true" : "false";
        default:
            return json(value).dump();
    }
}

/// The value, or a line of standard input: a secret does not belong on a command line, which others
/// on this machine can read.
std::string ReadValue(const KnownSetting& known, const std::string& given) {
    if (given != "-") {
        if (known.kind == SettingKind::Secret) {
            throw CommandError(ExitStatus::Usage,
                               std::string("VALUE: ") + known.name +
                                   " is a secret: pass - and write it to standard input");
        }
        return given;
    }
    std::string line;
    std::getline(std::cin, line);
    return line;
}

/// The section that --environment names; "environment" itself is only at the top level.
std::string FindSection(const Session& session, const KnownSetting& known) {
    const auto environment = FindEnvironmentNamed(session.options.environment);
    const bool isChoice = std::string(known.name) == "environment";
    if (environment && isChoice) {
        throw CommandError(ExitStatus::Usage,
                           "NAME: \"environment\" cannot be different for one environment");
    }
    return environment ? NameEnvironment(*environment) : "";
}

std::string ReadConfigText(const std::string& path) {
    const FileReading reading =
        ReadRegularFile(path, std::numeric_limits<int>::max(), SymbolicLinks::Follow);
    if (reading.isMissing) { return "{\n}\n"; }
    (void)ReadConfigFile(path); // throws when it cannot be used
    return reading.bytes;
}

void ChangeSetting(Session& session, const ChangeOptions& options) {
    const KnownSetting& known = RequireKnown(options.name);
    const std::string section = FindSection(session, known);
    const std::string value = ReadValue(known, options.value);
    RequireUtf8("VALUE", value);
    const std::string path = RequireConfigFile();
    const std::string before = ReadConfigText(path);
    RequireUsable(path, section, known, value);
    WriteConfigFile(path, SetConfigMember(before, section, known.name, FormatValue(known, value)));
    session.Note(path + ": " + (section.empty() ? "" : section + "'s ") + known.name + " is set");
}

void RemoveSetting(Session& session, const ChangeOptions& options) {
    const KnownSetting& known = RequireKnown(options.name);
    const std::string section = FindSection(session, known);
    const std::string path = RequireConfigFile();
    const std::string before = ReadConfigText(path);
    const std::string after = RemoveConfigMember(before, section, known.name);
    const std::string name = (section.empty() ? "" : section + "'s ") + known.name;
    if (after == before) {
        session.Note(path + ": " + name + " is not set");
        return;
    }
    WriteConfigFile(path, after);
    session.Note(path + ": " + name + " is no longer set");
}

} // namespace

void AddConfigCommands(CLI::App& root, Session& session) {
    CLI::App& config =
        AddCommand(root, session, "config", "Show every setting and where it comes from",
                   ShowSettings, {"varnel config", "varnel config --environment staging -o table"});
    config.require_subcommand(0, 1);
    AddCommand(config, session, "path", "Print the path of the configuration file", ShowPath,
               {"varnel config path"});
    const auto init = AddCommand<ConfigInitOptions>(
        config, session, "init", "Write a commented configuration file to start from",
        WriteStartingPoint, {"VARNEL_CONFIG=./varnel.json varnel config init"});
    init.app.add_flag("--force", init.options.isForced, "Replace an existing file");

    const std::string file = "export VARNEL_CONFIG=./varnel.json; ";
    const auto set = AddCommand<ChangeOptions>(
        config, session, "set",
        "Set a setting in the configuration file, for one environment with --environment",
        ChangeSetting,
        {file + "varnel config set apiHost staging.example.com --environment staging"});
    set.app.add_option("NAME", set.options.name, "The setting")->required()->type_name("");
    set.app.add_option("VALUE", set.options.value, "Its value, or - for a line of standard input")
        ->required()
        ->type_name("");
    const auto unset = AddCommand<ChangeOptions>(
        config, session, "unset", "Remove a setting from the configuration file", RemoveSetting,
        {file + "varnel config unset apiHost --environment staging"});
    unset.app.add_option("NAME", unset.options.name, "The setting")->required()->type_name("");
}

} // namespace VarnelBase
