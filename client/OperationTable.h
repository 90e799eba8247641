#pragma once

#include <array>
#include <initializer_list>
#include <string>
#include <string_view>

namespace VarnelBase {

/// What a successful answer holds.
enum class AnswerForm {
    Document, ///< exactly one JSON value
    Anything, ///< a JSON value or anything else: only the status counts
    File,     ///< bytes
};

/// One operation of the service.
struct ServiceOperation {
    const char* name;
    const char* method;
    const char* target; ///< with its arguments' names in braces, in their order
    AnswerForm answer;
};

inline constexpr std::array<ServiceOperation, 17> ServiceOperations{{
    {"GetVersion", "GET", "/version", AnswerForm::Document},
    {"GetAgent", "GET", "/agent", AnswerForm::Document},
    {"SendAgentCommand", "POST", "/agent", AnswerForm::Document},
    {"GetSimulations", "GET", "/simulations?scope={scope}&limit={limit}&offset={offset}",
     AnswerForm::Document},
    {"GetSimulationData", "GET", "/simulations/{simulationId}", AnswerForm::Document},
    {"DeleteSimulation", "DELETE", "/simulations/{simulationId}", AnswerForm::Anything},
    {"GetSimulationInputs", "GET", "/simulations/{simulationId}/inputs", AnswerForm::Document},
    {"PostSimulationInputs", "POST", "/simulations/{simulationId}/inputs", AnswerForm::Anything},
    {"GetExecutions", "GET", "/simulations/{simulationId}/executions?limit={limit}&offset={offset}",
     AnswerForm::Document},
    {"PostExecution", "POST", "/simulations/{simulationId}/executions", AnswerForm::Document},
    {"GetExecution", "GET", "/simulations/{simulationId}/executions/{executionId}",
     AnswerForm::Document},
    {"GenerateProject", "POST", "/generateProject", AnswerForm::File},
    {"GetUsers", "GET", "/users?limit={limit}&offset={offset}", AnswerForm::Document},
    {"CreateUser", "POST", "/users", AnswerForm::Document},
    {"GetUser", "GET", "/users/{userId}", AnswerForm::Document},
    {"UpdateUser", "PATCH", "/users/{userId}", AnswerForm::Document},
    {"DeleteUser", "DELETE", "/users/{userId}", AnswerForm::Anything},
}};

/// The operation with a name, which must exist: a constant name is looked up at compile time.
constexpr const ServiceOperation& FindOperation(std::string_view name) {
    std::size_t at = 0;
    while (name != ServiceOperations.at(at).name) { ++at; }
    return ServiceOperations[at];
}

/// Path and query of a request. Each argument is escaped as one segment or value (RFC 3986).
///
/// @throws std::invalid_argument naming an argument in the path that is empty, "." or "..", since
///         that would address another path
std::string MakeTarget(const ServiceOperation& operation,
                       std::initializer_list<std::string> arguments);

} // namespace VarnelBase
