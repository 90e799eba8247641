// A complete front end: lists all simulations, starts one, waits for it, saves its project, and
// says what went wrong.
//
//   front-end [SIMULATION DIRECTORY]
#include <ServiceClient.h>

#include <iostream>
#include <string>

namespace {

using VarnelBase::json;
using VarnelBase::Outcome;
using VarnelBase::SentState;
using VarnelBase::ServiceClient;

/// What the user must know about a failure.
int Report(const Outcome& outcome) {
    std::cerr << outcome.message << '\n';
    if (outcome.sent == SentState::MayHaveBeenSent) {
        std::cerr << "The service may have acted on it all the same: check before you try again.\n";
    }
    return 1;
}

int List(ServiceClient& client) {
    try {
        for (const json& simulation : client.Simulations("user")) {
            std::cout << simulation.at("id") << ' ' << simulation.value("name", "") << '\n';
        }
    } catch (const VarnelBase::CallFailed& failed) { return Report(failed.GetOutcome()); }
    return 0;
}

int Run(ServiceClient& client, const std::string& simulation, const std::string& directory) {
    const Outcome inputs = client.GetSimulationInputs(simulation);
    if (!inputs) { return Report(inputs); }
    const Outcome started = client.PostExecution(simulation, inputs.document);
    if (!started) { return Report(started); }

    VarnelBase::WaitOptions wait;
    wait.progress = [](const json& execution) {
        std::cerr << "progress " << execution.value("progress", 0.0) << '\n';
    };
    const auto ended = client.WaitForExecution(simulation, started.document.at("id"), wait);
    if (!ended) { return Report(ended); }
    std::cout << "execution " << started.document.at("id") << ' ' << ended.state << '\n';
    if (ended.state != "finished") { return 1; }

    const json request = json::object({{"simulationId", simulation}});
    const auto project = client.SaveProject(request, directory);
    if (!project) { return Report(project); }
    std::cout << project.path << ": " << project.size << " bytes\n";
    return 0;
}

} // namespace

int main(int argc, char* argv[]) {
    if (argc != 1 && argc != 3) { return 2; }
    VarnelBase::ClientOptions options;
    options.observer = [](const VarnelBase::AttemptReport& attempt) {
        std::clog << attempt.method << ' ' << attempt.target << ' ' << attempt.status
                  << ", attempt " << attempt.attempt << ", " << attempt.duration.count() << " us\n";
    };
    ServiceClient client(options);
    return argc == 1 ? List(client) : Run(client, argv[1], argv[2]);
}
