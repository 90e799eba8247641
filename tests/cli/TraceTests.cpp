#include <TokenStore.h>
#include <nlohmann/json.hpp>

#include "CommandFixture.h"

namespace VarnelBase {
namespace {

using nlohmann::json;

// An unsigned token with the claims {"groups":["127"]}.
constexpr const char* GroupToken = "eyJhbGciOiJub25lIn0.eyJncm91cHMiOlsiMTI3Il19.";

class TraceTest : public CommandFixture {};

TEST_F(TraceTest, ShowsTheStatusThatTheLibraryHides) {
    const Outcome outcome =
        Run("VARNEL_TOKEN=secret varnel trace --to trace.jsonl -- "
            "varnel user create admin@example.com --role viewer");
    EXPECT_EQ(outcome.status, 5);
    const json line = json::parse(Read("trace.jsonl"));
    EXPECT_EQ(line.at("status"), 409);
    EXPECT_EQ(line.at("url"), emulator.GetUrl() + "/users");
    EXPECT_EQ(line.at("authorization"), "(redacted)");
    EXPECT_EQ(Run("varnel trace -- sh -c 'exit 7'").status, 7);
    EXPECT_EQ(Run("varnel trace -- sh -c 'kill -TERM $$'").status, 143);
    EXPECT_EQ(Run("varnel trace -- ./missing").status, 127);
}

TEST_F(TraceTest, StandsInTheWayOfNoSignal) {
    const std::string hangUp = "varnel trace -- sh -c 'kill -HUP $PPID; sleep 0.1; exit 7'";
    EXPECT_EQ(Run(hangUp).status, 129);
    EXPECT_EQ(Run("trap '' HUP; " + hangUp).status, 7); // as under nohup
    EXPECT_EQ(Run(R"(bash -c 'trap "" CHLD; varnel trace -- sh -c "exit 7"')").status, 7);
    Run("varnel trace -- sh -c 'varnel version; varnel version; echo yes >ended' 2>&1 | true");
    EXPECT_EQ(Read("ended"), "yes\n");
}

TEST_F(TraceTest, TheServiceSeesNoDifference) {
    const std::string request = "VARNEL_TOKEN=secret varnel agent send 'a b' -q";
    Run(request);
    Run("varnel trace -- env " + request);
    const json requests = emulator.GetRequests();
    ASSERT_EQ(requests.size(), 2);
    for (const char* part : {"method", "target", "headers", "body"}) {
        EXPECT_EQ(requests[0].at(part), requests[1].at(part));
    }
}

TEST_F(TraceTest, BodiesOfAnySizePassUnchanged) {
    Write("large.json", json::object({{"text", std::string(3'000'000, 'x')}}).dump());
    const Outcome outcome =
        Run("varnel trace -- varnel simulation inputs set sim-bridge --data @large.json");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.err.find(R"("requestBytes":3000011)"), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find(R"("responseBytes":3000011)"), std::string::npos) << outcome.err;
}

TEST_F(TraceTest, FindsTheHostOfTheTokensGroupAndTheStoredToken) {
    WriteConfig(R"("environment": "staging", "authHost": "https://id.invalid", )");
    TokenStore().Store({GroupToken, ""});
    const Outcome outcome = Run("varnel trace --format har -- varnel execution start sim-bridge");
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    // The library does not know that there is a relay.
    EXPECT_NE(outcome.err.find("UI: https://127.0.0.1/simulations"), std::string::npos);
    const json archive = json::parse(outcome.err.substr(outcome.err.find('{')));
    const json& entry = archive.at("log").at("entries").at(0);
    EXPECT_EQ(entry.at("request").at("url"),
              emulator.GetUrl() + "/simulations/sim-bridge/executions");
    EXPECT_EQ(entry.at("response").at("status"), 201);
    EXPECT_EQ(outcome.err.find(GroupToken), std::string::npos);
}

TEST_F(TraceTest, TellsWhyThereWasNoAnswer) {
    const Outcome outcome = Run("VARNEL_API_HOST=a..b varnel trace -- varnel version");
    EXPECT_NE(outcome.err.find(R"("problem":"the host name \"a..b\" does not resolve)"),
              std::string::npos)
        << outcome.err;
    emulator.AddFault(json::object({{"action", "reset"}, {"times", 0}}));
    EXPECT_NE(Run("varnel trace -- varnel version").err.find("ended without an answer"),
              std::string::npos);
}

} // namespace
} // namespace VarnelBase
