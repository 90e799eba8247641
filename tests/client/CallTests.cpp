#include <sys/resource.h>

#include <array>
#include <fstream>
#include <thread>

#include "ClientFixture.h"
#include "ListenOnLoopback.h"

namespace VarnelBase {

namespace {

using std::chrono::milliseconds;
using Manner = ScriptedServer::Manner;

using ClientCalls = ClientFixture;

CallOptions Within(milliseconds timeout) {
    CallOptions call;
    call.timeout = timeout;
    return call;
}

/// A listener that says nothing by itself.
class MuteListener {
public:
    MuteListener() { port = ListenOnLoopback(sockets[0]); }
    ~MuteListener() {
        for (const int one : sockets) { close(one); }
    }
    MuteListener(const MuteListener&) = delete;
    MuteListener& operator=(const MuteListener&) = delete;

    /// From now on a client's attempts to connect are neither accepted nor refused.
    void Fill() {
        listen(sockets[0], 0);
        sockaddr address{};
        socklen_t size = sizeof address;
        for (int result = getsockname(sockets[0], &address, &size); result == 0;) {
            sockets.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
            result = connect(sockets.back(), &address, size);
        }
    }

    /// Reads a request on the one connection and sends these bytes.
    void Converse(const std::string& bytes) {
        if (sockets.size() == 1) { sockets.push_back(accept(sockets[0], nullptr, nullptr)); }
        std::string request;
        std::array<char, 4096> chunk{};
        while (request.find("\r\n\r\n") == std::string::npos) {
            const ssize_t count = recv(sockets.back(), chunk.data(), chunk.size(), 0);
            if (count <= 0) { return; }
            request.append(chunk.data(), static_cast<std::size_t>(count));
        }
        send(sockets.back(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }

    unsigned int port = 0;

private:
    std::vector<int> sockets{socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)}; ///< itself first
};

/// Returns once the program's first thread, which makes the calls, sleeps.
void AwaitSleep() {
    std::string line;
    for (char state = '\0'; state != 'S'; state = line.at(line.rfind(')') + 2)) {
        std::this_thread::yield();
        std::getline(std::ifstream("/proc/self/stat"), line);
    }
}

void FailWithoutDescriptor(ServiceClient& client) {
    rlimit usual{};
    getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit none{0, usual.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    CallOptions once;
    once.maxAttempts = 1;
    EXPECT_EQ(client.GetAgent(once).failure, Failure::CannotConnect);
    setrlimit(RLIMIT_NOFILE, &usual);
}

} // namespace

TEST_F(ClientCalls, RepeatOnlyWhatCannotDoHarm) {
    struct RetryCase {
        std::string answer;
        int attemptsOfGet;
        Manner manner = Manner::Whole;
    };
    for (const RetryCase& given : {
             RetryCase{MakeAnswer(503, ""), 2},
             {MakeAnswer(502, ""), 2},
             {MakeAnswer(504, ""), 2},
             {MakeAnswer(429, ""), 2},
             {"", 2},
             {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n[", 2, Manner::ThenReset},
             {MakeAnswer(500, ""), 1},
             {MakeAnswer(404, ""), 1},
             {"HTTP/9.9\r\n\r\n", 1},
             {MakeAnswer(200, "<"), 1},
         }) {
        SCOPED_TRACE(given.answer);
        ServiceClient client(Options());
        server.Answer(MakeAnswer(200, "[]"), given.manner, {given.answer});
        EXPECT_EQ(client.GetAgent().attempts, given.attemptsOfGet);
        server.Answer(MakeAnswer(200, "[]"), given.manner, {given.answer});
        EXPECT_EQ(client.PostExecution("a", {}).attempts, 1);
        server.Answer(MakeAnswer(200, "[]"), given.manner, {given.answer});
        EXPECT_EQ(client.DeleteUser("a").attempts, 1);
        server.TakeRequests();
    }
    ClientOptions unreachable = Options();
    unreachable.port = 1;
    EXPECT_EQ(ServiceClient(unreachable).PostExecution("a", {}).attempts, unreachable.maxAttempts);
}

TEST_F(ClientCalls, StopRepeatingWhenTheBudgetIsSpent) {
    ServiceClient client(Options());
    server.Answer(MakeAnswer(503, ""));
    int requests = 0;
    for (int call = 0; call < 50; ++call) { requests += client.GetAgent().attempts; }
    EXPECT_EQ(requests, 54);
    server.Answer(MakeAnswer(200, "[]"));
    for (int call = 0; call < 60; ++call) { EXPECT_TRUE(client.GetAgent()); }
    server.Answer(MakeAnswer(503, ""));
    EXPECT_EQ(client.GetAgent().attempts, 2);
}

TEST_F(ClientCalls, WaitAsTheServiceAsksButNotPastTheirTime) {
    using std::chrono::seconds;
    // No wait: there is no second attempt.
    const std::pair<std::string, std::optional<seconds>> waits[] = {
        {"Retry-After: 30", seconds(30)},
        {"Retry-After: 0", seconds(0)},
        {"Retry-After: soon", seconds(0)},
        {"Retry-After: -30", seconds(0)},
        {"Retry-After: Sun, 06 Nov 1994 08:49:37 GMT", seconds(0)},
        {"Date: Sun, 06 Nov 1994 08:49:37 GMT\r\nRetry-After: Sun, 06 Nov 1994 08:50:00 GMT",
         seconds(23)},
        {"Retry-After: 3600", {}},
        {"Retry-After: 99999999999999999999", {}},
        {"Retry-After: Fri, 31 Dec 2999 23:59:59 GMT", {}},
    };
    ClientOptions options = Options();
    options.timeout = seconds(100);
    Cancellation cancellation;
    std::optional<milliseconds> planned;
    options.observer = [&](const AttemptReport& report) {
        planned = report.retryAfter;
        cancellation.Cancel(); // instead of waiting
    };
    for (const auto& [headers, wait] : waits) {
        SCOPED_TRACE(headers);
        server.Answer(MakeAnswer(503, "", headers + "\r\n"));
        cancellation = {};
        CallOptions call;
        call.cancellation = cancellation;
        const Outcome outcome = ServiceClient(options).GetAgent(call);
        EXPECT_EQ(outcome.attempts, 1);
        EXPECT_EQ(outcome.failure, wait ? Failure::Cancelled : Failure::ServiceError);
        ASSERT_EQ(planned.has_value(), wait.has_value());
        if (planned) { EXPECT_TRUE(*planned >= *wait && *planned <= *wait + milliseconds(200)); }
    }
}

TEST_F(ClientCalls, EndInTimeWhateverThePeerDoes) {
    const MuteListener mute;
    ClientOptions options = Options();
    options.port = mute.port;
    ServiceClient client(options);
    const Outcome silent = client.GetAgent(Within(milliseconds(50)));
    EXPECT_EQ(silent.failure, Failure::TimedOut);
    EXPECT_EQ(silent.sent, SentState::MayHaveBeenSent);
    EXPECT_EQ(silent.message, "GET /agent: no complete answer within 50 ms");
    for (const char* bytes : {"HTTP/1.1 100 Continue\r\n\r\n", "A: b\r\n", "[["}) {
        std::string endless = *bytes == '[' ? "HTTP/1.1 200 OK\r\n\r\n" : "";
        while (endless.size() < 1 << 22) { endless += bytes; }
        server.Answer(endless, Manner::Bytes);
        options = Options();
        options.maxHeaderLines = 1 << 30;
        options.maxHeaderBytes = 1 << 30;
        const Outcome outcome =
            ServiceClient(options).PostExecution("a", {}, Within(milliseconds(50)));
        EXPECT_TRUE(outcome.failure == Failure::TimedOut || *bytes == 'A') << outcome.message;
    }
}

TEST_F(ClientCalls, EndWhenCancelledAtAnyPoint) {
    enum class Peer { Absent, Full, Conversing };
    using Work = std::function<Outcome(ServiceClient&, const CallOptions&)>;
    struct Point {
        const char* name;
        Peer peer;
        std::string bytes; ///< that the peer has sent when the call is cancelled
        Work work = [](ServiceClient& c, const CallOptions& call) { return c.GetAgent(call); };
        bool isStarved = false; ///< whether the client has made a call without a free descriptor
    };
    const Work wait = [](ServiceClient& c, const CallOptions& call) {
        WaitOptions options;
        options.cancellation = call.cancellation;
        options.firstInterval = options.maxInterval = std::chrono::hours(1);
        return Outcome(c.WaitForExecution("a", "b", options));
    };
    const Work stream = [](ServiceClient& c, const CallOptions& call) {
        const auto cancel = [&call](const char*, std::size_t) {
            Cancellation(*call.cancellation).Cancel();
            return true;
        };
        return Outcome(c.StreamProject({}, cancel, nullptr, call));
    };
    const std::string begun = "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n";
    const Point points[] = {
        {"before it begins", Peer::Absent, ""},
        {"connecting", Peer::Full, ""},
        {"waiting for an answer", Peer::Conversing, ""},
        {"in the header", Peer::Conversing, begun},
        {"in the body", Peer::Conversing, begun + "\r\n["},
        {"in the pause before a retry", Peer::Conversing,
         MakeAnswer(503, "", "Retry-After: 1800\r\n")},
        {"in the pause of a wait", Peer::Conversing, MakeKeptAnswer(200, R"({"state":"running"})"),
         wait},
        {"in its own callback", Peer::Conversing, begun + "\r\n[", stream},
        {"in a wait after a call without a descriptor", Peer::Conversing, "", wait, true},
    };
    for (const Point& point : points) {
        SCOPED_TRACE(point.name);
        MuteListener listener;
        if (point.peer == Peer::Full) { listener.Fill(); }
        Cancellation cancellation;
        ClientOptions options = Options();
        options.port = listener.port;
        options.timeout = options.projectTimeout = options.connectTimeout = std::chrono::hours(1);
        ServiceClient client(options);
        if (point.isStarved) { FailWithoutDescriptor(client); }
        if (point.peer == Peer::Conversing) {
            // libcurl wakes by itself while a connection is young.
            std::thread peer([&] { listener.Converse(MakeKeptAnswer(200, "[]")); });
            EXPECT_TRUE(client.GetAgent());
            peer.join();
        }
        if (point.peer == Peer::Absent) { cancellation.Cancel(); }
        std::thread canceller([&] {
            if (point.peer == Peer::Conversing) { listener.Converse(point.bytes); }
            if (point.peer != Peer::Absent) { AwaitSleep(); }
            cancellation.Cancel();
        });
        CallOptions call;
        call.cancellation = cancellation;
        const Outcome outcome = point.work(client, call);
        canceller.join();
        EXPECT_EQ(outcome.failure, Failure::Cancelled) << outcome.message;
        EXPECT_LT(outcome.duration, std::chrono::seconds(30)); // a call that is not woken takes 60
        EXPECT_EQ(outcome.attempts, point.peer == Peer::Absent ? 0 : 1);
    }
}

TEST_F(ClientCalls, AreObservedWithoutTokenAndBody) {
    std::vector<AttemptReport> reports;
    ClientOptions options = Options();
    options.observer = [&reports](const AttemptReport& report) { reports.push_back(report); };
    ServiceClient client(options);
    server.Answer(MakeAnswer(200, "[]"), Manner::Whole, {MakeAnswer(503, "no")});
    EXPECT_TRUE(client.GetSimulations("a", 1, 2));
    EXPECT_TRUE(client.PostExecution("a", "12345"));
    ASSERT_EQ(reports.size(), 3U);
    EXPECT_EQ(reports[0].target, "/simulations?scope=a&limit=1&offset=2");
    EXPECT_EQ(reports[0].status, 503);
    EXPECT_EQ(reports[0].failure, Failure::ServiceError);
    EXPECT_TRUE(reports[0].retryAfter);
    EXPECT_EQ(reports[1].attempt, 2);
    EXPECT_EQ(reports[1].bytesReceived, 2U);
    EXPECT_EQ(reports[2].method, "POST");
    EXPECT_EQ(reports[2].bytesSent, 7U);
    options.observer = [](const AttemptReport&) { throw std::logic_error("mine"); };
    EXPECT_THROW((void)ServiceClient(options).GetVersion(), std::logic_error);
}

} // namespace VarnelBase
