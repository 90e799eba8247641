// The emulator as its users meet it: over sockets, in this process.
#include <Emulator.h>
#include <fnmatch.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "RawConnection.h"

namespace {

using nlohmann::json;
using VarnelBase::Emulator;
using VarnelBase::EmulatorOptions;

const json OneSimulation = json::parse(R"({"simulations": [{"id": "s"}]})");

EmulatorOptions MakeOptions(const json& seed = OneSimulation) {
    EmulatorOptions options;
    options.seed = seed;
    options.speed = 0;
    return options;
}

/// Asks; the status and the document.
std::pair<int, json> Ask(const Emulator& emulator, const std::string& method,
                         const std::string& target, const std::string& body = "",
                         const std::string& headers = "") {
    const bool namesHost = headers.find("Host:") != std::string::npos;
    const std::string host = namesHost ? "" : "Host: localhost\r\n";
    const std::string answer =
        SendRaw(emulator.GetPort(),
                method + " " + target + " HTTP/1.1\r\nConnection: close\r\n" + headers + host +
                    "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
    const std::size_t end = answer.find("\r\n\r\n");
    if (end == std::string::npos) { return {0, json()}; }
    return {std::stoi(answer.substr(9, 3)), json::parse(answer.substr(end + 4), nullptr, false)};
}

TEST(Emulator, AnswersWithTheStatusOfTheCase) {
    const Emulator emulator(MakeOptions());
    const std::vector<std::tuple<const char*, const char*, std::string, int>> cases{
        {"GET", "/simulations?scope=&limit=0&offset=0", "", 200},
        {"GET", "/simulations?scope=other", "", 422},
        {"GET", "/simulations?limit=-1", "", 422},
        {"GET", "/users?offset=1x", "", 422},
        {"GET", "/users?offset=", "", 422},
        {"GET", "/users?limit=1&limit=2", "", 422},
        {"GET", "/simulations/", "", 404},
        {"GET", "/simulations/%73", "", 200},
        {"POST", "/simulations/s/inputs", "[1]", 200},
        {"POST", "/simulations/s/inputs", "null", 422},
        {"POST", "/simulations/s/inputs", "\"\xff\"", 400},
        {"POST", "/simulations/s/inputs", std::string(100000, '[') + std::string(100000, ']'), 400},
        {"POST", "/simulations/s/executions", "null", 201},
        {"POST", "/users", R"({"email": "a@b", "role": "r"})", 201},
        {"POST", "/users", R"({"email": "A@B", "role": "r"})", 409},
        {"POST", "/users", R"({"email": "c@d", "role": ""})", 422},
        {"PATCH", "/users/usr-1", R"({"role": "r", "other": 1})", 422},
        {"DELETE", "/users/usr-1", "", 204},
        {"PUT", "/users", "", 405},
        {"POST", "/generateProject", R"({"name": "../up"})", 422},
        {"POST", "/generateProject", R"({"files": null})", 422},
        {"POST", "/generateProject", R"({"name": null})", 422},
        {"POST", "/_local/clock", R"({"advance": -1})", 422},
        {"POST", "/_local/faults", R"({"action": "reset", "probability": 0.5})", 422},
    };
    for (const auto& [method, target, body, expected] : cases) {
        const auto [status, document] = Ask(emulator, method, target, body);
        EXPECT_EQ(status, expected) << method << " " << target;
        EXPECT_EQ(document.contains("error"), status >= 400) << target;
    }
}

TEST(Emulator, NamesAPortThatIsTaken) {
    const Emulator running;
    EmulatorOptions taken;
    taken.port = running.GetPort();
    try {
        const Emulator second(taken);
        FAIL() << "listens on a port twice";
    } catch (const std::runtime_error& error) {
        EXPECT_NE(std::string(error.what()).find(std::to_string(taken.port)), std::string::npos);
    }
}

TEST(Emulator, FaultsSpoilTheAnswer) {
    Emulator emulator(MakeOptions());
    const std::string head = "HTTP/1.1 201 Created\r\n*";
    // The rule, a pattern of what comes back, and whether the user is there afterwards.
    const std::vector<std::tuple<json, std::string, bool>> cases{
        {{{"action", "status"}, {"status", 418}}, "HTTP/1.1 418 *error*", false},
        {{{"action", "replaceStatus"}}, "HTTP/1.1 200 OK*\"id\"*", true},
        {{{"action", "dropBeforeReading"}}, "*", false},
        {{{"action", "dropAfterReading"}}, "", true},
        {{{"action", "reset"}}, "RESET", true},
        {{{"action", "truncate"}}, head + "\r\n\r\n{*[!}]", true},
        {{{"action", "malformedChunk"}}, head + "chunked\r\n\r\n1\r\n{\r\nno-*", true},
        {{{"action", "invalidJson"}}, head + "\r\n\r\n{\"id\": \"broken", true},
        {{{"action", "literalNull"}}, head + "\r\n\r\nnull", true},
        {{{"action", "duplicateDisposition"}}, head + "Content-Disposition: a*", true},
        {{{"action", "emptyDisposition"}}, head + "Content-Disposition: \r\n*", true},
        {{{"action", "drip"}, {"pause", 0.001}}, head + "\r\n\r\n{*}", true},
        {{{"action", "endless"}, {"maxBytes", 3}}, head + "\r\n\r\n   ", true},
        {{{"action", "delay"}, {"delay", 0.001}}, head + "\r\n\r\n{*}", true},
    };
    const std::string request =
        "POST /users HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\nContent-Length: ";
    for (auto [rule, pattern, isCarriedOut] : cases) {
        rule.update({{"path", "/u*"}, {"method", "POST"}, {"occurrence", 2}});
        emulator.Reset();
        const json added = emulator.AddFault(rule);
        EXPECT_EQ(Ask(emulator, "POST", "/users", "{}").first, 422);
        const std::string answer = SendRaw(
            emulator.GetPort(), request + "29\r\n\r\n" + R"({"email": "a@b", "role": "r"})");
        EXPECT_EQ(fnmatch(pattern.c_str(), answer.c_str(), 0), 0) << rule << answer;
        EXPECT_EQ(emulator.Export()["users"].size(), isCarriedOut ? 1U : 0U) << rule;
        EXPECT_EQ(emulator.GetRequests()[1]["fault"], added["id"]) << rule;
        EXPECT_EQ(Ask(emulator, "POST", "/users", "{}").first, 422);
    }

    const auto drawCourse = [&] {
        emulator.Reset();
        emulator.AddFault({{"action", "status"}, {"times", 0}, {"probability", 0.5}, {"seed", 3}});
        std::string course;
        for (int i = 0; i < 20; ++i) {
            course += std::to_string(Ask(emulator, "GET", "/version").first / 100);
        }
        return course;
    };
    const std::string course = drawCourse();
    EXPECT_EQ(drawCourse(), course);
    EXPECT_NE(course.find('2'), std::string::npos);
    EXPECT_NE(course.find('5'), std::string::npos);
}

TEST(Emulator, KeepsRequestsAsTheyCameWithoutTokens) {
    Emulator emulator(MakeOptions());
    Ask(emulator, "POST", "/agent?a=%41+b", "\xff{",
        "authorization: Bearer abc\r\nX-Odd:  %41\r\n");
    json request = emulator.GetRequests().at(0);
    EXPECT_EQ(request["target"], "/agent?a=%41+b");
    EXPECT_EQ(request["status"], 400);
    EXPECT_EQ(request["headers"][1]["value"],
              "Bearer (3 bytes, sha256 "
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad)");
    EXPECT_EQ(request["headers"][2], json({{"name", "X-Odd"}, {"value", "%41"}}));
    EXPECT_EQ(Ask(emulator, "GET", "/_local/requests").second["items"][0]["body"], "\uFFFD{");
    emulator.ClearRequests();
    EXPECT_TRUE(emulator.GetRequests().empty());
}

TEST(Emulator, ProjectsAreTheSameBytesEverywhere) {
    const Emulator emulator;
    const auto generate = [&](const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
        httplib::Client client("127.0.0.1", emulator.GetPort());
        return client.Post("/generateProject", R"({"name": "ü", "files": {"é": "x"}})", "a/b")
            ->body;
    };
    const std::string archive = generate("UTC0");
    EXPECT_EQ(generate("Pacific/Kiritimati"), archive);
    EXPECT_EQ(generate("America/New_York"), archive);
    EXPECT_EQ(archive.substr(0, 4), "PK\3\4");
    EXPECT_EQ(archive[7] & 8, 8) << "names are marked as UTF-8";
    EXPECT_NE(archive.find("ü/files/é"), std::string::npos);
}

TEST(Emulator, HostileClientsLeaveItServing) {
    const Emulator emulator;
    for (int i = 0; i < 1000; ++i) { close(ConnectTo(emulator.GetPort())); }
    std::vector<int> idle;
    for (int i = 0; i < 100; ++i) {
        idle.push_back(ConnectTo(emulator.GetPort()));
        if (i % 2 == 0) { EXPECT_EQ(send(idle.back(), "GET /ver", 8, MSG_NOSIGNAL), 8); }
    }
    const std::string line(1 << 20, 'x');
    for (const std::string& bytes :
         {"GET /" + line + " HTTP/1.1\r\n\r\n", "GET / HTTP/1.1\r\nA: " + line + "\r\n\r\n", line,
          std::string("POST /agent HTTP/1.1\r\nContent-Length: -1\r\n\r\n"),
          std::string("POST /agent HTTP/1.1\r\nContent-Length: 99999999999999999999\r\n\r\n"),
          std::string("POST /agent HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n"),
          std::string("GET /%\0 HTTP/9\r\n\r\n", 18), std::string("\r\n\r\n")}) {
        const std::string answer = SendRaw(emulator.GetPort(), bytes);
        EXPECT_TRUE(answer.empty() || answer.substr(0, 10) == "HTTP/1.1 4" || answer == "RESET")
            << answer.substr(0, 100);
        EXPECT_EQ(Ask(emulator, "GET", "/version").first, 200);
    }
    for (const int peer : idle) { close(peer); }
}

TEST(Emulator, StopsWhenRequestsInFlightAreAnswered) {
    Emulator emulator;
    emulator.AddFault({{"action", "delay"}, {"delay", 3600}});
    const int peer = ConnectTo(emulator.GetPort());
    const std::string request =
        "GET /version HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n";
    ASSERT_EQ(send(peer, request.data(), request.size(), 0), static_cast<ssize_t>(request.size()));
    for (int i = 0;
         i < 100000 && Ask(emulator, "GET", "/_local/faults").second["items"][0]["applied"] == 0;
         ++i) {}
    emulator.Stop();
    std::string status(12, '\0');
    EXPECT_EQ(recv(peer, status.data(), status.size(), MSG_WAITALL), 12);
    EXPECT_EQ(status, "HTTP/1.1 200");
    close(peer);
}

} // namespace
