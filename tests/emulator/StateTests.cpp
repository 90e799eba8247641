// What the emulator keeps: seeds, documents of any shape, time, and what survives an emulator.
#include <future>
#include <map>
#include <set>

#include "TestedEmulator.h"

namespace {

/// The number in an identifier ("exe-7").
int ReadNumber(const std::string& id) {
    return std::stoi(id.substr(id.find('-') + 1));
}

TEST(State, ExecutionsFollowTheClockAlone) {
    Emulator emulator(MakeOptions(R"({"simulations": [{"id": "s"}], "executions": [
            {"simulationId": "s", "_local": {"duration": 10}},
            {"simulationId": "s", "_local": {"duration": 10, "outcome": "failed"}}]})"));
    const auto show = [&](const std::string& id) {
        const json execution = Get(emulator, "/simulations/s/executions/" + id);
        return execution["state"].get<std::string>() + " " + execution["progress"].dump();
    };
    std::string course;
    for (const double step : {0.0, 0.999, 4.501, 4.5}) {
        course += Ask(emulator, "DELETE /simulations/s").status == 409 ? "kept, " : "";
        emulator.AdvanceClock(step);
        course += show("exe-1") + ", " + show("exe-2") + "; ";
    }
    EXPECT_EQ(course,
              "kept, queued 0.0, queued 0.0; kept, queued 0.0, queued 0.0; "
              "kept, running 0.5, failed 0.5; kept, finished 1.0, failed 0.5; ");
    EXPECT_EQ(Ask(emulator, "DELETE /simulations/s").status, 204);
    EXPECT_TRUE(emulator.Export()["executions"].empty());
}

TEST(State, SeedsRepeatAndRoundTrip) {
    const std::string seed = R"({"seed": 7, "failureRate": 0.5, "simulations": [
        {"id": "s"}, {"id": 7, "kind": "\u0000odd", "_local": {"scope": "l\u0000b", "listed": {"id": 7}}}],
        "executions": [{"simulationId": "s", "state": "DONE"}], "users": [{"login": "x"}]})";
    const auto use = [](Emulator& emulator) {
        for (int i = 0; i < 8; ++i) { Ask(emulator, "POST /simulations/s/executions", "{}"); }
        Ask(emulator, "POST /users", R"({"email": "a\u0000@b", "role": "r"})");
        EXPECT_EQ(Ask(emulator, "POST /users", R"({"email": "a\u0000@c", "role": "r"})").status,
                  201);
        EXPECT_EQ(Get(emulator, "/simulations?scope=l%00b")["total"], 1);
        Ask(emulator, "PATCH /users/usr-1", R"({"role": "r"})");
        Ask(emulator, "POST /agent", R"({"command": "start"})");
        Ask(emulator, "POST /_local/simulations", R"({"name": "new"})");
        emulator.AdvanceClock(7.25);
        return emulator.Export();
    };
    Emulator first(MakeOptions(seed));
    const json start = first.Export();
    const json used = use(first);
    Emulator second(MakeOptions(used.dump()));
    EXPECT_EQ(second.Export(), used);
    first.Reset();
    EXPECT_EQ(first.Export(), start);
    EXPECT_EQ(use(first), used);
    EXPECT_EQ(used["users"][1]["email"], std::string("a\0@b", 4));
    EXPECT_EQ(used["agent"]["commandsHandled"], 1);
    EXPECT_EQ(used["simulations"][2]["id"], "sim-3");
    std::map<std::string, int> outcomes;
    for (const json& execution : used["executions"]) {
        ++outcomes[execution["_local"]["outcome"].get<std::string>()];
    }
    EXPECT_GT(outcomes["failed"], 1);
    EXPECT_GT(outcomes["finished"], 1);
}

TEST(State, GivesEachIdentifierOnce) {
    const Emulator emulator(MakeOptions(R"({
        "simulations": [{"id": "s"}, {"id": "sim-3"}], "users": [{"id": "usr-2"}],
        "executions": [{"id": "exe-2", "simulationId": "s"}]})"));
    std::set<std::string> ids{"s", "sim-3", "usr-2", "exe-2"};
    const std::pair<std::string, const char*> creations[] = {
        {"/simulations", "{}"},
        {"/simulations/s/executions", "{}"},
        {"/users", R"({"email": "a@b", "role": "r"})"}};
    for (int round = 0; round < 3; ++round) {
        for (const auto& [target, body] : creations) {
            const bool isSteered = target == "/simulations";
            const json made =
                Ask(emulator, (isSteered ? "POST /_local" : "POST ") + target, body).document;
            const std::string id = made.value("id", "");
            EXPECT_TRUE(ids.insert(id).second) << made;
            Ask(emulator, "DELETE " + target + "/" + id);
        }
    }
}

TEST(State, SeveralClientsShareOneCourse) {
    constexpr int Clients = 4;
    constexpr int Starts = 20;
    const auto run = [] {
        EmulatorOptions options =
            MakeOptions(R"({"seed": 7, "failureRate": 0.5, "simulations": [{"id": "s"}]})");
        options.rules = json::parse(R"([{"method": "POST", "occurrence": 5, "times": 9,
                                         "action": "status"}])");
        Emulator emulator(options);
        const auto start = [&emulator](int client) {
            json made = json::array();
            for (int i = 0; i < Starts; ++i) {
                const Reply reply =
                    Ask(emulator, "POST /simulations/s/executions", json({client, i}).dump());
                if (reply.status == 201) { made.push_back(reply.document); }
            }
            return made;
        };
        std::vector<std::future<json>> clients;
        for (int client = 0; client < Clients; ++client) {
            clients.push_back(std::async(std::launch::async, start, client));
        }
        for (auto& client : clients) {
            const json made = client.get();
            for (std::size_t i = 1; i < made.size(); ++i) {
                EXPECT_LT(ReadNumber(made[i - 1]["id"]), ReadNumber(made[i]["id"]));
            }
        }
        json course = emulator.Export();
        for (json& execution : course["executions"]) { execution.erase("data"); }
        return course;
    };
    const json course = run();
    EXPECT_EQ(course["executions"].size(), std::size_t{Clients * Starts - 9});
    EXPECT_EQ(run(), course);
}

TEST(State, ServesDocumentsAsTheyStand) {
    Emulator emulator(MakeOptions(R"({
        "version": {"api": "7.2"}, "agent": ["none"],
        "shapes": {
            "simulations": {"items": "", "id": "/meta/uuid", "scope": "/visibility"},
            "executions": {"list": {"page": 1}, "items": "/runs", "total": "/count", "id": "/run",
                           "state": "/status/phase", "progress": null, "simulationId": null,
                           "name": null, "createdAt": null, "data": "/spec", "new": {"v": 2}},
            "users": {"email": "/contact/mail", "role": "/roles/0"},
            "states": {"finished": "COMPLETED", "queued": null},
            "results": {"finished": {"output": {"max": 3}}}},
        "simulations": [{"meta": {"uuid": "s"}, "visibility": "lab", "x": [1],
                         "_local": {"inputs": [1], "listed": {"short": true}}}],
        "executions": [{"run": 9, "status": {"phase": "OLD"}, "_local": {"simulationId": "s"}}],
        "users": [{"id": 4, "contact": {"mail": "a@b"}, "roles": ["admin", "x"]}]})"));
    EXPECT_EQ(Ask(emulator, "POST /simulations/s/executions", "null").status, 201);
    EXPECT_EQ(Ask(emulator, "PATCH /users/4", R"({"role": "r"})").status, 200);
    EXPECT_EQ(Ask(emulator, "POST /users", R"({"email": "A@B", "role": "r"})").status, 409);
    emulator.AdvanceClock(1.9);
    const std::map<std::string, const char*> expected{
        {"/version", R"({"api": "7.2"})"},
        {"/agent", R"(["none"])"},
        {"/simulations", R"([{"short": true}])"},
        {"/simulations?scope=lab", R"([{"short": true}])"},
        {"/simulations?scope=user", "[]"},
        {"/simulations/s", R"({"meta": {"uuid": "s"}, "visibility": "lab", "x": [1]})"},
        {"/simulations/s/inputs", "[1]"},
        {"/simulations/s/executions/9", R"({"run": 9, "status": {"phase": "OLD"}})"},
        {"/users/4", R"({"id": 4, "contact": {"mail": "a@b"}, "roles": ["r", "x"]})"},
    };
    for (const auto& [target, document] : expected) {
        EXPECT_EQ(Get(emulator, target), json::parse(document)) << target;
    }
    emulator.AdvanceClock(60);
    EXPECT_EQ(Get(emulator, "/simulations/s/executions?offset=1"),
              json::parse(R"({"page": 1, "count": 2, "runs": [{"run": "exe-2", "spec": null, "v": 2,
                  "status": {"phase": "COMPLETED"}, "output": {"max": 3}}]})"));
}

TEST(State, AnEmailCanBeTheIdentifier) {
    const Emulator emulator(
        MakeOptions(R"({"shapes": {"users": {"id": "/mail", "email": "/mail"}}})"));
    const json made = Ask(emulator, "POST /users", R"({"email": "a@b", "role": "r"})").document;
    EXPECT_EQ(made["mail"], "a@b");
    EXPECT_EQ(Get(emulator, "/users/a@b"), made);
}

TEST(State, TotalsAndPagesFollowEveryChange) {
    json seed = json::object({{"simulations", json::array()}});
    for (int i = 0; i < 9; ++i) {
        seed["simulations"].push_back({{"id", i}, {"scope", i % 3 == 0 ? "public" : "group"}});
    }
    Emulator emulator(MakeOptions(seed.dump()));
    const auto show = [&](const std::string& query) {
        const json list = Get(emulator, "/simulations?" + query);
        std::string ids = list["total"].dump() + ":";
        for (const json& item : list["items"]) { ids += item["id"].dump(); }
        return ids;
    };
    const std::string query = "scope=group&limit=3&offset=2";
    EXPECT_EQ(show(query) + show("offset=8") + show("limit=0") + show("offset=99"), "6:4579:89:9:");
    Ask(emulator, "DELETE /simulations/4");
    Ask(emulator, "DELETE /simulations/0");
    emulator.CreateSimulation({{"id", 10}, {"scope", "group"}});
    EXPECT_EQ(show(query) + show("scope=public") + show("offset=6"), "6:5782:368:810");
    emulator.Reset();
    EXPECT_EQ(show(query) + show("scope=public"), "6:4573:036");
}

TEST(State, ChangesAtRunTime) {
    Emulator emulator(MakeOptions(R"({"simulations": [{"id": "s"}], "executions": [
        {"simulationId": "s"}, {"simulationId": "s"}, {"simulationId": "s", "state": "STUCK"}]})"));
    EXPECT_EQ(emulator.CreateSimulation({{"name", "n"}}), json({{"id", "sim-2"}, {"name", "n"}}));
    EXPECT_EQ(Ask(emulator, "POST /_local/simulations", R"({"id": "s"})").status, 422);
    const json results = {{"max", 3}};
    emulator.FinishExecution("s", "exe-1", {{"results", results}});
    EXPECT_EQ(Ask(emulator, "POST /_local/simulations/s/executions/exe-2/fail").status, 200);
    emulator.FinishExecution("s", "exe-3");
    EXPECT_THROW(emulator.FailExecution("s", "exe-4"), std::runtime_error);
    const json items = Get(emulator, "/simulations/s/executions")["items"];
    EXPECT_EQ(items[0]["state"], "finished");
    EXPECT_EQ(items[0]["results"], results);
    EXPECT_EQ(items[1]["error"]["code"], "diverged");
    EXPECT_EQ(items[2]["state"], "finished");

    const json before = emulator.Export();
    EXPECT_THROW(emulator.LoadSeed(json::parse(R"({"simulations": [{"id": 1}, {"id": 1}]})")),
                 std::runtime_error);
    EXPECT_EQ(emulator.Export(), before) << "half a seed is taken";
    emulator.LoadSeed(json::parse(R"({"simulations": [{"id": "t"}]})"));
    EXPECT_EQ(Ask(emulator, "DELETE /simulations/t").status, 204);
    emulator.Reset();
    EXPECT_EQ(Get(emulator, "/simulations")["items"][0]["id"], "t");
}

TEST(State, NamesWhatCannotBeUsed) {
    for (const auto& [seed, named] : std::vector<std::pair<std::string, std::string>>{
             {R"({"simulation": []})", "simulation"},
             {R"({"simulations": [{}, {"_local": {"input": 1}}]})", "simulations[1]._local.input"},
             {R"({"simulations": [{"id": "a"}, {"id": "a"}]})", "\"a\""},
             {R"({"simulations": [{"id": {}}]})", "simulations[0]"},
             {R"({"simulations": ["a"]})", "simulations[0]"},
             {R"({"simulations": {}})", "simulations: must be an array"},
             {R"({"executions": [{"simulationId": "gone"}]})", "\"gone\""},
             {R"({"executions": [{}]})", "executions[0]: it must name its simulation"},
             {R"({"users": [{"email": "a@b"}, {"email": "A@B"}]})", "\"A@B\""},
             {R"({"shapes": {"users": {"id": null}}})", "shapes.users.id"},
             {R"({"shapes": {"users": {"email": "mail"}}})", "shapes.users.email"},
             {R"({"shapes": {"users": {"items": "", "total": "/n"}}})", "shapes.users.total"},
             {R"({"shapes": {"states": {"done": 1}}})", "shapes.states.done"},
             {R"({"shapes": {"user": {}}})", "shapes.user"},
             {R"({"shapes": {"results": {"finished": {"peak": {"$product": [2, "span"]}}}}})",
              "shapes.results.finished"},
             {R"({"shapes": {"executions": {"state": "/a/b"}}, "simulations": [{"id": "s"}],
                  "executions": [{"simulationId": "s", "a": 1}]})",
              "shapes.executions.state"},
             {R"({"clock": "yesterday"})", "clock"},
             {R"({"failureRate": 2})", "failureRate"},
             {R"({"seed": 18446744073709551615})", "seed"}}) {
        SCOPED_TRACE(seed);
        ExpectProblem(MakeOptions(seed), named);
    }
}

TEST(State, IsKeptInADirectory) {
    EmulatorOptions options;
    options.dataDirectory = MakeDirectory();
    options.speed = 0;
    json used;
    {
        Emulator emulator(options);
        Ask(emulator, "POST /simulations/sim-bridge/executions", "{}");
        Ask(emulator, "DELETE /simulations/sim-pendulum");
        EXPECT_EQ(Ask(emulator, "POST /users", "{\"email\": \"ADMIN@example.com\"}").status, 422);
        used = emulator.Export();
        ExpectProblem(options, options.dataDirectory + ": in use");
    }
    options.seed = json::object();
    {
        Emulator again(options);
        EXPECT_EQ(again.Export(), used);
        EXPECT_EQ(Get(again, "/simulations")["total"], 4);
        again.Reset();
        EXPECT_EQ(Get(again, "/simulations")["total"], 5);
    }
    options.speed = 1e6;
    const Emulator fast(options);
    const auto readClock = [&] { return Get(fast, "/_local/clock")["now"].get<std::string>(); };
    EXPECT_EQ(Get(fast, "/_local/clock")["speed"], 1e6);
    const std::string before = readClock();
    for (int i = 0; i < 1000 && readClock() == before; ++i) {}
    EXPECT_NE(readClock(), before);
}

} // namespace
