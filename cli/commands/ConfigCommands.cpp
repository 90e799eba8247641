#include <ConfigFile.h>
#include <PrivateFile.h>
#include <sys/stat.h>

#include <filesystem>

#include "CommandTree.h"
#include "commands/SettingReport.h"
#include "output/ExitStatus.h"

namespace VarnelBase {

namespace {

constexpr const char* StartingPoint =
    R"(// Settings of VarnelBase: JSON, in which comments may stand. Environment variables go before them
// (VARNEL_API_HOST before "apiHost"), and an environment's own settings before those at the top.
// See what holds, and where it comes from, with: varnel config
{
  // The environment that is used unless VARNEL_ENVIRONMENT or --environment says otherwise:
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
    std::string path = FindConfigFile();
    if (path.empty()) {
        throw CommandError(ExitStatus::Usage,
                           "no place for the configuration: none of VARNEL_CONFIG, "
                           "XDG_CONFIG_HOME and HOME is set");
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

void WriteStartingPoint(Session& session) {
    const std::string path = RequireConfigFile();
    struct stat status {};
    if (!session.arguments.isForced && lstat(path.c_str(), &status) == 0) {
        throw CommandError(ExitStatus::Refused, path + ": exists (--force replaces it)");
    }
    const std::filesystem::path file = std::filesystem::absolute(path);
    std::filesystem::create_directories(file.parent_path());
    ReplacePrivateFile(file.parent_path(), file.filename(), StartingPoint);
    session.Note("wrote " + path);
}

} // namespace

void AddConfigCommands(CLI::App& root, Session& session) {
    CLI::App& config =
        AddCommand(root, session, "config", "Show every setting and where it comes from",
                   ShowSettings, {"varnel config", "varnel config --environment staging -o table"});
    config.require_subcommand(0, 1);
    AddCommand(config, session, "path", "Print the configuration file's name", ShowPath,
               {"varnel config path"});
    CLI::App& init =
        AddCommand(config, session, "init", "Write a configuration file to start from",
                   WriteStartingPoint, {"VARNEL_CONFIG=./varnel.json varnel config init"});
    init.add_flag("--force", session.arguments.isForced, "Replace a file that exists");
}

} // namespace VarnelBase
