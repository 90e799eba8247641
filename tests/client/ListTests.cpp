#include "ClientFixture.h"

namespace VarnelBase {

using ClientLists = ClientFixture;

TEST_F(ClientLists, EndWhereTheServiceEndsThemAndNowhereElse) {
    const std::string a = R"({"id":"a"})", b = R"({"id":"b"})", c = R"({"id":"c"})";
    const auto page = [](const Log& entries, const std::string& rest = "") {
        std::string text = R"({"items":[)";
        for (const std::string& entry : entries) { text += (text.size() > 10 ? "," : "") + entry; }
        return text + "]" + rest + "}";
    };
    // The service's pages, what a loop sees, and the kind of the failure that ends it behind that.
    const std::tuple<const char*, Log, Log> walks[] = {
        {"a short page", {page({a, b}), page({c})}, {a, b, c}},
        {"an empty page", {page({a, b}), page({})}, {a, b}},
        {"nothing", {page({})}, {}},
        {"the total", {page({a, b}, R"(,"total":2)")}, {a, b}},
        {"a total beyond a short page",
         {page({a}, R"(,"total":2)"), page({b}, R"(,"total":2)")},
         {a, b}},
        {"a total that is not known", {page({a, b}, R"(,"total":-1)"), page({c})}, {a, b, c}},
        {"an entry that moved", {page({a, b}), page({b, c}), page({})}, {a, b, c}},
        {"entries without an identifier", {page({"1", "1"}), page({"{}"})}, {"1", "1", "{}"}},
        {"a failure at once", {}, {"NotFound"}},
        {"a failure in the middle", {page({a, b})}, {a, b, "NotFound"}},
        {"a page that is no list", {page({a, b}), R"({"items":{}})"}, {a, b, "Unreadable"}},
        {"an offset that is not looked at", {page({a, b}), page({a, b})}, {a, b, "Unreadable"}},
    };
    ClientOptions options = Options();
    options.pageSize = 2;
    for (const auto& [what, pages, expected] : walks) {
        ServiceClient client(options);
        Log answers;
        for (const std::string& bytes : pages) { answers.push_back(MakeAnswer(200, bytes)); }
        server.Answer(MakeAnswer(404, ""), ScriptedServer::Manner::Whole, answers);
        Log seen;
        try {
            for (const json& entry : client.Simulations("user")) { seen.push_back(entry.dump()); }
        } catch (const CallFailed& failed) {
            seen.emplace_back(NameFailure(failed.GetOutcome().failure));
        }
        EXPECT_EQ(seen, expected) << what;
    }
    EXPECT_EQ(server.TakeTargets().back(), "GET /simulations?scope=user&limit=2&offset=2");

    ServiceClient client(options);
    server.Answer(MakeAnswer(200, page({a})));
    Listing users = client.Users();
    Listing executions = client.Executions("a/b");
    for (Listing* list : {&users, &users, &executions}) {
        EXPECT_EQ(std::distance(list->begin(), list->end()), 1);
    }
    EXPECT_EQ(server.TakeTargets(),
              (Log{"GET /users?limit=2&offset=0", "GET /users?limit=2&offset=0",
                   "GET /simulations/a%2Fb/executions?limit=2&offset=0"}));
}

TEST_F(ClientLists, WaitForWhatTheyStart) {
    using std::chrono::milliseconds;
    ServiceClient client(OneAttempt());
    WaitOptions wait;
    wait.firstInterval = wait.maxInterval = milliseconds(1);
    wait.statePointer = "/run/phase";
    wait.endStates = {"done", "broken"};
    int progressed = 0;
    wait.progress = [&progressed](const json&) { ++progressed; };
    const auto phase = [](const char* name) {
        return MakeAnswer(200, std::string(R"({"run":{"phase":)") + name + "}}");
    };
    const auto await = [&](const Log& answers) {
        server.Answer(phase("\"done\""), ScriptedServer::Manner::Whole, answers);
        return client.WaitForExecution("a", "b", wait);
    };
    const ExecutionOutcome survived =
        await({phase("\"a\""), MakeAnswer(503, ""), "", MakeAnswer(500, ""), phase("\"b\"")});
    EXPECT_TRUE(survived);
    EXPECT_EQ(survived.state, "done");
    EXPECT_EQ(survived.attempts, 6);
    EXPECT_EQ(progressed, 3);
    EXPECT_EQ(await({phase("\"broken\"")}).state, "broken");
    EXPECT_EQ(await({MakeAnswer(404, "")}).failure, Failure::NotFound);
    EXPECT_EQ(await({phase("7")}).failure, Failure::Unreadable);
    wait.timeout = milliseconds(20);
    wait.endStates = {"never"};
    const ExecutionOutcome endless = await({});
    EXPECT_EQ(endless.failure, Failure::TimedOut);
    EXPECT_EQ(endless.state, "done");
}

} // namespace VarnelBase
