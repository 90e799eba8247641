// Compares the emulator's rate with that of an HTTP server that does nothing:
// bench-emulator EMULATOR IDLE-SERVER
#include "Measure.h"
#include "Peer.h"
#include "RawRequest.h"

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
}
