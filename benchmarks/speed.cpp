// Compares the connector's time with that of hand-written clients, side by side on one peer.
#include <AuthHandler.h>
#include <curl/curl.h>

#include <fstream>
#include <iostream>

#include "Measure.h"
#include "Operations.h"
#include "Peer.h"
#include "RawRequest.h"
#include "Token.h"

namespace {

using VarnelBase::ApiConnector;
using VarnelBase::AuthHandler;
using VarnelBase::json;

constexpr int Calls = 500;

void CompareOperations(const std::string& token) {
    for (const Operation& operation : ListOperations()) {
        const Peer peer(operation.status, operation.answer);
        UsePeer(peer);
        ApiConnector api;
        const BareClient bare("127.0.0.1", peer.GetPort(), token);
        const Ratio ratio = Compare(
            Calls, [&] { operation.byLibrary(api); }, [&] { operation.byHand(bare); });
        Report(operation.name + " over hand-written, wall", ratio.wall, "<= 1.02");
        Report(operation.name + " over hand-written, CPU", ratio.cpu, "<= 1.02");
    }
}

std::size_t KeepBody(char* data, std::size_t size, std::size_t count, void* body) {
    static_cast<std::string*>(body)->append(data, size * count);
    return size * count;
}

json GetByCurl(const std::string& url, const std::string& token) {
    std::string body;
    CURL* handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_HTTPAUTH, CURLAUTH_BEARER);
    curl_easy_setopt(handle, CURLOPT_XOAUTH2_BEARER, token.c_str());
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &KeepBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);
    curl_easy_perform(handle);
    curl_easy_cleanup(handle);
    return json::parse(body, nullptr, false);
}

json GetBySocket(int port, const std::string& token) {
    const std::string answer = GetByRawSocket(port, "/version", token);
    return json::parse(answer.substr(answer.find("\r\n\r\n") + 4), nullptr, false);
}

void CompareOtherClients(const std::string& token) {
    const Peer peer(200, "version");
    UsePeer(peer);
    ApiConnector api;
    const BareClient bare("127.0.0.1", peer.GetPort(), token);
    const auto getVersion = [&] { api.GetVersion(); };
    const auto getByHand = [&] { bare.Get("/version", 200); };
    const auto getBySocket = [&] { GetBySocket(peer.GetPort(), token); };
    const std::string url = "http://127.0.0.1:" + std::to_string(peer.GetPort()) + "/version";
    Report("GetVersion over a raw POSIX socket, wall", Compare(Calls, getVersion, getBySocket).wall,
           "<= 1.30");
    Report("hand-written GetVersion over a raw POSIX socket, wall",
           Compare(Calls, getByHand, getBySocket).wall, "");
    Report("GetVersion over libcurl with a fresh handle, wall",
           Compare(Calls, getVersion, [&] { GetByCurl(url, token); }).wall, "<= 0.75");

    AuthHandler auth;
    const auto checkTwice = [&auth] {
        auth.GetApiKey();
        auth.GetApiKey();
    };
    Report("both token checks of a request, share of GetVersion's wall time",
           Compare(Calls, checkTwice, getVersion).wall, "<= 0.02");
}

void CountSlowCalls() {
    constexpr int ManyCalls = 10000;
    constexpr double SlowSeconds = 0.020;
    const Peer peer(200, "version");
    UsePeer(peer);
    ApiConnector api;
    int slow = 0;
    for (int call = 0; call < ManyCalls; ++call) {
        if (MedianSeconds(1, [&] { api.GetVersion(); }) > SlowSeconds) { ++slow; }
    }
    Report("calls of 10,000 that took more than 20 ms", slow, "<= 0");
}

} // namespace

int main() {
    const std::string token = SignIn();
    // PostExecution's line is written for real, but away from the report.
    std::ofstream null("/dev/null");
    std::streambuf* const report = std::cout.rdbuf(null.rdbuf());
    CompareOperations(token);
    CompareOtherClients(token);
    CountSlowCalls();
    std::cout.rdbuf(report);
}
