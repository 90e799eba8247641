#pragma once

#include <Emulator.h>
#include <sys/wait.h>

#include "TestHome.h"

namespace VarnelBase {

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
        setenv("VARNEL_CONFIG", (home / "config.json").c_str(), 1);
        setenv("PATH", (VARNEL_DIRECTORY ":" + std::string(getenv("PATH"))).c_str(), 1);
        setenv("TERM", "xterm", 1);
        WriteConfig("");
    }

    /// @param top members of the file's top level, each followed by a comma
    void WriteConfig(const std::string& top) {
        const std::string port = std::to_string(emulator.GetPort());
        Write("config.json", "{" + top + R"("environments": {
            "local": {"apiHost": "127.0.0.1", "apiPort": )" +
                                 port + R"(},
            "staging": {"apiHost": "0.0.1", "apiPort": )" +
                                 port + "}}}");
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

    Emulator emulator;
};

} // namespace VarnelBase
