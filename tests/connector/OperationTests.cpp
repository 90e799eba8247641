#include <algorithm>
#include <iostream>
#include <map>

#include "ApiConnector.h"
#include "ConnectorFixture.h"
#include "Operations.h"

namespace VarnelBase {

namespace {

/// A request with its header lines sorted, since their order is the HTTP library's business.
std::string SortHeaders(const std::string& request) {
    const std::size_t headEnd = request.find("\r\n\r\n");
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < headEnd;) {
        const std::size_t end = request.find("\r\n", begin);
        lines.push_back(request.substr(begin, end - begin));
        begin = end + 2;
    }
    std::sort(lines.begin() + 1, lines.end());
    std::string sorted;
    for (const std::string& line : lines) { sorted += line + "\r\n"; }
    return sorted + request.substr(headEnd + 2);
}

std::string ExpectedRequest(const Operation& operation, const std::string& host,
                            const std::string& token) {
    std::string head = std::string(operation.method) + " " + operation.target +
                       " HTTP/1.1\r\nHost: " + host +
                       "\r\nAccept: */*\r\nConnection: close\r\nUser-Agent: "
                       "cpp-httplib/" CPPHTTPLIB_VERSION "\r\n";
    if (!token.empty()) { head += "Authorization: Bearer " + token + "\r\n"; }
    const std::string body = operation.body == nullptr ? "" : operation.body;
    if (operation.body != nullptr) {
        head += "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
                "\r\n";
    }
    return SortHeaders(head + "\r\n" + body);
}

using Requests = ConnectorFixture;
using Gates = ConnectorFixture;
using Steps = ConnectorFixture;

} // namespace

TEST_F(Requests, AreTheBytesOfTheTable) {
    UseGroup();
    for (const std::string token : {"t0ken", ""}) {
        settings.tokens = {token};
        ApiConnector connector;
        for (const Operation& operation : Operations()) {
            SCOPED_TRACE(operation.name);
            operation.call(connector);
            const auto connections = server.TakeConnections();
            ASSERT_EQ(connections.size(), 1U);
            EXPECT_EQ(
                SortHeaders(connections[0]),
                ExpectedRequest(operation, "127.0.0.1:" + std::to_string(server.GetPort()), token));
        }
    }
}

TEST_F(Gates, LetThroughWhatTheTableSays) {
    const std::vector<std::string> bodies{R"({"b":[1,{"c":null}],"a":"é"})",
                                          " 7\n",
                                          "null",
                                          "\"text\"",
                                          "",
                                          "<html>",
                                          "{\"a\":",
                                          "[] x",
                                          "/* c */ 1",
                                          "\"\xff\""};
    ApiConnector connector;
    for (const int status : {200, 201, 202, 203, 206, 226, 300, 302, 400, 401, 404, 500, 503}) {
        for (const std::string& body : bodies) {
            Answer(status, body, "Location: /elsewhere\r\n");
            for (const Operation& operation : Operations()) {
                SCOPED_TRACE(operation.name + (" " + std::to_string(status)) + " " + body);
                EXPECT_EQ(operation.call(connector), ExpectedResult(operation.gate, status, body));
                const bool isAnnounced =
                    operation.name == std::string("PostExecution") && status == 201;
                EXPECT_EQ(output.Take(),
                          isAnnounced ? "UI: https://127.0.0.1/simulations/s1\n" : "");
                EXPECT_EQ(errors.Take(), "");
                EXPECT_EQ(server.TakeConnections().size(), 1U);
            }
        }
    }
}

TEST_F(Gates, GiveNullWithoutAWholeAnswer) {
    ApiConnector connector;
    for (const std::string answer :
         {"", "HTTP/1.1 200 OK\r\nContent-Le", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n{}",
          "HTTP/1.1 204 No Content\r\n\r\n", "nonsense\r\n\r\n{}"}) {
        server.Answer(answer);
        for (const Operation& operation : Operations()) {
            SCOPED_TRACE(operation.name + (": " + answer));
            EXPECT_EQ(operation.call(connector), json());
            EXPECT_EQ(server.TakeConnections().size(), 1U);
        }
    }
    EXPECT_EQ(output.Take() + errors.Take(), "");
}

TEST_F(Gates, GiveNullWithoutAConnection) {
    settings.apiPort = 1;
    ApiConnector connector;
    for (const Operation& operation : Operations()) {
        EXPECT_EQ(operation.call(connector), json()) << operation.name;
    }
    EXPECT_EQ(output.Take() + errors.Take(), "");
}

TEST_F(Steps, ComeInOrderAndEndWhereOneThrows) {
    UseGroup();
    settings.tokens = {"A"};
    Answer(201, "{}");
    for (const Operation& operation : Operations()) {
        Log steps{"token", "group of A", "token", "request"};
        const bool isAnnounced = operation.name == std::string("PostExecution");
        if (isAnnounced) { steps.emplace_back("token"); }
        const int handlerCalls = isAnnounced ? 4 : 3;
        for (int throwAt = 0; throwAt <= handlerCalls; ++throwAt) {
            SCOPED_TRACE(operation.name + (" " + std::to_string(throwAt)));
            ApiConnector connector;
            settings.Restart(throwAt);
            if (throwAt == 0) {
                operation.call(connector);
                EXPECT_EQ(settings.TakeLog(), steps);
                EXPECT_EQ(output.Take(),
                          isAnnounced ? "UI: https://127.0.0.1/simulations/s1\n" : "");
                continue;
            }
            EXPECT_THROW(operation.call(connector), StepFailed);
            const auto end = steps.begin() + (throwAt == 4 ? 5 : throwAt);
            EXPECT_EQ(settings.TakeLog(), Log(steps.begin(), end));
            std::cout.flush();
            EXPECT_EQ(output.Take(), throwAt == 4 ? "UI: https://" : "");
        }
    }
}

TEST_F(Steps, AreNoneOffline) {
    settings.offline = true;
    ApiConnector connector;
    output.Take();
    settings.Restart();
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(operation.name);
        const bool isVersion = operation.name == std::string("GetVersion");
        EXPECT_EQ(operation.call(connector).dump(), isVersion ? R"(["0.4.1"])" : "null");
    }
    EXPECT_EQ(settings.TakeLog(), Log());
    EXPECT_EQ(server.TakeConnections().size(), 0U);
    EXPECT_EQ(output.Take() + errors.Take(), "");
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
    for (const bool offline : {false, true}) {
        settings.offline = offline;
        ApiConnector connector;
        output.Take();
        for (std::size_t i = 0; i < calls.size(); ++i) {
            SCOPED_TRACE(i);
            settings.Restart();
            if (offline) {
                EXPECT_NO_THROW(calls[i](connector));
                EXPECT_EQ(settings.TakeLog(), Log());
            } else {
                EXPECT_THROW(calls[i](connector), json::type_error);
                EXPECT_EQ(settings.TakeLog(), (Log{"token", "token"}));
            }
        }
    }
    EXPECT_EQ(server.TakeConnections().size(), 0U);
    EXPECT_EQ(output.Take() + errors.Take(), "");
}

TEST_F(Requests, EscapeNoMoreOfTheTargetThanTheHttpClientDoes) {
    const std::map<char, std::string> escaped{{' ', "%20"},  {'+', "%2B"},  {'\r', "%0D"},
                                              {'\n', "%0A"}, {'\'', "%27"}, {',', "%2C"},
                                              {';', "%3B"}};
    std::string given;
    std::string sent;
    for (int code = 1; code < 256; ++code) {
        const char c = static_cast<char>(code);
        given += c;
        if (escaped.count(c) != 0) {
            sent += escaped.at(c);
        } else if (code >= 0x80) {
            sent +=
                std::string("%") + "0123456789ABCDEF"[code / 16] + "0123456789ABCDEF"[code % 16];
        } else {
            sent += c;
        }
    }
    const std::string cut = given + std::string("\0tail", 5);
    ApiConnector connector;
    connector.GetSimulations(given, 1, 2);
    connector.GetSimulationInputs(cut);
    connector.DeleteSimulation(cut);
    connector.GetExecutions("", 0, 0);
    connector.GetExecution(given, "");
    connector.PostExecution(cut, json());
    connector.UpdateUser(given, "reader");
    const std::vector<std::string> starts{"GET /simulations?scope=" + sent + "&limit=1&offset=2",
                                          "GET /simulations/" + sent,
                                          "DELETE /simulations/" + sent,
                                          "GET /simulations//executions?limit=0&offset=0",
                                          "GET /simulations/" + sent + "/executions/",
                                          "POST /simulations/" + sent,
                                          "PATCH /users/" + sent};
    const auto connections = server.TakeConnections();
    ASSERT_EQ(connections.size(), starts.size());
    for (std::size_t i = 0; i < starts.size(); ++i) {
        EXPECT_EQ(connections[i].substr(0, connections[i].find("\r\n")), starts[i] + " HTTP/1.1");
    }
}

} // namespace VarnelBase
