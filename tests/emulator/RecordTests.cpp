// Records: replaying them, learning them from a service, and what they must not hold.
#include <sys/stat.h>

#include <filesystem>
#include <sstream>

#include "Limits.h"
#include "SeedFromRecord.h"
#include "TestedEmulator.h"

namespace {

using VarnelBase::Emulation::MakeSeedFromRecord;
using VarnelBase::Emulation::ReadHarFile;

std::string Read(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

json MakeEntry(const std::string& method, const std::string& url, const std::string& asked,
               int status, const json& content) {
    json entry = {{"request", {{"method", method}, {"url", url}}},
                  {"response", {{"status", status}, {"content", content}}}};
    entry["response"]["headers"] = json::parse(R"([{"name": ":status", "value": "1"},
        {"name": "content-encoding", "value": "br"}, {"name": "Content-Length", "value": "9999"},
        {"name": "set-cookie", "value": "a=b"}, {"name": "X-Kept", "value": "yes"}])");
    if (!asked.empty()) { entry["request"]["postData"] = {{"text", asked}}; }
    return entry;
}

TEST(Record, IsReplayedInItsOrder) {
    const std::string base = "https://real.example.com";
    const auto text = [](const char* answer) {
        return json({{"text", answer}, {"mimeType", "a/b"}});
    };
    EmulatorOptions options;
    options.recordFile = WriteRecord({
        MakeEntry("GET", base + "/users?limit=5&offset=0#x", "", 200, text("queued")),
        MakeEntry("GET", base + "/users?offset=0&limit=5", "", 200, text("finished")),
        MakeEntry("POST", base + "/users", R"({"a": 1, "b": 2})", 201, text("made")),
        MakeEntry("POST", base + "/users", "\"\"", 409, {{"text", "/wA="}, {"encoding", "base64"}}),
        MakeEntry("GET", base + "/blocked", "", 0, json::object()),
        MakeEntry("GET", base, "", 304, json::object()),
    });
    const std::vector<std::tuple<const char*, const char*, int, std::string>> cases{
        {"GET /users?limit=5&offset=0", "", 200, "queued"},
        {"GET /users?limit=5&offset=0", "", 200, "finished"},
        {"GET /users?offset=0&limit=5", "", 200, "finished"},
        {"POST /users", R"({"b":2,"a":1})", 201, "made"},
        {"POST /users", "\"\"", 409, std::string("\xff\0", 2)},
        {"POST /users", R"({"a": 1, "b": 3})", 501,
         "POST /users is not in the record; the closest is POST /users: the body differs at /b"},
        {"GET /users?limit=6&offset=0", "", 501, "the query differs"},
        {"GET /blocked", "", 501, "\\\"blocked\\\" is in place of \\\"users\\\""},
        {"GET /", "", 501, "not in the record"},
    };
    Emulator emulator(options);
    for (int round = 0; round < 2; ++round) {
        for (const auto& [request, body, status, answer] : cases) {
            const Reply reply = Ask(emulator, request, body);
            EXPECT_EQ(reply.status, status) << request;
            EXPECT_PRED2(Has, reply.body, answer);
        }
        emulator.Reset();
    }
    const auto headers = Ask(emulator, "GET /users?limit=5&offset=0").headers;
    EXPECT_EQ(headers.count("X-Kept") + headers.count("Set-Cookie"), 1U);
    EXPECT_EQ(headers.find("Content-Type")->second, "a/b");
    emulator.AddFault({{"path", "/users"}, {"action", "status"}});
    EXPECT_EQ(Ask(emulator, "GET /users?limit=5&offset=0").status, 503);

    options.emulatesUnrecorded = true;
    const Emulator both(options);
    EXPECT_EQ(Get(both, "/simulations/sim-bridge")["id"], "sim-bridge");
    EXPECT_EQ(Ask(both, "GET /users?limit=5&offset=0").body, "queued");
}

TEST(Record, LearnsFromTheServiceWithoutItsSecrets) {
    EmulatorOptions options;
    options.allowedOrigins = {"http://front.end"};
    Emulator service(options);
    service.AddFault(json::parse(R"({"path": "/sign-in", "times": 0, "action": "answer",
        "body": {"session": "hidden-1", "accessToken": "hidden-2", "echo": "hidden-token",
                 "note": "hidden-2, hidden-3, hidden-4, hidden/5, hidden/55"},
        "headers": {"Set-Cookie": "sid=hidden-3; Path=/sign-in", "X-Token-Was": "hidden-token"}})"));
    options.recordFile = MakeDirectory() + "/record.har";
    options.upstream = service.GetUrl() + "/";
    options.secretMembers = {"Session"};
    const std::string target = "/sign-in?token=hidden%2F5&newToken=hidden/55&next=hidden-cookie";
    const std::string body = R"({"password": "hidden-4", "user": "u"})";
    const auto ask = [&](int rounds) {
        const Emulator relay(options);
        std::string answers;
        for (int i = 0; i < rounds; ++i) {
            const Reply reply = Ask(relay, "POST " + target, body,
                                    {{"Authorization", "Bearer hidden-token"},
                                     {"Cookie", "sid=hidden-cookie"},
                                     {"Origin", "http://front.end"}});
            const auto [first, last] = reply.headers.equal_range("Access-Control-Allow-Origin");
            for (auto line = first; line != last; ++line) { answers += line->second; }
            answers += reply.body;
            answers += Ask(relay, "GET /version").body;
            answers += std::to_string(Ask(relay, "GET /users/none").status);
        }
        return answers;
    };
    const std::string learnt = ask(1);
    EXPECT_PRED2(Has, learnt, "hidden-1") << "the answer itself is not changed";
    EXPECT_EQ(learnt.find("http://front.end{"), 0U) << learnt;
    const json asked = service.GetRequests();
    ASSERT_EQ(asked.size(), 3U);
    EXPECT_EQ(asked[0]["body"], body);
    EXPECT_EQ(asked[0]["target"], target);
    const std::string record = Read(options.recordFile);
    EXPECT_PRED2(Lacks, record, "hidden");
    EXPECT_PRED2(Has, record, "/sign-in?") << "a cookie's path is no secret";
    EXPECT_PRED2(Has, record, "\"(redacted), (redacted), (redacted), (redacted), (redacted)");
    EXPECT_EQ(json::parse(record)["log"]["entries"].size(), 3U);
    struct stat facts {};
    ASSERT_EQ(stat(options.recordFile.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777U, 0600U);

    EXPECT_PRED2(Has, ask(1), "[\"0.4.1\"]404");
    EXPECT_EQ(service.GetRequests().size(), 3U) << "asks for what it knows";
    ask(2);
    EXPECT_EQ(service.GetRequests().size(), 6U) << "a second time is not the first";
    EXPECT_EQ(json::parse(Read(options.recordFile))["log"]["entries"].size(), 6U);

    service.Stop();
    const Emulator relay(options);
    const Reply reply = Ask(relay, "GET /agent");
    EXPECT_EQ(reply.status, 502);
    EXPECT_PRED2(Has, reply.body, service.GetUrl() + " does not answer");
}

TEST(Record, StaysWholeWhenTheDiskIsFull) {
    const Emulator service;
    EmulatorOptions options;
    options.recordFile = MakeDirectory() + "/record.har";
    options.upstream = service.GetUrl();
    const Emulator relay(options);
    EXPECT_EQ(Ask(relay, "GET /version").status, 200);
    // A limit on the size of files stands in for the full disk.
    Reply refused;
    DoWithin(RLIMIT_FSIZE, std::filesystem::file_size(options.recordFile) + 100,
             [&] { refused = Ask(relay, "GET /simulations"); });
    EXPECT_EQ(refused.status, 500);
    EXPECT_PRED2(Has, refused.body, "record.har: cannot be written: ");
    EXPECT_EQ(ReadHarFile(options.recordFile).size(), 1U);
    EXPECT_EQ(Ask(relay, "GET /users").status, 200);
    EXPECT_EQ(ReadHarFile(options.recordFile).size(), 2U);
}

/// Takes what a front end asks a service for, through a relay, and returns the seed of its record.
json RecordSeed(const std::string& seedOfService) {
    const Emulator real(MakeOptions(seedOfService));
    EmulatorOptions options;
    options.recordFile = MakeDirectory() + "/record.har";
    options.upstream = real.GetUrl();
    const Emulator relay(options);
    for (const char* const target :
         {"/version", "/agent", "/simulations?scope=&limit=50&offset=0", "/simulations/b1",
          "/simulations/b1/inputs", "/simulations/b1/executions?limit=20&offset=0",
          "/simulations/b1/executions/r-1", "/users?limit=20&offset=0"}) {
        EXPECT_EQ(Ask(relay, std::string("GET ") + target).status, 200) << target;
    }
    Ask(relay, "POST /simulations/b1/executions", R"({"span": 1})");
    return MakeSeedFromRecord(ReadHarFile(options.recordFile));
}

TEST(Record, BecomesASeedOfTheSameShape) {
    const std::string service = R"({
        "version": "7", "agent": {"up": true},
        "shapes": {
            "simulations": {"list": {"v": 2}, "items": "/data/rows", "total": "/data/total_count",
                            "id": "/uuid"},
            "executions": {"items": "", "total": null, "id": "/run", "state": "/status/phase",
                           "progress": null, "name": null, "createdAt": "/started_at",
                           "simulationId": null, "data": "/given"},
            "users": {"items": "/people", "total": null, "email": "/contact/mail"},
            "states": {"queued": "PENDING", "finished": "COMPLETED"}},
        "simulations": [{"uuid": "b1", "title": "Bridge", "_local":
            {"inputs": {"span": 1}, "listed": {"uuid": "b1"}}}, {"uuid": "b2"}],
        "executions": [{"run": "r-1", "simulationId": 1, "started_at": "2025-01-01T00:00:00Z",
            "output": {"max": 3}, "status": {"phase": "COMPLETED"}, "_local": {"simulationId": "b1"}}],
        "users": [{"id": 4, "contact": {"mail": "a@b"}, "role": "admin"}]})";
    const std::string seed = RecordSeed(service).dump(1);
    Emulator copy(MakeOptions(seed));
    const Emulator original(MakeOptions(service));
    for (const char* const target :
         {"/version", "/agent", "/simulations", "/simulations?limit=1", "/simulations/b1",
          "/simulations/b1/inputs", "/simulations/b1/executions", "/users", "/users/4",
          "/simulations/b1/executions/r-1"}) {
        EXPECT_EQ(Get(copy, target), Get(original, target)) << target << seed;
    }
    const json made = Ask(copy, "POST /simulations/b1/executions", "[5]").document;
    EXPECT_EQ(made["status"]["phase"], "PENDING");
    EXPECT_EQ(made["given"], json({5}));
    copy.FinishExecution("b1", made["run"].get<std::string>());
    const json ended = Get(copy, "/simulations/b1/executions?offset=1")[0];
    EXPECT_EQ(ended["status"]["phase"], "COMPLETED");
    EXPECT_EQ(ended["output"]["max"], 3);
    EXPECT_EQ(Ask(copy, "POST /users", R"({"email": "a@b", "role": "r"})").status, 409)
        << "which member is the address";
}

} // namespace
