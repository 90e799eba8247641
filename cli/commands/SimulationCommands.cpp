#include "commands/Commands.h"
#include "output/JsonView.h"
#include "session/ChangeRequest.h"
#include "session/Listing.h"

namespace VarnelBase {

namespace {

struct SimulationListOptions {
    PageOptions page;
    Identifiers identifiers;
    std::string scope = "user";
};

struct InputOptions {
    Identifiers identifiers;
    std::string data;
    bool isDryRun = false;
};

void ListSimulations(Session& session, const SimulationListOptions& options) {
    const std::string scope = options.identifiers.Escape("--scope", options.scope);
    PrintList(session, {"/simulations?scope=" + scope + "&limit=", "simulations"}, options.page);
}

void ShowSimulation(Session& session, const Identifiers& identifiers) {
    session.Print(session.Read(identifiers.BuildSimulationPath()));
}

void DeleteSimulation(Session& session, const DeleteOptions& options) {
    Delete(session, options, "simulation " + options.identifiers.simulation,
           options.identifiers.BuildSimulationPath());
}

void ShowInputs(Session& session, const Identifiers& identifiers) {
    session.Print(session.Read(identifiers.BuildSimulationPath() + "/inputs"));
}

void ReplaceInputs(Session& session, const InputOptions& options) {
    const std::string target = options.identifiers.BuildSimulationPath() + "/inputs";
    const std::string inputs = ReadData(options.data);
    const ChangeRequest change{"POST", target, inputs};
    if (options.isDryRun) {
        PrintRequest(session, change);
        return;
    }
    const auto holdsInputs = [&inputs](const Outcome& found) -> std::optional<bool> {
        if (!found.Succeeded() || !FindJsonProblem(found.text).empty()) { return std::nullopt; }
        return IsSameJson(found.text, inputs);
    };
    (void)MakeCheckedChange(
        session, change,
        {target, "the service holds these inputs", "the service holds other ones", holdsInputs});
}

} // namespace

void AddSimulationCommands(CLI::App& root, Session& session) {
    CLI::App& simulation =
        AddNoun(root, "simulation", "Simulations and their inputs", "varnel simulation list");

    const auto list = AddCommand<SimulationListOptions>(
        simulation, session, "list", "List simulations", ListSimulations,
        {"varnel simulation list", "varnel simulation list --all -o jsonl",
         "varnel simulation list --limit 1 --query /items/0/id"});
    list.app.add_option("--scope", list.options.scope, "Which ones, in the service's terms")
        ->type_name("SCOPE");
    AddRawFlag(list.app, list.options.identifiers);
    AddPageOptions(list.app, list.options.page);

    const auto show =
        AddCommand<Identifiers>(simulation, session, "show", "Show a simulation", ShowSimulation,
                                {"varnel simulation show sim-bridge"});
    AddIdentifier(show.app, show.options, "SIMULATION", show.options.simulation);

    const auto remove = AddCommand<DeleteOptions>(
        simulation, session, "delete", "Delete a simulation, and make sure that it is gone",
        DeleteSimulation,
        {"varnel simulation delete sim-bridge --yes",
         "varnel simulation delete sim-bridge --dry-run"});
    AddIdentifier(remove.app, remove.options.identifiers, "SIMULATION",
                  remove.options.identifiers.simulation);
    AddDeleteFlags(remove.app, remove.options);

    CLI::App& inputs = AddNoun(simulation, "inputs", "What a simulation starts from",
                               "varnel simulation inputs get sim-bridge");
    const auto get =
        AddCommand<Identifiers>(inputs, session, "get", "Show a simulation's inputs", ShowInputs,
                                {"varnel simulation inputs get sim-bridge > inputs.json"});
    AddIdentifier(get.app, get.options, "SIMULATION", get.options.simulation);

    const auto set = AddCommand<InputOptions>(
        inputs, session, "set", "Replace a simulation's inputs, and make sure that they arrived",
        ReplaceInputs,
        {"varnel simulation inputs set sim-bridge --data '{\"load\": 12.5}'",
         "varnel simulation inputs get sim-bridge | varnel simulation inputs set "
         "sim-bridge --data -"});
    AddIdentifier(set.app, set.options.identifiers, "SIMULATION",
                  set.options.identifiers.simulation);
    AddDataOption(set.app, set.options.data, "The inputs")->required();
    AddDryRunFlag(set.app, set.options.isDryRun);
}

} // namespace VarnelBase
