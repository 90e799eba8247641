#include <arpa/inet.h>
#include <sys/socket.h>

#include <csignal>
#include <iterator>

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
    ScriptedServer other([] {});
    const std::string elsewhere = "http://localhost:" + std::to_string(other.GetPort()) + "/";
    ApiConnector connector;
    const auto descriptors = CountDescriptors();
    std::string problems; // printed at the end, since the output is taken
    for (const int status : {200, 201}) {
        for (const HostileAnswer& answer : MakeHostileAnswers(status, elsewhere)) {
            server.Answer(answer.bytes, answer.manner);
            for (const Operation& operation : Operations()) {
                const json result = operation.call(connector);
                const json expected = ExpectedResult(operation.gate, answer.status, answer.body);
                const bool isExpected =
                    result == expected || (answer.mayBeRefused && result == json());

                const bool mayPrint =
                    answer.status == 201 && operation.name == std::string("PostExecution");
                const std::string printed = output.Take() + errors.Take();
                const bool isQuiet = printed.empty() || mayPrint;

                const auto requests = server.TakeConnections();
                const std::string request = requests.at(0);
                const std::string header = "\r\nAuthorization: Bearer " + token + "\r\n";
                const bool isPlain = requests.size() == 1 &&
                                     request.find("Cookie") == std::string::npos &&
                                     request.find(token) == request.rfind(token) &&
                                     (request.find(header) != std::string::npos) != request.empty();
                if (isExpected && isQuiet && isPlain) { continue; }
                problems +=
                    operation.name + (": " + std::to_string(status) + ", ") + answer.name +
                    (isExpected ? ""
                                : ", result " +
                                      result.dump(-1, ' ', true, json::error_handler_t::replace)) +
                    (isQuiet ? "" : ", printed " + printed) +
                    (isPlain ? "" : ", requested " + request) + "\n";
            }
        }
    }
    EXPECT_EQ(problems, "");
    EXPECT_EQ(other.TakeConnections().size(), 0U);
    EXPECT_EQ(CountDescriptors(), descriptors);
}

TEST_F(HostileAnswers, MayBeNestedAHundredThousandLevels) {
    const std::size_t levels = 100000;
    ApiConnector connector;
    for (const std::string status : {"200", "201"}) {
        server.Answer("HTTP/1.1 " + status + " OK\r\n\r\n{\"items\":" + std::string(levels, '[') +
                      std::string(levels, ']') + "}");
        for (const Operation& operation : Operations()) {
            SCOPED_TRACE(operation.name + (": " + status));
            const json result = operation.call(connector);
            const bool isRead = operation.gate == Gate::AnyResponse ||
                                (operation.gate == Gate::Exactly200 && status == "200") ||
                                (operation.gate == Gate::Exactly201 && status == "201");
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
    for (const Operation& operation : Operations()) {
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
    for (const auto& [bytes, manner] :
         {std::pair("", Manner::ResetAtOnce),
          std::pair("HTTP/1.1 413 No\r\n\r\n[]", Manner::ResetAtOnce)}) {
        server.Answer(bytes, manner);
        ApiConnector connector;
        connector.PostSimulationInputs("s1", large);
        EXPECT_EQ(connector.PostExecution("s1", large), json());
        EXPECT_EQ(connector.GenerateProject(large), json());
    }
}

} // namespace VarnelBase
