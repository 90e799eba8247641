#include "Operations.h"

#include <iostream>
#include <memory>
#include <set>

#include "ConnectorFixture.h"

namespace VarnelBase {

namespace {

/// The lines of a request, sorted, since the headers' order is the HTTP library's business.
std::multiset<std::string> SplitLines(const std::string& request) {
    std::multiset<std::string> lines;
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = request.find("\r\n", begin)) != std::string::npos;) {
        lines.insert(request.substr(begin, end - begin));
        begin = end + 2;
    }
    lines.insert(request.substr(begin));
    return lines;
}

json ExpectedResult(Gate gate, int status, const std::string& body) {
    if (gate == Gate::Project) {
        return status == 200 ? json{{"status", "ok"}, {"body", body}} : json();
    }
    const bool isRead = gate == Gate::AnyResponse || (gate == Gate::Exactly200 && status == 200) ||
                        ((gate == Gate::Exactly201 || gate == Gate::Execution) && status == 201);
    return isRead && json::accept(body) ? json::parse(body) : json();
}

const char* const Link = "UI: https://127.0.0.1/simulations/s1\n";

using Requests = ConnectorFixture;
using Gates = ConnectorFixture;
using Steps = ConnectorFixture;

} // namespace

TEST_F(Requests, AreTheBytesOfTheTable) {
    UseGroup();
    for (const std::string token : {"t0ken", ""}) {
        tokens = {token};
        ApiConnector connector;
        for (const Operation& operation : ListOperations()) {
            operation.call(connector);
            std::string expected = operation.request +
                                   " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(apiPort) +
                                   "\r\nAccept: */*\r\nConnection: close\r\nUser-Agent: "
                                   "cpp-httplib/" CPPHTTPLIB_VERSION "\r\n";
            if (!token.empty()) { expected += "Authorization: Bearer " + token + "\r\n"; }
            if (!operation.body.empty()) {
                expected += "Content-Type: application/json\r\nContent-Length: " +
                            std::to_string(operation.body.size()) + "\r\n";
            }
            expected += "\r\n" + operation.body;
            EXPECT_EQ(SplitLines(TakeRequests().at(0)), SplitLines(expected)) << operation.request;
        }
    }
}

TEST_F(Requests, EscapeNoMoreOfTheTargetThanTheHttpClientDoes) {
    std::string given;
    std::string sent;
    for (int code = 1; code < 256; ++code) {
        const char c = static_cast<char>(code);
        given += c;
        if (code >= 0x80 || std::string(" +\r\n',;").find(c) != std::string::npos) {
            sent += {'%', "0123456789ABCDEF"[code / 16], "0123456789ABCDEF"[code % 16]};
        } else {
            sent += c;
        }
    }
    ApiConnector connector;
    connector.GetSimulations(given, 1, 2);
    connector.GetExecutions("", 0, 0);
    connector.GetExecution(given, "");
    connector.PostExecution(given + '\0' + given, json());
    connector.UpdateUser(given, "reader");
    Log targets = TakeRequests();
    for (std::string& target : targets) { target.erase(target.find(" HTTP/1.1\r\n")); }
    EXPECT_EQ(targets, (Log{"GET /simulations?scope=" + sent + "&limit=1&offset=2",
                            "GET /simulations//executions?limit=0&offset=0",
                            "GET /simulations/" + sent + "/executions/",
                            "POST /simulations/" + sent, "PATCH /users/" + sent}));
}

TEST_F(Gates, LetThroughWhatTheTableSays) {
    struct Scripted {
        int status; ///< 0: no whole answer
        std::string text;
    };
    std::vector<Scripted> answers{{0, ""},
                                  {0, "HTTP/1.1 200 OK\r\nContent-Le"},
                                  {0, "nonsense\r\n\r\n{}"},
                                  {0, "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{}"},
                                  {0, "HTTP/1.1 204 No Content\r\n\r\n"}};
    for (const int status : {200, 201, 202, 203, 206, 226, 300, 302, 400, 401, 404, 500, 503}) {
        for (const std::string body :
             {R"({"b":[1,{"c":null}],"a":"é"})", " 7\n", "null", "\"text\"", "", "<html>",
              "{\"a\":", "[] x", "/* c */ 1", "\"\xff\""}) {
            answers.push_back({status, body});
        }
    }
    ApiConnector connector;
    for (const Scripted& answer : answers) {
        if (answer.status == 0) {
            Answer(answer.text);
        } else {
            Answer(answer.status, answer.text, "Location: /elsewhere\r\n");
        }
        for (const Operation& operation : ListOperations()) {
            SCOPED_TRACE(operation.request + " " + std::to_string(answer.status) + answer.text);
            json result;
            const auto output = CaptureOutput([&] { result = operation.call(connector); });
            EXPECT_EQ(result, ExpectedResult(operation.gate, answer.status, answer.text));
            const bool isLinked = operation.gate == Gate::Execution && answer.status == 201;
            EXPECT_EQ(output, isLinked ? Link : "");
            EXPECT_EQ(TakeRequests().size(), 1U);
        }
    }
}

TEST_F(Steps, ComeInOrderAndEndWhereOneThrows) {
    UseGroup();
    tokens = {"A"};
    Answer(201, "{}");
    const Log steps{"token", "group of A", "token", "request", "token"};
    for (const Operation& operation : ListOperations()) {
        const bool isLinked = operation.gate == Gate::Execution;
        for (int failing = 0; failing <= (isLinked ? 4 : 3); ++failing) {
            SCOPED_TRACE(operation.request + " " + std::to_string(failing));
            ApiConnector connector;
            Restart(failing);
            const auto act = [&] {
                if (failing == 0) {
                    operation.call(connector);
                } else {
                    EXPECT_THROW(operation.call(connector), StepFailed);
                    std::cout.flush();
                }
            };
            const std::string output = failing == 4 ? "UI: https://" : "";
            EXPECT_EQ(CaptureOutput(act), isLinked && failing == 0 ? Link : output);
            const int whole = isLinked ? 5 : 4;
            const int last = failing == 0 || failing == 4 ? whole : failing;
            EXPECT_EQ(TakeLog(), Log(steps.begin(), steps.begin() + last));
        }
    }
}

TEST_F(Steps, AreNoneOffline) {
    offline = true;
    std::unique_ptr<ApiConnector> connector;
    CaptureOutput([&] { connector = std::make_unique<ApiConnector>(); });
    Restart();
    for (const Operation& operation : ListOperations()) {
        json result;
        EXPECT_EQ(CaptureOutput([&] { result = operation.call(*connector); }), "");
        EXPECT_EQ(result.dump(), operation.request == "GET /version" ? R"(["0.4.1"])" : "null");
    }
    EXPECT_EQ(TakeLog(), Log());
}

TEST_F(Steps, EndBeforeTheRequestWhenABodyIsNotUtf8) {
    const std::string bad = "a\xFF";
    json document = {{"name", bad}};
    const std::vector<std::function<void(ApiConnector&)>> calls{
        [&](auto& c) { c.SendAgentCommand(bad); },
        [&](auto& c) { c.PostSimulationInputs("s1", document); },
        [&](auto& c) { c.PostExecution("s1", document); },
        [&](auto& c) { c.PutSimulationData("s1", document); },
        [&](auto& c) { c.GenerateProject(document); },
        [&](auto& c) { c.CreateUser(bad, "reader"); },
        [&](auto& c) { c.CreateUser("a@b.example", bad); },
        [&](auto& c) { c.UpdateUser("u1", bad); },
    };
    for (const bool isOffline : {false, true}) {
        offline = isOffline;
        const auto act = [&] {
            ApiConnector connector;
            for (const auto& call : calls) {
                Restart();
                if (isOffline) {
                    EXPECT_NO_THROW(call(connector));
                } else {
                    EXPECT_THROW(call(connector), json::type_error);
                }
                EXPECT_EQ(TakeLog(), isOffline ? Log() : (Log{"token", "token"}));
            }
        };
        EXPECT_EQ(CaptureOutput(act).empty(), !isOffline);
    }
}

} // namespace VarnelBase
