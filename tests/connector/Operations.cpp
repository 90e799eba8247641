#include "Operations.h"

namespace VarnelBase {

const std::vector<Operation>& Operations() {
    static const json document = {{"b", json::array({1, nullptr, "\xC3\xA9\"\\\n"})}, {"a", 1.5}};
    static const char* const text = R"({"a":1.5,"b":[1,null,"é\"\\\n"]})";
    // clang-format off
    static const std::vector<Operation> operations{
        {"GetVersion", [](auto& c) { return c.GetVersion(); },
         "GET", "/version", nullptr, Gate::Exactly200},
        {"GetAgent", [](auto& c) { return c.GetAgent(); },
         "GET", "/agent", nullptr, Gate::AnyResponse},
        {"SendAgentCommand", [](auto& c) { return c.SendAgentCommand("say \"hi\"\n"); },
         "POST", "/agent", R"({"command":"say \"hi\"\n"})", Gate::AnyResponse},
        {"GetSimulations", [](auto& c) { return c.GetSimulations("user", 50, -7); },
         "GET", "/simulations?scope=user&limit=50&offset=-7", nullptr, Gate::Exactly200},
        {"GetSimulationData", [](auto& c) { return c.GetSimulationData("s1"); },
         "GET", "/simulations/s1", nullptr, Gate::AnyResponse},
        {"DeleteSimulation", [](auto& c) { c.DeleteSimulation("s1"); return json(); },
         "DELETE", "/simulations/s1", nullptr, Gate::Ignored},
        {"GetSimulationInputs", [](auto& c) { return c.GetSimulationInputs("s1"); },
         "GET", "/simulations/s1/inputs", nullptr, Gate::AnyResponse},
        {"PostSimulationInputs", [](auto& c) { c.PostSimulationInputs("s1", document); return json(); },
         "POST", "/simulations/s1/inputs", text, Gate::Ignored},
        {"GetExecutions", [](auto& c) { return c.GetExecutions("s1", -1, 2147483647); },
         "GET", "/simulations/s1/executions?limit=-1&offset=2147483647", nullptr, Gate::Exactly200},
        {"PostExecution", [](auto& c) { return c.PostExecution("s1", document); },
         "POST", "/simulations/s1/executions", text, Gate::Exactly201},
        {"GetExecution", [](auto& c) { return c.GetExecution("s1", "e1"); },
         "GET", "/simulations/s1/executions/e1", nullptr, Gate::AnyResponse},
        {"GenerateProject", [](auto& c) { return c.GenerateProject(document); },
         "POST", "/generateProject", text, Gate::Project},
        {"GetUsers", [](auto& c) { return c.GetUsers(20, 40); },
         "GET", "/users?limit=20&offset=40", nullptr, Gate::Exactly200},
        {"CreateUser", [](auto& c) { return c.CreateUser("a@b.example", "reader"); },
         "POST", "/users", R"({"email":"a@b.example","role":"reader"})", Gate::Exactly201},
        {"GetUser", [](auto& c) { return c.GetUser("u1"); },
         "GET", "/users/u1", nullptr, Gate::AnyResponse},
        {"UpdateUser", [](auto& c) { return c.UpdateUser("u1", ""); },
         "PATCH", "/users/u1", R"({"role":""})", Gate::Exactly200},
        {"DeleteUser", [](auto& c) { c.DeleteUser("u1"); return json(); },
         "DELETE", "/users/u1", nullptr, Gate::Ignored},
    };
    // clang-format on
    return operations;
}

json ExpectedResult(Gate gate, int status, const std::string& body) {
    if (gate == Gate::Project) {
        return status == 200 ? json{{"status", "ok"}, {"body", body}} : json();
    }
    const bool isRead = gate == Gate::AnyResponse || (gate == Gate::Exactly200 && status == 200) ||
                        (gate == Gate::Exactly201 && status == 201);
    return isRead && json::accept(body) ? json::parse(body) : json();
}

} // namespace VarnelBase
