// The emulator as its users meet it: over sockets, in this process.
#include <fnmatch.h>

#include <cmath>
#include <functional>

#include "RawConnection.h"
#include "TestedEmulator.h"

namespace {

const char* const OneSimulation = R"({"simulations": [{"id": "s"}]})";

TEST(Emulator, AnswersWithTheStatusOfTheCase) {
    const Emulator emulator(MakeOptions(OneSimulation));
    const std::tuple<const char*, std::string, int> cases[] = {
        {"GET /simulations?scope=&limit=0&offset=0", "", 200},
        {"GET /simulations?scope=other", "", 422},
        {"GET /simulations?limit=-1", "", 422},
        {"GET /users?offset=1x", "", 422},
        {"GET /users?offset=", "", 422},
        {"GET /users?limit=1&limit=2", "", 422},
        {"GET /simulations?scope=user&scope=user", "", 422},
        {"GET /_local/requests?text=a&text=a", "", 422},
        {"GET /version?unread=1&unread=2", "", 200},
        {"GET /simulations/", "", 404},
        {"GET /simulations/%73", "", 200},
        {"POST /simulations/s/inputs", "[1]", 200},
        {"POST /simulations/s/inputs", "null", 422},
        {"POST /simulations/s/inputs", "\"\xff\"", 400},
        {"POST /simulations/s/inputs", std::string(100000, '[') + std::string(100000, ']'), 400},
        {"POST /simulations/s/executions", "null", 201},
        {"POST /users", R"({"email": "a@b", "role": "r"})", 201},
        {"POST /users", R"({"email": "A@B", "role": "r"})", 409},
        {"POST /users", R"({"email": "c@d", "role": ""})", 422},
        {"PATCH /users/usr-1", R"({"role": "r", "other": 1})", 422},
        {"DELETE /users/usr-1", "", 204},
        {"PUT /users", "", 405},
        {"POST /generateProject", R"({"name": "../up"})", 422},
        {"POST /generateProject", R"({"files": null})", 422},
        {"POST /generateProject", R"({"name": null})", 422},
        {"POST /_local/clock", R"({"advance": -1})", 422},
        {"POST /_local/faults", R"({"action": "reset", "probability": 0.5})", 422},
    };
    for (const auto& [request, body, status] : cases) {
        const Reply reply = Ask(emulator, request, body);
        EXPECT_EQ(reply.status, status) << request;
        EXPECT_EQ(reply.document.contains("error"), status >= 400) << request;
    }
}

TEST(Emulator, NamesWhatItCannotUse) {
    const std::string noUrl = WriteRecord(json::parse(R"([{"request": {"method": "GET"}}])"));
    const std::string noBase64 = WriteRecord(json::parse(
        R"([{"request": {"method": "GET", "url": "/"},
             "response": {"status": 200, "content": {"text": "&&", "encoding": "base64"}}}])"));
    Emulator running;
    const std::string taken = std::to_string(running.GetPort());
    const std::pair<std::string, std::function<void(EmulatorOptions&)>> spoilings[] = {
        {taken, [&](auto& o) { o.port = running.GetPort(); }},
        {"70000", [](auto& o) { o.port = 70000; }},
        {"-1", [](auto& o) { o.port = -1; }},
        {"-3", [](auto& o) { o.speed = -3; }},
        {"nan", [](auto& o) { o.speed = std::nan(""); }},
        {"no address", [](auto& o) { o.address = "no address"; }},
        {"certificate", [](auto& o) { o.tlsKeyFile = "key.pem"; }},
        {"/dev/null", [](auto& o) { o.tlsKeyFile = o.tlsCertificateFile = "/dev/null"; }},
        {"/none/seed.json", [](auto& o) { o.seedFile = "/none/seed.json"; }},
        {"/none/a.har", [](auto& o) { o.recordFile = "/none/a.har"; }},
        {"/none", [](auto& o) { o.recordFile = "/none/a.har", o.upstream = "http://127.0.0.1:1"; }},
        {"ftp://x", [](auto& o) { o.recordFile = MakeDirectory() + "/a", o.upstream = "ftp://x"; }},
        {"entry 0", [&](auto& o) { o.recordFile = noUrl; }},
        {"base64", [&](auto& o) { o.recordFile = noBase64; }},
    };
    for (const auto& [named, spoil] : spoilings) {
        EmulatorOptions options;
        spoil(options);
        ExpectProblem(options, named);
    }
    EmulatorOptions options;
    for (const char* origin :
         {"*", "localhost:80", "http://", "http://a/", "HTTP://a", "ftp://a"}) {
        options.allowedOrigins = {origin};
        ExpectProblem(options, origin);
    }
    options.allowedOrigins.clear();
    for (const char* host : {"", "*", "web.test:80", "http://web.test"}) {
        options.allowedHosts = {host};
        ExpectProblem(options, '"' + std::string(host) + '"');
    }
    for (const double seconds : {-1.0, std::nan(""), 1e300, 3.2e11}) {
        EXPECT_THROW(running.AdvanceClock(seconds), std::runtime_error) << seconds;
    }
}

TEST(Emulator, FaultsSpoilTheAnswer) {
    Emulator emulator(MakeOptions(OneSimulation));
    const std::string head = "HTTP/1.1 201 Created\r\n*";
    // The rule, a pattern of what comes back, and whether the user is there afterwards.
    const std::tuple<json, std::string, bool> cases[] = {
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
    for (auto [rule, pattern, isCarriedOut] : cases) {
        rule.update({{"path", "/u*"}, {"method", "POST"}, {"occurrence", 2}});
        emulator.Reset();
        const json added = emulator.AddFault(rule);
        EXPECT_EQ(Ask(emulator, "POST /users", "{}").status, 422);
        const std::string answer = SendRequest(emulator, "POST /users", "Host: localhost",
                                               R"({"email": "a@b", "role": "r"})");
        EXPECT_EQ(fnmatch(pattern.c_str(), answer.c_str(), 0), 0) << rule << answer;
        EXPECT_EQ(emulator.Export()["users"].size(), isCarriedOut ? 1U : 0U) << rule;
        EXPECT_EQ(emulator.GetRequests()[1]["fault"], added["id"]) << rule;
        EXPECT_EQ(Ask(emulator, "POST /users", "{}").status, 422);
    }

    const auto drawCourse = [&] {
        emulator.Reset();
        emulator.AddFault({{"action", "status"}, {"times", 0}, {"probability", 0.5}, {"seed", 3}});
        std::string course;
        for (int i = 0; i < 20; ++i) {
            course += std::to_string(Ask(emulator, "GET /version").status / 100);
        }
        return course;
    };
    const std::string course = drawCourse();
    EXPECT_EQ(drawCourse(), course);
    EXPECT_PRED2(Has, course, "2");
    EXPECT_PRED2(Has, course, "5");
}

TEST(Emulator, KeepsRequestsAsTheyCameWithoutTokens) {
    Emulator emulator;
    SendRequest(emulator, "POST /agent?a=%41+b",
                "authorization: Bearer abc|X-Odd:  %41|Host: localhost", "\xff{");
    const json request = emulator.GetRequests().at(0);
    EXPECT_EQ(request["target"], "/agent?a=%41+b");
    EXPECT_EQ(request["status"], 400);
    EXPECT_EQ(request["headers"][1]["value"],
              "Bearer (3 bytes, sha256 "
              "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad)");
    EXPECT_EQ(request["headers"][2], json({{"name", "X-Odd"}, {"value", "%41"}}));
    EXPECT_EQ(Get(emulator, "/_local/requests")["items"][0]["body"], "\uFFFD{");
    emulator.ClearRequests();
    EXPECT_TRUE(emulator.GetRequests().empty());
}

TEST(Emulator, ProjectsAreTheSameBytesEverywhere) {
    const Emulator emulator;
    const auto generate = [&](const char* zone) {
        setenv("TZ", zone, 1);
        tzset();
        return Ask(emulator, "POST /generateProject", R"({"name": "ü", "files": {"é": "x"}})").body;
    };
    const std::string archive = generate("UTC0");
    EXPECT_EQ(generate("Pacific/Kiritimati"), archive);
    EXPECT_EQ(generate("America/New_York"), archive);
    EXPECT_EQ(archive.substr(0, 4), "PK\3\4");
    EXPECT_EQ(archive[7] & 8, 8) << "names are marked as UTF-8";
    EXPECT_PRED2(Has, archive, "ü/files/é");
}

} // namespace
