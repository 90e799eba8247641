#include <TokenStore.h>
#include <nlohmann/json.hpp>

#include <regex>
#include <tuple>

#include "CommandFixture.h"
#include "RawConnection.h"
#include "ScriptedServer.h"

namespace VarnelBase {
namespace {

using nlohmann::json;

using Manner = ScriptedServer::Manner;

class TraceTest : public CommandFixture {};

TEST_F(TraceTest, ShowsTheStatusThatTheLibraryHides) {
    const Outcome outcome =
        Run("VARNEL_TOKEN=secret varnel trace --to trace.jsonl -- "
            "varnel user create admin@example.com --role viewer");
    EXPECT_EQ(outcome.status, 1);
    const json line = json::parse(Read("trace.jsonl"));
    EXPECT_EQ(line.at("status"), 409);
    EXPECT_EQ(line.at("url"), emulator.GetUrl() + "/users");
    EXPECT_EQ(line.at("authorization"), "(redacted)");
    EXPECT_EQ(Run("varnel trace -- sh -c 'exit 7'").status, 7);
    EXPECT_EQ(Run("varnel trace -- sh -c 'kill -TERM $$'").status, 143);
    EXPECT_EQ(Run("varnel trace -- ./missing").status, 127);
    Write("trace.jsonl", "precious");
    EXPECT_EQ(Run("varnel trace --to trace.jsonl -- true").status, 2);
    EXPECT_EQ(Read("trace.jsonl"), "precious");
    EXPECT_EQ(Run("varnel trace --tls -- true").status, 2);
    const std::string inherited = Run("varnel trace --to new.jsonl -- ls -l /proc/self/fd").out;
    EXPECT_PRED2(Lacks, inherited, "new.jsonl");
    EXPECT_PRED2(Lacks, inherited, "socket:");
}

TEST_F(TraceTest, StandsInTheWayOfNoSignal) {
    const std::string hangUp = "varnel trace -- sh -c 'kill -HUP $PPID; sleep 0.1; exit 7'";
    EXPECT_EQ(Run(hangUp).status, 129);
    EXPECT_EQ(Run("trap '' HUP; " + hangUp).status, 7); // as under nohup
    EXPECT_EQ(Run(R"(bash -c 'trap "" CHLD; varnel trace -- sh -c "exit 7"')").status, 7);
    Run("varnel trace -- sh -c 'varnel version; varnel version; echo yes >ended' 2>&1 | true");
    EXPECT_EQ(Read("ended"), "yes\n");
}

TEST_F(TraceTest, TheServiceSeesNoDifference) {
    const std::string request = "VARNEL_TOKEN=secret varnel agent send 'a b' -q";
    Run(request);
    Run("varnel trace -- env " + request);
    const json requests = emulator.GetRequests();
    ASSERT_EQ(requests.size(), 2);
    for (const char* part : {"method", "target", "headers", "body"}) {
        EXPECT_EQ(requests[0].at(part), requests[1].at(part));
    }
}

TEST_F(TraceTest, BodiesOfAnySizePassUnchanged) {
    Write("large.json", json::object({{"text", std::string(3'000'000, 'x')}}).dump());
    const Outcome outcome =
        Run("varnel trace -- varnel simulation inputs set sim-bridge --data @large.json");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_PRED2(Has, outcome.err, R"("requestBytes":3000011)");
    EXPECT_PRED2(Has, outcome.err, R"("responseBytes":3000011)");
}

TEST_F(TraceTest, FindsTheHostOfTheTokensGroupAndTheStoredToken) {
    WriteConfig(R"("environment": "staging", "authHost": "https://id.invalid", )");
    TokenStore().Store({GroupToken, ""});
    const Outcome outcome = Run("varnel trace --format har -- varnel execution start sim-bridge");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    // The library does not know that there is a relay.
    EXPECT_PRED2(Has, outcome.err, "UI: https://127.0.0.1/simulations");
    const json archive = json::parse(outcome.err.substr(outcome.err.find('{')));
    const json& entry = archive.at("log").at("entries").at(0);
    EXPECT_EQ(entry.at("request").at("url"),
              emulator.GetUrl() + "/simulations/sim-bridge/executions");
    EXPECT_EQ(entry.at("response").at("status"), 201);
    EXPECT_PRED2(Lacks, outcome.err, GroupToken);
}

struct RecordCase {
    std::string answer;
    std::string problem; ///< part of what the record says; empty: it has none
    Manner manner = Manner::Whole;
};

TEST_F(TraceTest, RecordsAnswersAsTheyCame) {
    ScriptedServer server;
    WriteConfig("", server.port);
    const std::string ok = "HTTP/1.1 200 OK\r\n";
    const std::string chunked = ok + "Transfer-Encoding: chunked\r\n\r\n";
    for (const RecordCase& given : {
             RecordCase{ok + "Content-Length: 3\r\n\r\n[1]", ""},
             {"HTTP/1.1 103 Hints\r\n\r\n" + ok + "Content-Length: 3\r\n\r\n[1]", "",
              Manner::Bytes},
             {ok + "\r\n[1]", ""},
             {chunked + "3;x\r\n[1]\r\n0\r\nA: b\r\n\r\n", "", Manner::Bytes},
             {ok + "Content-Length: 9\r\n\r\n[1]", "ended after 3 of 9 bytes"},
             {ok + "Content-Length: x\r\n\r\n[1]", "bad Content-Length"},
             {chunked + "3\r\n[1]\r\n", "of its chunks"},
             {chunked + "x\r\n", "bad chunk"},
             {chunked + "1\r\n[1]\r\n", "bad chunk"},
             {ok + "Content-Le", "within its header"},
             {"SSH-2.0-x\r\n", "is not HTTP"},
             {"", "did not come"},
             {ok + "Content-Length: 9\r\n\r\n[1]", "3 of 9 bytes", Manner::ThenReset},
         }) {
        SCOPED_TRACE(given.answer);
        server.Answer(given.answer, given.manner);
        Run("varnel trace --to trace.jsonl --force --bodies -- varnel version --retries 0");
        const json line = json::parse(Read("trace.jsonl"));
        const std::string found = line.value("problem", "");
        EXPECT_EQ(found.empty(), given.problem.empty()) << found;
        EXPECT_PRED2(Has, found, given.problem);
        if (found.empty()) { EXPECT_EQ(line.at("responseBody").at("text"), "[1]"); }
    }
    const Outcome unresolved =
        Run("VARNEL_API_HOST=a..b varnel trace -- varnel version --retries 0");
    EXPECT_PRED2(Has, unresolved.err, R"("problem":"the host name \"a..b\" does not resolve)");
    WriteConfig(R"("environment": "staging", "authHost": "https://id.invalid", )");
    TokenStore().Store({UnusableGroup, ""});
    EXPECT_PRED2(Has, Run("varnel trace -- varnel version --retries 0").err,
                 "cannot be part of a host");
}

TEST_F(TraceTest, RelaysWhatAConnectionMayHold) {
    ScriptedServer server;
    WriteConfig("", server.port);
    Run("mkfifo ready end");
    const pid_t trace = Start(
        "exec varnel trace --to trace.jsonl -- sh -c 'cp $VARNEL_CONFIG relay.json; "
        "echo >ready; exec cat end'");
    Run("cat ready");
    const int relay = json::parse(Read("relay.json")).at("environments").at("local").at("apiPort");
    const std::string rest = " HTTP/1.1\r\nHost: x\r\n";
    std::string lines;
    const auto kept = Manner::Kept;
    const std::string get = "GET /a" + rest;
    const std::string post = "POST /a" + rest + "Content-Length: ";
    const std::string both = post + "3\r\n\r\n[1]GET /b" + rest + "\r\n";
    // What a client sends before it closes its side for writing, the targets that the service sees,
    // and the lines of the record: target, status and problem.
    const std::tuple<Manner, std::string, Log, std::string> connections[] = {
        {kept, get + "\r\n", {"GET /a"}, "/a 201 \n"},
        {kept, both, {"POST /a", "GET /b"}, "/a 201 \n/b 202 \n"},
        {Manner::Whole, both, {"POST /a"}, "/a 201 \n/b 0 the answer did not come\n"},
        {kept, post + "9\r\n\r\n[1]", {"POST /a"}, "/a 201 the request ended after 3 of 9 bytes\n"},
        {kept, get + "\r\nGET /b HT", {"GET /a"}, "/a 201 \n"},
        {kept, get + "no header\r\n\r\n", {}, "/a 0 the request is malformed: bad field\n"},
    };
    for (const auto& [manner, sent, targets, recorded] : connections) {
        const std::string first = "HTTP/1.1 201 A\r\nContent-Length: 1\r\n\r\n1";
        const std::string second = "HTTP/1.1 202 B\r\nContent-Length: 1\r\n\r\n2";
        server.Answer("", manner, {first, second});
        const int client = ConnectTo(relay);
        SendAll(client, sent);
        shutdown(client, SHUT_WR);
        const std::size_t answers = targets.size();
        EXPECT_EQ(ReadUntil(client, ""), (first + second).substr(0, answers * first.size()));
        close(client);
        EXPECT_EQ(server.TakeTargets(), targets);
        EXPECT_EQ(server.TakeConnections(), answers == 0 ? 0 : 1);
        lines += recorded;
    }
    Run("echo >end");
    AwaitChild(trace);
    EXPECT_EQ(Run(R"x(jq -r '"\(.url[-2:]) \(.status) \(.problem // "")"' trace.jsonl)x").out,
              lines);
}

TEST_F(TraceTest, ARecordAnswersInTheServicesPlace) {
    const std::string commands =
        "varnel execution start sim-bridge --data '{\"password\":\"word5678\",\"n\":1.50}'; "
        "varnel simulation inputs set sim-bridge --data '[\"ü\"]'; varnel user show nope; "
        "varnel user list --all --limit 1; varnel execution list sim-bridge --limit 1";
    const Outcome traced = Run("varnel trace --bodies --format har --to a.har -- sh -c \"" +
                               std::regex_replace(commands, std::regex("\""), "\\\"") + "\"");
    EmulatorOptions options;
    options.recordFile = (home / "a.har").string();
    const Emulator replay(options);
    WriteConfig("", replay.GetPort());
    const Outcome replayed = Run(commands);
    EXPECT_EQ(replayed.out, std::regex_replace(traced.out, std::regex("word5678"), "(redacted)"));
    EXPECT_EQ(replayed.err, traced.err);
    EXPECT_PRED2(Has, traced.err, "404");
}

TEST_F(TraceTest, BodiesAreRecordedWithoutCredentials) {
    ScriptedServer server;
    WriteConfig(R"("clientSecret": "word5678", )", server.port);
    server.Answer(
        "HTTP/1.1 200 OK\r\nSet-Cookie: id=1\r\nContent-Length: 9\r\n\r\n\xff"
        "word5678");
    Run(R"(VARNEL_TOKEN=key12345 varnel trace --bodies --format har --to a.har -- varnel api POST )"
        R"('/x?access_token=1&b=2' --data '{"password":"p","n":12345678901234567890,"a":["key12345"]}')");
    const std::string text = Read("a.har");
    const char* redacted =
        R"x({"password":"(redacted)","n":12345678901234567890,"a":["(redacted)"]})x";
    for (const char* secret : {"key12345", "word5678", "id=1", "access_token=1", "\"p\""}) {
        EXPECT_PRED2(Lacks, text, secret);
    }
    const json entry = json::parse(text).at("log").at("entries").at(0);
    EXPECT_EQ(entry.at("request").at("postData").at("text"), redacted);
    EXPECT_EQ(entry.at("request").at("postData").at("mimeType"), "application/json");
    EXPECT_EQ(entry.at("response").at("content").at("encoding"), "base64");
    EXPECT_EQ(entry.at("response").at("content").at("text"), "/yhyZWRhY3RlZCk=");
    EXPECT_PRED2(Has, text, "/x?access_token=(redacted)&b=2");
}

TEST_F(TraceTest, AnArchiveIsReadableWhateverEndsTheTrace) {
    Run("mkfifo fifo");
    const pid_t trace = Start(
        "TMPDIR=$PWD exec varnel trace --format har --to a.har -- sh -c 'varnel version; "
        "varnel user list; exec cat <fifo'");
    Run("exec 3>fifo; until [ $(jq '.log.entries | length' a.har) = 2 ]; do :; "
        "done; kill -KILL " +
        std::to_string(trace));
    AwaitChild(trace);
    EXPECT_EQ(json::parse(Read("a.har")).at("log").at("entries").size(), 2);
}

TEST_F(TraceTest, SweepsWhatKilledTracesHaveLeft) {
    Run("mkdir run && cd run && mkdir varnel-config-old varnel-config-new varnel-config-held other "
        "&& "
        "touch -d '1 hour ago' varnel-config-old varnel-config-held other");
    const Outcome outcome =
        Run("exec 3<run/varnel-config-held; flock 3; XDG_RUNTIME_DIR=$PWD/run varnel trace -- "
            "true; ls run");
    EXPECT_EQ(outcome.out, "other\nvarnel-config-held\nvarnel-config-new\n") << outcome.err;
}

} // namespace
} // namespace VarnelBase
