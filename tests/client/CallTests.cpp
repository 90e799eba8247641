#include <fstream>
#include <future>
#include <thread>

#include "ClientFixture.h"
#include "Limits.h"

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

/// Returns once the program's first thread, which makes the calls, sleeps.
void AwaitSleep() {
    std::string line;
    for (char state = '\0'; state != 'S'; state = line.at(line.rfind(')') + 2)) {
        std::this_thread::yield();
        std::getline(std::ifstream("/proc/self/stat"), line);
    }
}

void FailWithoutDescriptor(ServiceClient& client) {
    CallOptions once;
    once.maxAttempts = 1;
    DoWithin(RLIMIT_NOFILE, 0,
             [&] { EXPECT_EQ(client.GetAgent(once).failure, Failure::CannotConnect); });
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
    ServiceClient client(Options());
    server.Answer("HTTP/1.1 100 Continue\r\n\r\n", Manner::Kept);
    const Outcome silent = client.GetAgent(Within(milliseconds(50)));
    EXPECT_EQ(silent.failure, Failure::TimedOut);
    EXPECT_EQ(silent.sent, SentState::MayHaveBeenSent);
    EXPECT_EQ(silent.message, "GET /agent: no complete answer within 50 ms");
    for (const char* bytes : {"HTTP/1.1 100 Continue\r\n\r\n", "A: b\r\n", "[["}) {
        std::string endless = *bytes == '[' ? "HTTP/1.1 200 OK\r\n\r\n" : "";
        while (endless.size() < 1 << 22) { endless += bytes; }
        server.Answer(endless, Manner::Bytes);
        ClientOptions options = Options();
        options.maxHeaderLines = 1 << 30;
        options.maxHeaderBytes = 1 << 30;
        const Outcome outcome =
            ServiceClient(options).PostExecution("a", {}, Within(milliseconds(50)));
        EXPECT_TRUE(outcome.failure == Failure::TimedOut || *bytes == 'A') << outcome.message;
    }
}

TEST_F(ClientCalls, EndWhenCancelledAtAnyPoint) {
    using Work = std::function<Outcome(ServiceClient&, const CallOptions&)>;
    const Work ask = [](ServiceClient& c, const CallOptions& call) { return c.GetAgent(call); };
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
    const auto check = [](ServiceClient& client, const Work& work, const auto& isTime) {
        Cancellation cancellation;
        const bool isBefore = isTime();
        if (isBefore) { cancellation.Cancel(); }
        const auto cancelling = std::async(std::launch::async, [&] {
            while (!isTime()) { std::this_thread::yield(); }
            AwaitSleep();
            cancellation.Cancel();
        });
        CallOptions call;
        call.cancellation = cancellation;
        const Outcome outcome = work(client, call);
        EXPECT_EQ(outcome.failure, Failure::Cancelled) << outcome.message;
        EXPECT_LT(outcome.duration, std::chrono::seconds(30)); // a call that is not woken takes 60
        EXPECT_EQ(outcome.attempts, isBefore ? 0 : 1);
    };
    ClientOptions options = Options();
    options.timeout = options.projectTimeout = options.connectTimeout = std::chrono::hours(1);
    options.tls = true; // The service waits for a request, the client for a handshake.
    ServiceClient connecting(options);
    check(connecting, ask, [] { return true; });
    check(connecting, ask, [this] { return server.TakeConnections() > 0; });
    options.tls = false;

    const std::string silence = "HTTP/1.1 100 Continue\r\n\r\n";
    const std::string begun = "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n";
    const std::string running = MakeKeptAnswer(200, R"({"state":"running"})");
    // What the service has sent when the call is cancelled, and whether the client has made a call
    // without a free descriptor before.
    const std::tuple<const char*, std::string, Work, bool> points[] = {
        {"waiting for an answer", silence, ask, false},
        {"in the header", begun, ask, false},
        {"in the body", begun + "\r\n[", ask, false},
        {"in the pause before a retry", MakeAnswer(503, "", "Retry-After: 1800\r\n"), ask, false},
        {"in the pause of a wait", running, wait, false},
        {"in its own callback", begun + "\r\n[", stream, false},
        {"in a wait after a call without a descriptor", silence, wait, true},
    };
    for (const auto& [name, bytes, work, isStarved] : points) {
        SCOPED_TRACE(name);
        ScriptedServer service;
        options.port = service.port;
        ServiceClient client(options);
        if (isStarved) { FailWithoutDescriptor(client); }
        service.Answer(bytes, Manner::Kept, {MakeKeptAnswer(200, "[]")});
        EXPECT_TRUE(client.GetAgent()); // libcurl wakes by itself while a connection is young.
        check(client, work, [&service] { return service.answers == 2; });
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
