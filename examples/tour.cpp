// A host application that calls every operation once and prints each call and its result.
//
// Needs a service with at least one simulation, such as the emulator, and deletes the last one
// listed.
#include <ApiConnector.h>

#include <cstdlib>
#include <exception>
#include <iostream>
#include <set>
#include <string>

namespace {

using VarnelBase::ApiConnector;
using VarnelBase::json;

constexpr std::size_t ShownCharacters = 300;

int calls = 0;
int missingAnswers = 0;

void Tell(const std::string& text) {
    std::cout << '\n' << text << '\n';
}

/// Prints the call before making it, because the library may print a line meanwhile.
template <typename Operation>
json Show(const std::string& call, Operation operation) {
    std::cout << "  " << call << std::endl;
    ++calls;
    json answer = operation();
    const std::string text = answer.dump();
    std::cout << "      " << text.substr(0, ShownCharacters)
              << (text.size() > ShownCharacters ? "..." : "") << '\n';
    if (answer.is_null()) { ++missingAnswers; }
    return answer;
}

/// For the operations that return nothing.
template <typename Operation>
void ShowSent(const std::string& call, Operation operation) {
    std::cout << "  " << call << std::endl;
    ++calls;
    operation();
    std::cout << "      sent; this operation returns nothing\n";
}

/// A member's text; empty when the service's document has no such member.
std::string FindText(const json& document, const char* member) {
    return document.is_object() ? document.value(member, "") : "";
}

void TourService(ApiConnector& connector) {
    Tell("1. The service and its agent. Below each call is the JSON document that it returns.");
    Show("GetVersion()", [&] { return connector.GetVersion(); });
    Show("GetAgent()", [&] { return connector.GetAgent(); });
    Show("SendAgentCommand(\"status\")", [&] { return connector.SendAgentCommand("status"); });
}

std::set<std::string> TourSimulations(ApiConnector& connector) {
    Tell("2. The simulations that the service knows.");
    Show("GetSimulations(\"user\", 50, 0)",
         [&] { return connector.GetSimulations("user", 50, 0); });
    const json names =
        Show("GetSimulationNames()", [&] { return json(connector.GetSimulationNames()); });
    return names.get<std::set<std::string>>();
}

void TourSimulation(ApiConnector& connector, const std::string& id) {
    const std::string quoted = "(\"" + id + "\"";
    Tell("3. One simulation: its data, and its inputs before and after a change.");
    Show("GetSimulationData" + quoted + ")", [&] { return connector.GetSimulationData(id); });
    json inputs = Show("GetSimulationInputs" + quoted + ")",
                       [&] { return connector.GetSimulationInputs(id); });
    inputs["comment"] = "changed by the tour";
    ShowSent("PostSimulationInputs" + quoted + ", " + inputs.dump() + ")",
             [&] { connector.PostSimulationInputs(id, inputs); });
    Show("GetSimulationPreexecutionData" + quoted + ")",
         [&] { return connector.GetSimulationPreexecutionData(id); });

    Tell("4. Executions of it. The library prints a link to the simulation when one has started.");
    const json execution = Show("PostExecution" + quoted + ", inputs)",
                                [&] { return connector.PostExecution(id, inputs); });
    const std::string executionId = FindText(execution, "id");
    Show("GetExecution" + quoted + ", \"" + executionId + "\")",
         [&] { return connector.GetExecution(id, executionId); });
    ShowSent("PutSimulationData" + quoted + ", inputs)",
             [&] { connector.PutSimulationData(id, inputs); });
    Show("GetExecutions" + quoted + ", 20, 0)", [&] { return connector.GetExecutions(id, 20, 0); });
}

void TourDeletion(ApiConnector& connector, const std::string& id) {
    Tell("5. A simulation is deleted, and the list is shorter.");
    ShowSent("DeleteSimulation(\"" + id + "\")", [&] { connector.DeleteSimulation(id); });
    Show("GetSimulationNames()", [&] { return json(connector.GetSimulationNames()); });
}

void TourProject(ApiConnector& connector) {
    Tell(
        "6. A project file is generated: its bytes, of which only the count is shown here, and its "
        "name.");
    const json request = json::object({{"name", "Bridge"}});
    Show("GenerateProject(" + request.dump() + ")", [&] {
        json project = connector.GenerateProject(request);
        if (project.is_object()) {
            // The file's bytes are not text, so they must not be printed.
            const std::size_t size = project["body"].get_ref<const std::string&>().size();
            project["body"] = std::to_string(size) + " bytes";
        }
        return project;
    });
}

void TourUsers(ApiConnector& connector) {
    Tell("7. A user is created, gets another role and is deleted.");
    const json user = Show(R"(CreateUser("ada@example.com", "viewer"))",
                           [&] { return connector.CreateUser("ada@example.com", "viewer"); });
    const std::string id = FindText(user, "id");
    Show("GetUser(\"" + id + "\")", [&] { return connector.GetUser(id); });
    Show("UpdateUser(\"" + id + R"(", "editor"))",
         [&] { return connector.UpdateUser(id, "editor"); });
    Show("GetUsers(20, 0)", [&] { return connector.GetUsers(20, 0); });
    ShowSent("DeleteUser(\"" + id + "\")", [&] { connector.DeleteUser(id); });
}

void TourOffline() {
    Tell(
        "8. Offline mode. With VARNEL_OFFLINE=1 a connector contacts nobody: it says so once,\n"
        "   GetVersion() returns a built-in value, and operations that need the service return "
        "null.");
    setenv("VARNEL_OFFLINE", "1", 1);
    ApiConnector connector;
    Show("GetVersion()", [&] { return connector.GetVersion(); });
    std::cout << "  GetAgent()\n      " << connector.GetAgent() << '\n';
    ++calls;
}

} // namespace

int main() {
    try {
        ApiConnector connector;
        std::cout << "The tour's service: " << connector.GetHostname() << ", port "
                  << connector.GetPort() << ".\n";
        TourService(connector);
        const std::set<std::string> names = TourSimulations(connector);
        if (names.empty()) {
            std::cerr << "The service lists no simulation, which the rest of the tour needs.\n";
            return 1;
        }
        TourSimulation(connector, *names.begin());
        TourDeletion(connector, *names.rbegin());
        TourProject(connector);
        TourUsers(connector);
        TourOffline();
    } catch (const std::exception& error) {
        std::cerr << "The tour ends early: " << error.what() << '\n';
        return 1;
    }
    if (missingAnswers > 0) {
        std::cerr << '\n' << missingAnswers << " of " << calls << " calls were not answered.\n";
        return 1;
    }
    std::cout << "\nThe tour has reached its end: " << calls << " calls, and every answer came.\n";
}
