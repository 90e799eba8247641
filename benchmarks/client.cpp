// Compares ServiceClient with hand-written code that keeps its connection, and with the connector.
#include <ServiceClient.h>
#include <curl/curl.h>
#include <httplib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <thread>

#include "Measure.h"
#include "Operations.h"
#include "Peer.h"
#include "Token.h"

namespace {

using VarnelBase::ApiConnector;
using VarnelBase::json;
using VarnelBase::ServiceClient;

constexpr int Calls = 500;

void Require(bool isFine) {
    if (!isFine) { throw std::runtime_error("a call failed"); }
}

/// What one would write with libcurl: a handle that is kept, and with it the connection.
class CurlClient {
public:
    CurlClient(const Peer& peer, const std::string& token)
        : origin("http://127.0.0.1:" + std::to_string(peer.GetPort())) {
        headers = curl_slist_append(nullptr, ("Authorization: Bearer " + token).c_str());
        curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, 60'000L);
        curl_easy_setopt(handle, CURLOPT_PROXY, "");
    }
    ~CurlClient() {
        curl_easy_cleanup(handle);
        curl_slist_free_all(headers);
    }
    CurlClient(const CurlClient&) = delete;
    CurlClient& operator=(const CurlClient&) = delete;

    json GetVersion() {
        std::string body;
        curl_easy_setopt(handle, CURLOPT_URL, (origin + "/version").c_str());
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &Keep);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);
        curl_easy_perform(handle);
        long status = 0;
        curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
        return status == 200 ? json::parse(body, nullptr, false) : json();
    }

    void SaveProject(const std::string& path) {
        FILE* file = std::fopen((path + ".part").c_str(), "wb");
        curl_easy_setopt(handle, CURLOPT_URL, (origin + "/generateProject").c_str());
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS, "{}");
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, nullptr);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, file);
        Require(curl_easy_perform(handle) == CURLE_OK);
        std::fflush(file);
        fsync(fileno(file));
        std::fclose(file);
        std::rename((path + ".part").c_str(), path.c_str());
    }

private:
    static std::size_t Keep(char* data, std::size_t size, std::size_t count, void* body) {
        static_cast<std::string*>(body)->append(data, size * count);
        return size * count;
    }

    CURL* handle = curl_easy_init();
    curl_slist* headers = nullptr;
    std::string origin;
};

void CompareCalls(const std::string& token) {
    const Peer peer(200, "kept-version");
    UsePeer(peer);
    ServiceClient client;
    CurlClient byCurl(peer, token);
    httplib::Client byHttplib("127.0.0.1", peer.GetPort());
    byHttplib.set_keep_alive(true);
    byHttplib.set_tcp_nodelay(true);
    byHttplib.set_bearer_token_auth(token);
    Require(client.GetVersion().Succeeded() && byCurl.GetVersion().is_object());
    const auto getVersion = [&] { (void)client.GetVersion(); };
    const Ratio overCurl = Compare(Calls, getVersion, [&] { byCurl.GetVersion(); });
    Report("client: GetVersion over libcurl by hand, kept connection, wall", overCurl.wall,
           "<= 1.05");
    Report("client: GetVersion over libcurl by hand, kept connection, CPU", overCurl.cpu,
           "<= 1.05");
    json document;
    const auto getByHttplib = [&] {
        const auto answer = byHttplib.Get("/version");
        if (answer && answer->status == 200) {
            document = json::parse(answer->body, nullptr, false);
        }
    };
    Report("client: GetVersion over cpp-httplib by hand, kept connection, wall",
           Compare(Calls, getVersion, getByHttplib).wall, "<= 1.10");
}

void CompareWithConnector() {
    const Peer kept(200, "kept-version");
    UsePeer(kept);
    ServiceClient client;
    const Peer peer(200, "version");
    UsePeer(peer);
    ApiConnector connector;
    Require(client.GetVersion().Succeeded() && connector.GetVersion().is_object());
    const Ratio ratio = Compare(
        Calls, [&] { (void)client.GetVersion(); }, [&] { connector.GetVersion(); });
    Report("client: GetVersion over the connector, wall", ratio.wall, "<= 0.62");
}

/// Calls a second that sixteen threads make, each with the client that it is given.
double MeasureRate(const std::function<ServiceClient&(std::size_t)>& choose) {
    constexpr std::size_t Threads = 16;
    constexpr int CallsOfEach = 400;
    const double seconds = MedianSeconds(1, [&] {
        std::vector<std::thread> threads;
        for (std::size_t number = 0; number < Threads; ++number) {
            threads.emplace_back([&client = choose(number)] {
                for (int call = 0; call < CallsOfEach; ++call) {
                    Require(client.GetVersion().Succeeded());
                }
            });
        }
        for (std::thread& thread : threads) { thread.join(); }
    });
    return Threads * CallsOfEach / seconds;
}

void CompareThreads() {
    const Peer peer(200, "kept-version");
    UsePeer(peer);
    ServiceClient shared;
    std::vector<ServiceClient> own(16);
    const auto chooseShared = [&](std::size_t) -> ServiceClient& { return shared; };
    const auto chooseOwn = [&](std::size_t number) -> ServiceClient& { return own[number]; };
    std::vector<double> ratios;
    for (int round = 0; round < 9; ++round) {
        const bool isSharedFirst = round % 2 == 0;
        const double first = isSharedFirst ? MeasureRate(chooseShared) : MeasureRate(chooseOwn);
        const double second = isSharedFirst ? MeasureRate(chooseOwn) : MeasureRate(chooseShared);
        ratios.push_back(isSharedFirst ? first / second : second / first);
    }
    std::nth_element(ratios.begin(), ratios.begin() + 4, ratios.end());
    Report("client: calls a second of 16 threads on one client over 16 clients", ratios[4],
           ">= 0.95");
}

/// The highest resident size, in MiB, of a process that does this after a small call.
double MeasurePeak(const std::function<void(ServiceClient&)>& work) {
    const pid_t child = fork();
    if (child == 0) {
        VarnelBase::ClientOptions options;
        options.pageSize = 500;
        ServiceClient client(options);
        if (!client.GetVersion()) { _exit(1); }
        work(client);
        _exit(0);
    }
    int status = 0;
    rusage usage{};
    Require(wait4(child, &status, 0, &usage) == child && status == 0);
    return static_cast<double>(usage.ru_maxrss) / 1024;
}

void MeasureLargeAnswers(const std::string& token) {
    constexpr std::size_t Gibibyte = 1 << 30;
    const std::string path = std::string(std::getenv("HOME")) + "/project";
    const Peer stream(200, "kept-stream", Gibibyte);
    UsePeer(stream);
    const double small = MeasurePeak([](ServiceClient&) {});
    const double saving = MeasurePeak(
        [&](ServiceClient& client) { Require(client.SaveProject({}, path).size == Gibibyte); });
    Report("client: 1 GiB project to a file, peak memory over a small call, MiB", saving - small,
           "<= 8");
    ServiceClient client;
    CurlClient byCurl(stream, token);
    Report("client: 1 GiB project to a file over libcurl by hand, wall",
           Compare(
               3, [&] { (void)client.SaveProject({}, path); }, [&] { byCurl.SaveProject(path); })
               .wall,
           "<= 1.05");
    std::remove(path.c_str());

    constexpr std::size_t Simulations = 100'000;
    const Peer pages(200, "kept-pages", Simulations);
    UsePeer(pages);
    const double onePage = MeasurePeak([](ServiceClient& lister) {
        const auto page = lister.GetSimulations("user", 500, 0);
        Require(page.Succeeded());
    });
    const double all = MeasurePeak([](ServiceClient& lister) {
        std::size_t count = 0;
        for ([[maybe_unused]] const json& simulation : lister.Simulations("user")) { ++count; }
        Require(count == Simulations);
    });
    Report("client: 100,000 simulations in pages of 500, peak memory over a page, MiB",
           all - onePage, "<= 4");
}

} // namespace

int main() {
    const std::string token = SignIn();
    MeasureLargeAnswers(token);
    CompareCalls(token);
    CompareWithConnector();
    CompareThreads();
}
