// What others write, each kind a target of libFuzzer. FUZZ_TARGET names the one to run, and HOME a
// directory of its own.

#include <RequestTarget.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fstream>
#include <iostream>

#include "AccessTokenClaims.h"
#include "CallbackServer.h"
#include "ContentDisposition.h"
#include "CryptoText.h"
#include "DocumentReader.h"
#include "ErrorDocument.h"
#include "IdentitySettings.h"
#include "Operations.h"
#include "RequestHead.h"
#include "RetryPolicy.h"
#include "TokenFile.h"

namespace VarnelBase {

namespace {

void Require(bool condition) {
    if (!condition) { std::abort(); }
}

std::string peerAnswer; ///< what the other end of every connection sends before it closes

/// Without a status line, the input is the body of an answer.
void SetPeerAnswer(const std::string& input, int status) {
    const bool isWhole = input.rfind("HTTP/", 0) == 0;
    peerAnswer = (isWhole ? "" : "HTTP/1.1 " + std::to_string(status) + " OK\r\n\r\n") + input;
}

/// A whole token, or, when it begins with "{", the document inside one.
void FuzzTokenClaims(const std::string& input) {
    const bool isDocument = input[0] == '{';
    const std::string token = isDocument ? "e30." + EncodeBase64Url(input) + ".c2ln" : input;
    static AuthHandler handler;
    handler.IsTokenExpired(token);
    ReadFirstGroup(token, "groups");
}

void FuzzConfiguration(const std::string& input) {
    const std::string file = std::string(std::getenv("HOME")) + "/config.json";
    setenv("VARNEL_CONFIG", file.c_str(), 1);
    std::ofstream(file) << input;
    try {
        ReadIdentitySettings(EnvConfig().GetEnvironment());
    } catch (const std::runtime_error& error) {
        Require(std::string(error.what()).rfind(file, 0) == 0);
    }
}

void FuzzTokenFile(const std::string& input) {
    static const std::string file = [] {
        TokenStore().Store({"a", "r"});
        return LocateTokenFile(EnvConfig(), ReadIdentitySettings(Environment::Local)).GetPath();
    }();
    std::ofstream(file) << input;
    const TokenSet tokens = TokenStore().Load();
    Require(IsAccessTokenText(tokens.accessToken) && IsRefreshTokenText(tokens.refreshToken));
    Require(!tokens.accessToken.empty() || tokens.refreshToken.empty());
}

/// Gives a server the input as a request.
class InputStream final : public httplib::Stream {
public:
    explicit InputStream(std::string bytes) : input(std::move(bytes)) {}
    bool is_readable() const override { return true; }
    bool is_writable() const override { return true; }
    ssize_t read(char* bytes, std::size_t size) override {
        const std::size_t count = input.copy(bytes, size);
        input.erase(0, count);
        return static_cast<ssize_t>(count);
    }
    ssize_t write(const char* /*bytes*/, std::size_t size) override {
        return static_cast<ssize_t>(size);
    }
    void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
    socket_t socket() const override { return -1; }

private:
    std::string input;
};

struct CallbackListener : httplib::Server {
    LoginAttempt attempt{std::chrono::hours(1000)};

    CallbackListener() {
        attempt.redirectUri = "http://127.0.0.1:8080/callback";
        IdentityProvider provider;
        provider.issuer = "https://id.example";
        provider.authorizationEndpoint = "https://id.example/authorize";
        provider.announcesIssuer = true;
        attempt.Begin(provider, SessionSettings(), [](const std::string& /*url*/) {});
        PrepareCallbackServer(
            *this, attempt, [this, provider](const auto& request, auto& /*response*/) {
                attempt.RequireCode(request, provider);
                Require(attempt.AddSecrets(request).get_param_value("code_verifier").size() == 43);
            });
    }
    void Answer(InputStream stream) {
        bool isClosed = false;
        process_request(stream, true, isClosed, nullptr);
    }
};

/// STATE in the request stands for the state, which only the browser knows.
void FuzzCallback(const std::string& input) {
    static CallbackListener listener;
    static const std::string url = listener.attempt.authorizationUrl;
    std::string request = input;
    const std::size_t place = request.find("STATE");
    if (place != std::string::npos) { request.replace(place, 5, url, url.find("&state=") + 7, 43); }
    listener.attempt.isOver = false;
    listener.Answer(InputStream(request));
    Require(!listener.attempt.isOver || place != std::string::npos);
}

/// The discovery document, or, after a "T", an answer of the token endpoint.
void FuzzIdentityAnswers(const std::string& input) {
    SetPeerAnswer(input.substr(input[0] == 'T' ? 1 : 0), 200);
    IdentityProvider provider;
    provider.tokenEndpoint = {false, "127.0.0.1", 1, ""};
    try {
        if (input[0] != 'T') { DiscoverProvider("http://127.0.0.1", {}); }
        RequestTokens(provider, {"client", "secret", ""}, "a=b");
    } catch (const std::runtime_error& error) {
        Require(std::string(error.what()).find("S3CRET") == std::string::npos);
    }
}

/// The first byte chooses the operation.
void FuzzServiceAnswers(const std::string& input) {
    static ApiConnector connector;
    std::cout.rdbuf(nullptr);
    const Operation& operation =
        AllOperations[static_cast<unsigned char>(input[0]) % AllOperations.size()];
    SetPeerAnswer(input.substr(1), operation.gate == Gate::Execution ? 201 : 200);
    operation.call(connector);
}

/// By the first byte a Content-Disposition header, a Retry-After header, or an error document.
void FuzzClientTexts(const std::string& input) {
    const std::string text = input.substr(1);
    if (input[0] == 'F') {
        const std::string name = ReadFileName(text);
        Require(name.size() <= 200 && name.find('/') == std::string::npos && name[0] != '.');
        Require(std::none_of(name.begin(), name.end(), [](char c) { return c >= 0 && c < ' '; }));
        json(name).dump(); // throws where it is not UTF-8
    } else if (input[0] == 'R') {
        const auto wait = ReadRetryAfter(text, "");
        Require(!wait || (wait->count() >= 0 && *wait <= std::chrono::hours(24 * 365)));
    } else {
        json document;
        constexpr int Levels = 100;
        if (ReadDocument(text, Levels, document) != Readability::Readable) { return; }
        const ErrorWords words = ReadErrorDocument(document);
        json({words.code, words.message}).dump();
    }
}

/// What a client sends to the emulator.
void FuzzRequests(const std::string& input) {
    Emulation::RequestParser parser;
    boost::beast::error_code error;
    std::size_t used = 0;
    while (!error && !parser.is_header_done()) {
        used += parser.put(boost::asio::buffer(input.substr(used)), error);
    }
    Emulation::Request head = Emulation::CopyHead(parser);
    if (error) {
        Require(Emulation::ExplainMisuse(error, head, input.substr(used)).status >= 400);
        return;
    }
    if (Emulation::CheckHead(head)) { return; }
    // Whatever was accepted is understood in one way only.
    const auto count = [&head](const char* name) {
        return std::count_if(head.headers.begin(), head.headers.end(), [name](const auto& line) {
            return strcasecmp(line.first.c_str(), name) == 0;
        });
    };
    Require(count("Host") == 1 || (count("Host") == 0 && !head.isHttp11));
    Require(count("Content-Length") + count("Transfer-Encoding") <= 1);
    Require(head.GetPath()[0] == '/' || head.target == "*");
    Require(head.GetAuthority().find_first_of("/@?#, ") == std::string::npos);
    ParseQuery(head.target);
    parser.eager(true);
    while (!error && !parser.is_done() && used < input.size()) {
        used += parser.put(boost::asio::buffer(input.substr(used)), error);
    }
    try {
        WriteJson(Emulation::ReadJson(parser.get().body()));
    } catch (const Emulation::Refusal& refusal) { Require(refusal.GetStatus() == 400); }
}

const std::map<std::string, void (*)(const std::string&)> Targets{
    {"Callback", FuzzCallback},           {"ClientTexts", FuzzClientTexts},
    {"Configuration", FuzzConfiguration}, {"IdentityAnswers", FuzzIdentityAnswers},
    {"Requests", FuzzRequests},           {"ServiceAnswers", FuzzServiceAnswers},
    {"TokenClaims", FuzzTokenClaims},     {"TokenFile", FuzzTokenFile}};

} // namespace

} // namespace VarnelBase

/// In place of the C library's.
extern "C" int connect(int socket, const sockaddr* /*address*/, socklen_t /*size*/) {
    static std::array<int, 2> ends{-1, -1};
    close(ends[1]);
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) { return -1; }
    send(ends[1], VarnelBase::peerAnswer.data(), VarnelBase::peerAnswer.size(), MSG_DONTWAIT);
    shutdown(ends[1], SHUT_WR);
    dup2(ends[0], socket);
    return close(ends[0]);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const auto target = VarnelBase::Targets.at(std::getenv("FUZZ_TARGET"));
    if (size > 0) { target(std::string(data, data + size)); }
    return 0;
}
