#include <CryptoText.h>
#include <TokenStore.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <ctime>
#include <tuple>

#include "CommandFixture.h"
#include "ScriptedServer.h"
#include "SilentPeer.h"

namespace VarnelBase {
namespace {

using nlohmann::json;

/// A rule for the emulator.
struct Fault {
    const char* action = nullptr; ///< none: no rule
    const char* method = "";
    int status = 0; ///< 0: the usual one
    int times = 0;  ///< 0: always
};

struct AnswerCase {
    const char* command;
    Fault world;
    int status;
    const char* out; ///< part of standard output, which is empty when the command fails
    const char* err; ///< part of standard error; empty: there is nothing
};

class CommandTest : public CommandFixture {
protected:
    void Check(const AnswerCase& given, const std::string& before = "") {
        emulator.Reset();
        if (given.world.action != nullptr) {
            json rule =
                json::object({{"action", given.world.action}, {"times", given.world.times}});
            if (*given.world.method != '\0') { rule["method"] = given.world.method; }
            if (given.world.status != 0) { rule["status"] = given.world.status; }
            emulator.AddFault(rule);
        }
        const std::string command = before + given.command;
        const Outcome outcome =
            Run(command.find("varnel ") == std::string::npos ? "varnel " + command : command);
        SCOPED_TRACE(command + "\n" + outcome.out + outcome.err);
        EXPECT_EQ(outcome.status, given.status);
        EXPECT_PRED2(Has, outcome.out, given.out);
        EXPECT_PRED2(Has, outcome.err, given.err);
        EXPECT_TRUE(outcome.status == 0 || *given.out != '\0' || outcome.out.empty());
        EXPECT_TRUE(*given.err != '\0' || outcome.err.empty());
    }
};

TEST_F(CommandTest, TellsWhatHappened) {
    const std::string page = "https://127.0.0.1/simulations/sim-bridge\n";
    const std::string link = "UI: " + page;
    for (const AnswerCase& given : {
             AnswerCase{"version", {}, 0, "0.4.1", ""},
             {"version", {"reset", "", 0, 1}, 0, "0.4.1", ""},
             {"version --retries 0", {"reset", "", 0, 1}, 3, "", "with: varnel doctor"},
             {"user list --retries 0", {"invalidJson"}, 1, "", "GET /users"},
             {"version", {"literalNull"}, 0, "null", ""},
             {"version --retries 0", {"status", "", 503}, 1, "", "answered 503: "},
             {"version", {"status", "", 401}, 4, "", "set VARNEL_TOKEN, or"},
             {"VARNEL_AUTH_HOST=http://127.0.0.1:1 varnel version", {}, 4, "", "in with: varnel"},
             {"version", {"status", "", 403}, 1, "", "answered 403"},
             {"version --retries 0", {"dropAfterReading"}, 3, "", "GET /version"},
             {"version --retries 0", {"truncate"}, 3, "", "GET /version"},
             {"user list", {"replaceStatus", "", 206}, 1, "", "206"},
             {"agent show", {"replaceStatus", "", 404}, 1, "", "404"},
             {"simulation inputs get sim-bridge --retries 0", {"status"}, 1, "", "503"},
             {"simulation show nope", {}, 1, "", "404: there is no simulation"},
             {"simulation list --query /nope", {}, 1, "", "nothing at /nope"},
             {"simulation list --query /items/0/id", {}, 0, "sim-bridge\n", ""},
             {"simulation list -o table -o jsonl --scope group", {}, 0, "{\"createdAt\"", ""},
             {"simulation delete sim-bridge -y", {}, 0, "", "verified"},
             {"simulation delete nope --yes", {}, 1, "", "404: there is no simulation"},
             {"simulation delete sim-bridge -y --retries 0", {"status"}, 1, "", "nothing was"},
             {"user delete usr-2 --yes", {"status", "GET", 401}, 4, "", "nothing was deleted"},
             {"user delete usr-2 --yes", {"dropAfterReading", "DELETE"}, 0, "", "verified"},
             {"user delete usr-2 --yes", {"status", "DELETE"}, 1, "", "still exists"},
             {"user delete usr-2 --yes", {"status", "DELETE", 409}, 1, "", "answered 409"},
             {"user delete usr-2 --yes", {"dropBeforeReading", "DELETE"}, 5, "", "still exists"},
             {"user delete usr-2 --yes", {"status", "DELETE", 504}, 5, "", "still exists"},
             {"simulation inputs set sim-bridge --data '{\"ü\":[1,2.5]}'", {}, 0, "", "verified"},
             {"simulation inputs set sim-bridge --data 1",
              {"status", "POST"},
              1,
              "",
              "other inputs"},
             {"simulation inputs set nope --data {}", {}, 1, "", "answered 404"},
             {"execution start sim-bridge", {}, 0, "\"createdAt\"", link.c_str()},
             {"execution start sim-bridge", {"invalidJson"}, 5, "", "(201)"},
             {"execution start sim-bridge", {"replaceStatus", "", 200}, 0, "queued", "UI"},
             {"execution start sim-bridge", {"dropAfterReading"}, 5, "", "may have been made"},
             {"execution start sim-bridge", {"status", "", 422}, 1, "", "answered 422"},
             {"execution start sim-bridge", {"status", "", 401}, 4, "", "answered 401"},
             {"execution start sim-bridge", {"status", "", 500}, 5, "", "check before you"},
             {"user create new@example.com --role viewer -q", {}, 0, "usr-3", ""},
             {"user create admin@example.com --role viewer", {}, 1, "", "409: a user with the em"},
             {"user set-role usr-2 admin", {"dropAfterReading", "PATCH"}, 0, "usr-2", "verified"},
             {"user set-role usr-2 admin", {"dropBeforeReading", "PATCH"}, 5, "", "another role"},
             {"agent send ''", {}, 1, "", "must be a non-empty string"},
             {"api GET '/users?limit=1&offset=1' --query /items/0/id", {}, 0, "usr-2\n", ""},
             {"api GET /version --query /0",
              {"invalidJson"},
              1,
              "",
              "--query finds nothing: not J"},
             {"api POST /agent --data '{\"command\":\"x\"}'", {}, 0, "agent-1", ""},
             {"api DELETE /users/nope", {}, 1, "", "404: there is no user"},
             {"execution show sim-bridge exe-2", {}, 0, "diverged", ""},
             {"BROWSER=false varnel open simulation sim-bridge", {}, 0, page.c_str(), "no browser"},
             {"version --offline", {}, 0, "0.4.1", "offline mode is on"},
             {"user list --offline", {}, 6, "", "(VARNEL_OFFLINE)"},
             {"version --environment staging", {}, 4, "", "VARNEL_AUTH_HOST"},
             {"version >/dev/full", {}, 1, "", "standard output"},
             {"version >&-", {}, 1, "", "standard output"},
             {"user create a@b --role x >/dev/full", {}, 1, "", "(id usr-3)"},
             {"user create a@b --role x --query /nope", {}, 1, "usr-3", "nothing at /nope"},
             {"user set-role usr-2 admin --query /nope", {}, 1, "usr-2", "nothing at /nope"},
             {"api POST /agent --data '{\"command\":\"x\"}' >/dev/full",
              {},
              1,
              "",
              "POST /agent was done"},
             {"simulation list --help", {}, 0, "Examples:", ""},
             {"help simulation inputs set", {}, 0, "--data", ""},
             {"help", {}, 0, "Exit status:", ""},
             {"--version --verbose", {}, 0, "libcurl/", ""},
         }) {
        Check(given);
    }
    for (const AnswerCase& given : {
             AnswerCase{"exe-1 -q", {}, 0, "finished", ""},
             {"exe-1 -q --interval 0.01", {"status", "", 503, 9}, 0, "finished", ""},
             {"exe-1 --interval 0.01 --retries 0",
              {"invalidJson", "", 0, 2},
              0,
              "finished",
              "asking again"},
             {"exe-1", {"status", "", 401}, 4, "", "varnel login"},
             {"exe-1 --field /nope", {}, 1, "", "--field"},
             {"exe-1 --bad finished -q --good x", {}, 8, "finished", "has ended as finished"},
             {"exe-2 --good failed -q", {}, 0, "diverged", ""},
             {"exe-2 exe-1 -q -o jsonl", {}, 8, "exe-1", "exe-2 has"},
             {"--all", {}, 8, "[", "exe-2 has"},
         }) {
        Check(given, "execution watch sim-bridge ");
    }
    EXPECT_EQ(Run("varnel execution watch sim-pendulum --all").out, "[]\n");
    for (const auto& [setting, status] : std::vector<std::pair<std::string, int>>{
             {"VARNEL_API_PORT=1", 3}, {"VARNEL_API_HOST=a..b", 3}, {"VARNEL_API_PORT=x", 2}}) {
        EXPECT_EQ(Run(setting + " varnel version --retries 0").status, status);
        EXPECT_EQ(Run(setting + " varnel user delete usr-2 --yes --retries 0").status, status);
        EXPECT_EQ(Run(setting + " varnel execution start sim-bridge --retries 0").status, status);
    }
}

TEST_F(CommandTest, SendsNothingThatItShouldNot) {
    const std::string settings = Read("config.json");
    const std::string set = "simulation inputs set sim-bridge --data ";
    for (const auto& [arguments, err] : std::vector<std::pair<std::string, std::string>>{
             {"simulation show a/b", "SIMULATION"},
             {"simulation delete '' --yes", "SIMULATION"},
             {"user show 'a?b'", "USER"},
             {"user delete 'a#b' --yes", "USER"},
             {"execution show sim-bridge ..", "EXECUTION"},
             {"execution watch sim-bridge exe-1 ..", "EXECUTION"},
             {"execution watch sim-bridge", "--all"},
             {"execution list a%2fb", "SIMULATION"},
             {"simulation list --scope 'user&limit=1'", "--scope"},
             {"simulation delete sim-bridge", "--yes"},
             {set + "''", "--data: is empty"},
             {"execution start sim-bridge --data=", "--data: is empty"},
             {"execution list --state= sim-bridge", "--state: is empty"},
             {"trace --to= -- varnel version", "--to: is empty"},
             {"user list --environment ''", "--environment: is empty"},
             {"project generate --data {} -O ''", "is empty"},
             {set + "'{\"a\":}'", "--data: not JSON at byte offset 5"},
             {set + "'{\"a\":1'", "byte offset 6"},
             {set + "1e400", "too large"},
             {set + "$(printf '[%.0s' {1..1001})", "--data: n"},
             {set + "\"$(printf '{\"\\303\\050\"}')\"", "--data: not UTF-8 at byte offset 2"},
             {set + "-", "--data -: not JSON at byte offset 0"},
             {set + "@missing", "@missing"},
             {set + "@.", "@."},
             {"project generate --data '{\"a\":1,\"a\":2}'", "a member twice"},
             {"project generate --data 123456789012345678901", "beyond 64 bits"},
             {"user create \"$(printf 'a\\377')\" --role x", "EMAIL: not UTF-8 at byte offset 1"},
             {"api GET users", "PATH"},
             {"simulaton list", "did you mean \"simulation\"?"},
             {"help simulation lst", "did you mean \"list\"?"},
             {"u list", "unknown command \"u\"\nSee"},
             {"user list --limt 1", "did you mean \"--limit\"?"},
             {"user list --query items", "--query"},
             {"user list --timeout 0", "--timeout"},
             {"execution watch sim-bridge exe-1 --field state", "--field"},
             {"user list --environment nowhere", "nowhere"},
             {"config set apiHots x", "apiHots"},
             {"config set apiPort 99999", "config.json: apiPort: must be a whole number from 1"},
             {"config set apiHost http://h/ --environment staging", "staging.apiHost: must be a"},
             {"config set callbackPorts abc", "callbackPorts"},
             {"config set authHost id.example.com", "authHost"},
             {"config set environment nowhere", "environment: unknown environment"},
             {"config set password secret", "secret: pass -"},
             {"", "a command is missing"},
         }) {
        const Outcome outcome = Run("varnel " + arguments);
        EXPECT_EQ(outcome.status, 2) << arguments;
        EXPECT_PRED2(Has, outcome.err, err) << arguments;
    }
    EXPECT_EQ(Run("VARNEL_API_PORT=80 varnel config set apiPort abc").status, 2);
    EXPECT_EQ(Read("config.json"), settings);
    const json shown = json::parse(Run("varnel " + set + "[1] --dry-run").out);
    EXPECT_EQ(shown.at("target"), emulator.GetUrl() + "/simulations/sim-bridge/inputs");
    EXPECT_EQ(shown.at("body"), json::array({1}));
    EXPECT_EQ(emulator.GetRequests(), json::array());

    Run("varnel simulation show a/b --raw-id");
    EXPECT_EQ(emulator.GetRequests().front().at("target"), "/simulations/a/b");
    emulator.ClearRequests();
    Run("varnel simulation show 'ü b'");
    EXPECT_EQ(emulator.GetRequests().front().at("target"), "/simulations/%C3%BC%20b");
}

TEST_F(CommandTest, ATokenThatEndsDoesNotLoseWhatWasStarted) {
    SilentPeer peer;
    WriteConfig(R"("environment": "staging", "authHost": "https://id.invalid", )", peer.port);
    // So near its end it is looked for again whenever it is needed.
    const std::string claims =
        R"({"groups":["127"],"exp":)" + std::to_string(std::time(nullptr) + 25) + "}";
    TokenStore().Store({"e30." + EncodeBase64Url(claims) + ".", ""});
    const pid_t start = Start("exec varnel execution start x >out 2>err");
    peer.Receive();
    TokenStore().Clear();
    peer.Answer(MakeAnswer(201, R"({"id":"exe-9"})"));
    EXPECT_EQ(AwaitChild(start), 0);
    EXPECT_PRED2(Has, Read("out"), "exe-9");
    EXPECT_EQ(Read("err"), "UI: https://127.0.0.1/simulations/x\n");
}

TEST_F(CommandTest, AnotherEnvironmentLeavesTheVariablesOfTheFirstAside) {
    const std::string variables =
        "VARNEL_ENVIRONMENT=staging VARNEL_API_HOST=other VARNEL_TOKEN=secret VARNEL_SCOPE=x "
        "VARNEL_OFFLINE=1 varnel config -o jsonl --environment ";
    const std::string local = Run(variables + "local").out;
    EXPECT_PRED2(Lacks, local, "other");
    EXPECT_PRED2(Lacks, local, "VARNEL_TOKEN");
    EXPECT_PRED2(Lacks, local, "VARNEL_SCOPE");
    EXPECT_PRED2(Has, local, "VARNEL_OFFLINE");
    const std::string staging = Run(variables + "Staging").out;
    EXPECT_PRED2(Has, staging, "\"other\"");
    EXPECT_PRED2(Lacks, staging, "secret");
}

TEST_F(CommandTest, ReachesTheServiceOverTls) {
    const Outcome made =
        Run("openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 "
            "-subj /CN=x -addext subjectAltName=IP:127.0.0.1 -keyout key.pem -out cert.pem");
    ASSERT_EQ(made.status, 0) << made.err;
    EmulatorOptions options;
    options.tlsCertificateFile = (home / "cert.pem").string();
    options.tlsKeyFile = (home / "key.pem").string();
    const Emulator secure(options);
    WriteConfig("", secure.GetPort());
    for (const auto& [command, status, said] :
         std::vector<std::tuple<std::string, int, std::string>>{
             {"VARNEL_CA_FILE=cert.pem varnel version --tls", 0, "0.4.1"},
             {"VARNEL_CA_FILE=cert.pem VARNEL_API_TLS=1 varnel version", 0, "0.4.1"},
             {"VARNEL_CA_FILE=cert.pem varnel doctor --tls", 0, "0.4.1"},
             {"VARNEL_CA_FILE=cert.pem varnel user set-role usr-2 admin --tls", 0, "verified"},
             {"varnel version --tls", 3, "certificate"},
             {"varnel doctor --tls", 3, "VARNEL_CA_FILE"},
             {"varnel version --retries 0", 3, "GET /version"},
             {"varnel doctor", 3, "VARNEL_API_TLS=1"},
         }) {
        const Outcome outcome = Run(command);
        EXPECT_EQ(outcome.status, status) << command << outcome.out << outcome.err;
        EXPECT_PRED2(Has, outcome.out + outcome.err, said) << command;
    }
}

/// The command against a server whose every byte the test chooses.
class ScriptedCommandTest : public CommandFixture {
protected:
    ScriptedCommandTest() { WriteConfig("", server.port); }

    ScriptedServer server;
};

TEST_F(ScriptedCommandTest, NumbersAndMembersPassUnchanged) {
    const std::string inputs = R"({"b":1.10,"a":12345678901234567890123,"a":-0,"c":[],"d":{}})";
    server.Answer(MakeAnswer(200, inputs));
    EXPECT_EQ(Run("varnel simulation inputs get x -o jsonl").out, inputs + "\n");
    const std::string indented = Run("varnel simulation inputs get x").out;
    EXPECT_PRED2(Has, indented, "{\n  \"b\": 1.10,\n  \"a\": 12345678901234567890123,\n");
    EXPECT_PRED2(Has, indented, "\"c\": [],\n  \"d\": {}\n}");
    EXPECT_EQ(Run("varnel simulation inputs get x --query /a").status, 1);
    EXPECT_EQ(Run("varnel simulation inputs get x --query /c/0").status, 1);
    server.TakeRequests();
    Run("varnel simulation inputs set x --data ' " + inputs + "'");
    const std::string request = server.TakeRequests().front();
    EXPECT_PRED2(Has, request, "\r\n\r\n " + inputs);
    EXPECT_EQ(Run("varnel simulation inputs set x --data '" + inputs + "'").status, 0);
    server.Answer(MakeAnswer(200, R"({"b":1.10,"a":12345678901234567890124,"a":0,"c":[],"d":{}})"));
    EXPECT_EQ(Run("varnel simulation inputs set x --data '{\"a\":12345678901234567890123}'").status,
              5);
}

struct ListCase {
    const char* options;
    Log pages;
    const char* out; ///< the identifiers
    std::size_t requests;
    const char* err;
};

TEST_F(ScriptedCommandTest, ListsTellWhatTheyLeaveOut) {
    const std::string one =
        R"({"items":[{"id":"a","state":"x"},{"id":"b","state":"y"}],"total":4})";
    const std::string overlapping =
        R"({"items":[{"id":"b","state":"z"},{"id":"c","state":"x"}],"total":4})";
    const std::string two = R"({"items":[{"id":"c","state":"x"},{"id":"d"}],"total":4})";
    const std::string last = R"({"items":[{"id":"d"}],"total":4})";
    const std::string none = R"({"items":[],"total":4})";
    for (const ListCase& given : {
             ListCase{"--limit 2", {one}, "a b ", 1, "2 of 4 users, --all for the rest"},
             {"--limit 2 --offset 2", {two}, "c d ", 1, "2 of 4 users"},
             {"--limit 2", {R"([{"id":"a"},{"id":"b"}])"}, "a b ", 1, "there may be more"},
             {"--limit 3", {R"([{"id":"a"},{"id":"b"}])"}, "a b ", 1, ""},
             {"--limit 2 --all", {one, two}, "a b c d ", 2, ""},
             // Nothing stops short of the total, and what has moved between pages comes once.
             {"--limit 5 --all", {one, overlapping}, "a b c ", 2, ""},
             {"--limit 5 --all", {one, last, none}, "a b d ", 3, ""},
             {"--limit 2 --all --offset 2", {two}, "c d ", 1, ""},
             {"--limit 2 --all", {one, none}, "a b ", 2, ""},
             {"--limit 1 --state x", {one}, "a ", 1, "1 users, and there may be more"},
             {"--limit 2 --state x", {one, two}, "a c ", 2, ""},
             {"--all --limit 2 --state y", {one, two}, "b ", 2, ""},
         }) {
        Log answers;
        for (const std::string& page : given.pages) { answers.push_back(MakeAnswer(200, page)); }
        server.Answer(MakeAnswer(500, "{}"), ScriptedServer::Manner::Whole, answers);
        const Outcome outcome =
            Run(std::string("varnel user list --retries 0 -o json ") + given.options +
                " | jq -r '(.items? // .)[].id' | tr '\\n' ' '");
        SCOPED_TRACE(given.options + outcome.err);
        EXPECT_EQ(outcome.out, given.out);
        EXPECT_EQ(server.TakeRequests().size(), given.requests);
        EXPECT_PRED2(Has, outcome.err, given.err);
        EXPECT_TRUE(*given.err != '\0' || outcome.err.empty());
    }
}

TEST_F(ScriptedCommandTest, PeopleSeeTheNewestExecutionsFirst) {
    const std::string first =
        R"({"items":[{"id":"a","createdAt":"2025-01-01"},{"id":"b","createdAt":"2025-01-02"}],"total":9})";
    const std::string newest =
        R"({"items":[{"id":"h","createdAt":"2025-01-08"},{"id":"i","createdAt":"2025-01-09"}],"total":9})";
    server.Answer("", ScriptedServer::Manner::Whole,
                  {MakeAnswer(200, first), MakeAnswer(200, newest)});
    const Outcome outcome = Run("varnel execution list x --limit 2 -o table");
    EXPECT_EQ(outcome.out, "id  createdAt\ni   2025-01-09\nh   2025-01-08\n");
    EXPECT_PRED2(Has, outcome.err, "the newest 2 of 9 executions");
    EXPECT_EQ(server.TakeTargets().back(), "GET /simulations/x/executions?limit=2&offset=7");

    const std::string states =
        R"([{"id":"a","state":"x","createdAt":"1"},{"id":"b","state":"x","createdAt":"2"},{"id":"c","state":"y","createdAt":"3"}])";
    server.Answer(MakeAnswer(200, states));
    const Outcome chosen = Run("varnel execution list x --limit 1 --state x -o table");
    EXPECT_EQ(chosen.out, "id  state  createdAt\nb   x      2\n");
    EXPECT_PRED2(Has, chosen.err, "the newest 1 executions, and there may be more");
}

TEST_F(ScriptedCommandTest, TerminalsAreNeitherSteeredNorOverflowed) {
    if (!HasTerminal()) { GTEST_SKIP(); }
    const std::string longId = "sim-0123456789-0123456789-0123456789";
    server.Answer(MakeAnswer(
        200, R"([{"id":")" + longId +
                 "\",\"name\":\"橋の上を走る列車\",\"note\":\"e\u0301\\u001b[2J\\u202ex\u0085\","
                 "\"scope\":\"something\"}]"));
    const std::string wide = RunOnTerminal("varnel simulation list", 120);
    EXPECT_PRED2(Has, wide, "\x1b[1mid");
    EXPECT_PRED2(Has, wide, "橋の上を走る列車  e\u0301�[2J�x�");
    EXPECT_PRED2(Lacks, RunOnTerminal("NO_COLOR=1 varnel simulation list", 120), "\x1b");
    const std::string narrow = RunOnTerminal("varnel simulation list", 48);
    EXPECT_PRED2(Has, narrow, longId + "  橋の");
    EXPECT_PRED2(Has, narrow, "no room for note, scope");
    EXPECT_PRED2(Has, RunOnTerminal("varnel simulation list", 20), longId);
    const std::string shown = RunOnTerminal("varnel simulation list -o json", 80);
    EXPECT_PRED2(Has, shown, "\\u001b[2J\\u202ex\\u0085");
    server.Answer(MakeAnswer(200, "a\u202eb"));
    for (const char* command :
         {"varnel api GET /x", "varnel trace --bodies -- varnel api GET /x"}) {
        EXPECT_PRED2(Has, RunOnTerminal(command, 200), "a\\u202eb");
    }
    server.Answer(MakeAnswer(404, R"({"error":{"message":"a\u001b[2J\u202eb"}})"));
    EXPECT_PRED2(Has, Run("varnel version").err, "a�[2J�b");
}

TEST_F(ScriptedCommandTest, AReadIsOneRequest) {
    server.Answer(MakeAnswer(200, "[1]"));
    EXPECT_EQ(Run("varnel version").status, 0);
    EXPECT_EQ(server.TakeRequests().size(), 1);
    server.Answer(MakeAnswer(201, "{}"));
    EXPECT_EQ(Run("varnel execution start x").status, 0);
    EXPECT_EQ(server.TakeRequests().size(), 1);
}

TEST_F(CommandTest, DeletesOnATerminalOnlyWhatIsConfirmed) {
    if (!HasTerminal()) { GTEST_SKIP(); }
    const std::string remove = "varnel simulation delete sim-bridge";
    const std::string question = "Delete simulation sim-bridge? [y/N]";
    EXPECT_PRED2(Has, RunOnTerminal(remove, 80, "n"), question);
    EXPECT_EQ(emulator.GetRequests(), json::array());
    EXPECT_PRED2(Has, RunOnTerminal(remove, 80, "y"), "verified");
}

TEST_F(CommandTest, AWatchEndsInTime) {
    Run("varnel execution start sim-bridge");
    const Outcome outcome =
        Run("varnel execution watch sim-bridge exe-3 --interval 0.1 --timeout 1");
    EXPECT_EQ(outcome.status, 7) << outcome.err;
    EXPECT_PRED2(Has, outcome.err, "exe-3 is queued");
    EXPECT_EQ(outcome.out, "");
    const SilentPeer peer;
    WriteConfig("", peer.port);
    for (const char* watched : {"y", "--all"}) {
        EXPECT_EQ(
            Run("timeout 30 varnel execution watch x --timeout 1 " + std::string(watched)).status,
            7);
    }
    WriteConfig("");
    if (!HasTerminal()) { GTEST_SKIP(); }
    const std::string shown = RunOnTerminal("varnel execution watch sim-bridge exe-1", 60);
    EXPECT_PRED2(Has, shown, "[####################] finished 100 %");
}

} // namespace
} // namespace VarnelBase
