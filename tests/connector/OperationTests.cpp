#include <iostream>
#include <memory>

#include "ApiConnector.h"
#include "ConnectorFixture.h"
#include "Operations.h"

namespace VarnelBase {

using Operations = ConnectorFixture;

const char* const Link = "UI: https://127.0.0.1/simulations/s1\n";

TEST_F(Operations, LeaveTheTargetToTheEscapingOfTheHttpClient) {
    // The capture of the wire has every byte.
    const std::string given = "a %2F;&\xff#", sent = "a%20%2F%3B&%FF#";
    ApiConnector connector;
    connector.GetExecutions("", 0, 0);
    connector.GetExecution(given, "");
    connector.PostExecution(given + '\0' + given, json());
    connector.UpdateUser(given, "reader");
    EXPECT_EQ(server.TakeTargets(), (Log{"GET /simulations//executions?limit=0&offset=0",
                                         "GET /simulations/" + sent + "/executions/",
                                         "POST /simulations/" + sent, "PATCH /users/" + sent}));
}

TEST_F(Operations, ReadTheAnswersThatTheirGatesLetThrough) {
    ApiConnector connector;
    const auto check = [&](int status, const std::string& text) {
        server.Answer(MakeAnswer(status, text, "Location: /elsewhere\r\n"));
        for (const Operation& operation : AllOperations) {
            SCOPED_TRACE(operation.request + " " + std::to_string(status) + text);
            json result;
            const auto output = CaptureOutput([&] { result = operation.call(connector); });
            EXPECT_EQ(result, ExpectedResult(operation.gate, status, text));
            EXPECT_EQ(output, operation.gate == Gate::Execution && status == 201 ? Link : "");
            EXPECT_EQ(server.TakeTargets(), Log{operation.request});
        }
    };
    for (const int status : {200, 201, 202, 203, 206, 226, 300, 302, 400, 401, 404, 500, 503}) {
        for (const char* body : {R"({"b":[1,{"c":null}],"a":"é"})", " 7\n", "null", "\"text\"", "",
                                 "<html>", "{\"a\":", "[] x", "/* c */ 1", "\"\xff\""}) {
            check(status, body);
        }
    }
}

TEST_F(Operations, TakeTheirStepsInOrderAndEndWhereOneThrows) {
    UseGroup();
    tokens = {"A"};
    server.Answer(MakeAnswer(201, "{}"));
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

TEST_F(Operations, CollectTheIdentifiersOfWhateverTheServiceLists) {
    const std::vector<std::pair<std::string, SimulationNamesListType>> documents{
        {R"({"items":[{"id":"b"},{"id":"a"},{"id":"b","x":1},{"id":"\u0000"}]})",
         {std::string(1, '\0'), "a", "b"}},
        {R"({"items":{"x":{"id":"b"},"y":{"id":"a"}}})", {"a", "b"}},
        {R"({"items":[null,7,"id",[{"id":"a"}],{},{"ID":"a"},{"id":""}]})", {""}},
        {R"({"items":{"id":"a"}})", {}},
        {R"({"items":"id"})", {}},
        {R"({"items":null})", {}},
        {R"({"ITEMS":[{"id":"a"}]})", {}},
        {R"([{"id":"a"}])", {}},
        {R"("items")", {}},
        {"", {}},
    };
    ApiConnector connector;
    for (const auto& [document, names] : documents) {
        server.Answer(MakeAnswer(200, document));
        EXPECT_EQ(connector.GetSimulationNames(), names) << document;
        server.Answer(MakeAnswer(404, document));
        EXPECT_EQ(connector.GetSimulationNames(), SimulationNamesListType()) << document;
    }
    for (const std::string id : {"7", "null", "[\"a\"]", "{}"}) {
        server.Answer(MakeAnswer(200, R"({"items":[{"id":"a"},{"id":)" + id + "}]}"));
        EXPECT_THROW(connector.GetSimulationNames(), json::type_error) << id;
    }
    for (const std::string& target : server.TakeTargets()) {
        EXPECT_EQ(target, "GET /simulations?scope=user&limit=50&offset=0");
    }
    server.Answer(MakeAnswer(404, R"({"error":1})"));
    EXPECT_EQ(connector.GetSimulationPreexecutionData("s1"), json({{"error", 1}}));
    EXPECT_EQ(server.TakeTargets(), Log{"GET /simulations/s1/inputs"});
}

TEST_F(Operations, ReturnAProjectsBytesAndTheRawNameThatTheServiceSent) {
    const std::string bytes("PK\0\xFF\xFE\r\n\0", 8);
    const std::vector<std::pair<std::string, json>> cases{
        {"", nullptr},
        {"Content-Disposition:\r\n", nullptr},
        {"X-Content-Disposition: x\r\n", nullptr},
        {"Content-Disposition: a; filename=\"b c.zip\" \r\n", "a; filename=\"b c.zip\""},
        {"content-disposition: a\r\n", "a"},
        {"CONTENT-DISPOSITION: a\r\n", "a"},
        {"Content-Disposition: first\r\nX: y\r\ncontent-disposition: second\r\n", "first"},
        {"Content-Disposition: %00a\r\n", ""},
        {"Content-Disposition: %41+b%00c\r\n", "A+b"},
    };
    ApiConnector connector;
    for (const auto& [headerLines, filename] : cases) {
        json expected{{"status", "ok"}, {"body", bytes}};
        if (!filename.is_null()) { expected["filename"] = filename; }
        server.Answer(MakeAnswer(200, bytes, headerLines));
        EXPECT_EQ(connector.GenerateProject(json()), expected) << headerLines;
    }
}

} // namespace VarnelBase
