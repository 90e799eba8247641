#include <nlohmann/json.hpp>

#include <algorithm>

#include "CommandFixture.h"

namespace VarnelBase {
namespace {

using nlohmann::json;

class CommandTest : public CommandFixture {};

struct AnswerCase {
    const char* fault; ///< a rule for the emulator; empty: none
    const char* command;
    int status;
    const char* out; ///< part of standard output, which is empty when the command fails
    const char* err; ///< part of standard error; empty: there is nothing
};

TEST_F(CommandTest, TellsWhatHappened) {
    for (const AnswerCase& given : {
             AnswerCase{"", "varnel version", 0, "0.4.1", ""},
             {R"({"action": "reset"})", "varnel version", 0, "0.4.1", "asked twice"},
             {R"({"action": "invalidJson"})", "varnel user list", 0, "usr-1", "second one"},
             {R"({"action": "literalNull", "times": 2})", "varnel version", 0, "null",
              "value null"},
             {R"({"action": "status", "status": 503, "times": 0})", "varnel version", 1, "",
              "answered 503: "},
             {R"({"action": "status", "status": 401, "times": 0})", "varnel version", 4, "",
              "varnel login"},
             {R"({"action": "dropAfterReading", "times": 0})", "varnel version", 3, "",
              "not answered"},
             {R"({"action": "replaceStatus", "status": 206, "times": 0})", "varnel user list", 1,
              "", "206"},
             {R"({"action": "replaceStatus", "status": 404})", "varnel agent show", 0, "agent-1",
              ""},
             {"", "varnel simulation show nope", 1, "", "404: there is no simulation"},
             {"", "varnel simulation inputs get nope", 1, "", "404"},
             {"", "varnel simulation list --query /nope", 1, "", "nothing at /nope"},
             {"", "varnel simulation list --query /items/0/id", 0, "sim-bridge\n", ""},
             {"", "varnel simulation delete sim-bridge -y", 0, "", "verified"},
             {"", "varnel simulation delete nope --yes", 1, "", "nothing was deleted"},
             {R"({"method": "DELETE", "action": "dropAfterReading"})",
              "varnel user delete usr-2 --yes", 0, "", "verified"},
             {R"({"method": "DELETE", "action": "status", "status": 403})",
              "varnel user delete usr-2 --yes", 5, "", "may still be there"},
             {"", "varnel simulation inputs set sim-bridge --data '{\"ü\":[1,2.5]}'", 0, "",
              "verified"},
             {R"({"method": "POST", "action": "status", "status": 500})",
              "varnel simulation inputs set sim-bridge --data 1", 5, "", "other ones"},
             {"", "varnel execution start sim-bridge", 0, "{\n  \"createdAt\"",
              "UI: https://127.0.0.1/simulations/sim-bridge\n"},
             {R"({"method": "POST", "action": "invalidJson"})", "varnel execution start sim-bridge",
              5, "", "accepted the execution (201)"},
             {R"({"method": "POST", "action": "replaceStatus", "status": 200})",
              "varnel execution start sim-bridge", 5, "", "not confirmed"},
             {"", "varnel user create new@example.com --role viewer -q", 0, "usr-3", ""},
             {"", "varnel user create admin@example.com --role viewer", 5, "", "not confirmed"},
             {R"({"method": "PATCH", "action": "dropAfterReading"})",
              "varnel user set-role usr-2 admin", 0, "usr-2", "verified"},
             {R"({"method": "PATCH", "action": "dropBeforeReading"})",
              "varnel user set-role usr-2 admin", 5, "", "another role"},
             {"", "varnel agent send ''", 1, "", "must be a text"},
             {"", "varnel execution watch sim-bridge exe-1 -q", 0, "finished", ""},
             {"", "varnel execution watch sim-bridge exe-1 --field /nope", 1, "", "--field"},
             {"", "varnel execution show sim-bridge exe-2", 0, "diverged", ""},
             {"", "varnel version --offline", 0, "0.4.1", "offline mode enabled"},
             {"", "VARNEL_OFFLINE=1 varnel user list", 6, "", "(VARNEL_OFFLINE)"},
             {"", "VARNEL_API_PORT=1 varnel version", 3, "", "Connection refused"},
             {"", "VARNEL_API_PORT=1 varnel user delete usr-2 --yes", 3, "", "Connection refused"},
             {"", "VARNEL_API_HOST=a..b varnel version", 3, "", "does not resolve"},
             {"", "varnel version --environment staging", 4, "", "VARNEL_AUTH_HOST"},
             {"", "VARNEL_API_PORT=x varnel version", 2, "", "VARNEL_API_PORT"},
             {"", "varnel version >/dev/full", 1, "", "standard output"},
             {"", "varnel simulation list --help", 0, "Examples:", ""},
         }) {
        emulator.Reset();
        const std::string fault = given.fault;
        if (!fault.empty()) { emulator.AddFault(json::parse(fault)); }
        const Outcome outcome = Run(given.command);
        SCOPED_TRACE(fault + given.command + "\n" + outcome.out + outcome.err);
        EXPECT_EQ(outcome.status, given.status);
        EXPECT_NE(outcome.out.find(given.out), std::string::npos);
        EXPECT_NE(outcome.err.find(given.err), std::string::npos);
        EXPECT_TRUE(outcome.status == 0 || outcome.out.empty());
        EXPECT_TRUE(*given.err != '\0' || outcome.err.empty());
    }
}

TEST_F(CommandTest, SendsNothingThatItShouldNot) {
    const std::string set = "varnel simulation inputs set sim-bridge --data ";
    for (const auto& [command, err] : std::vector<std::pair<std::string, std::string>>{
             {"varnel simulation show a/b", "SIMULATION"},
             {"varnel simulation delete '' --yes", "SIMULATION"},
             {"varnel user show 'a?b'", "USER"},
             {"varnel user delete 'a#b' --yes", "USER"},
             {"varnel execution show sim-bridge ..", "EXECUTION"},
             {"varnel execution list a%2fb", "SIMULATION"},
             {"varnel simulation list --scope 'user&limit=1'", "--scope"},
             {"varnel simulation delete sim-bridge", "--yes"},
             {set + "'{\"a\":}'", "--data: not JSON at byte offset 5"},
             {set + "'{\"a\":1'", "byte offset 6"},
             {"printf '{\"\\303\\050\"}' | " + set + "-", "--data -: not UTF-8 at byte offset 2"},
             {set + "@missing", "@missing"},
             {set + ".", "not JSON"},
             {"varnel user create \"$(printf 'a\\377')\" --role x",
              "EMAIL: not UTF-8 at byte offset 1"},
             {"varnel simulaton list", "did you mean \"simulation\"?"},
             {"varnel user lsit", "did you mean \"list\"?"},
             {"varnel user list --limt 1", "did you mean \"--limit\"?"},
             {"varnel user list --query items", "--query"},
             {"varnel user list --environment nowhere", "nowhere"},
             {"varnel", "subcommand"},
         }) {
        const Outcome outcome = Run(command);
        EXPECT_EQ(outcome.status, 2) << command;
        EXPECT_NE(outcome.err.find(err), std::string::npos) << command << "\n" << outcome.err;
    }
    const json shown = json::parse(Run(set + "[1] --dry-run").out);
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
    options.seed = json::object(
        {{"simulations",
          json::array(
              {json::object({{"id", "a"}, {"name", "橋の上を走る列車"}, {"scope", "user"}}),
               json::object({{"id", "b"}, {"name", "e\u0301\x1b[2J"}, {"scope", "user"}})})}});
    return options;
}

class StillCommandTest : public CommandFixture {
protected:
    StillCommandTest() : CommandFixture(MakeStillOptions()) {}

    std::string RunOnTerminal(const std::string& command, const std::string& typed = "") {
        return Run("echo " + typed + " | script -qec \"stty cols 24; " + command + "\" /dev/null")
            .out;
    }
};

TEST_F(StillCommandTest, TablesFitTheTerminal) {
    const std::string table = RunOnTerminal("varnel simulation list");
    EXPECT_NE(table.find("\x1b[1mid"), std::string::npos) << table;
    EXPECT_NE(table.find("a   橋の…"), std::string::npos) << table;
    EXPECT_EQ(table.find("\x1b[2J"), std::string::npos) << table;
    EXPECT_EQ(RunOnTerminal("NO_COLOR=1 varnel simulation list").find('\x1b'), std::string::npos);
}

TEST_F(StillCommandTest, DeletesOnATerminalOnlyWhatIsConfirmed) {
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
