#pragma once

#include <ServiceClient.h>

#include <functional>
#include <string>
#include <vector>

namespace VarnelBase {

/// An operation with arguments.
struct OperationCase {
    const char* name; ///< in the table of operations
    const char* request;
    const char* body;
    std::function<Outcome(ServiceClient&)> call;
};

inline const std::string OddId = "a/b?c%\xc3\xa9 .";
inline const json Data = {{"b", 1}, {"a", "\xc3\xa9"}};

// clang-format off
inline const std::vector<OperationCase> OperationCases{
    {"GetVersion", "GET /version", "", [](auto& c) { return c.GetVersion(); }},
    {"GetAgent", "GET /agent", "", [](auto& c) { return c.GetAgent(); }},
    {"SendAgentCommand", "POST /agent", R"({"command":"a\"b"})", [](auto& c) { return c.SendAgentCommand("a\"b"); }},
    {"GetSimulations", "GET /simulations?scope=a%26b&limit=-1&offset=7", "", [](auto& c) { return c.GetSimulations("a&b", -1, 7); }},
    {"GetSimulationData", "GET /simulations/a%2Fb%3Fc%25%C3%A9%20.", "", [](auto& c) { return c.GetSimulationData(OddId); }},
    {"DeleteSimulation", "DELETE /simulations/...", "", [](auto& c) { return c.DeleteSimulation("..."); }},
    {"GetSimulationInputs", "GET /simulations/%23/inputs", "", [](auto& c) { return c.GetSimulationInputs("#"); }},
    {"PostSimulationInputs", "POST /simulations/a/inputs", "{\"a\":\"\xc3\xa9\",\"b\":1}", [](auto& c) { return c.PostSimulationInputs("a", Data); }},
    {"GetExecutions", "GET /simulations/a/executions?limit=20&offset=0", "", [](auto& c) { return c.GetExecutions("a", 20, 0); }},
    {"PostExecution", "POST /simulations/a/executions", "null", [](auto& c) { return c.PostExecution("a", nullptr); }},
    {"GetExecution", "GET /simulations/a/executions/%2Fb", "", [](auto& c) { return c.GetExecution("a", "/b"); }},
    {"GenerateProject", "POST /generateProject", "{}", [](auto& c) { return c.GenerateProject(json::object()); }},
    {"GetUsers", "GET /users?limit=0&offset=0", "", [](auto& c) { return c.GetUsers(0, 0); }},
    {"CreateUser", "POST /users", R"({"email":"a@b","role":"r"})", [](auto& c) { return c.CreateUser("a@b", "r"); }},
    {"GetUser", "GET /users/a%40b", "", [](auto& c) { return c.GetUser("a@b"); }},
    {"UpdateUser", "PATCH /users/a", R"({"role":"r"})", [](auto& c) { return c.UpdateUser("a", "r"); }},
    {"DeleteUser", "DELETE /users/a", "", [](auto& c) { return c.DeleteUser("a"); }},
    {"GetSimulations", "GET /simulations?scope=user&limit=50&offset=0", "", [](auto& c) { return c.GetSimulationNames(); }},
    {"GetSimulationInputs", "GET /simulations/a/inputs", "", [](auto& c) { return c.GetSimulationPreexecutionData("a"); }},
    {"PostExecution", "POST /simulations/a/executions", "1", [](auto& c) { return c.PutSimulationData("a", 1); }},
};
// clang-format on

} // namespace VarnelBase
