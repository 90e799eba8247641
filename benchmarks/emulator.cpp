// Compares the emulator's rate with that of an HTTP server that does nothing:
// bench-emulator EMULATOR IDLE-SERVER
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Measure.h"
#include "Peer.h"
#include "RawRequest.h"

namespace {

/// Connections that are silent, half of them in the middle of a request.
std::vector<int> OpenIdleConnections(int port, int count) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    std::vector<int> connections;
    for (int i = 0; i < count; ++i) {
        const int connection = ConnectToLoopback(port);
        if (connection < 0 || (i % 2 == 0 && send(connection, "GET /ver", 8, MSG_NOSIGNAL) != 8)) {
            std::abort();
        }
        connections.push_back(connection);
    }
    return connections;
}

void MeasureIdleConnections(const std::string& program) {
    constexpr int Calls = 2000;
    const Peer busy{program};
    const Peer quiet{program};
    const std::vector<int> idle = OpenIdleConnections(busy.GetPort(), 10000);
    const double ratio = Compare(
                             Calls, [&] { GetByRawSocket(busy.GetPort(), "/version", "token"); },
                             [&] { GetByRawSocket(quiet.GetPort(), "/version", "token"); })
                             .wall;
    Report("answer of the emulator with 10,000 idle connections over one without", ratio, "<= 1.2");
    Report("resident memory of the emulator with 10,000 idle connections, MiB",
           busy.ReadResidentMebibytes(), "<= 150");
    for (const int connection : idle) { close(connection); }
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 3) { return 2; }
    constexpr int Rounds = 60;
    const Peer emulator{std::string(argv[1])};
    const Peer idle{std::string(argv[2])};
    for (const char* path : {"/version", "/simulations?scope=user&limit=50&offset=0"}) {
        const auto askOften = [path](const Peer& peer) {
            for (int i = 0; i < 100; ++i) { GetByRawSocket(peer.GetPort(), path, "token"); }
        };
        const double ratio = Compare(
                                 Rounds, [&] { askOften(idle); }, [&] { askOften(emulator); })
                                 .wall;
        Report(std::string("rate of the emulator over a server that does nothing, GET ") + path,
               ratio, ">= 0.5");
    }
    constexpr int Calls = 2000;
    Report(
        "requests a second that the emulator answers, one after another, on new connections",
        1 / MedianSeconds(Calls, [&] { GetByRawSocket(emulator.GetPort(), "/version", "token"); }),
        "");
    MeasureIdleConnections(argv[1]);
}
