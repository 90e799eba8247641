// A host application that calls every operation once and shows what it asked and what came back.
//
// It needs a service with at least one simulation, the emulator say, and deletes the last one of
// those listed.
#include <ApiConnector.h>

#include <cstdlib>
#include <exception>
#include <iostream>

namespace {

using VarnelBase::ApiConnector;
using VarnelBase::json;

constexpr std::size_t ShownCharacters = 300;

int unexpectedAnswers = 0;

void Show(const std::string& call, const json& answer) {
    const std::string text = answer.dump();
    std::cout << call << "\n    " << text.substr(0, ShownCharacters)
              << (text.size() > ShownCharacters ? "..." : "") << '\n';
    if (answer.is_null()) { ++unexpectedAnswers; }
}

/// For the operations that tell nothing.
void ShowSent(const std::string& call) {
    std::cout << call << "\n    (no answer by design)\n";
}

/// A member's text; empty when the service's document has no such member.
std::string FindText(const json& document, const char* member) {
    return document.is_object() ? document.value(member, "") : "";
}

void TourService(ApiConnector& connector) {
    Show("GetVersion()", connector.GetVersion());
    Show("GetAgent()", connector.GetAgent());
    Show("SendAgentCommand(\"status\")", connector.SendAgentCommand("status"));
}

void TourSimulation(ApiConnector& connector, const std::string& id) {
    Show("GetSimulationData(\"" + id + "\")", connector.GetSimulationData(id));

    json inputs = connector.GetSimulationInputs(id);
    Show("GetSimulationInputs(\"" + id + "\")", inputs);
    inputs["comment"] = "changed by the tour";
    connector.PostSimulationInputs(id, inputs);
    ShowSent("PostSimulationInputs(\"" + id + "\", " + inputs.dump() + ")");
    Show("GetSimulationPreexecutionData(\"" + id + "\")",
         connector.GetSimulationPreexecutionData(id));

    const json execution = connector.PostExecution(id, inputs);
    Show("PostExecution(\"" + id + "\", inputs)", execution);
    const std::string executionId = FindText(execution, "id");
    Show("GetExecution(\"" + id + "\", \"" + executionId + "\")",
         connector.GetExecution(id, executionId));
    connector.PutSimulationData(id, inputs);
    ShowSent("PutSimulationData(\"" + id + "\", inputs)");
    Show("GetExecutions(\"" + id + "\", 20, 0)", connector.GetExecutions(id, 20, 0));
}

void TourProject(ApiConnector& connector) {
    const json request = json::object({{"name", "Bridge"}});
    json project = connector.GenerateProject(request);
    if (project.is_object()) {
        // The file's bytes are no text, so they must not be printed.
        const std::size_t size = project["body"].get_ref<const std::string&>().size();
        project["body"] = std::to_string(size) + " bytes";
    }
    Show("GenerateProject(" + request.dump() + ")", project);
}

void TourUsers(ApiConnector& connector) {
    const json user = connector.CreateUser("ada@example.com", "viewer");
    Show(R"(CreateUser("ada@example.com", "viewer"))", user);
    const std::string id = FindText(user, "id");
    Show("GetUser(\"" + id + "\")", connector.GetUser(id));
    Show("UpdateUser(\"" + id + R"(", "editor"))", connector.UpdateUser(id, "editor"));
    Show("GetUsers(20, 0)", connector.GetUsers(20, 0));
    connector.DeleteUser(id);
    ShowSent("DeleteUser(\"" + id + "\")");
}

void TourSimulations(ApiConnector& connector) {
    Show("GetSimulations(\"user\", 50, 0)", connector.GetSimulations("user", 50, 0));
    const auto names = connector.GetSimulationNames();
    Show("GetSimulationNames()", json(names));
    if (names.empty()) {
        std::cerr << "The service at " << connector.GetHostname() << ", port "
                  << connector.GetPort() << ", lists no simulation.\n";
        ++unexpectedAnswers;
        return;
    }
    TourSimulation(connector, *names.begin());
    connector.DeleteSimulation(*names.rbegin());
    ShowSent("DeleteSimulation(\"" + *names.rbegin() + "\")");
    Show("GetSimulationNames()", json(connector.GetSimulationNames()));
}

void TourOffline() {
    setenv("VARNEL_OFFLINE", "1", 1);
    ApiConnector connector;
    Show("GetVersion()", connector.GetVersion());
    std::cout << "GetAgent()\n    " << connector.GetAgent() << '\n';
}

} // namespace

int main() {
    try {
        ApiConnector connector;
        TourService(connector);
        TourSimulations(connector);
        TourProject(connector);
        TourUsers(connector);
        TourOffline();
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    if (unexpectedAnswers > 0) {
        std::cerr << unexpectedAnswers << " calls came back without an answer.\n";
        return 1;
    }
}
