#include "Operations.h"

#include <iostream>

namespace {

using VarnelBase::ApiConnector;
using VarnelBase::json;

const std::string Id = "0f9d1c52-6b0e-4a55-9a3d-3f6f5b1f7c11";
const std::string Email = "ada@example.com";
const std::string Role = "viewer";
const json Inputs = json::object({{"spans", 3}, {"length", 41.5}, {"material", "steel"}});

} // namespace

const std::vector<Operation>& ListOperations() {
    static const std::vector<Operation> operations{
        {"GetVersion", 200, "version", [](ApiConnector& api) { api.GetVersion(); },
         [](const BareClient& bare) { bare.Get("/version", 200); }},
        {"GetAgent", 200, "version", [](ApiConnector& api) { api.GetAgent(); },
         [](const BareClient& bare) { bare.Get("/agent", 0); }},
        {"SendAgentCommand", 200, "version",
         [](ApiConnector& api) { api.SendAgentCommand("status"); },
         [](const BareClient& bare) {
             bare.Post("/agent", json::object({{"command", "status"}}), 0);
         }},
        {"GetSimulations", 200, "list",
         [](ApiConnector& api) { api.GetSimulations("user", 50, 0); },
         [](const BareClient& bare) {
             bare.Get("/simulations?scope=user&limit=" + std::to_string(50) +
                          "&offset=" + std::to_string(0),
                      200);
         }},
        {"GetSimulationData", 200, "version", [](ApiConnector& api) { api.GetSimulationData(Id); },
         [](const BareClient& bare) { bare.Get("/simulations/" + Id, 0); }},
        {"DeleteSimulation", 204, "version", [](ApiConnector& api) { api.DeleteSimulation(Id); },
         [](const BareClient& bare) { bare.Delete("/simulations/" + Id); }},
        {"GetSimulationInputs", 200, "version",
         [](ApiConnector& api) { api.GetSimulationInputs(Id); },
         [](const BareClient& bare) { bare.Get("/simulations/" + Id + "/inputs", 0); }},
        {"PostSimulationInputs", 200, "version",
         [](ApiConnector& api) { api.PostSimulationInputs(Id, Inputs); },
         [](const BareClient& bare) { bare.Post("/simulations/" + Id + "/inputs", Inputs, -1); }},
        {"GetExecutions", 200, "list", [](ApiConnector& api) { api.GetExecutions(Id, 20, 0); },
         [](const BareClient& bare) {
             bare.Get("/simulations/" + Id + "/executions?limit=" + std::to_string(20) +
                          "&offset=" + std::to_string(0),
                      200);
         }},
        {"PostExecution", 201, "version", [](ApiConnector& api) { api.PostExecution(Id, Inputs); },
         [](const BareClient& bare) {
             bare.Post("/simulations/" + Id + "/executions", Inputs, 201);
             std::cout << "UI: https://"
                       << "127.0.0.1"
                       << "/simulations/" << Id << std::endl;
         }},
        {"GetExecution", 200, "version", [](ApiConnector& api) { api.GetExecution(Id, Id); },
         [](const BareClient& bare) { bare.Get("/simulations/" + Id + "/executions/" + Id, 0); }},
        {"GenerateProject", 200, "version", [](ApiConnector& api) { api.GenerateProject(Inputs); },
         [](const BareClient& bare) { bare.PostForFile("/generateProject", Inputs); }},
        {"GetUsers", 200, "list", [](ApiConnector& api) { api.GetUsers(20, 0); },
         [](const BareClient& bare) {
             bare.Get("/users?limit=" + std::to_string(20) + "&offset=" + std::to_string(0), 200);
         }},
        {"CreateUser", 201, "version", [](ApiConnector& api) { api.CreateUser(Email, Role); },
         [](const BareClient& bare) {
             bare.Post("/users", json::object({{"email", Email}, {"role", Role}}), 201);
         }},
        {"GetUser", 200, "version", [](ApiConnector& api) { api.GetUser(Id); },
         [](const BareClient& bare) { bare.Get("/users/" + Id, 0); }},
        {"UpdateUser", 200, "version", [](ApiConnector& api) { api.UpdateUser(Id, Role); },
         [](const BareClient& bare) {
             bare.Patch("/users/" + Id, json::object({{"role", Role}}), 200);
         }},
        {"DeleteUser", 204, "version", [](ApiConnector& api) { api.DeleteUser(Id); },
         [](const BareClient& bare) { bare.Delete("/users/" + Id); }},
    };
    return operations;
}
