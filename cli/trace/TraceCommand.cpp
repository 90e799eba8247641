#include <ChildProgram.h>
#include <ConfigFile.h>
#include <EnvironmentVariable.h>
#include <IdentitySettings.h>
#include <KnownSettings.h>
#include <PrivateConfigFile.h>
#include <Redaction.h>
#include <SettingSources.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

#include "output/ExitStatus.h"
#include "trace/TraceCommand.h"
#include "trace/TraceLog.h"
#include "trace/TraceRelay.h"

namespace VarnelBase {

namespace {

constexpr std::size_t KeptBodyBytes = std::size_t{1} << 20U;
constexpr const char* AbsentClaim = "no-such-claim-while-traced";

struct TraceOptions {
    std::string format = "jsonl";
    std::string file;
    bool isForced = false;
    bool hasBodies = false;
    std::vector<std::string> program;
};

/// The variables of the private configuration file and of the settings that it replaces.
constexpr std::array<std::string_view, 4> ReplacedVariables{
    "VARNEL_CONFIG", "VARNEL_API_HOST", "VARNEL_API_PORT", "VARNEL_GROUPS_CLAIM"};

std::vector<RelayedService> ListServices() {
    std::vector<RelayedService> services;
    for (const Environment environment :
         {Environment::Local, Environment::Staging, Environment::Production}) {
        const EnvConfig config(environment);
        const bool isGrouped = environment != Environment::Local;
        services.push_back({NameEnvironment(environment), config.GetApiHost(), config.GetApiPort(),
                            isGrouped ? ReadIdentitySettings(environment).groupsClaim : ""});
    }
    return services;
}

/// The user's own configuration, so that stored tokens are found and secrets are there, with the
/// relay in the place of each service and no group to go in front of it.
json MakeConfig(const std::vector<RelayedService>& services, const TraceRelay& relay) {
    json config = json::object();
    const std::string path = LocateConfigFile();
    for (const auto& [name, value] : path.empty() ? ConfigEntries() : ReadConfigFile(path)) {
        config[json::json_pointer("/" + CLI::detail::find_and_replace(name, ".", "/"))] = value;
    }
    for (std::size_t i = 0; i < services.size(); ++i) {
        json& section = config["environments"][services[i].environment];
        section["apiHost"] = "127.0.0.1";
        section["apiPort"] = relay.GetPort(i);
        section["groupsClaim"] = AbsentClaim;
    }
    return config;
}

/// This process's variables, with that configuration file.
std::vector<std::string> MakeEnvironment(const std::string& configFile) {
    std::vector<std::string> variables{"VARNEL_CONFIG=" + configFile};
    for (char** variable = environ; *variable != nullptr; ++variable) {
        const std::string_view name(*variable, std::strcspn(*variable, "="));
        const auto* const end = ReplacedVariables.end();
        if (std::find(ReplacedVariables.begin(), end, name) == end) {
            variables.emplace_back(*variable);
        }
    }
    return variables;
}

/// The credentials that the settings hold.
std::vector<std::string> ListSecrets() {
    std::vector<std::string> secrets{ReadVariable(TokenVariable)};
    const SettingSources sources;
    for (const KnownSetting& known : KnownSettings) {
        if (known.kind != SettingKind::Secret) { continue; }
        for (const Environment environment :
             {Environment::Local, Environment::Staging, Environment::Production}) {
            const auto found = sources.Find(known.name, environment);
            if (found) { secrets.push_back(found->text); }
        }
    }
    return secrets;
}

int RunTraced(const std::vector<std::string>& program, const json& config) {
    const PrivateConfigFile file(LocateRuntimeDirectory(), config.dump(2));
    try {
        return RunChild(program, MakeEnvironment(file.GetPath()));
    } catch (const ChildNotStarted& error) {
        throw CommandError(static_cast<ExitStatus>(error.GetExitStatus()), error.what());
    }
}

void TraceProgram(Session& session, const TraceOptions& options) {
    if (session.UsesTls()) {
        throw CommandError(ExitStatus::Usage,
                           "trace reads plain HTTP: leave --tls and VARNEL_API_TLS out");
    }
    const Redaction redaction({}, ListSecrets());
    TraceLog log(options.format == "har" ? TraceFormat::Har : TraceFormat::JsonLines, options.file,
                 options.isForced, options.hasBodies);
    BlockChildSignals();
    int status = 0;
    {
        const std::vector<RelayedService> services = ListServices();
        TraceRelay relay(
            services, options.hasBodies ? KeptBodyBytes : 0, [&](TracedExchange exchange) {
                redaction.Redact({&exchange.request.headers,
                                  &exchange.response.headers,
                                  {&exchange.url, &exchange.request.target},
                                  {&exchange.requestBody.bytes, &exchange.responseBody.bytes}});
                log.Add(exchange);
            });
        status = RunTraced(options.program, MakeConfig(services, relay));
        // A service that does not answer may keep the relay for a while.
        UnblockChildSignals();
    }
    log.Finish();
    if (status != 0) { throw CommandError(static_cast<ExitStatus>(status), ""); }
}

} // namespace

void AddTraceCommand(CLI::App& root, Session& session) {
    const auto trace = AddCommand<TraceOptions>(
        root, session, "trace",
        "Run a program that uses the library, and record each of its requests", TraceProgram,
        {"varnel trace -- varnel simulation list",
         "varnel trace --format har --bodies --to requests.har -- varnel version"});
    trace.app.add_option("--format", trace.options.format, "Format of the record")
        ->type_name("jsonl|har")
        ->check(CLI::IsMember({"jsonl", "har"}).description(""));
    trace.app
        .add_option("--to", trace.options.file,
                    "File to write the record to; standard error by default")
        ->type_name("FILE");
    trace.app.add_flag("--force", trace.options.isForced, "Replace an existing file");
    trace.app.add_flag("--bodies", trace.options.hasBodies,
                       "Record bodies too, up to 1 MiB each, with credentials redacted");
    trace.app
        .add_option("PROGRAM", trace.options.program, "The program and its arguments, after --")
        ->required()
        ->type_name("");
}

} // namespace VarnelBase
