#include <sys/resource.h>

#include <csignal>
#include <cstdio>

#include "HostileBytes.h"
#include "HostileFixture.h"
#include "Operations.h"

namespace VarnelBase {

namespace {

using HostileAnswers = HostileFixture;
using Manner = ScriptedServer::Manner;

/// Answers with one outcome. The status is what their first line says.
struct Answers {
    Log bytes;
    bool mayBeRead = false;   ///< what the response gate lets through is the result
    bool mayBeRefused = true; ///< there is no response; both, where HTTP libraries differ
    std::string body = "[]";
    Manner manner = Manner::Whole;
};

/// Spaces and a digit as an answer compressed to a thousandth.
std::string MakeBomb(const std::string& line, std::size_t size) {
    return line + "Content-Encoding: deflate\r\n\r\n" + Deflate(std::string(size - 1, ' ') + "1");
}

std::vector<Answers> MakeAnswers(int status, const std::string& elsewhere) {
    const std::string line = "HTTP/1.1 " + std::to_string(status) + " OK\r\n";
    const std::string length = line + "Content-Length: ";
    const std::string chunks = line + "Transfer-Encoding: chunked\r\n\r\n";
    const std::string large(1 << 20, 'a');
    const std::string redirection =
        " There\r\nLocation: " + elsewhere + "\r\nContent-Length: 2\r\n\r\n[]";
    // clang-format off
    return {
        {{"", "{}", "HTTP/1.1 2", line + "Content-", "HTTP/9.9 200 OK\r\n\r\n[]", "HTTP/1.1 20000 OK\r\n\r\n[]",
          std::string("\x15\x03\x01\0\x02\x02\x46", 7), std::string("HTTP/1.1 \0 200 OK\r\n\r\n[]", 23),
          Repeat("HTTP/1.1 100 Continue\r\n\r\n", 2000), line + large, line + "A: " + large + "\r\n\r\n[]",
          line + Repeat("A: b\r\n", 2000), length + "3\r\n\r\n[]", length + "-1\r\n\r\n[]",
          length + std::string(99, '9') + "\r\n\r\n[]", length + "1000000000000\r\n\r\n[]",
          chunks + "x\r\n[]\r\n0\r\n\r\n", chunks + "2\r\n[]\r\n", chunks + Repeat("1\r\n[\r\n", 2000),
          chunks + std::string(99, 'f') + "\r\n[]\r\n0\r\n\r\n", chunks + "fffffffffffffffe\r\n[]\r\n0\r\n\r\n",
          line + "Content-Encoding: gzip\r\nContent-Length: 2\r\n\r\n[]"}},
        {{length + "2\r\n\r\n[]]", "HTTP/1.1 301" + redirection,
          "HTTP/1.1 302" + redirection, "HTTP/1.1 303" + redirection, "HTTP/1.1 307" + redirection,
          "HTTP/1.1 308" + redirection,
          "HTTP/1.1 401 No\r\nWWW-Authenticate: Digest realm=a, nonce=b, qop=auth\r\n\r\n[]"}, true, false},
        {{line + "Content-Encoding: x\r\n\r\n[]", line + "Set-Cookie: a=b\r\n\x01\xff\r\n:\r\n: :\r\na\r\n\nContent-Length: 2\r\n\r\n[]",
          line + Repeat("A: b\r\n", 2000) + "\r\n[]", length + "2\r\nContent-Length: 3\r\n\r\n[]",
          line.substr(0, 13) + std::string(8000, ' ') + "\r\n\r\n[]", "HTTP/1.1 101 Switch\r\n\r\n[]"}, true},
        {{chunks + "1\r\n[]\r\n0\r\n\r\n"}, true, true, "["},
        {{length + "x\r\n\r\n[]", "HTTP/1.1 204 No Content\r\n\r\n"}, true, true, ""},
        {{MakeBomb(line, 1 << 22)}, true, true, std::string((1 << 22) - 1, ' ') + "1"},
        {{line + "\r\n" + std::string(100000, '[')}, true, false, std::string(100000, '[')},
        {{line + "\r\n[\"\xff\"]"}, true, false, "[\"\xff\"]"},
        {{line + "\r\n[]"}, true, false, "[]", Manner::Bytes},
        {{line + "Content-", length + "9\r\n\r\n["}, false, true, "", Manner::ThenReset},
        {{""}, false, true, "", Manner::Reset},
    };
    // clang-format on
}

} // namespace

TEST_F(HostileAnswers, GiveWhatTheGatesSayAndNoTokenToOthers) {
    const std::string token = "t0ken-0123456789";
    Set("VARNEL_TOKEN", token);
    ScriptedServer other;
    ApiConnector connector;
    const auto countDescriptors = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto descriptors = countDescriptors();
    const auto check = [&](const Operation& operation, const std::string& bytes,
                           const Answers& answers) {
        SCOPED_TRACE(operation.request + ": " + bytes.substr(0, 200));
        server.Answer(bytes, answers.manner);
        json result;
        const std::string printed = CaptureOutput([&] {
            try {
                result = operation.call(connector);
            } catch (const std::bad_alloc&) { EXPECT_TRUE(answers.mayBeRefused); }
        });
        const int status = answers.mayBeRead ? std::stoi(bytes.substr(9)) : 0;
        const json expected = ExpectedResult(operation.gate, status, answers.body);
        EXPECT_TRUE((answers.mayBeRead && result == expected) ||
                    (answers.mayBeRefused && result == json()));
        EXPECT_TRUE(printed.empty() || (status == 201 && operation.gate == Gate::Execution));
        const Log requests = server.TakeRequests();
        EXPECT_LE(requests.size(), 1U);
        for (const std::string& request : requests) {
            const std::size_t place = request.find("\r\nAuthorization: Bearer " + token + "\r\n");
            EXPECT_EQ(request.find(token), place + 24) << request;
            EXPECT_EQ(request.rfind(token), place + 24) << request;
            EXPECT_PRED2(Lacks, request, "Cookie");
        }
    };
    const std::string elsewhere = "http://localhost:" + std::to_string(other.port);
    for (const int status : {200, 201}) {
        for (const Answers& answers : MakeAnswers(status, elsewhere)) {
            for (const std::string& bytes : answers.bytes) {
                for (const Operation& operation : AllOperations) {
                    check(operation, bytes, answers);
                }
            }
        }
    }
    EXPECT_EQ(other.TakeRequests(), Log());
    EXPECT_EQ(countDescriptors(), descriptors);
}

TEST_F(HostileAnswers, MayBeNestedAHundredThousandLevels) {
    const std::size_t levels = 100000;
    ApiConnector connector;
    for (const int status : {200, 201}) {
        server.Answer(MakeAnswer(
            status, R"({"items":)" + std::string(levels, '[') + std::string(levels, ']') + "}"));
        for (const Operation& operation : AllOperations) {
            json result;
            CaptureOutput([&] { result = operation.call(connector); });
            if (ExpectedResult(operation.gate, status, "1") != 1) { continue; }
            std::size_t depth = 1;
            for (const json* level = &result.at("items"); !level->empty(); ++depth) {
                level = &level->front();
            }
            EXPECT_EQ(depth, levels) << operation.request;
        }
        EXPECT_EQ(connector.GetSimulationNames(), SimulationNamesListType());
    }
}

TEST_F(HostileAnswers, MayComeBeforeALargeRequestIsSent) {
    const json large = std::string(1 << 24, 'x');
    for (const Manner manner : {Manner::Reset, Manner::ThenReset}) {
        server.Answer("", manner);
        const pid_t child = StartChild([&] {
            std::signal(SIGPIPE, SIG_DFL);
            return ApiConnector().GenerateProject(large) == json() ? 0 : 1;
        });
        EXPECT_EQ(AwaitChild(child), 0);
    }
}

TEST_F(HostileAnswers, MeetTheFaultsOfTheHttpLibrarysRelease) {
    const auto askForVersion = [] {
        const rlimit usual{8 << 20, 8 << 20};
        setrlimit(RLIMIT_STACK, &usual);
        std::signal(SIGSEGV, SIG_DFL); // without a sanitizer's report
        return ApiConnector().GetVersion() == json() ? 0 : 1;
    };
    server.Answer("HTTP/1.1 200 " + std::string(1 << 20, 'x') + "\r\n\r\n[]");
    const int longLine = AwaitChild(StartChild(askForVersion));
    EXPECT_TRUE(longLine == 0 || longLine == -SIGSEGV) << longLine;
    const std::string compressed = MakeBomb("HTTP/1.1 200 OK\r\n", 1 << 26);
    server.Answer(compressed);
    const int bomb = AwaitChild(StartChild(askForVersion));
    EXPECT_TRUE(bomb == 0 || bomb == 1) << bomb;
    std::printf("cpp-httplib " CPPHTTPLIB_VERSION
                ": a status line of 1 MiB %s; an answer of 64 MiB compressed to %zu bytes is %s\n",
                longLine == 0 ? "is refused" : "ends the program", compressed.size(),
                bomb == 0 ? "refused" : "inflated");
}

} // namespace VarnelBase
