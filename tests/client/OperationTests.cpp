#include "ClientFixture.h"
#include "OperationCases.h"
#include "OperationTable.h"

namespace VarnelBase {

using ClientOperations = ClientFixture;

TEST_F(ClientOperations, SendWhatTheirTableSays) {
    ServiceClient client(Options());
    for (const OperationCase& given : OperationCases) {
        SCOPED_TRACE(given.name);
        server.Answer(MakeAnswer(200, R"({"items":[{"id":"b"},{"id":"a"},{"id":"b"},7]})"));
        const Outcome outcome = given.call(client);
        EXPECT_TRUE(outcome) << outcome.message;
        EXPECT_EQ(outcome.sent, SentState::Answered);
        EXPECT_EQ(outcome.attempts, 1);
        const ServiceOperation& operation = FindOperation(given.name);
        EXPECT_PRED2(BeginsWith, std::string(given.request), operation.method);
        const Log requests = server.TakeRequests();
        ASSERT_EQ(requests.size(), 1U);
        const std::string& request = requests.front();
        EXPECT_EQ(request.substr(0, request.find(" HTTP/1.1\r\n")), given.request);
        EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4), given.body);
        EXPECT_PRED2(Has, request, "\r\nAuthorization: Bearer t0ken\r\n");
        EXPECT_EQ(request.find("\r\nContent-Type: application/json\r\n") != std::string::npos,
                  *given.body != '\0');
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
    EXPECT_PRED2(BeginsWith, request, "PUT /a?b=%2F HTTP/1.1\r\n");
    EXPECT_EQ(request.substr(request.find("\r\n\r\n") + 4), number);
}

} // namespace VarnelBase
