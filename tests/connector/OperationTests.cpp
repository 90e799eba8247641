#include <cstring>
#include <iostream>
#include <memory>

#include "ApiConnector.h"
#include "ConnectorFixture.h"
#include "Operations.h"

namespace VarnelBase {

namespace {

using Operations = ConnectorFixture;

const char* const Link = "UI: https://127.0.0.1/simulations/s1\n";

} // namespace

TEST_F(Operations, LeaveTheTargetToTheEscapingOfTheHttpClient) {
    if (HttplibRelease >= 2900 && HttplibRelease < 4900) {
        GTEST_SKIP() << "skipped: this release of cpp-httplib escapes queries once more";
    }
    std::string given, sent;
    for (int code = 1; code < 256; ++code) {
        const char c = static_cast<char>(code);
        given += c;
        const bool isEscaped = code >= 0x80 || std::strchr(" +\r\n',;", c) != nullptr;
        const std::string escape{'%', "0123456789ABCDEF"[code / 16], "0123456789ABCDEF"[code % 16]};
        sent += isEscaped ? escape : std::string(1, c);
    }
    ApiConnector connector;
    connector.GetSimulations(given, 1, 2);
    connector.GetExecutions("", 0, 0);
    connector.GetExecution(given, "");
    connector.PostExecution(given + '\0' + given, json());
    connector.UpdateUser(given, "reader");
    EXPECT_EQ(server.TakeTargets(), (Log{"GET /simulations?scope=" + sent + "&limit=1&offset=2",
                                         "GET /simulations//executions?limit=0&offset=0",
                                         "GET /simulations/" + sent + "/executions/",
                                         "POST /simulations/" + sent, "PATCH /users/" + sent}));
}

TEST_F(Operations, ReadTheAnswersThatTheirGatesLetThrough) {
    const int none = 0;
    std::vector<std::pair<int, std::string>> answers;
    for (const char* bytes :
         {"", "HTTP/1.1 200 OK\r\nContent-Le", "nonsense\r\n\r\n{}",
          "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{}", "HTTP/1.1 204 No Content\r\n\r\n"}) {
        answers.emplace_back(none, bytes);
    }
    for (const int status : {200, 201, 202, 203, 206, 226, 300, 302, 400, 401, 404, 500, 503}) {
        for (const char* body : {R"({"b":[1,{"c":null}],"a":"é"})", " 7\n", "null", "\"text\"", "",
                                 "<html>", "{\"a\":", "[] x", "/* c */ 1", "\"\xff\""}) {
            answers.emplace_back(status, body);
        }
    }
    ApiConnector connector;
    for (const auto& [status, text] : answers) {
        Answer(status, text, "Location: /elsewhere\r\n");
        if (status == none) { server.Answer(text); }
        for (const Operation& operation : AllOperations) {
            SCOPED_TRACE(operation.request + " " + std::to_string(status) + text);
            json result;
            const auto output = CaptureOutput([&] { result = operation.call(connector); });
            EXPECT_EQ(result, ExpectedResult(operation.gate, status, text));
            EXPECT_EQ(output, operation.gate == Gate::Execution && status == 201 ? Link : "");
            EXPECT_EQ(server.TakeTargets(), Log{operation.request});
        }
    }
}

TEST_F(Operations, TakeTheirStepsInOrderAndEndWhereOneThrows) {
    UseGroup();
    tokens = {"A"};
    Answer(201, "{}");
    const Log steps{"token", "group of A", "token", "request", "token"};
    for (const Operation& operation : AllOperations) {
        const bool isLinked = operation.gate == Gate::Execution;
        const std::array<const char*, 5> outputs{isLinked ? Link : "", "", "", "", "UI: https://"};
        const std::array<int, 5> counts{isLinked ? 5 : 4, 1, 2, 3, 5};
        for (std::size_t failing = 0; failing <= (isLinked ? 4 : 3); ++failing) {
            SCOPED_TRACE(operation.request + " " + std::to_string(failing));
            ApiConnector connector;
            server.TakeLog();
            callsToFailure = static_cast<int>(failing);
            const std::string output = CaptureOutput([&] {
                try {
                    operation.call(connector);
                    EXPECT_EQ(failing, 0U);
                } catch (const StepFailed&) { std::cout.flush(); }
            });
            EXPECT_EQ(output, outputs[failing]);
            EXPECT_EQ(server.TakeLog(), Log(steps.begin(), steps.begin() + counts[failing]));
        }
    }
}

TEST_F(Operations, DoNothingOffline) {
    offline = true;
    std::unique_ptr<ApiConnector> connector;
    CaptureOutput([&] { connector = std::make_unique<ApiConnector>(); });
    server.TakeLog();
    for (const Operation& operation : AllOperations) {
        json result;
        EXPECT_EQ(CaptureOutput([&] { result = operation.call(*connector); }), "");
        EXPECT_EQ(result.dump(), operation.request == "GET /version" ? R"(["0.4.1"])" : "null");
    }
    connector->UpdateUser("u1", "\xFF");
    EXPECT_EQ(server.TakeLog(), Log());
}

TEST_F(Operations, EndBeforeTheRequestWhenABodyIsNotUtf8) {
    const std::string bad = "a\xFF";
    const json document = {{"name", bad}};
    const std::vector<std::function<void(ApiConnector&)>> calls{
        [&](auto& c) { c.SendAgentCommand(bad); },
        [&](auto& c) { c.CreateUser(bad, "r"); },
        [&](auto& c) { c.CreateUser("a@b.c", bad); },
        [&](auto& c) { c.UpdateUser("u1", bad); },
        [&](auto& c) { c.GenerateProject(document); },
        [&](auto& c) { c.PostExecution("s1", document); },
        [&](auto& c) { c.PostSimulationInputs("s1", document); }};
    ApiConnector connector;
    for (const auto& call : calls) {
        server.TakeLog();
        EXPECT_THROW(call(connector), json::type_error);
        EXPECT_EQ(server.TakeLog(), (Log{"token", "token"}));
    }
}

} // namespace VarnelBase
