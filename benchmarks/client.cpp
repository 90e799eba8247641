// Compares ServiceClient with hand-written code that keeps its connection, and with the connector.
#include <ServiceClient.h>
#include <httplib.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "CurlClient.h"
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

/// Keeps the calling thread, and the peers that it starts, on one processor meanwhile: a peer that
/// wakes on another one doubles the times of whichever side it happens to.
class OneProcessor {
public:
    OneProcessor() {
        sched_getaffinity(0, sizeof before, &before);
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<std::size_t>(sched_getcpu()), &one);
        sched_setaffinity(0, sizeof one, &one);
    }
    ~OneProcessor() { sched_setaffinity(0, sizeof before, &before); }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

private:
    cpu_set_t before{};
};

/// @param label of another token than the stored one
void CompareKeptConnections(const std::string& token, const std::string& label) {
    const OneProcessor processor;
    const Peer peer(200, "kept-version");
    UsePeer(peer);
    const bool isStored = label.empty();
    VarnelBase::ClientOptions options;
    if (!isStored) {
        options.tokenSource = [&token] { return token; };
    }
    ServiceClient client(options);
    CurlClient byCurl(peer.GetPort(), token);
    httplib::Client byHttplib("127.0.0.1", peer.GetPort());
    byHttplib.set_keep_alive(true);
    byHttplib.set_tcp_nodelay(true);
    byHttplib.set_bearer_token_auth(token);
    const auto getByClient = [&] { Require(client.GetVersion().Succeeded()); };
    const auto getByCurl = [&] { Require(byCurl.GetVersion().is_object()); };
    const auto getByHttplib = [&] {
        const auto answer = byHttplib.Get("/version");
        Require(answer && answer->status == 200 &&
                json::parse(answer->body, nullptr, false).is_object());
    };
    const Ratio overCurl = Compare(Calls, getByClient, getByCurl);
    Report("client: GetVersion over libcurl by hand, kept connection" + label + ", wall",
           overCurl.wall, isStored ? "<= 1.05" : "");
    Report("client: GetVersion over libcurl by hand, kept connection" + label + ", CPU",
           overCurl.cpu, isStored ? "<= 1.05" : "");
    Report("client: GetVersion over cpp-httplib by hand, kept connection" + label + ", wall",
           Compare(Calls, getByClient, getByHttplib).wall, isStored ? "<= 1.10" : "");
    Report("client: libcurl by hand over cpp-httplib by hand, kept connection" + label + ", wall",
           Compare(Calls, getByCurl, getByHttplib).wall, "");
}

/// @param address that the peers listen on
void CompareWithConnector(const std::string& address, int calls, const std::string& figure,
                          const std::string& goal) {
    const OneProcessor processor;
    const Peer kept(200, "kept-version", 0, address);
    UsePeer(kept);
    ServiceClient client;
    const Peer peer(200, "version", 0, address);
    UsePeer(peer);
    ApiConnector connector;
    const auto getByClient = [&] { Require(client.GetVersion().Succeeded()); };
    const auto getByConnector = [&] { Require(connector.GetVersion().is_object()); };
    Report(figure, Compare(calls, getByClient, getByConnector).wall, goal);
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
    // Ahead of other programs, where that is allowed: a thread that is suspended with a lock stops
    // all.
    const sched_param ahead{1};
    const sched_param usual{0};
    sched_setscheduler(0, SCHED_RR, &ahead);
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
    sched_setscheduler(0, SCHED_OTHER, &usual);
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
    CurlClient byCurl(stream.GetPort(), token);
    const auto save = [&] { Require(client.SaveProject({}, path).Succeeded()); };
    Report("client: 1 GiB project to a file over libcurl by hand, wall",
           Compare(3, save, [&] { byCurl.SaveProject(path); }).wall, "<= 1.05");
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

int main(int argc, char* argv[]) {
    const std::string token = SignIn();
    if (argc == 3) { // in a network whose service is late: its addresses, here and from outside
        setenv("VARNEL_API_HOST", argv[2], 1);
        constexpr int DelayedCalls = 60;
        CompareWithConnector(argv[1], DelayedCalls,
                             "client: GetVersion over the connector, 20 ms of delay, wall",
                             "<= 0.55");
        return 0;
    }
    MeasureLargeAnswers(token);
    CompareKeptConnections(token, "");
    CompareKeptConnections(std::string(64, 't'), ", token of 64 bytes");
    CompareWithConnector("127.0.0.1", Calls, "client: GetVersion over the connector, wall",
                         "<= 0.62");
    CompareThreads();
}
