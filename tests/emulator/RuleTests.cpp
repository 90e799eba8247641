// Rules, scenarios, and what a test can say about the requests that came.
#include "TestedEmulator.h"

namespace {

TEST(Rules, AnswerInPlaceOfTheService) {
    EmulatorOptions options;
    options.filesDirectory = MakeDirectory();
    std::ofstream(options.filesDirectory + "/a.zip") << "PK";
    Emulator emulator(options);
    for (const auto& [members, type, body] :
         std::vector<std::tuple<const char*, const char*, const char*>>{
             {R"("body": {"a": [1]})", "application/json", R"({"a":[1]})"},
             {R"("body": null)", "application/json", "null"},
             {R"("text": "ü")", "text/plain; charset=utf-8", "ü"},
             {R"("file": "a.zip")", "application/zip", "PK"},
             {R"("headers": {})", "", ""},
             {R"("body": 1, "headers": {"content-type": "a/b", "X-Odd": "c"})", "a/b", "1"}}) {
        emulator.ClearFaults();
        emulator.AddFault(json::parse(std::string(R"({"action": "answer", "status": 418, )") +
                                      members + R"(, "path": "/made/*/up"})"));
        const Reply reply = Ask(emulator, "POST /made/1/up");
        EXPECT_EQ(reply.status, 418) << members;
        EXPECT_EQ(reply.body, body);
        const auto found = reply.headers.find("Content-Type");
        EXPECT_EQ(found == reply.headers.end() ? "" : found->second, type) << members;
        EXPECT_EQ(reply.headers.count("X-Odd"), std::string(type) == "a/b" ? 1U : 0U);
    }
    for (const char* const members :
         {R"("body": 1, "text": "x")", R"("file": "../a.zip")", R"("file": "/etc/passwd")",
          R"("file": "b")", R"("headers": {"content-length": "1"})",
          R"("headers": {"A": "b\r\nC: d"})", R"("headers": {"A b": "c"})"}) {
        EXPECT_THROW(
            emulator.AddFault(json::parse(std::string(R"({"action": "answer", )") + members + "}")),
            std::runtime_error)
            << members;
    }
    EXPECT_THROW(Emulator().AddFault({{"action", "answer"}, {"file", "a.zip"}}),
                 std::runtime_error);
}

TEST(Rules, AreFoundByNameAndCounted) {
    Emulator emulator;
    const auto add = [&](const json& changes) {
        json rule = {{"action", "status"}, {"path", "/users/*"}};
        rule.update(changes);
        return emulator.AddFault(rule);
    };
    add({{"name", "any"}, {"occurrence", 2}});
    const std::string number = add({{"path", "/users"}, {"required", true}})["id"].dump();
    EXPECT_THROW(add({{"name", "any"}}), std::runtime_error);
    EXPECT_THROW(add({{"name", "7"}}), std::runtime_error);
    EXPECT_EQ(Ask(emulator, "GET /users/usr-1").status, 200);
    EXPECT_EQ(Ask(emulator, "GET /users/usr-1/").status, 404);
    EXPECT_EQ(Ask(emulator, "GET /users/a/b").status, 404);
    EXPECT_EQ(Get(emulator, "/_local/faults/any")["matched"], 1);
    EXPECT_EQ(Ask(emulator, "GET /_local/faults/none").status, 404);
    EXPECT_PRED2(Has, emulator.CheckFaults(), "/users) was never applied");
    EXPECT_EQ(Ask(emulator, "POST /_local/check/faults").status, 409);
    EXPECT_EQ(Ask(emulator, "GET /users").status, 503);
    EXPECT_EQ(emulator.CheckFaults(), "");
    EXPECT_EQ(Ask(emulator, "DELETE /_local/faults/" + number).status, 200);
    emulator.RemoveFault("any");
    EXPECT_EQ(emulator.GetFaults(), json::array());

    // Both rules count a request, of which the first takes it.
    add({{"name", "first"}});
    add({{"name", "second"}, {"times", 0}});
    for (const int status : {503, 503, 503}) {
        EXPECT_EQ(Ask(emulator, "GET /users/usr-1").status, status);
    }
    const json rules = emulator.GetFaults();
    EXPECT_EQ(rules[0]["matched"].dump() + rules[0]["applied"].dump(), "31");
    EXPECT_EQ(rules[1]["matched"].dump() + rules[1]["applied"].dump(), "32");
}

TEST(Rules, WarnWhenTheyCannotMatch) {
    Emulator emulator;
    for (const auto& [member, value, isWarnedOf] :
         std::vector<std::tuple<const char*, const char*, bool>>{{"method", "get", true},
                                                                 {"path", "/users/", true},
                                                                 {"path", "users", true},
                                                                 {"path", "/users?limit=1", true},
                                                                 {"path", "/_local/clock", true},
                                                                 {"path", "*", true},
                                                                 {"path", "?users", true},
                                                                 {"path", "/users#x", true},
                                                                 {"path", "/_locals", false},
                                                                 {"path", "/users/usr-?", false},
                                                                 {"method", "PATCH", false},
                                                                 {"method", "QUERY", false},
                                                                 {"method", "PROPFIND", false},
                                                                 {"path", "/users/*", false}}) {
        const json rule = emulator.AddFault({{member, value}, {"action", "status"}});
        EXPECT_EQ(rule.contains("warnings"), isWarnedOf) << value;
        emulator.ClearFaults();
    }
    emulator.AddFault({{"path", "/users/usr-?"}, {"method", "QUERY"}, {"action", "status"}});
    EXPECT_EQ(Ask(emulator, "QUERY /users/usr-1").status, 503);
    const json answering =
        emulator.AddFault({{"path", "/users/"}, {"action", "answer"}, {"text", "slash"}});
    EXPECT_FALSE(answering.contains("warnings"));
    EXPECT_EQ(Ask(emulator, "GET /users/").body, "slash");
}

TEST(Rules, ScenariosLeadFromStateToState) {
    Emulator emulator;
    emulator.AddFault(json::parse(R"([
        {"path": "/version", "times": 0, "action": "answer", "text": "cold",
         "scenario": {"name": "boot", "in": "started", "then": "warm"}},
        {"path": "/version", "times": 0, "action": "answer", "text": "warm",
         "scenario": {"name": "boot", "in": "warm", "then": "hot"}}])"));
    const auto ask = [&] { return Ask(emulator, "GET /version").body; };
    for (const char* const answer : {"cold", "warm", "[\"0.4.1\"]"}) { EXPECT_EQ(ask(), answer); }
    EXPECT_EQ(Ask(emulator, "POST /_local/scenarios", R"({"name": "boot", "state": "warm"})")
                  .document["items"][0]["state"],
              "warm");
    EXPECT_EQ(ask(), "warm");
    emulator.Reset();
    EXPECT_EQ(Get(emulator, "/_local/scenarios")["total"], 0);
}

TEST(Requests, AreHeldAgainstExpectations) {
    Emulator emulator;
    for (const char* const span : {"40", "41", "40"}) {
        Ask(emulator, "POST /simulations/sim-bridge/executions?dry=1",
            std::string(R"({"options": {"span": )") + span + "}}");
    }
    Ask(emulator, "GET /users?limit=7");
    const std::string start = R"({"method": "POST", "path": "/simulations/*/executions")";
    for (const auto& [expectation, problem] : std::vector<std::pair<std::string, const char*>>{
             {start + "}", ""},
             {start + R"(, "times": 3, "query": {"dry": "1"}, "headers": {"host": "127.*"}})", ""},
             {start + R"(, "times": 2, "body": {"/options/span": 40}, "status": 201})", ""},
             {start + R"(, "body": {"/options/span": 41}, "atMost": 1, "text": "span"})", ""},
             {R"({"method": "DELETE", "times": 0})", ""},
             {start + R"(, "times": 3, "body": {"/options/span": 40}})",
              "expected 3, but 2 of 4 requests match\n  near: POST "
              "/simulations/sim-bridge/executions?dry=1 (201): in the body, /options/span is 41"},
             {R"({"path": "/users", "query": {"limit": "8"}})",
              "expected at least 1, but 0 of 4 requests match\n  near: GET /users?limit=7 (200): "
              "in "
              "the query, limit is 7"},
             {R"({"path": "/users", "atLeast": 2, "atMost": 3})", "expected 2 to 3, but 1 of 4"}}) {
        const std::string told = emulator.CheckRequests(json::parse(expectation));
        EXPECT_EQ(told.empty(), *problem == 0) << expectation << told;
        EXPECT_PRED2(Has, told, problem);
        EXPECT_EQ(Ask(emulator, "POST /_local/check/requests", expectation).status,
                  *problem == 0 ? 200 : 409);
    }
    EXPECT_EQ(emulator.GetRequests({{"body", {{"/options/span", 41}}}}).size(), 1U);
    Ask(emulator, "GET /users?limit=7&tag=a&tag=b");
    EXPECT_EQ(emulator.GetRequests({{"query", {{"tag", "b"}, {"limit", "7"}}}}).size(), 1U);
    const std::string query = "method=POST&status=201&text=41&path=/sim*/*/exe*";
    EXPECT_EQ(Get(emulator, "/_local/requests?" + query)["total"], 1);
    for (const auto& [expectation, message] : std::map<const char*, const char*>{
             {R"({"atLeast": 3, "atMost": 2})", "atLeast: 3 is more than atMost, which is 2"},
             {R"({"times": 1, "atMost": 2})",
              "times: cannot be combined with atLeast or atMost"}}) {
        const Reply refused = Ask(emulator, "POST /_local/check/requests", expectation);
        EXPECT_EQ(refused.status, 422);
        EXPECT_EQ(refused.document["error"]["message"], message);
    }
    EXPECT_THROW(emulator.CheckRequests({{"tims", 3}}), std::runtime_error);
    EXPECT_THROW(emulator.CheckRequests({{"body", {{"span", 3}}}}), std::runtime_error);
}

} // namespace
