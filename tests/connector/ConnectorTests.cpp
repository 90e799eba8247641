#include "ApiConnector.h"

#include <type_traits>

#include "ConnectorFixture.h"

namespace VarnelBase {

// What a program may rely on and calls do not show.
static_assert(std::is_convertible_v<Environment, ApiConnector>);
static_assert(!std::is_convertible_v<Environment, EnvConfig>);
static_assert(!std::is_constructible_v<ApiConnector, ApiConnector&&>);
static_assert(std::is_copy_assignable_v<EnvConfig> && std::is_empty_v<TokenStore>);
static_assert(std::is_same_v<decltype(&ApiConnector::GetPort), unsigned (ApiConnector::*)()>);
static_assert(std::is_same_v<decltype(&ApiConnector::PutSimulationData),
                             void (ApiConnector::*)(const std::string&, json&)>);

using Connector = ConnectorFixture;
using Hostname = ConnectorFixture;

TEST_F(Connector, IsBuiltFromItsSettingsThenAHandlerWithItsOwn) {
    environment = Environment::Staging;
    EXPECT_EQ(CaptureOutput([] { const ApiConnector connector; }), "");
    EXPECT_EQ(server.TakeLog(), (Log{"EnvConfig 1", "EnvConfig 1", "AuthHandler", "~AuthHandler"}));
    CaptureOutput([] { const ApiConnector connector(Environment::Production); });
    EXPECT_EQ(server.TakeLog(), (Log{"EnvConfig 2", "EnvConfig 1", "AuthHandler", "~AuthHandler"}));
}

TEST_F(Connector, AnnouncesThatItIsOfflineAndForwardsAllTheSame) {
    const std::string notice =
        "[api] offline mode enabled \xE2\x80\x94 no backend connections will be made\n";
    offline = true;
    apiPort = 65535;
    EXPECT_EQ(CaptureOutput([] { const ApiConnector connector; }), notice);
    const std::string output = CaptureOutput([&] {
        ApiConnector connector(Environment::Production);
        server.TakeLog();
        EXPECT_EQ(connector.GetHostname(), "");
        EXPECT_EQ(connector.GetPort(), 65535U);
        EXPECT_EQ(connector.GetEnvironment(), Environment::Production);
        EXPECT_TRUE(connector.IsOffline());
        EXPECT_EQ(server.TakeLog(), Log());
        EXPECT_EQ(connector.GetApiKey() + " " + connector.Login(), "t0ken signed in");
    });
    EXPECT_EQ(output, notice);
}

TEST_F(Hostname, IsResolvedWhenTheTokenChangesOrItIsEmpty) {
    const std::string nul("x\0y", 3);
    struct Case {
        Environment environment;
        std::string group, apiHost;
        Log tokens;
        std::string hostname;
        Log groupsAskedFor;
    };
    const std::vector<Case> cases{
        {Environment::Staging, "alpha", "host", {"A", "A", "A"}, "alpha.host", {"A"}},
        {Environment::Production, "alpha", "host", {"A", "B", "A"}, "alpha.host", {"A", "B", "A"}},
        {Environment::Staging, "alpha", "host", {"x", nul, nul}, "alpha.host", {"x", nul}},
        {Environment::Staging, "alpha", "host", {"", "", "A", ""}, "alpha.host", {"", "A", ""}},
        {Environment::Staging, "", "host", {"A", "A"}, "host", {"A"}},
        {Environment::Production, " G/.", "", {"A", "A"}, " G/..", {"A"}},
        {Environment::Staging, "", "", {"A", "A", "A"}, "", {"A", "A", "A"}},
        {Environment::Local, "alpha", "host", {"A", "B"}, "host", {}},
        {Environment::Local, "alpha", "", {"A", "A"}, "", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.group + "." + c.apiHost + " " + testing::PrintToString(c.tokens));
        group = c.group;
        apiHost = c.apiHost;
        tokens = c.tokens;
        tokensTaken = 0;
        ApiConnector connector(c.environment);
        server.TakeLog();
        while (tokensTaken < tokens.size()) { EXPECT_EQ(connector.GetHostname(), c.hostname); }
        Log groups;
        for (const std::string& step : server.TakeLog()) {
            if (step != "token") { groups.push_back(step.substr(9)); } // after "group of "
        }
        EXPECT_EQ(groups, c.groupsAskedFor);
    }
}

TEST_F(Hostname, IsResolvedAgainAfterAFailure) {
    UseGroup();
    tokens = {"A", "B"};
    ApiConnector connector;
    server.TakeLog();
    callsToFailure = 4;
    EXPECT_EQ(connector.GetHostname(), "127.0.0.1");
    EXPECT_THROW(connector.GetHostname(), StepFailed);
    group = "10";
    EXPECT_EQ(connector.GetHostname(), "10.0.0.1");
    EXPECT_EQ(server.TakeLog(),
              (Log{"token", "group of A", "token", "group of B", "token", "group of B"}));
}

TEST_F(Hostname, OfTheLinkIsThatOfTheTokenAfterTheRequest) {
    UseGroup();
    tokens = {"A", "A", "B"};
    server.Answer(MakeAnswer(201, ""));
    ApiConnector connector;
    server.TakeLog();
    json data = json::object();
    const std::string id("s 1\0/?", 7);
    EXPECT_EQ(CaptureOutput([&] { connector.PutSimulationData(id, data); }),
              "UI: https://127.0.0.1/simulations/" + id + "\n");
    EXPECT_EQ(server.TakeLog(),
              (Log{"token", "group of A", "token", "request", "token", "group of B"}));
    EXPECT_EQ(data, json::object());
    EXPECT_EQ(server.TakeTargets(), Log{"POST /simulations/s%201"});
}

} // namespace VarnelBase
