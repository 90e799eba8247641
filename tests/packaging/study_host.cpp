// A host application of the installed studies: plans the points of one, and begins to run it.
#include <Runner.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#if defined(CPPHTTPLIB_VERSION) || defined(LIBCURL_VERSION) || defined(SQLITE_VERSION)
#error "the headers of studies let a library through"
#endif

int main() {
    using namespace VarnelBase::Studies;
    const std::string file = std::string(std::getenv("HOME")) + "/bridge.study.json";
    std::ofstream(file) << WriteExampleDefinition("sim-bridge");
    const Definition definition = ReadDefinition(file);
    const PointSet points(definition);
    const RunLock lock(NameJournal(file));
    Journal journal = Journal::OpenToWrite(NameJournal(file));
    journal.TakePoints(definition, points);

    VarnelBase::ClientOptions client;
    client.host = "127.0.0.1";
    client.port = 1;
    client.tokenSource = [] { return ""; };
    VarnelBase::ServiceClient service(client);
    RunOptions options;
    options.cancellation.Cancel();
    const RunSummary summary = Runner(definition, points, journal, service, options).Run();
    if (summary.end != RunEnd::Cancelled || summary.counts[PointState::Planned] != 15) {
        throw std::runtime_error("the study has other points than the example describes");
    }
}
