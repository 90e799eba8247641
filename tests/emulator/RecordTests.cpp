// Records: replaying them, learning them from a service, and what they must not hold.
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "AskEmulator.h"
#include "SeedFromRecord.h"

namespace {

using nlohmann::json;
using VarnelBase::Emulator;
using VarnelBase::EmulatorOptions;
using VarnelBase::Emulation::MakeSeedFromRecord;
using VarnelBase::Emulation::ReadHarFile;

std::string MakeDirectory() {
    std::string directory = testing::TempDir() + "varnel-record-XXXXXX";
    return mkdtemp(directory.data()) == nullptr ? "" : directory;
}

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

std::string WriteRecord(const json& entries) {
    const std::string path = MakeDirectory() + "/record.har";
    std::ofstream(path) << json({{"log", {{"entries", entries}}}});
    return path;
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
    const std::vector<std::tuple<const char*, const char*, const char*, int, std::string>> cases{
        {"GET", "/users?limit=5&offset=0", "", 200, "queued"},
        {"GET", "/users?limit=5&offset=0", "", 200, "finished"},
        {"GET", "/users?offset=0&limit=5", "", 200, "finished"},
        {"POST", "/users", R"({"b":2,"a":1})", 201, "made"},
        {"POST", "/users", "\"\"", 409, std::string("\xff\0", 2)},
        {"POST", "/users", R"({"a": 1, "b": 3})", 501,
         "POST /users is not in the record; the closest is POST /users: the body differs at /b"},
        {"GET", "/users?limit=6&offset=0", "", 501, "the query differs"},
        {"GET", "/blocked", "", 501, "\\\"blocked\\\" is in place of \\\"users\\\""},
        {"GET", "/", "", 501, "not in the record"},
    };
    Emulator emulator(options);
    for (int round = 0; round < 2; ++round) {
        for (const auto& [method, target, body, status, answer] : cases) {
            const Reply reply = AskEmulator(emulator, method, target, body);
            EXPECT_EQ(reply.status, status) << method << target;
            EXPECT_NE(reply.body.find(answer), std::string::npos) << reply.body;
        }
        emulator.Reset();
    }
    httplib::Client client("127.0.0.1", emulator.GetPort());
    const auto headers = client.Get("/users?limit=5&offset=0")->headers;
    EXPECT_EQ(headers.count("X-Kept") + headers.count("Set-Cookie"), 1U);
    EXPECT_EQ(headers.find("Content-Type")->second, "a/b");
    emulator.AddFault({{"path", "/users"}, {"action", "status"}});
    EXPECT_EQ(AskEmulator(emulator, "GET", "/users?limit=5&offset=0").status, 503);

    options.emulatesUnrecorded = true;
    const Emulator both(options);
    EXPECT_EQ(AskEmulator(both, "GET", "/simulations/sim-bridge").document["id"], "sim-bridge");
    EXPECT_EQ(AskEmulator(both, "GET", "/users?limit=5&offset=0").body, "queued");
}

TEST(Record, LearnsFromTheServiceWithoutItsSecrets) {
    Emulator service;
    service.AddFault(json::parse(R"({"path": "/sign-in", "times": 0, "action": "answer",
        "body": {"session": "hidden-1", "accessToken": "hidden-2", "echo": "hidden-token"},
        "headers": {"Set-Cookie": "sid=hidden-3", "X-Token-Was": "hidden-token"}})"));
    EmulatorOptions options;
    options.recordFile = MakeDirectory() + "/record.har";
    options.upstream = service.GetUrl() + "/";
    options.secretMembers = {"Session"};
    const auto ask = [&options](int rounds) {
        const Emulator relay(options);
        std::string answers;
        for (int i = 0; i < rounds; ++i) {
            httplib::Client client("127.0.0.1", relay.GetPort());
            const httplib::Headers headers{{"Authorization", "Bearer hidden-token"},
                                           {"Cookie", "sid=hidden-cookie"}};
            const std::string body = R"({"password": "hidden-4", "user": "u"})";
            const auto result = client.Post("/sign-in?token=hidden-5&next=hidden-cookie", headers,
                                            body, "application/json");
            answers += std::to_string(result->status) + result->body;
            answers += AskEmulator(relay, "GET", "/version").body;
            answers += std::to_string(AskEmulator(relay, "GET", "/users/none").status);
        }
        return answers;
    };
    const std::string learnt = ask(1);
    EXPECT_NE(learnt.find("hidden-1"), std::string::npos) << "the answer itself is not changed";
    const json asked = service.GetRequests();
    ASSERT_EQ(asked.size(), 3U);
    EXPECT_EQ(asked[0]["body"], R"({"password": "hidden-4", "user": "u"})");
    EXPECT_EQ(asked[0]["target"], "/sign-in?token=hidden-5&next=hidden-cookie");
    const std::string record = Read(options.recordFile);
    EXPECT_EQ(record.find("hidden"), std::string::npos) << record;
    EXPECT_EQ(json::parse(record)["log"]["entries"].size(), 3U);
    struct stat facts {};
    ASSERT_EQ(stat(options.recordFile.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777U, 0600U);

    EXPECT_NE(ask(1).find("[\"0.4.1\"]404"), std::string::npos);
    EXPECT_EQ(service.GetRequests().size(), 3U) << "asks for what it knows";
    ask(2);
    EXPECT_EQ(service.GetRequests().size(), 6U) << "a second time is not the first";
    EXPECT_EQ(json::parse(Read(options.recordFile))["log"]["entries"].size(), 6U);

    service.Stop();
    const Emulator relay(options);
    const Reply reply = AskEmulator(relay, "GET", "/agent");
    EXPECT_EQ(reply.status, 502);
    EXPECT_NE(reply.body.find(service.GetUrl() + " does not answer"), std::string::npos);
}

TEST(Record, StaysWholeWhenTheDiskIsFull) {
    const Emulator service;
    EmulatorOptions options;
    options.recordFile = MakeDirectory() + "/record.har";
    options.upstream = service.GetUrl();
    const Emulator relay(options);
    EXPECT_EQ(AskEmulator(relay, "GET", "/version").status, 200);
    // A limit on the size of files stands in for the full disk.
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit little{std::filesystem::file_size(options.recordFile) + 100, before.rlim_max};
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &little);
    const Reply refused = AskEmulator(relay, "GET", "/simulations");
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    EXPECT_EQ(refused.status, 500);
    EXPECT_NE(refused.body.find("record.har: cannot be written: "), std::string::npos)
        << refused.body;
    EXPECT_EQ(ReadHarFile(options.recordFile).size(), 1U);
    EXPECT_EQ(AskEmulator(relay, "GET", "/users").status, 200);
    EXPECT_EQ(ReadHarFile(options.recordFile).size(), 2U);
}

TEST(Record, NamesWhatCannotBeRead) {
    const auto tell = [](const std::string& file, const std::string& upstream) {
        EmulatorOptions options;
        options.recordFile = file;
        options.upstream = upstream;
        try {
            const Emulator emulator(options);
        } catch (const std::runtime_error& error) { return std::string(error.what()); }
        return std::string();
    };
    const std::string noUrl = WriteRecord(json::parse(R"([{"request": {"method": "GET"}}])"));
    const json bad = {{"text", "&&"}, {"encoding", "base64"}};
    const std::string noBase64 = WriteRecord(json::array({MakeEntry("GET", "/", "", 200, bad)}));
    for (const auto& [file, upstream, problem] :
         std::vector<std::tuple<std::string, const char*, const char*>>{
             {"/nonexistent/a.har", "", "/nonexistent/a.har"},
             {noUrl, "", "entry 0"},
             {noBase64, "", "base64"},
             {MakeDirectory() + "/a", "ftp://x", "ftp://x"},
             {"/nonexistent/a.har", "http://127.0.0.1:1", "/nonexistent"}}) {
        EXPECT_NE(tell(file, upstream).find(problem), std::string::npos) << tell(file, upstream);
    }
}

/// Takes what a front end asks a service for, through a relay, and returns the seed of its record.
json RecordSeed(const json& seedOfService) {
    EmulatorOptions service;
    service.seed = seedOfService;
    service.speed = 0;
    const Emulator real(service);
    EmulatorOptions options;
    options.recordFile = MakeDirectory() + "/record.har";
    options.upstream = real.GetUrl();
    const Emulator relay(options);
    for (const char* const target :
         {"/version", "/agent", "/simulations?scope=&limit=50&offset=0", "/simulations/b1",
          "/simulations/b1/inputs", "/simulations/b1/executions?limit=20&offset=0",
          "/simulations/b1/executions/r-1", "/users?limit=20&offset=0"}) {
        EXPECT_EQ(AskEmulator(relay, "GET", target).status, 200) << target;
    }
    AskEmulator(relay, "POST", "/simulations/b1/executions", R"({"span": 1})");
    return MakeSeedFromRecord(ReadHarFile(options.recordFile));
}

TEST(Record, BecomesASeedOfTheSameShape) {
    const json service = json::parse(R"({
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
        "users": [{"id": 4, "contact": {"mail": "a@b"}, "role": "admin"}]})");
    EmulatorOptions options;
    options.seed = RecordSeed(service);
    options.speed = 0;
    Emulator copy(options);
    options.seed = service;
    const Emulator original(options);
    for (const char* const target :
         {"/version", "/agent", "/simulations", "/simulations?limit=1", "/simulations/b1",
          "/simulations/b1/inputs", "/simulations/b1/executions", "/users", "/users/4",
          "/simulations/b1/executions/r-1"}) {
        EXPECT_EQ(AskEmulator(copy, "GET", target).document,
                  AskEmulator(original, "GET", target).document)
            << target << options.seed->dump(1);
    }
    const json made = AskEmulator(copy, "POST", "/simulations/b1/executions", "[5]").document;
    EXPECT_EQ(made["status"]["phase"], "PENDING");
    EXPECT_EQ(made["given"], json({5}));
    copy.FinishExecution("b1", made["run"].get<std::string>());
    const json ended = AskEmulator(copy, "GET", "/simulations/b1/executions?offset=1").document[0];
    EXPECT_EQ(ended["status"]["phase"], "COMPLETED");
    EXPECT_EQ(ended["output"]["max"], 3);
}

} // namespace
