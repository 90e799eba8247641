#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

#include <algorithm>

#include "CommandFixture.h"

namespace VarnelBase {
namespace {

using nlohmann::json;

class CommandTest : public CommandFixture {};

/// A rule for the emulator.
struct Fault {
    const char* action = nullptr; ///< none: no rule
    const char* method = "";
    int status = 0; ///< 0: the usual one
    int times = 1;  ///< 0: always
};

struct AnswerCase {
    const char* command;
    Fault fault;
    int status;
    const char* out; ///< part of standard output, which is empty when the command fails
    const char* err; ///< part of standard error; empty: there is nothing
};

TEST_F(CommandTest, TellsWhatHappened) {
    const std::string link = "UI: https://127.0.0.1/simulations/sim-bridge\n";
    for (const AnswerCase& given : {
             AnswerCase{"version", {}, 0, "0.4.1", ""},
             {"version", {"reset"}, 0, "0.4.1", "asked twice"},
             {"user list", {"invalidJson"}, 0, "usr-1", "second one"},
             {"version", {"literalNull", "", 0, 2}, 0, "null", "value null"},
             {"version", {"status", "", 503, 0}, 1, "", "answered 503: "},
             {"version", {"status", "", 401, 0}, 4, "", "varnel login"},
             {"version", {"dropAfterReading", "", 0, 0}, 3, "", "not answered"},
             {"user list", {"replaceStatus", "", 206, 0}, 1, "", "206"},
             {"agent show", {"replaceStatus", "", 404}, 0, "agent-1", ""},
             {"simulation show nope", {}, 1, "", "404: there is no simulation"},
             {"simulation inputs get nope", {}, 1, "", "404"},
             {"simulation list --query /nope", {}, 1, "", "nothing at /nope"},
             {"simulation list --query /items/0/id", {}, 0, "sim-bridge\n", ""},
             {"simulation delete sim-bridge -y", {}, 0, "", "verified"},
             {"simulation delete nope --yes", {}, 1, "", "nothing was deleted"},
             {"user delete usr-2 --yes", {"dropAfterReading", "DELETE"}, 0, "", "verified"},
             {"user delete usr-2 --yes", {"status", "DELETE"}, 5, "", "may still be there"},
             {"simulation inputs set sim-bridge --data '{\"ü\":[1,2.5]}'", {}, 0, "", "verified"},
             {"simulation inputs set sim-bridge --data 1", {"status", "POST"}, 5, "", "other ones"},
             {"execution start sim-bridge", {}, 0, "{\n  \"createdAt\"", link.c_str()},
             {"execution start sim-bridge", {"invalidJson"}, 5, "", "accepted the execution (201)"},
             {"execution start sim-bridge", {"replaceStatus", "", 200}, 5, "", "not confirmed"},
             {"user create new@example.com --role viewer -q", {}, 0, "usr-3", ""},
             {"user create admin@example.com --role viewer", {}, 5, "", "not confirmed"},
             {"user set-role usr-2 admin", {"dropAfterReading", "PATCH"}, 0, "usr-2", "verified"},
             {"user set-role usr-2 admin", {"dropBeforeReading", "PATCH"}, 5, "", "another role"},
             {"agent send ''", {}, 1, "", "must be a text"},
             {"execution watch sim-bridge exe-1 -q", {}, 0, "finished", ""},
             {"execution watch sim-bridge exe-1 --field /nope", {}, 1, "", "--field"},
             {"execution show sim-bridge exe-2", {}, 0, "diverged", ""},
             {"version --offline", {}, 0, "0.4.1", "offline mode enabled"},
             {"user list --offline", {}, 6, "", "(VARNEL_OFFLINE)"},
             {"version --environment staging", {}, 4, "", "VARNEL_AUTH_HOST"},
             {"version >/dev/full", {}, 1, "", "standard output"},
             {"simulation list --help", {}, 0, "Examples:", ""},
         }) {
        emulator.Reset();
        if (given.fault.action != nullptr) {
            json rule =
                json::object({{"action", given.fault.action}, {"times", given.fault.times}});
            if (*given.fault.method != '\0') { rule["method"] = given.fault.method; }
            if (given.fault.status != 0) { rule["status"] = given.fault.status; }
            emulator.AddFault(rule);
        }
        const Outcome outcome = Run("varnel " + std::string(given.command));
        SCOPED_TRACE(given.command + outcome.out + outcome.err);
        EXPECT_EQ(outcome.status, given.status);
        EXPECT_NE(outcome.out.find(given.out), std::string::npos);
        EXPECT_NE(outcome.err.find(given.err), std::string::npos);
        EXPECT_TRUE(outcome.status == 0 || outcome.out.empty());
        EXPECT_TRUE(*given.err != '\0' || outcome.err.empty());
    }
    for (const auto& [setting, status] : std::vector<std::pair<std::string, int>>{
             {"VARNEL_API_PORT=1", 3}, {"VARNEL_API_HOST=a..b", 3}, {"VARNEL_API_PORT=x", 2}}) {
        EXPECT_EQ(Run(setting + " varnel version").status, status);
        EXPECT_EQ(Run(setting + " varnel user delete usr-2 --yes").status, status);
    }
}

TEST_F(CommandTest, SendsNothingThatItShouldNot) {
    const std::string set = "simulation inputs set sim-bridge --data ";
    for (const auto& [arguments, err] : std::vector<std::pair<std::string, std::string>>{
             {"simulation show a/b", "SIMULATION"},
             {"simulation delete '' --yes", "SIMULATION"},
             {"user show 'a?b'", "USER"},
             {"user delete 'a#b' --yes", "USER"},
             {"execution show sim-bridge ..", "EXECUTION"},
             {"execution list a%2fb", "SIMULATION"},
             {"simulation list --scope 'user&limit=1'", "--scope"},
             {"simulation delete sim-bridge", "--yes"},
             {set + "'{\"a\":}'", "--data: not JSON at byte offset 5"},
             {set + "'{\"a\":1'", "byte offset 6"},
             {set + "\"$(printf '{\"\\303\\050\"}')\"", "--data: not UTF-8 at byte offset 2"},
             {set + "-", "--data -: not JSON at byte offset 0"},
             {set + "@missing", "@missing"},
             {set + "@.", "@."},
             {"user create \"$(printf 'a\\377')\" --role x", "EMAIL: not UTF-8 at byte offset 1"},
             {"simulaton list", "did you mean \"simulation\"?"},
             {"user list --limt 1", "did you mean \"--limit\"?"},
             {"user list --query items", "--query"},
             {"execution watch sim-bridge exe-1 --field state", "--field"},
             {"user list --environment nowhere", "nowhere"},
             {"", "a command is missing"},
         }) {
        const Outcome outcome = Run("varnel " + arguments);
        EXPECT_EQ(outcome.status, 2) << arguments;
        EXPECT_NE(outcome.err.find(err), std::string::npos) << arguments << "\n" << outcome.err;
    }
    const json shown = json::parse(Run("varnel " + set + "[1] --dry-run").out);
    EXPECT_EQ(shown.at("target"), emulator.GetUrl() + "/simulations/sim-bridge/inputs");
    EXPECT_EQ(shown.at("body"), json::array({1}));
    EXPECT_EQ(emulator.GetRequests(), json::array());

    Run("varnel simulation show a/b --raw-id");
    EXPECT_EQ(emulator.GetRequests().front().at("target"), "/simulations/a/b");
}

TEST_F(CommandTest, AnotherEnvironmentLeavesTheVariablesOfTheFirstAside) {
    const std::string variables =
        "VARNEL_ENVIRONMENT=staging VARNEL_API_HOST=other VARNEL_TOKEN=secret VARNEL_SCOPE=x "
        "VARNEL_OFFLINE=1 varnel config -o jsonl --environment ";
    const std::string local = Run(variables + "local").out;
    EXPECT_EQ(local.find("other"), std::string::npos) << local;
    EXPECT_EQ(local.find("VARNEL_TOKEN"), std::string::npos) << local;
    EXPECT_EQ(local.find("VARNEL_SCOPE"), std::string::npos) << local;
    EXPECT_NE(local.find("VARNEL_OFFLINE"), std::string::npos) << local;
    const std::string staging = Run(variables + "Staging").out;
    EXPECT_NE(staging.find("\"other\""), std::string::npos) << staging;
    EXPECT_NE(staging.find(R"("value":"set"})"), std::string::npos) << staging;
    EXPECT_EQ(staging.find("secret"), std::string::npos) << staging;
}

TEST_F(CommandTest, WritesAConfigurationThatHolds) {
    EXPECT_EQ(Run("VARNEL_CONFIG=new/config.json varnel config init").status, 0);
    EXPECT_EQ(Run("VARNEL_CONFIG=new/config.json varnel config init").status, 1);
    const Outcome shown = Run("VARNEL_CONFIG=new/config.json varnel config");
    EXPECT_NE(shown.out.find("new/config.json: environments.local.apiPort"), std::string::npos);
}

TEST_F(CommandTest, DoctorChecksEverythingAndHidesSecrets) {
    WriteConfig(R"("username": "ada", "password": "secret", )");
    const Outcome healthy = Run("varnel doctor");
    EXPECT_EQ(healthy.status, 0) << healthy.out;
    EXPECT_EQ(healthy.out.find("secret"), std::string::npos);
    EXPECT_NE(healthy.out.find("service version"), std::string::npos);
    EXPECT_EQ(Run("VARNEL_API_PORT=1 varnel doctor").status, 3);
    EXPECT_EQ(Run("varnel doctor --environment staging").status, 4);
    EXPECT_EQ(Run("VARNEL_API_PORT=0 varnel doctor").status, 2);
    const Outcome unusable = Run("VARNEL_TOKEN='a b' varnel doctor");
    EXPECT_EQ(unusable.status, 4);
    EXPECT_NE(unusable.out.find("put another token"), std::string::npos) << unusable.out;
}

TEST_F(CommandTest, ReadsEveryPage) {
    for (const char* name : {"a", "b", "c"}) {
        Run(std::string("varnel user create ") + name + "@example.com --role viewer");
    }
    emulator.ClearRequests();
    const Outcome outcome = Run("varnel user list --all --limit 2 -o jsonl");
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 5);
    EXPECT_EQ(emulator.GetRequests().size(), 3);
    EXPECT_EQ(outcome.err, "2 entries 40 %\n4 entries 80 %\n");
}

TEST_F(CommandTest, ProjectFilesReplaceNothingUnasked) {
    const std::string generate = "varnel project generate --data '{\"name\": \"bridge\"}' ";
    EXPECT_EQ(Run(generate).status, 0);
    const std::string bytes = Read("bridge.zip");
    EXPECT_EQ(Run(generate + "-O -").out, bytes);
    Write("bridge.zip", "precious");
    EXPECT_EQ(Run(generate).status, 1);
    EXPECT_EQ(Run(generate + "-O bridge.zip").status, 1);
    EXPECT_EQ(Read("bridge.zip"), "precious");
    EXPECT_EQ(Run(generate + "-O . --force").status, 0);
    EXPECT_EQ(Read("bridge.zip"), bytes);
    EXPECT_EQ(Run(generate + "-O missing/bridge.zip").status, 1);
}

EmulatorOptions MakeStillOptions() {
    EmulatorOptions options;
    options.speed = 0;
    const auto describe = [](const char* id, const char* name) {
        return json::object({{"id", id},
                             {"name", name},
                             {"scope", "user"},
                             {"createdAt", "2025-01-01T00:00:00.000Z"}});
    };
    options.seed = json::object(
        {{"simulations",
          json::array({describe("a", "橋の上を走る列車"), describe("b", "e\u0301\x1b[2J")})}});
    return options;
}

class StillCommandTest : public CommandFixture {
protected:
    StillCommandTest() : CommandFixture(MakeStillOptions()) {}
};

class TerminalTest : public StillCommandTest {
protected:
    void SetUp() override {
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        const bool isUsable =
            terminal >= 0 && unlockpt(terminal) == 0 && access(ptsname(terminal), R_OK | W_OK) == 0;
        close(terminal);
        if (isUsable) { return; }
        const std::string problem = "no pseudo-terminal can be had: mount devpts on /dev/pts";
        const char* automation = std::getenv("CI");
        if (automation != nullptr && std::string(automation) == "true") { FAIL() << problem; }
        GTEST_SKIP() << "skipped: " << problem;
    }

    /// @param typed what the user types, and Enter
    std::string RunOnTerminal(const std::string& command, const std::string& typed = "") {
        const std::string keyboard = typed.empty() ? "" : "echo " + typed + " | ";
        return Run(keyboard + "script -qec \"stty cols 24; " + command + "\" /dev/null").out;
    }
};

TEST_F(TerminalTest, TablesFitTheTerminal) {
    const std::string table = RunOnTerminal("varnel simulation list");
    EXPECT_NE(table.find("\x1b[1mid"), std::string::npos) << table;
    EXPECT_NE(table.find("a   橋の…"), std::string::npos) << table;
    EXPECT_EQ(table.find("\x1b[2J"), std::string::npos) << table;
    EXPECT_EQ(RunOnTerminal("NO_COLOR=1 varnel simulation list").find('\x1b'), std::string::npos);
}

TEST_F(TerminalTest, DeletesOnATerminalOnlyWhatIsConfirmed) {
    const std::string remove = "varnel simulation delete a";
    EXPECT_NE(RunOnTerminal(remove, "n").find("Delete simulation a? [y/N]"), std::string::npos);
    EXPECT_EQ(emulator.GetRequests(), json::array());
    EXPECT_NE(RunOnTerminal(remove, "y").find("verified"), std::string::npos);
}

TEST_F(StillCommandTest, CtrlCEndsAWatch) {
    Run("varnel execution start a");
    const Outcome outcome =
        Run("mkfifo lines; varnel execution watch a exe-1 2>lines & "
            "read -r line <lines; echo $line; kill -INT $!; wait $!");
    EXPECT_EQ(outcome.status, 130);
    EXPECT_EQ(outcome.out, "queued 0 %\n");
}

} // namespace
} // namespace VarnelBase
