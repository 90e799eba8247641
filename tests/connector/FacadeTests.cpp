#include "ApiConnector.h"
#include "ConnectorFixture.h"

namespace VarnelBase {

namespace {

using Facade = ConnectorFixture;
using Project = ConnectorFixture;

} // namespace

TEST_F(Facade, CollectsTheIdentifiersOfWhateverTheServiceLists) {
    const std::vector<std::pair<std::string, SimulationNamesListType>> documents{
        {R"({"items":[{"id":"b"},{"id":"a"},{"id":"b","x":1},{"id":"\u0000"}]})",
         {std::string(1, '\0'), "a", "b"}},
        {R"({"items":{"x":{"id":"b"},"y":{"id":"a"}}})", {"a", "b"}},
        {R"({"items":[null,7,"id",[{"id":"a"}],{},{"ID":"a"},{"id":""}]})", {""}},
        {R"({"items":{"id":"a"}})", {}},
        {R"({"items":"id"})", {}},
        {R"({"items":null})", {}},
        {R"({"ITEMS":[{"id":"a"}]})", {}},
        {R"([{"id":"a"}])", {}},
        {R"("items")", {}},
        {"", {}},
    };
    ApiConnector connector;
    for (const auto& [document, names] : documents) {
        Answer(200, document);
        EXPECT_EQ(connector.GetSimulationNames(), names) << document;
        Answer(404, document);
        EXPECT_EQ(connector.GetSimulationNames(), SimulationNamesListType()) << document;
    }
    for (const std::string id : {"7", "null", "[\"a\"]", "{}"}) {
        Answer(200, R"({"items":[{"id":"a"},{"id":)" + id + "}]}");
        EXPECT_THROW(connector.GetSimulationNames(), json::type_error) << id;
    }
    for (const std::string& target : server.TakeTargets()) {
        EXPECT_EQ(target, "GET /simulations?scope=user&limit=50&offset=0");
    }
    Answer(404, R"({"error":1})");
    EXPECT_EQ(connector.GetSimulationPreexecutionData("s1"), json({{"error", 1}}));
    EXPECT_EQ(server.TakeTargets(), Log{"GET /simulations/s1/inputs"});
}

TEST_F(Project, HasTheBytesAndTheRawNameThatTheServiceSent) {
    const std::string bytes("PK\0\xFF\xFE\r\n\0", 8);
    const std::vector<std::pair<std::string, json>> cases{
        {"", nullptr},
        {"Content-Disposition:\r\n", nullptr},
        {"X-Content-Disposition: x\r\n", nullptr},
        {"Content-Disposition: a; filename=\"b c.zip\" \r\n", "a; filename=\"b c.zip\""},
        {"content-disposition: a\r\n", "a"},
        {"CONTENT-DISPOSITION: a\r\n", "a"},
        {"Content-Disposition: first\r\nX: y\r\ncontent-disposition: second\r\n", "first"},
        {"Content-Disposition: %00a\r\n", ""},
        {"Content-Disposition: %41+b%00c\r\n", "A+b"},
    };
    ApiConnector connector;
    for (const auto& [headerLines, filename] : cases) {
        json expected{{"status", "ok"}, {"body", bytes}};
        if (!filename.is_null()) { expected["filename"] = filename; }
        Answer(200, bytes, headerLines);
        EXPECT_EQ(connector.GenerateProject(json()), expected) << headerLines;
    }
}

} // namespace VarnelBase
