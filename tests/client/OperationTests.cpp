#include <fstream>
#include <functional>

#include "ClientFixture.h"
#include "OperationTable.h"

namespace VarnelBase {

namespace {

using ClientOperations = ClientFixture;

struct OperationCase {
    const char* name; ///< in the table of operations
    const char* request;
    const char* body;
    std::function<Outcome(ServiceClient&)> call;
};

const std::string OddId = "a/b?c%\xc3\xa9 .";
json data = {{"b", 1}, {"a", "\xc3\xa9"}};

// clang-format off
const std::vector<OperationCase> Cases{
    {"GetVersion", "GET /version", "", [](auto& c) { return c.GetVersion(); }},
    {"GetAgent", "GET /agent", "", [](auto& c) { return c.GetAgent(); }},
    {"SendAgentCommand", "POST /agent", R"({"command":"a\"b"})", [](auto& c) { return c.SendAgentCommand("a\"b"); }},
    {"GetSimulations", "GET /simulations?scope=a%26b&limit=-1&offset=7", "", [](auto& c) { return c.GetSimulations("a&b", -1, 7); }},
    {"GetSimulationData", "GET /simulations/a%2Fb%3Fc%25%C3%A9%20.", "", [](auto& c) { return c.GetSimulationData(OddId); }},
    {"DeleteSimulation", "DELETE /simulations/...", "", [](auto& c) { return c.DeleteSimulation("..."); }},
    {"GetSimulationInputs", "GET /simulations/%23/inputs", "", [](auto& c) { return c.GetSimulationInputs("#"); }},
    {"PostSimulationInputs", "POST /simulations/a/inputs", "{\"a\":\"\xc3\xa9\",\"b\":1}", [](auto& c) { return c.PostSimulationInputs("a", data); }},
    {"GetExecutions", "GET /simulations/a/executions?limit=20&offset=0", "", [](auto& c) { return c.GetExecutions("a", 20, 0); }},
    {"PostExecution", "POST /simulations/a/executions", "null", [](auto& c) { return c.PostExecution("a", nullptr); }},
    {"GetExecution", "GET /simulations/a/executions/%2Fb", "", [](auto& c) { return c.GetExecution("a", "/b"); }},
    {"GenerateProject", "POST /generateProject", "{}", [](auto& c) { return c.GenerateProject(json::object()); }},
    {"GetUsers", "GET /users?limit=0&offset=0", "", [](auto& c) { return c.GetUsers(0, 0); }},
    {"CreateUser", "POST /users", R"({"email":"a@b","role":"r"})", [](auto& c) { return c.CreateUser("a@b", "r"); }},
    {"GetUser", "GET /users/a%40b", "", [](auto& c) { return c.GetUser("a@b"); }},
    {"UpdateUser", "PATCH /users/a", R"({"role":"r"})", [](auto& c) { return c.UpdateUser("a", "r"); }},
    {"DeleteUser", "DELETE /users/a", "", [](auto& c) { return c.DeleteUser("a"); }},
    {"GetSimulations", "GET /simulations?scope=user&limit=50&offset=0", "", [](auto& c) { return c.GetSimulationNames(); }},
    {"GetSimulationInputs", "GET /simulations/a/inputs", "", [](auto& c) { return c.GetSimulationPreexecutionData("a"); }},
    {"PostExecution", "POST /simulations/a/executions", "1", [](auto& c) { return c.PutSimulationData("a", 1); }},
};
// clang-format on

} // namespace

TEST_F(ClientOperations, SendWhatTheirTableSays) {
    ServiceClient client(Options());
    for (const OperationCase& given : Cases) {
        SCOPED_TRACE(given.name);
        server.Answer(MakeAnswer(200, R"({"items":[{"id":"b"},{"id":"a"},{"id":"b"},7]})"));
        const Outcome outcome = given.call(client);
        EXPECT_TRUE(outcome) << outcome.message;
        EXPECT_EQ(outcome.sent, SentState::Answered);
        EXPECT_EQ(outcome.attempts, 1);
        const ServiceOperation& operation = FindOperation(given.name);
        EXPECT_EQ(std::string(given.request).rfind(operation.method, 0), 0U);
        const Log requests = server.TakeRequests();
        ASSERT_EQ(requests.size(), 1U);
        const std::string& request = requests.front();
        EXPECT_EQ(request.substr(0, request.find(" HTTP/1.1\r\n")), given.request);
        EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4), given.body);
        EXPECT_NE(request.find("\r\nAuthorization: Bearer t0ken\r\n"), std::string::npos);
        EXPECT_EQ(request.find("\r\nContent-Type: application/json\r\n") != std::string::npos,
                  *given.body != '\0');
    }
}

TEST_F(ClientOperations, StandInTheDocumentAsInTheirTable) {
    std::ifstream file(OPERATIONS_DOCUMENT);
    const std::string document(std::istreambuf_iterator<char>(file), {});
    for (const ServiceOperation& operation : ServiceOperations) {
        const std::size_t row = document.find("| `" + std::string(operation.name) + "(");
        ASSERT_NE(row, std::string::npos) << operation.name;
        const std::string line = document.substr(row, document.find('\n', row) - row);
        const std::string expected =
            std::string(" | ") + operation.method + " | `" + operation.target + "` | ";
        EXPECT_NE(line.find(expected), std::string::npos) << line;
    }
}

TEST_F(ClientOperations, RejectWhatNamesNothingBeforeItIsSent) {
    ServiceClient client(Options());
    const std::string rejected[] = {"", ".", ".."};
    for (const std::string& id : rejected) {
        EXPECT_THROW((void)client.GetSimulationData(id), std::invalid_argument);
        EXPECT_THROW((void)client.GetExecution("a", id), std::invalid_argument);
        EXPECT_THROW((void)client.DeleteUser(id), std::invalid_argument);
    }
    EXPECT_THROW((void)client.PostExecution("a", "\xff"), json::type_error);
    EXPECT_THROW((void)client.Send("HEAD", "/version"), std::invalid_argument);
    EXPECT_THROW((void)client.Send("GET", "version"), std::invalid_argument);
    EXPECT_THROW((void)client.Send("GET", "/a b"), std::invalid_argument);
    EXPECT_EQ(server.TakeRequests(), Log());
}

TEST_F(ClientOperations, NamesAreDistinctAndMustBeTexts) {
    ServiceClient client(Options());
    server.Answer(MakeAnswer(200, R"({"items":[{"id":"b"},{"id":"a"},{"id":"b"},7,{}]})"));
    EXPECT_EQ(client.GetSimulationNames().names, (SimulationNamesListType{"a", "b"}));
    server.Answer(MakeAnswer(200, R"({"items":[{"id":"b"},{"id":7}]})"));
    const NamesOutcome outcome = client.GetSimulationNames();
    EXPECT_EQ(outcome.failure, Failure::Unreadable);
    EXPECT_TRUE(outcome.names.empty());
}

TEST_F(ClientOperations, SendAnyBytesAndReturnTheAnswersOwn) {
    ServiceClient client(Options());
    const std::string number = R"({"n":123456789012345678901234567890,"n":1.10})";
    server.Answer(MakeAnswer(200, number));
    const Outcome outcome = client.Send("PUT", "/a?b=%2F", number);
    EXPECT_EQ(outcome.text, number);
    const std::string request = server.TakeRequests().at(0);
    EXPECT_EQ(request.rfind("PUT /a?b=%2F HTTP/1.1\r\n", 0), 0U);
    EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4), number);
}

} // namespace VarnelBase
