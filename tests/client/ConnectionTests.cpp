#include <Emulator.h>

#include <cstdlib>
#include <future>

#include "ClientFixture.h"
#include "TransferPool.h"

namespace VarnelBase {

using Manner = ScriptedServer::Manner;
using ClientConnections = ClientFixture;

TEST_F(ClientConnections, AreKeptAndReplacedSilently) {
    ServiceClient client(Options());
    server.Answer(MakeKeptAnswer(200, "[]"), Manner::Kept);
    for (int call = 0; call < 3; ++call) { EXPECT_TRUE(client.GetAgent()); }
    EXPECT_TRUE(client.PostExecution("a", {}));
    EXPECT_EQ(server.TakeConnections(), 1);

    // The service closes the kept connection instead of answering on it.
    server.Answer(MakeKeptAnswer(200, "[]"), Manner::Kept, {""});
    const Outcome replaced = client.GetAgent();
    EXPECT_TRUE(replaced) << replaced.message;
    EXPECT_EQ(replaced.attempts, 1);
    EXPECT_EQ(server.TakeConnections(), 1);
}

TEST_F(ClientConnections, ThatBreakLetNothingBeSentTwiceThatChangesSomething) {
    const std::function<Outcome(ServiceClient&)> changes[] = {
        [](auto& c) { return c.PostExecution("a", {}); },
        [](auto& c) { return c.PostExecution("a", std::string(1 << 20, 'x')); },
        [](auto& c) { return c.UpdateUser("a", "r"); },
        [](auto& c) { return c.DeleteUser("a"); },
        [](auto& c) { return c.Send("PUT", "/a", ""); },
    };
    for (const auto& change : changes) {
        ServiceClient client(Options());
        server.Answer(MakeKeptAnswer(200, "[]"), Manner::Kept);
        EXPECT_TRUE(client.GetAgent());
        server.TakeRequests();
        server.Answer(MakeKeptAnswer(200, "[]"), Manner::Kept, {""});
        const Outcome outcome = change(client);
        EXPECT_EQ(outcome.failure, Failure::Interrupted) << outcome.message;
        EXPECT_EQ(outcome.sent, SentState::MayHaveBeenSent);
        EXPECT_EQ(server.TakeRequests().size(), 1U);
        EXPECT_TRUE(client.GetAgent());
    }
}

TEST(ClientPool, LendsAgainWhatWasNotIdleForTooLong) {
    const std::chrono::minutes idleTimeout(2);
    TransferPool pool({idleTimeout, idleTimeout, 1, 1, {}});
    const auto lend = [&pool](std::chrono::minutes age) {
        const TransferPool::Lease transfer(pool);
        const bool wasUsed = transfer->lastThread == std::this_thread::get_id();
        transfer->lastThread = std::this_thread::get_id();
        transfer->lastUse -= age;
        return wasUsed;
    };
    EXPECT_FALSE(lend(idleTimeout / 2));
    EXPECT_TRUE(lend(idleTimeout)); // together more than allowed
    EXPECT_FALSE(lend({}));
    EXPECT_TRUE(lend({}));
}

TEST_F(ClientConnections, CarryATokenThatChangesWithTheNextRequest) {
    std::string token = "first";
    ClientOptions options = Options();
    options.tokenSource = [&token] { return token; };
    ServiceClient client(options);
    server.Answer(MakeKeptAnswer(200, "[]"), Manner::Kept);
    for (const char* used : {"first", "second", ""}) {
        token = used;
        EXPECT_TRUE(client.PostExecution("a", {}));
        const std::string request = server.TakeRequests().at(0);
        const std::string header = "\r\nAuthorization: Bearer " + token + "\r\n";
        EXPECT_EQ(request.find(header) != std::string::npos, !token.empty());
        EXPECT_EQ(request.find("Authorization") != std::string::npos, !token.empty());
    }
    EXPECT_EQ(server.TakeConnections(), 1);
}

TEST_F(ClientConnections, GoThroughAProxyButNeverToThisMachine) {
    ScriptedServer proxy;
    const std::string address = "http://127.0.0.1:" + std::to_string(proxy.port);
    for (const char* name : {"http_proxy", "https_proxy"}) { setenv(name, address.c_str(), 1); }
    unsetenv("no_proxy");
    proxy.Answer(MakeAnswer(200, "[]"));
    server.Answer(MakeAnswer(200, "[]"));
    ClientOptions options = Options();
    for (const char* host : {"127.0.0.1", "localhost", "127.1.2.3"}) {
        options.host = host;
        EXPECT_NE(ServiceClient(options).GetAgent().failure, Failure::CannotResolve);
    }
    EXPECT_EQ(proxy.TakeRequests(), Log());
    options.host = "service.invalid";
    EXPECT_TRUE(ServiceClient(options).GetAgent());
    EXPECT_EQ(proxy.TakeTargets(),
              Log{"GET http://service.invalid:" + std::to_string(server.port) + "/agent"});

    options.tls = true;
    options.maxAttempts = 1;
    proxy.Answer(MakeAnswer(403, ""));
    const Outcome refused = ServiceClient(options).PostExecution("a", {});
    EXPECT_EQ(refused.failure, Failure::CannotConnect);
    EXPECT_EQ(refused.sent, SentState::NotSent);
    EXPECT_EQ(refused.status, 0);
    const std::string tunnel = proxy.TakeRequests().at(0);
    EXPECT_PRED2(BeginsWith, tunnel, "CONNECT service.invalid:");
    EXPECT_PRED2(Lacks, tunnel, "t0ken");
    setenv("no_proxy", "service.invalid", 1);
    EXPECT_EQ(ServiceClient(options).GetAgent().failure, Failure::CannotResolve);
    for (const char* name : {"http_proxy", "https_proxy", "no_proxy"}) { unsetenv(name); }
}

TEST_F(ClientConnections, AreTlsOnlyWithACertificateThatNamesTheHost) {
    // What the certificate says, as an argument of openssl, and whether it is trusted.
    const std::tuple<std::string, bool, Failure> cases[] = {
        {"subjectAltName=IP:127.0.0.1", true, Failure::None},
        {"subjectAltName=IP:127.0.0.1", false, Failure::Untrusted},
        {"subjectAltName=IP:127.0.0.2", true, Failure::Untrusted},
        {"subjectAltName=DNS:127.0.0.1", true, Failure::Untrusted},
        {"nsComment=none", true, Failure::Untrusted}, // only the common name names the host
    };
    const std::string certificate = home / "cert.pem";
    const std::string key = home / "key.pem";
    for (const auto& [content, isTrusted, failure] : cases) {
        const std::string command =
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2 "
            "-subj /CN=127.0.0.1 -addext " +
            content + " -keyout " + key + " -out " + certificate + " 2>/dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
        EmulatorOptions settings;
        settings.tlsCertificateFile = certificate;
        settings.tlsKeyFile = key;
        const Emulator service(settings);
        ClientOptions options = Options();
        options.port = static_cast<unsigned int>(service.GetPort());
        options.tls = true;
        for (const bool isByVariable : {false, true}) {
            const std::string trusted = isTrusted ? certificate : "/none";
            setenv("SSL_CERT_FILE", isByVariable ? trusted.c_str() : "/none", 1);
            options.caFile = !isByVariable && isTrusted ? certificate : "";
            ServiceClient client(options);
            const Outcome outcome = client.PostExecution("sim-bridge", {});
            EXPECT_EQ(outcome.failure, failure) << content << outcome.message;
            EXPECT_EQ(outcome.sent == SentState::NotSent, !outcome);
            EXPECT_EQ(outcome.attempts, 1);
            EXPECT_EQ(client.GetAgent().failure, failure);
        }
    }
    unsetenv("SSL_CERT_FILE");
}

TEST_F(ClientConnections, AreSharedByManyThreads) {
    Emulator emulator;
    ClientOptions shared = Options();
    shared.port = static_cast<unsigned int>(emulator.GetPort());
    ServiceClient client(shared);
    constexpr int Threads = 16;
    constexpr int Calls = 60;
    const auto work = [&client](bool isChange) {
        int answered = 0;
        for (int call = 0; call < Calls; ++call) {
            CallOptions options;
            std::future<void> cancelling;
            if (call % 4 == 0) {
                Cancellation& used = options.cancellation.emplace();
                cancelling = std::async(std::launch::async, [used]() mutable { used.Cancel(); });
            }
            const Outcome outcome =
                isChange ? client.SendAgentCommand("pause", options) : client.GetAgent(options);
            EXPECT_TRUE(outcome || outcome.failure == Failure::Cancelled) << outcome.message;
            answered += outcome ? 1 : 0;
        }
        return answered;
    };
    std::vector<std::future<int>> threads;
    for (int number = 0; number < Threads; ++number) {
        threads.push_back(std::async(std::launch::async, work, number % 2 == 0));
    }
    int answered = 0;
    for (auto& thread : threads) { answered += thread.get(); }
    EXPECT_GE(answered, Threads * Calls * 3 / 4);
}

} // namespace VarnelBase
