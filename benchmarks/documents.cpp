// Compares the connector's time for large documents with that of hand-written clients.
#include <fstream>
#include <iostream>

#include "Measure.h"
#include "Operations.h"
#include "Peer.h"
#include "Token.h"

namespace {

using VarnelBase::ApiConnector;
using VarnelBase::json;

constexpr const char* Goal = "<= 1.06";

void CompareAnswer(const std::string& name, std::size_t size, int calls, const std::string& token) {
    const Peer peer(200, "document", size);
    UsePeer(peer);
    ApiConnector api;
    const BareClient bare("127.0.0.1", peer.GetPort(), token);
    const Ratio ratio = Compare(
        calls, [&] { api.GetSimulationData("a"); }, [&] { bare.Get("/simulations/a", 0); });
    Report("answer of " + name + " over hand-written, wall", ratio.wall, Goal);
}

void CompareBody(const std::string& name, std::size_t size, int calls, const std::string& token) {
    const Peer peer(201, "version");
    UsePeer(peer);
    ApiConnector api;
    const BareClient bare("127.0.0.1", peer.GetPort(), token);
    const json body = json::object({{"values", std::string(size, 'v')}});
    const Ratio ratio = Compare(
        calls, [&] { api.PostExecution("a", body); },
        [&] { bare.Post("/simulations/a/executions", body, 201); });
    Report("body of " + name + " over hand-written, wall", ratio.wall, Goal);
}

} // namespace

int main() {
    const std::string token = SignIn();
    // PostExecution's line is written for real, but away from the report.
    std::ofstream null("/dev/null");
    std::streambuf* const report = std::cout.rdbuf(null.rdbuf());
    for (const int megabytes : {1, 10, 100}) {
        const std::string name = std::to_string(megabytes) + " MB";
        const std::size_t size = static_cast<std::size_t>(megabytes) * 1000 * 1000;
        const int calls = megabytes == 100 ? 5 : 100 / megabytes;
        CompareAnswer(name, size, calls, token);
        CompareBody(name, size, calls, token);
    }
    std::cout.rdbuf(report);
}
