#include <ConfigFile.h>
#include <EnvironmentVariable.h>
#include <IdentitySettings.h>
#include <PrivateFile.h>
#include <SettingSources.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "CommandTree.h"
#include "ExitStatus.h"
#include "TraceLog.h"
#include "TraceRelay.h"

namespace VarnelBase {

namespace {

constexpr const char* ConfigName = "config.json";
constexpr const char* AbsentClaim = "no-such-claim-while-traced";
constexpr int NotFoundStatus = 127;
constexpr int NotStartedStatus = 126;
constexpr int SignalStatus = 128;

/// The settings that the private configuration file replaces, whose variables would go before it.
constexpr std::array<const char*, 3> ReplacedVariables{"VARNEL_API_HOST", "VARNEL_API_PORT",
                                                       "VARNEL_GROUPS_CLAIM"};

/// A directory for this user alone that goes with everything in it.
class PrivateDirectory {
public:
    PrivateDirectory() {
        const std::string runtime = ReadVariable("XDG_RUNTIME_DIR");
        path = (runtime.empty() ? std::filesystem::temp_directory_path().string() : runtime) +
               "/varnel-trace-XXXXXX";
        if (mkdtemp(path.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), path);
        }
    }
    ~PrivateDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    PrivateDirectory(const PrivateDirectory&) = delete;
    PrivateDirectory& operator=(const PrivateDirectory&) = delete;

    const std::string& GetPath() const { return path; }

private:
    std::string path;
};

std::vector<RelayedService> FindServices() {
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
    const std::string path = FindConfigFile();
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

/// The program that runs, for the signals that are passed on to it.
volatile std::sig_atomic_t runningProgram = 0;

void PassOnSignal(int signal) {
    if (runningProgram > 0) { kill(runningProgram, signal); }
}

/// Runs the program to its end; its exit status as a shell gives it.
int RunProgram(const std::vector<std::string>& program) {
    std::vector<char*> words;
    words.reserve(program.size() + 1);
    for (const std::string& word : program) { words.push_back(const_cast<char*>(word.c_str())); }
    words.push_back(nullptr);

    // Ctrl-C reaches the program from the terminal; what is left for it to do is its own affair.
    std::signal(SIGINT, SIG_IGN);
    std::signal(SIGQUIT, SIG_IGN);
    std::signal(SIGTERM, PassOnSignal);
    std::signal(SIGHUP, PassOnSignal);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGINT);
    sigaddset(&defaults, SIGQUIT);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t child = 0;
    const int error =
        posix_spawnp(&child, words.front(), nullptr, &attributes, words.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        throw CommandError(
            static_cast<ExitStatus>(error == ENOENT ? NotFoundStatus : NotStartedStatus),
            program.front() + ": " + std::generic_category().message(error));
    }
    runningProgram = child;
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {}
    runningProgram = 0;
    return WIFSIGNALED(status) ? SignalStatus + WTERMSIG(status) : WEXITSTATUS(status);
}

void TraceProgram(Session& session) {
    const Arguments& given = session.arguments;
    TraceLog log(given.traceFormat == "har" ? TraceFormat::Har : TraceFormat::JsonLines,
                 given.file);
    int status = 0;
    {
        const std::vector<RelayedService> services = FindServices();
        TraceRelay relay(services, [&log](const TracedExchange& exchange) { log.Add(exchange); });
        const PrivateDirectory directory;
        ReplacePrivateFile(directory.GetPath(), ConfigName, MakeConfig(services, relay).dump(2));
        setenv("VARNEL_CONFIG", (directory.GetPath() + "/" + ConfigName).c_str(), 1);
        for (const char* variable : ReplacedVariables) { unsetenv(variable); }
        status = RunProgram(given.program);
    }
    log.Finish();
    if (status != 0) { throw CommandError(static_cast<ExitStatus>(status), ""); }
}

} // namespace

void AddTraceCommand(CLI::App& root, Session& session) {
    Arguments& given = session.arguments;
    CLI::App& trace = AddCommand(
        root, session, "trace",
        "Run a program that uses the library, and record each of its requests", TraceProgram,
        {"varnel trace -- varnel simulation list",
         "varnel trace --format har --to requests.har -- varnel version"});
    trace.add_option("--format", given.traceFormat, "Form of the record (jsonl unless given)")
        ->type_name("jsonl|har")
        ->check(CLI::IsMember({"jsonl", "har"}).description(""));
    trace.add_option("--to", given.file, "File for the record (standard error unless given)")
        ->type_name("FILE");
    trace.add_option("PROGRAM", given.program, "The program and its arguments, after --")
        ->required()
        ->type_name("");
}

} // namespace VarnelBase
