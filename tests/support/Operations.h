#pragma once

#include <functional>
#include <string>
#include <vector>

#include "ApiConnector.h"

namespace VarnelBase {

enum class Gate { Exactly200, Exactly201, AnyResponse, Ignored, Execution, Project };

/// An operation with arguments.
struct Operation {
    std::function<json(ApiConnector&)> call; ///< null where the operation returns nothing
    std::string request;                     ///< method and target
    Gate gate;
};

inline const json Document = {{"b", json::array({1, nullptr, "\xC3\xA9\"\\\n"})}, {"a", 1.5}};

// clang-format off
inline const std::vector<Operation> AllOperations{
    {[](auto& c) { return c.GetVersion(); }, "GET /version", Gate::Exactly200},
    {[](auto& c) { return c.GetAgent(); }, "GET /agent", Gate::AnyResponse},
    {[](auto& c) { return c.SendAgentCommand("say \"hi\"\n"); }, "POST /agent", Gate::AnyResponse},
    {[](auto& c) { return c.GetSimulations("user", 50, -7); },
     "GET /simulations?scope=user&limit=50&offset=-7", Gate::Exactly200},
    {[](auto& c) { return c.GetSimulationData("s1"); }, "GET /simulations/s1", Gate::AnyResponse},
    {[](auto& c) { return c.DeleteSimulation("s1"), json(); }, "DELETE /simulations/s1", Gate::Ignored},
    {[](auto& c) { return c.GetSimulationInputs("s1"); },
     "GET /simulations/s1/inputs", Gate::AnyResponse},
    {[](auto& c) { return c.PostSimulationInputs("s1", Document), json(); },
     "POST /simulations/s1/inputs", Gate::Ignored},
    {[](auto& c) { return c.GetExecutions("s1", -1, 2147483647); },
     "GET /simulations/s1/executions?limit=-1&offset=2147483647", Gate::Exactly200},
    {[](auto& c) { return c.PostExecution("s1", Document); },
     "POST /simulations/s1/executions", Gate::Execution},
    {[](auto& c) { return c.GetExecution("s1", "e1"); },
     "GET /simulations/s1/executions/e1", Gate::AnyResponse},
    {[](auto& c) { return c.GenerateProject(Document); }, "POST /generateProject", Gate::Project},
    {[](auto& c) { return c.GetUsers(20, 40); }, "GET /users?limit=20&offset=40", Gate::Exactly200},
    {[](auto& c) { return c.CreateUser("a@b.example", "reader"); }, "POST /users", Gate::Exactly201},
    {[](auto& c) { return c.GetUser("u1"); }, "GET /users/u1", Gate::AnyResponse},
    {[](auto& c) { return c.UpdateUser("u1", ""); }, "PATCH /users/u1", Gate::Exactly200},
    {[](auto& c) { return c.DeleteUser("u1"), json(); }, "DELETE /users/u1", Gate::Ignored},
};
// clang-format on

/// What an operation must return for an answer.
inline json ExpectedResult(Gate gate, int status, const std::string& body) {
    const bool isCreation = gate == Gate::Exactly201 || gate == Gate::Execution;
    if (gate == Gate::Ignored ||
        (gate != Gate::AnyResponse && status != (isCreation ? 201 : 200))) {
        return json();
    }
    if (gate == Gate::Project) { return {{"status", "ok"}, {"body", body}}; }
    return json::accept(body) ? json::parse(body) : json();
}

} // namespace VarnelBase
