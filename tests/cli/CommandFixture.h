#pragma once

#include <Emulator.h>
#include <fcntl.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>

#include "TestHome.h"

namespace VarnelBase {

// Unsigned tokens with the claims {"groups":["127"]} and {"groups":["a b"]}.
constexpr const char* GroupToken = "eyJhbGciOiJub25lIn0.eyJncm91cHMiOlsiMTI3Il19.";
constexpr const char* UnusableGroup = "eyJhbGciOiJub25lIn0.eyJncm91cHMiOlsiYSBiIl19.";

/// What a shell command gave.
struct Outcome {
    int status;
    std::string out;
    std::string err;
};

/// A directory of the test's own, in which a shell runs commands, and an emulator that the settings
/// there name.
class CommandFixture : public TestHome {
protected:
    explicit CommandFixture(const EmulatorOptions& options = {}) : emulator(options) {
        setenv("XDG_STATE_HOME", (home / "state").c_str(), 1);
        setenv("XDG_CACHE_HOME", (home / "cache").c_str(), 1);
        setenv("VARNEL_CONFIG", (home / "config.json").c_str(), 1);
        setenv("PATH", (VARNEL_DIRECTORY ":" + std::string(getenv("PATH"))).c_str(), 1);
        setenv("TERM", "xterm", 1);
        for (const char* name : {"http_proxy", "all_proxy", "no_proxy"}) { unsetenv(name); }
        WriteConfig("");
    }
    ~CommandFixture() override {
        if (started > 0) { kill(-started, SIGKILL); } // what a failed test leaves
    }

    /// @param top    members of the file's top level, each followed by a comma
    /// @param number port of whoever is asked in place of the emulator; 0: the emulator is
    void WriteConfig(const std::string& top, long number = 0) {
        const std::string end =
            R"(", "apiPort": )" + std::to_string(number == 0 ? emulator.GetPort() : number) + "}";
        Write("config.json", "{" + top + R"("environments": {"local": {"apiHost": "127.0.0.1)" +
                                 end + R"(, "staging": {"apiHost": "0.0.1)" + end + "}}");
    }

    void Write(const std::string& name, const std::string& bytes) {
        TestHome::Write(home / name, bytes);
    }

    std::string Read(const std::string& name) { return TestHome::Read(home / name); }

    Outcome Run(const std::string& command) {
        const std::string line =
            "cd '" + home.string() + "' && { " + command + "\n} >out 2>err </dev/null";
        const int status = std::system(line.c_str());
        return {WEXITSTATUS(status), Read("out"), Read("err")};
    }

    /// Whether pseudo-terminals can be had here. Automation must not leave their tests out.
    static bool HasTerminal() {
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        const bool isUsable =
            terminal >= 0 && unlockpt(terminal) == 0 && access(ptsname(terminal), R_OK | W_OK) == 0;
        close(terminal);
        const char* automation = std::getenv("CI");
        EXPECT_TRUE(isUsable || automation == nullptr || std::string(automation) != "true")
            << "no pseudo-terminal can be had: mount devpts on /dev/pts";
        return isUsable;
    }

    /// What a terminal shows of a command.
    ///
    /// @param typed what the user types, and Enter
    std::string RunOnTerminal(const std::string& command, int columns,
                              const std::string& typed = "") {
        const std::string keyboard = typed.empty() ? "" : "echo " + typed + " | ";
        return Run(keyboard + "script -qec \"stty cols " + std::to_string(columns) + "; " +
                   command + "\" /dev/null")
            .out;
    }

    /// Starts a shell in a process group of its own, in which no signal is ignored.
    pid_t Start(const std::string& command) {
        const std::string line = "cd '" + home.string() + "'; " + command;
        return started = StartChild([&line] {
                   setpgid(0, 0);
                   for (int number = 1; number < NSIG; ++number) { std::signal(number, SIG_DFL); }
                   return execlp("bash", "bash", "-c", line.c_str(), nullptr);
               });
    }

    Emulator emulator;

private:
    pid_t started = 0;
};

} // namespace VarnelBase
