#include <BrowserLauncher.h>

#include "commands/Commands.h"
#include "output/Output.h"
#include "session/Arguments.h"

namespace VarnelBase {

namespace {

void OpenSimulation(Session& session, const Identifiers& identifiers) {
    const std::string address = session.FormatPageUrl(identifiers.Fill(SimulationPage));
    if (!LaunchBrowser(address)) {
        session.Note("no browser could be started here, the address is on standard output");
        WriteOutput(address + "\n");
    }
}

} // namespace

void AddOpenCommands(CLI::App& root, Session& session) {
    CLI::App& open = AddNoun(root, "open", "Show the service's own pages in the browser",
                             "varnel open simulation sim-bridge");
    const auto simulation =
        AddCommand<Identifiers>(open, session, "simulation", "Show a simulation's page",
                                OpenSimulation, {"BROWSER=echo varnel open simulation sim-bridge"});
    AddIdentifiers(simulation.app, simulation.options, SimulationPage);
}

} // namespace VarnelBase
