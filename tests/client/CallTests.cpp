#include <thread>

#include "ClientFixture.h"
#include "ListenOnLoopback.h"

namespace VarnelBase {

namespace {

using std::chrono::milliseconds;
using Manner = ScriptedServer::Manner;

class ClientCalls : public ClientFixture {
protected:
    static CallOptions Within(milliseconds timeout) {
        CallOptions call;
        call.timeout = timeout;
        return call;
    }
};

/// A listener of one connection that nobody accepts, which the caller may talk to all the same.
class MuteListener {
public:
    MuteListener() { port = ListenOnLoopback(listener); }
    ~MuteListener() { close(listener); }
    MuteListener(const MuteListener&) = delete;
    MuteListener& operator=(const MuteListener&) = delete;

    unsigned int port = 0;

private:
    int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

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
    struct WaitCase {
        const char* headers;
        std::optional<seconds> wait; ///< none: there is no second attempt
    };
    ClientOptions options = Options();
    options.timeout = seconds(100);
    Cancellation cancellation;
    std::optional<milliseconds> planned;
    options.observer = [&](const AttemptReport& report) {
        planned = report.retryAfter;
        cancellation.Cancel(); // instead of waiting
    };
    for (const WaitCase& given : {
             WaitCase{"Retry-After: 30", seconds(30)},
             {"Retry-After: 0", seconds(0)},
             {"Retry-After: soon", seconds(0)},
             {"Retry-After: -30", seconds(0)},
             {"Retry-After: Sun, 06 Nov 1994 08:49:37 GMT", seconds(0)},
             {"Date: Sun, 06 Nov 1994 08:49:37 GMT\r\nRetry-After: Sun, 06 Nov 1994 08:50:00 GMT",
              seconds(23)},
             {"Retry-After: 3600", {}},
             {"Retry-After: 99999999999999999999", {}},
             {"Retry-After: Fri, 31 Dec 2999 23:59:59 GMT", {}},
         }) {
        SCOPED_TRACE(given.headers);
        server.Answer(MakeAnswer(503, "", std::string(given.headers) + "\r\n"));
        cancellation = {};
        CallOptions call;
        call.cancellation = cancellation;
        const Outcome outcome = ServiceClient(options).GetAgent(call);
        EXPECT_EQ(outcome.attempts, 1);
        EXPECT_EQ(outcome.failure, given.wait ? Failure::Cancelled : Failure::ServiceError);
        ASSERT_EQ(planned.has_value(), given.wait.has_value());
        if (planned) {
            EXPECT_GE(*planned, *given.wait);
            EXPECT_LE(*planned, *given.wait + milliseconds(200));
        }
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
    const MuteListener mute;
    ClientOptions options = Options();
    Cancellation cancellation;
    CallOptions call;
    call.cancellation = cancellation;
    cancellation.Cancel();
    ServiceClient client(options);
    EXPECT_EQ(client.GetAgent(call).failure, Failure::Cancelled);
    EXPECT_EQ(server.TakeRequests(), Log());

    const auto cancelDuring = [&](const std::function<Outcome(const Cancellation&)>& work) {
        Cancellation used;
        std::thread canceller;
        options.observer = [](auto&) {};
        canceller = std::thread([&used] {
            std::this_thread::yield();
            used.Cancel();
        });
        const Outcome outcome = work(used);
        canceller.join();
        EXPECT_EQ(outcome.failure, Failure::Cancelled) << outcome.message;
    };
    options.port = mute.port;
    ServiceClient unanswered(options);
    for (int round = 0; round < 20; ++round) {
        cancelDuring([&](const Cancellation& used) {
            CallOptions cancelled;
            cancelled.cancellation = used;
            return unanswered.GetAgent(cancelled);
        });
    }
    server.Answer(MakeAnswer(503, "", "Retry-After: 30\r\n"));
    cancelDuring([&](const Cancellation& used) {
        CallOptions cancelled;
        cancelled.cancellation = used;
        return client.GetAgent(cancelled);
    });
    server.Answer(MakeAnswer(200, R"({"state":"running"})"));
    cancelDuring([&](const Cancellation& used) {
        WaitOptions wait;
        wait.cancellation = used;
        return client.WaitForExecution("a", "b", wait);
    });
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
