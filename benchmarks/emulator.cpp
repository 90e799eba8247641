// Compares the emulator's rate with that of an HTTP server that does nothing:
// bench-emulator EMULATOR IDLE-SERVER
#include "Measure.h"
#include "Peer.h"
#include "RawRequest.h"

int main(int argc, char* argv[]) {
    if (argc != 3) { return 2; }
    constexpr int Blocks = 60;
    constexpr int CallsPerBlock = 100;
    const Peer emulator{std::string(argv[1])};
    const Peer idle{std::string(argv[2])};
    for (const char* path : {"/version", "/simulations?scope=user&limit=50&offset=0"}) {
        const double ratio =
            Compare(
                Blocks, CallsPerBlock, [&] { GetByRawSocket(idle.GetPort(), path, "token"); },
                [&] { GetByRawSocket(emulator.GetPort(), path, "token"); })
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
