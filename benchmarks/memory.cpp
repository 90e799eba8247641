// Compares the peak memory of the connector with that of hand-written clients, each call in a
// process of its own.
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <stdexcept>

#include "Measure.h"
#include "Operations.h"
#include "Peer.h"
#include "Token.h"

namespace {

using VarnelBase::ApiConnector;
using VarnelBase::json;

/// The highest resident size, in bytes, of a process that calls both clients once for something
/// small (what a program has loaded must not count for either) and then does the work.
double MeasurePeak(const std::function<void()>& work) {
    const Peer warmUp(200, "version");
    const pid_t child = fork();
    if (child == 0) {
        const std::string port = std::getenv("VARNEL_API_PORT");
        UsePeer(warmUp);
        ApiConnector().GetVersion();
        BareClient("127.0.0.1", warmUp.GetPort(), "token").Get("/version", 200);
        setenv("VARNEL_API_PORT", port.c_str(), 1);
        work();
        _exit(0);
    }
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child || status != 0) {
        throw std::runtime_error("a measured process failed");
    }
    constexpr double Kilobyte = 1024;
    return static_cast<double>(usage.ru_maxrss) * Kilobyte;
}

void CompareAnswer(std::size_t megabytes, const std::string& token) {
    const Peer peer(200, "document", megabytes * 1000 * 1000);
    UsePeer(peer);
    const double own = MeasurePeak([] { ApiConnector().GetSimulationData("a"); });
    const double byHand = MeasurePeak(
        [&] { BareClient("127.0.0.1", peer.GetPort(), token).Get("/simulations/a", 0); });
    Report("answer of " + std::to_string(megabytes) + " MB over hand-written, peak memory",
           own / byHand, "<= 1.02");
}

void CompareBody(std::size_t megabytes, const std::string& token) {
    const Peer peer(201, "version");
    UsePeer(peer);
    const auto makeBody = [megabytes] {
        return json::object({{"values", std::string(megabytes * 1000 * 1000, 'v')}});
    };
    const double own = MeasurePeak([&] { ApiConnector().PostExecution("a", makeBody()); });
    const double byHand = MeasurePeak([&] {
        BareClient("127.0.0.1", peer.GetPort(), token)
            .Post("/simulations/a/executions", makeBody(), 201);
    });
    Report("body of " + std::to_string(megabytes) + " MB over hand-written, peak memory",
           own / byHand, "<= 1.02");
}

void MeasureProject(std::size_t bytes, const std::string& goal) {
    const auto measure = [](std::size_t size) {
        const Peer peer(200, "bytes", size);
        UsePeer(peer);
        return MeasurePeak([] { ApiConnector().GenerateProject(json::object()); });
    };
    Report("GenerateProject of " + std::to_string(bytes) + " bytes, peak memory over the body",
           (measure(bytes) - measure(1)) / static_cast<double>(bytes), goal);
}

} // namespace

int main() {
    const std::string token = SignIn();
    std::ofstream null("/dev/null");
    std::streambuf* const report = std::cout.rdbuf(null.rdbuf());
    for (const std::size_t megabytes : {1U, 10U, 100U}) {
        CompareAnswer(megabytes, token);
        CompareBody(megabytes, token);
    }
    constexpr std::size_t SixtyMillion = 60000000;
    constexpr std::size_t SixtyFourMebibytes = 64 << 20;
    MeasureProject(SixtyMillion, "<= 1.15");
    MeasureProject(SixtyFourMebibytes, "<= 2.02");
    std::cout.rdbuf(report);
}
