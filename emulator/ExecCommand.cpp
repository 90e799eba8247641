#include "ExecCommand.h"

#include <PrivateFile.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <system_error>

namespace VarnelBase::Emulation {

namespace {

using nlohmann::json;

/// A directory that is removed with what is in it.
class TemporaryDirectory {
public:
    TemporaryDirectory() {
        std::string name = (std::filesystem::temp_directory_path() / "varnel-XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), name);
        }
        path = name;
    }
    ~TemporaryDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::string& GetPath() const { return path; }

private:
    std::string path;
};

/// Settings that send every environment to the emulator and to no identity provider.
json MakeConfig(int port, EmulatorAccess access) {
    const auto makeEnvironment = [port](const char* host) {
        return json::object({{"apiHost", host}, {"apiPort", port}, {"authHost", ""}});
    };
    // The library puts the group of the token, 127, in front of it.
    const char* const host = access == EmulatorAccess::Groups ? "0.0.1" : "127.0.0.1";
    return json::object({{"environment", access == EmulatorAccess::Groups ? "staging" : "local"},
                         {"offline", false},
                         {"environments", json::object({{"local", makeEnvironment("127.0.0.1")},
                                                        {"staging", makeEnvironment(host)},
                                                        {"production", makeEnvironment(host)}})}});
}

/// This process's environment without the VARNEL settings, and with these.
std::vector<std::string> MakeEnvironment(const std::string& configFile, const std::string& token) {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (std::strncmp(*variable, "VARNEL_", 7) != 0) { variables.emplace_back(*variable); }
    }
    variables.push_back("VARNEL_CONFIG=" + configFile);
    variables.push_back("VARNEL_TOKEN=" + token);
    return variables;
}

std::vector<char*> MakePointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) { pointers.push_back(text.data()); }
    pointers.push_back(nullptr);
    return pointers;
}

/// Starts the command with signals as a program expects them.
///
/// @return an error number; 0: it runs
int Spawn(pid_t& child, std::vector<std::string> command, std::vector<std::string> environment) {
    sigset_t none;
    sigemptyset(&none);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int problem =
        posix_spawnp(&child, command[0].c_str(), nullptr, &attributes, MakePointers(command).data(),
                     MakePointers(environment).data());
    posix_spawnattr_destroy(&attributes);
    return problem;
}

/// Passes signals on until the command ends; its status as a shell has it.
int AwaitEnd(pid_t child) {
    sigset_t waited;
    sigemptyset(&waited);
    for (const int number : {SIGINT, SIGTERM, SIGCHLD}) { sigaddset(&waited, number); }
    while (true) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) {
            return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
        }
        siginfo_t facts{};
        const int number = sigwaitinfo(&waited, &facts);
        // What is typed at the terminal reaches the command by itself.
        if ((number == SIGINT || number == SIGTERM) && facts.si_code != SI_KERNEL) {
            kill(child, number);
        }
    }
}

} // namespace

std::string MakeExecToken(EmulatorAccess access) {
    // An unsigned token with the claims {"groups":["127"]}; the other one is any text.
    return access == EmulatorAccess::Groups ? "eyJhbGciOiJub25lIn0.eyJncm91cHMiOlsiMTI3Il19."
                                            : "emulator";
}

int RunCommandWith(const Emulator& emulator, const EmulatorOptions& options,
                   const std::vector<std::string>& command) {
    const TemporaryDirectory directory;
    ReplacePrivateFile(directory.GetPath(), "config.json",
                       MakeConfig(emulator.GetPort(), options.access).dump(2) + "\n");

    pid_t child = 0;
    const int problem =
        Spawn(child, command, MakeEnvironment(directory.GetPath() + "/config.json", options.token));
    if (problem != 0) {
        std::cerr << "varnel-emulator: " << command[0] << ": " << std::strerror(problem) << '\n';
        return problem == ENOENT ? 127 : 126;
    }
    return AwaitEnd(child);
}

} // namespace VarnelBase::Emulation
