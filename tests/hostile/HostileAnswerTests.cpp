#include <arpa/inet.h>
#include <sys/socket.h>

#include <csignal>
#include <iterator>
#include <new>

#include "ApiConnector.h"
#include "ChildProcess.h"
#include "HostileAnswers.h"
#include "HostileFixture.h"
#include "Operations.h"

namespace VarnelBase {

namespace {

using HostileAnswers = HostileFixture;

auto CountDescriptors() {
    const std::filesystem::directory_iterator descriptors("/proc/self/fd");
    return std::distance(begin(descriptors), end(descriptors));
}

} // namespace

TEST_F(HostileAnswers, GiveWhatTheGatesSayAndNoTokenToOthers) {
    const std::string token = "t0ken-0123456789";
    Set("VARNEL_TOKEN", token);
    ScriptedServer other;
    const std::string elsewhere = "http://localhost:" + std::to_string(other.port) + "/";
    ApiConnector connector;
    const auto descriptors = CountDescriptors();
    for (const int status : {200, 201}) {
        for (const HostileAnswer& answer : MakeHostileAnswers(status, elsewhere)) {
            server.answer = answer.bytes;
            server.manner = answer.manner;
            for (const Operation& operation : AllOperations) {
                SCOPED_TRACE(operation.request + ": " + std::to_string(status) + ", " +
                             answer.name);
                json result;
                const std::string printed = CaptureOutput([&] {
                    try {
                        result = operation.call(connector);
                    } catch (const std::bad_alloc&) { EXPECT_TRUE(answer.mayBeRefused); }
                });
                const json expected = ExpectedResult(operation.gate, answer.status, answer.body);
                EXPECT_TRUE(result == expected || (answer.mayBeRefused && result == json()));
                EXPECT_TRUE(printed.empty() ||
                            (operation.gate == Gate::Execution && answer.status == 201));

                const Log requests = server.TakeRequests();
                ASSERT_EQ(requests.size(), answer.manner == Manner::Reset ? 0U : 1U);
                if (requests.empty()) { continue; }
                EXPECT_NE(requests[0].find("\r\nAuthorization: Bearer " + token + "\r\n"),
                          std::string::npos);
                EXPECT_EQ(requests[0].find(token), requests[0].rfind(token));
                EXPECT_EQ(requests[0].find("Cookie"), std::string::npos);
            }
        }
    }
    EXPECT_EQ(other.TakeRequests(), Log());
    EXPECT_EQ(CountDescriptors(), descriptors);
}

TEST_F(HostileAnswers, MayBeNestedAHundredThousandLevels) {
    const std::size_t levels = 100000;
    ApiConnector connector;
    for (const int status : {200, 201}) {
        server.answer = MakeAnswer(
            status, "{\"items\":" + std::string(levels, '[') + std::string(levels, ']') + "}");
        for (const Operation& operation : AllOperations) {
            SCOPED_TRACE(operation.request + ": " + std::to_string(status));
            json result;
            CaptureOutput([&] { result = operation.call(connector); });
            const bool isRead = ExpectedResult(operation.gate, status, "1") == 1;
            std::size_t depth = 0;
            if (isRead) {
                const json* level = &result.at("items");
                for (++depth; !level->empty(); ++depth) { level = &level->front(); }
            }
            EXPECT_EQ(depth, isRead ? levels : 0U);
        }
        EXPECT_EQ(connector.GetSimulationNames(), SimulationNamesListType());
    }
}

TEST_F(HostileAnswers, MayNeverCome) {
    const int mute = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(bind(mute, generic, size) + listen(mute, 32) + getsockname(mute, generic, &size), 0);
    Set("VARNEL_API_PORT", std::to_string(ntohs(address.sin_port)));
    std::vector<pid_t> children;
    for (const Operation& operation : AllOperations) {
        children.push_back(StartChild([&operation] {
            ApiConnector connector;
            return operation.call(connector) == json() ? 0 : 1;
        }));
    }
    for (const pid_t child : children) { EXPECT_EQ(AwaitChild(child), 0); }
    close(mute);
}

TEST_F(HostileAnswers, MayComeBeforeALargeRequestIsSent) {
    const json large = std::string(1 << 24, 'x');
    EXPECT_NE(std::signal(SIGPIPE, SIG_DFL), SIG_ERR);
    for (const Manner manner : {Manner::Reset, Manner::ThenReset}) {
        server.manner = manner;
        server.answer = MakeAnswer(413, "[]");
        ApiConnector connector;
        connector.PostSimulationInputs("s1", large);
        EXPECT_EQ(connector.PostExecution("s1", large), json());
        EXPECT_EQ(connector.GenerateProject(large), json());
    }
}

} // namespace VarnelBase
