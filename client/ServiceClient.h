#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ClientOptions.h"
#include "EnvConfig.h"
#include "Listing.h"
#include "Outcome.h"

namespace VarnelBase {

/// Identifiers of simulations: distinct, in ascending order of their bytes.
using SimulationNamesListType = std::set<std::string>;

/// A simulation's document.
using SimulationDataType = json;

/// What became of asking for the identifiers of simulations.
struct [[nodiscard]] NamesOutcome : Outcome {
    SimulationNamesListType names; ///< empty after a failure
};

/// What became of a project.
struct [[nodiscard]] ProjectOutcome : Outcome {
    /// What the service calls the file: the name in its Content-Disposition header (RFC 6266,
    /// RFC 8187) without any directory; empty when it has none that is fit for a file.
    std::string fileName;

    std::string path;       ///< of the file, where one was written
    std::uint64_t size = 0; ///< of the project in bytes
};

/// What became of waiting for an execution; the document is the last that was read.
struct [[nodiscard]] ExecutionOutcome : Outcome {
    std::string state; ///< the last that was seen; one of `endStates` after success
};

/// How much of a project was received, and of how much, when the service says so.
using ProjectProgress = std::function<void(std::uint64_t, std::optional<std::uint64_t>)>;

/// Receives a project's bytes piece by piece; false ends the call with `NotSaved`.
using ProjectReceiver = std::function<bool(const char*, std::size_t)>;

/// How to wait for an execution. Its document is the service's own: the defaults are those of
/// varnel-emulator.
struct WaitOptions {
    std::string statePointer = "/state"; ///< where the state is (a JSON pointer, RFC 6901)
    std::vector<std::string> endStates{"finished", "failed"};  ///< which end the wait
    std::chrono::milliseconds firstInterval{500};              ///< grows by half with each question
    std::chrono::milliseconds maxInterval{15'000};             ///< which it does not exceed
    std::chrono::milliseconds timeout{std::chrono::hours(24)}; ///< for the wait as a whole

    /// Called with each document of the execution, on the thread of the call.
    std::function<void(const json&)> progress;

    std::optional<Cancellation> cancellation; ///< ends the wait; none: nobody does
};

/// The client of one deployment of the simulation service for programs that want to know what
/// happened: the operations of `ApiConnector` under the same names, each of which returns an
/// `Outcome`.
///
/// A call runs on its caller's thread; no thread is started. Any number of threads may share a
/// client. Connections are kept for the next call. Only what cannot do harm is repeated: a GET, and
/// what is certain not to have been sent.
///
/// Identifiers and the scope are escaped as one segment or value (RFC 3986): "a/b?c" names one
/// simulation. What a network does is never thrown. Thrown are std::invalid_argument, which names
/// the option or argument that cannot be used (an empty identifier, "." and ".." among them),
/// json::type_error for text in a body that is not UTF-8, both before anything is sent, what a
/// callback of the program throws, and std::bad_alloc.
class ServiceClient {
public:
    /// A client for the environment that VARNEL_ENVIRONMENT or the configuration file chooses.
    ///
    /// @throws std::invalid_argument naming the option; what reading the settings throws
    explicit ServiceClient(const ClientOptions& options = {});

    /// A client for the given environment. Without a `tokenSource` the token is nevertheless that
    /// of the environment that `ServiceClient()` would choose.
    explicit ServiceClient(Environment environment, const ClientOptions& options = {});

    /// No call may be running.
    ~ServiceClient();
    ServiceClient(ServiceClient&&) noexcept;            ///< No call may be running.
    ServiceClient& operator=(ServiceClient&&) noexcept; ///< No call may be running.

    /// Host of the next request; empty when offline.
    ///
    /// @throws what finding the token or the host throws
    std::string GetHostname();

    /// TCP port of every request.
    unsigned int GetPort() const;

    /// The deployment that the client was built for; `Local` where host and port were given.
    Environment GetEnvironment() const;

    /// Whether every operation fails with `Offline`, without a request.
    bool IsOffline() const;

    /// Signs in; may open a browser and wait for a person. Other calls wait until it is done.
    ///
    /// @throws what AuthHandler's `Login` throws; std::logic_error with a `tokenSource`
    std::string Login();

    /// Asks for the service's version: GET /version.
    Outcome GetVersion(const CallOptions& call = {});

    /// Reads the state of the service's agent: GET /agent.
    Outcome GetAgent(const CallOptions& call = {});

    /// Sends one command to the service's agent: POST /agent.
    Outcome SendAgentCommand(const std::string& command, const CallOptions& call = {});

    /// Lists one page of simulations: GET /simulations. Limit and offset are sent as given.
    Outcome GetSimulations(const std::string& scope, int limit, int offset,
                           const CallOptions& call = {});

    /// Reads one simulation: GET /simulations/{simulationId}.
    Outcome GetSimulationData(const std::string& simulationId, const CallOptions& call = {});

    /// Deletes a simulation: DELETE /simulations/{simulationId}.
    Outcome DeleteSimulation(const std::string& simulationId, const CallOptions& call = {});

    /// Reads a simulation's inputs: GET /simulations/{simulationId}/inputs.
    Outcome GetSimulationInputs(const std::string& simulationId, const CallOptions& call = {});

    /// Replaces a simulation's inputs: POST /simulations/{simulationId}/inputs.
    Outcome PostSimulationInputs(const std::string& simulationId, const json& inputs,
                                 const CallOptions& call = {});

    /// The "id" members of the first page of 50 of the caller's simulations; see `Simulations` for
    /// all of them. An "id" that is not a string makes it fail with `Unreadable`.
    NamesOutcome GetSimulationNames(const CallOptions& call = {});

    /// `GetSimulationInputs` under another name.
    Outcome GetSimulationPreexecutionData(const std::string& simulationName,
                                          const CallOptions& call = {});

    /// `PostExecution` under another name: despite it, nothing is stored.
    Outcome PutSimulationData(const std::string& simulationName,
                              const SimulationDataType& simulationData,
                              const CallOptions& call = {});

    /// Lists one page of a simulation's executions: GET /simulations/{simulationId}/executions.
    Outcome GetExecutions(const std::string& simulationId, int limit, int offset,
                          const CallOptions& call = {});

    /// Starts an execution: POST /simulations/{simulationId}/executions. Writes nothing to standard
    /// output.
    Outcome PostExecution(const std::string& simulationId, const json& data,
                          const CallOptions& call = {});

    /// Reads one execution: GET /simulations/{simulationId}/executions/{executionId}.
    Outcome GetExecution(const std::string& simulationId, const std::string& executionId,
                         const CallOptions& call = {});

    /// Has the service generate a project and keeps it in memory, within `maxDocumentBytes`: its
    /// bytes are the outcome's `text`, and the document is null.
    ProjectOutcome GenerateProject(const json& request, const CallOptions& call = {});

    /// Has the service generate a project and writes it to a file as it comes, in constant memory.
    /// The file appears under its name once it is complete.
    ///
    /// The path is that of the file, which is replaced; or an existing directory, in which the file
    /// gets the service's name for it, or "project", and no other file is replaced: a number goes
    /// into the name of the second one.
    ProjectOutcome SaveProject(const json& request, const std::string& path,
                               const ProjectProgress& progress = {}, const CallOptions& call = {});

    /// The same into a stream, which has got a part of it when it fails midway.
    ProjectOutcome StreamProject(const json& request, std::ostream& output,
                                 const ProjectProgress& progress = {},
                                 const CallOptions& call = {});

    /// The same to a receiver, which is called with each piece.
    ProjectOutcome StreamProject(const json& request, const ProjectReceiver& receiver,
                                 const ProjectProgress& progress = {},
                                 const CallOptions& call = {});

    /// Lists one page of users: GET /users.
    Outcome GetUsers(int limit, int offset, const CallOptions& call = {});

    /// Creates a user: POST /users.
    Outcome CreateUser(const std::string& email, const std::string& role,
                       const CallOptions& call = {});

    /// Reads one user: GET /users/{userId}.
    Outcome GetUser(const std::string& userId, const CallOptions& call = {});

    /// Changes a user's role: PATCH /users/{userId}.
    Outcome UpdateUser(const std::string& userId, const std::string& role,
                       const CallOptions& call = {});

    /// Deletes a user: DELETE /users/{userId}.
    Outcome DeleteUser(const std::string& userId, const CallOptions& call = {});

    /// All simulations, page by page; each page is a call of its own with these options.
    Listing Simulations(const std::string& scope, const CallOptions& call = {});

    /// All executions of a simulation, likewise.
    Listing Executions(const std::string& simulationId, const CallOptions& call = {});

    /// All users, likewise.
    Listing Users(const CallOptions& call = {});

    /// Asks for an execution until it has come to an end. Survives failures that pass: no
    /// connection, 429 and statuses from 500 on.
    ExecutionOutcome WaitForExecution(const std::string& simulationId,
                                      const std::string& executionId, const WaitOptions& wait = {});

    /// Sends any request to the service, and any bytes as its body. Its answer need not be a
    /// document.
    ///
    /// The method is GET, POST, PUT, PATCH or DELETE, the target path and query as they are to be
    /// sent, and a body goes out as application/json.
    Outcome Send(const std::string& method, const std::string& target,
                 const std::optional<std::string>& body = {}, const CallOptions& call = {});

private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation;
};

} // namespace VarnelBase
