#include "ClientFixture.h"
#include "HostileBytes.h"

namespace VarnelBase {

namespace {

using Manner = ScriptedServer::Manner;

using ClientFailures = ClientFixture;

struct FailureCase {
    std::string bytes;
    Failure failure;
    SentState sent = SentState::Answered;
    Manner manner = Manner::Whole;
};

std::vector<FailureCase> MakeHostileAnswers(const std::string& elsewhere) {
    const std::string line = "HTTP/1.1 200 OK\r\n";
    const std::string length = line + "Content-Length: ";
    const std::string chunks = line + "Transfer-Encoding: chunked\r\n\r\n";
    const std::string large(1 << 20, 'a');
    const std::string deflated = line + "Content-Encoding: deflate\r\n\r\n";
    constexpr auto Maybe = SentState::MayHaveBeenSent;
    return {
        {"", Failure::Interrupted, Maybe},
        {"HTTP/1.1 2", Failure::Interrupted, Maybe},
        {line + "Content-", Failure::Interrupted, Maybe},
        {"HTTP/1.1 100 Continue\r\n\r\n", Failure::Interrupted, Maybe},
        {"HTTP/1.1 101 Switched\r\nUpgrade: b\r\nConnection: upgrade\r\n\r\n[]",
         Failure::Unreadable, Maybe},
        {line + "Content-", Failure::Interrupted, Maybe, Manner::ThenReset},
        {"{}", Failure::Unreadable, Maybe},
        {"HTTP/9.9 200 OK\r\n\r\n[]", Failure::Unreadable, Maybe},
        {std::string("\x15\x03\x01\0\x02\x02\x46", 7), Failure::Unreadable, Maybe},
        {Repeat("HTTP/1.1 100 Continue\r\n\r\n", 2000), Failure::TooLarge, Maybe},
        {line + large, Failure::TooLarge, Maybe},
        {line + "A: " + large + "\r\n\r\n[]", Failure::TooLarge, Maybe},
        {line + Repeat("A: b\r\n", 2000) + "\r\n[]", Failure::TooLarge, Maybe},
        {line + Repeat("A: " + std::string(1000, 'a') + "\r\n", 100) + "\r\n[]", Failure::TooLarge,
         Maybe},
        {"HTTP/1.1 200 " + std::string(1 << 16, ' ') + "\r\n\r\n[]", Failure::TooLarge, Maybe},
        {length + "3\r\n\r\n[]", Failure::Interrupted},
        {length + "9\r\n\r\n[", Failure::Interrupted, SentState::Answered, Manner::ThenReset},
        {length + "1000000000000\r\n\r\n[]", Failure::Interrupted},
        {length + "-1\r\n\r\n[]", Failure::Unreadable, Maybe},
        {chunks + "2\r\n[]\r\n", Failure::Interrupted},
        {chunks + "x\r\n[]\r\n0\r\n\r\n", Failure::Interrupted},
        {line + "\r\n", Failure::Unreadable},
        {line + "\r\n[] []", Failure::Unreadable},
        {line + "\r\n[\"\xff\"]", Failure::Unreadable},
        {line + "\r\n<html>", Failure::Unreadable},
        {line + "Content-Encoding: gzip\r\n\r\n[]", Failure::Unreadable},
        {line + "\r\n" + std::string(1001, '[') + std::string(1001, ']'), Failure::TooLarge},
        {line + "\r\n[" + std::string(4096, ' ') + "]", Failure::TooLarge},
        {deflated + Deflate("[" + std::string(1 << 20, ' ') + "]"), Failure::TooLarge},
        {"HTTP/1.1 302 There\r\nLocation: " + elsewhere + "\r\nContent-Length: 2\r\n\r\n[]",
         Failure::Refused},
        {"HTTP/1.1 401 No\r\nWWW-Authenticate: Digest realm=a, nonce=b, "
         "qop=auth\r\nContent-Length: 0\r\n\r\n",
         Failure::Unauthorized},
        {"HTTP/1.1 404 No\r\nContent-Length: 9\r\n\r\n{", Failure::NotFound},
        {deflated + Deflate("[1]"), Failure::None},
        {line + "Set-Cookie: a=b\r\n\r\n[]", Failure::None, SentState::Answered, Manner::Bytes},
        {"HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 Hints\r\nLink: x\r\n\r\n" + line + "\r\n" +
             std::string(1000, '[') + std::string(1000, ']'),
         Failure::None},
    };
}

} // namespace

TEST_F(ClientFailures, AreToldApartWhateverTheServiceAnswers) {
    ScriptedServer other;
    ClientOptions options = OneAttempt();
    options.maxDocumentBytes = 4096;
    for (const FailureCase& given :
         MakeHostileAnswers("http://localhost:" + std::to_string(other.port))) {
        SCOPED_TRACE(given.bytes.substr(0, 200));
        server.Answer(given.bytes, given.manner);
        for (const Outcome& outcome :
             {ServiceClient(options).GetAgent(), ServiceClient(options).PostExecution("a", {})}) {
            EXPECT_STREQ(NameFailure(outcome.failure), NameFailure(given.failure))
                << outcome.message;
            EXPECT_EQ(outcome.sent, given.sent);
            EXPECT_EQ(outcome.attempts, 1);
            EXPECT_EQ(outcome.message.empty(), outcome.Succeeded());
        }
        for (const std::string& request : server.TakeRequests()) {
            EXPECT_PRED2(Lacks, request, "Cookie");
        }
    }
    EXPECT_EQ(other.TakeRequests(), Log());
}

TEST_F(ClientFailures, HaveTheServicesWords) {
    using Text = const char*;
    ServiceClient client(OneAttempt());
    for (const auto& [status, body, failure, code, message] :
         std::vector<std::tuple<int, Text, Failure, Text, Text>>{
             {400, R"({"error":{"code":"bad","message":"m"}})", Failure::BadRequest, "bad", "m"},
             {401, R"({"error":"invalid_token","error_description":"m"})", Failure::Unauthorized,
              "invalid_token", "m"},
             {403, R"({"code":7,"message":"m"})", Failure::Forbidden, "7", "m"},
             {404, R"({"type":"u:gone","title":"t","detail":"d"})", Failure::NotFound, "u:gone",
              "d"},
             {409, R"({"title":"t"})", Failure::Conflict, "", "t"},
             {422, R"({"error":{"code":["x"],"message":null}})", Failure::Unprocessable, "", ""},
             {429, "", Failure::TooManyRequests, "", ""},
             {418, "[]", Failure::Refused, "", ""},
             {500, "<html>", Failure::ServiceError, "", ""},
             {503, R"({"error":{"message":"\u001b[2J"}})", Failure::ServiceError, "", "\x1b[2J"},
         }) {
        server.Answer(MakeAnswer(status, body));
        const Outcome outcome = client.GetUser("a");
        EXPECT_EQ(outcome.failure, failure) << status;
        EXPECT_EQ(outcome.status, status);
        EXPECT_EQ(outcome.text, body);
        EXPECT_EQ(outcome.serviceCode, code);
        EXPECT_EQ(outcome.serviceMessage, message);
        const std::string refused = "GET /users/a: refused with " + std::to_string(status);
        EXPECT_PRED2(BeginsWith, outcome.message, refused);
        EXPECT_PRED2(Lacks, outcome.message, "\x1b");
    }
    for (const int status : {200, 201, 202, 204}) {
        server.Answer("HTTP/1.1 " + std::to_string(status) + " Yes\r\nConnection: close\r\n\r\n");
        EXPECT_TRUE(client.DeleteUser("a"));
        EXPECT_EQ(client.GetUser("a").failure, Failure::Unreadable);
    }
}

TEST_F(ClientFailures, MayComeBeforeAnythingIsSent) {
    const std::pair<Failure, std::function<void(ClientOptions&)>> spoilings[] = {
        {Failure::NotSignedIn,
         [](auto& o) { o.tokenSource = []() -> std::string { throw std::runtime_error("x"); }; }},
        {Failure::NotSignedIn, [](auto& o) { o.tokenSource = [] { return "a\r\nX: b"; }; }},
        {Failure::CannotResolve, [](auto& o) { o.host = "nowhere.invalid"; }},
        {Failure::CannotConnect, [](auto& o) { o.port = 1; }},
        // The service waits for a request, the client for a handshake.
        {Failure::CannotConnect,
         [](auto& o) { o.tls = true, o.connectTimeout = std::chrono::milliseconds(50); }},
    };
    for (const auto& [failure, spoil] : spoilings) {
        ClientOptions options = OneAttempt();
        spoil(options);
        const Outcome outcome = ServiceClient(options).PostExecution("a", {});
        EXPECT_EQ(outcome.failure, failure) << outcome.message;
        EXPECT_EQ(outcome.sent, SentState::NotSent) << outcome.message;
        EXPECT_EQ(outcome.status, 0);
        if (failure == Failure::NotSignedIn) { EXPECT_EQ(server.TakeRequests(), Log()); }
    }
}

TEST_F(ClientFailures, OfBadOptionsNameThem) {
    using std::chrono::milliseconds;
    const std::pair<const char*, std::function<void(ClientOptions&)>> spoilings[] = {
        {"host", [](auto& o) { o.host = "http://a"; }},
        {"host", [](auto& o) { o.host = "a/b@c"; }},
        {"port", [](auto& o) { o.port = 0; }},
        {"port", [](auto& o) { o.port = 65536; }},
        {"port", [](auto& o) { o.host = ""; }},
        {"caFile", [](auto& o) { o.caFile = "/a.pem"; }},
        {"caFile", [](auto& o) { o.tls = true, o.caFile = "/nowhere/a.pem"; }},
        {"caFile", [](auto& o) { o.tls = true, o.caFile = __FILE__; }},
        {"connectTimeout", [](auto& o) { o.connectTimeout = milliseconds(0); }},
        {"timeout", [](auto& o) { o.timeout = milliseconds(-1); }},
        {"timeout", [](auto& o) { o.timeout = milliseconds::max(); }},
        {"projectTimeout", [](auto& o) { o.projectTimeout = milliseconds(0); }},
        {"idleTimeout", [](auto& o) { o.idleTimeout = milliseconds(0); }},
        {"maxAttempts", [](auto& o) { o.maxAttempts = 0; }},
        {"maxDocumentBytes", [](auto& o) { o.maxDocumentBytes = 0; }},
        {"maxNesting", [](auto& o) { o.maxNesting = 0; }},
        {"maxHeaderBytes", [](auto& o) { o.maxHeaderBytes = 0; }},
        {"maxHeaderLines", [](auto& o) { o.maxHeaderLines = 0; }},
        {"pageSize", [](auto& o) { o.pageSize = 0; }},
    };
    const auto check = [](const std::string& name, const std::function<void()>& work) {
        EXPECT_PRED2(BeginsWith, CatchMessage<std::invalid_argument>(work), name + ": ");
    };
    for (const auto& [name, spoil] : spoilings) {
        ClientOptions options = Options();
        spoil(options);
        check(name, [&spoiled = options] { ServiceClient client(spoiled); });
    }
    ClientOptions least = Options();
    least.connectTimeout = least.timeout = least.projectTimeout = least.idleTimeout =
        milliseconds(1);
    least.maxAttempts = least.maxNesting = least.pageSize = 1;
    least.maxDocumentBytes = least.maxHeaderBytes = least.maxHeaderLines = 1;
    EXPECT_NO_THROW(ServiceClient{least});
    ServiceClient client(Options());
    CallOptions call;
    call.timeout = milliseconds(0);
    check("timeout", [&] { (void)client.GetVersion(call); });
    call = {};
    call.maxAttempts = 0;
    check("maxAttempts", [&] { (void)client.GetVersion(call); });
    check("path", [&] { (void)client.SaveProject({}, ""); });
    check("path", [&] { (void)client.SaveProject({}, std::string("a\0b", 3)); });
    check("receiver", [&] { (void)client.StreamProject({}, ProjectReceiver()); });
    const std::pair<const char*, std::function<void(WaitOptions&)>> spoiledWaits[] = {
        {"statePointer", [](auto& w) { w.statePointer = "state"; }},
        {"endStates", [](auto& w) { w.endStates.clear(); }},
        {"firstInterval", [](auto& w) { w.firstInterval = milliseconds(0); }},
        {"maxInterval", [](auto& w) { w.maxInterval = milliseconds(1); }},
        {"timeout", [](auto& w) { w.timeout = milliseconds(0); }},
        {"timeout", [](auto& w) { w.timeout = milliseconds::max(); }},
    };
    for (const auto& [name, spoil] : spoiledWaits) {
        WaitOptions wait;
        spoil(wait);
        check(name,
              [&spoiled = wait, &client] { (void)client.WaitForExecution("a", "b", spoiled); });
    }
    EXPECT_EQ(server.TakeRequests(), Log());
}

} // namespace VarnelBase
