#pragma once

#include <Emulator.h>
#include <KnownSettings.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace VarnelBase {

/// What a shell command gave.
struct Outcome {
    int status;
    std::string out;
    std::string err;
};

/// A directory of the test's own, in which a shell runs commands, and an emulator that the settings
/// there name.
class CommandFixture : public testing::Test {
protected:
    explicit CommandFixture(const EmulatorOptions& options = {}) : emulator(options) {
        std::string name = testing::TempDir() + "varnel-XXXXXX";
        directory = mkdtemp(name.data());
        for (const KnownSetting& setting : KnownSettings) { unsetenv(setting.variable); }
        unsetenv("VARNEL_TOKEN");
        setenv("HOME", directory.c_str(), 1);
        setenv("XDG_STATE_HOME", (directory / "state").c_str(), 1);
        setenv("VARNEL_CONFIG", (directory / "config.json").c_str(), 1);
        setenv("PATH", (VARNEL_DIRECTORY ":" + std::string(getenv("PATH"))).c_str(), 1);
        setenv("TERM", "xterm", 1);
        WriteConfig("");
    }
    ~CommandFixture() override { std::filesystem::remove_all(directory); }

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
        std::ofstream(directory / name, std::ios::binary) << bytes;
        std::filesystem::permissions(directory / name, std::filesystem::perms(0600));
    }

    std::string Read(const std::string& name) {
        std::ostringstream bytes;
        bytes << std::ifstream(directory / name, std::ios::binary).rdbuf();
        return bytes.str();
    }

    Outcome Run(const std::string& command) {
        const std::string line =
            "cd '" + directory.string() + "' && { " + command + "\n} >out 2>err </dev/null";
        const int status = std::system(line.c_str());
        return {WEXITSTATUS(status), Read("out"), Read("err")};
    }

    Emulator emulator;
    std::filesystem::path directory;
};

} // namespace VarnelBase
