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

/// The result of `GetSimulationNames`.
struct [[nodiscard]] NamesOutcome : Outcome {
    SimulationNamesListType names; ///< empty after a failure
};

/// The result of generating a project.
struct [[nodiscard]] ProjectOutcome : Outcome {
    /// The service's name for the file, from the Content-Disposition header (RFC 6266, RFC 8187),
    /// without any directory; empty if there is no usable one.
    std::string fileName;

    std::string path;       ///< of the file, if one was written
    std::uint64_t size = 0; ///< of the project in bytes
};

/// The result of waiting for an execution; the document is the last one read.
struct [[nodiscard]] ExecutionOutcome : Outcome {
    std::string state; ///< the last one read; one of `endStates` after success
};

/// Reports the bytes received so far and, if the service announced it, the total.
using ProjectProgress = std::function<void(std::uint64_t, std::optional<std::uint64_t>)>;

/// Receives a project piece by piece; returning false ends the call with `NotSaved`.
using ProjectReceiver = std::function<bool(const char*, std::size_t)>;

/// How to wait for an execution. Its document depends on the service; the defaults fit
/// varnel-emulator.
struct WaitOptions {
    std::string statePointer = "/state"; ///< place of the state (JSON pointer, RFC 6901)
    std::vector<std::string> endStates{"finished", "failed"};  ///< states that end the wait
    std::chrono::milliseconds firstInterval{500};              ///< grows by half after each request
    std::chrono::milliseconds maxInterval{15'000};             ///< upper limit of the interval
    std::chrono::milliseconds timeout{std::chrono::hours(24)}; ///< for the whole wait

    /// Called with each document read, on the calling thread.
    std::function<void(const json&)> progress;

    std::optional<Cancellation> cancellation; ///< ends the wait
};

/// A client of the simulation service for programs that want to know what happened. Has the
/// operations of `ApiConnector`, each of which returns an `Outcome`.
///
/// Calls run on the calling thread; no thread is started. Any number of threads may share a client.
/// Connections are kept for later calls. A request is repeated only if that is safe: a GET, or one
/// of which certainly nothing was sent.
///
/// Identifiers and the scope are escaped as one segment or value (RFC 3986): "a/b?c" is one
/// identifier. Failures of the network and the service are outcomes, never exceptions. Before
/// anything is sent, a call can throw std::invalid_argument, which names the invalid option or
/// argument (an empty identifier, "." or "..", for example), and json::type_error for a body that
/// is not UTF-8. Exceptions from your callbacks, and std::bad_alloc, reach you.
class ServiceClient {
public:
    /// Connects to the environment that VARNEL_ENVIRONMENT or the configuration file chooses.
    ///
    /// @throws std::invalid_argument naming the option; what reading the settings throws
    explicit ServiceClient(const ClientOptions& options = {});

    /// Connects to the given environment. Without a `tokenSource`, the token is that of the
    /// environment that `ServiceClient()` would choose.
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

    /// The environment that the client was built for; `Local` if host and port were given.
    Environment GetEnvironment() const;

    /// Whether every operation fails with `Offline` and sends nothing.
    bool IsOffline() const;

    /// Signs in; may open a browser and wait for a person. Other calls wait until it returns.
    ///
    /// @throws what AuthHandler's `Login` throws; std::logic_error with a `tokenSource`
    std::string Login();

    /// Reads the service's version: GET /version.
    Outcome GetVersion(const CallOptions& call = {});

    /// Reads the state of the service's agent: GET /agent.
    Outcome GetAgent(const CallOptions& call = {});

    /// Sends one command to the service's agent: POST /agent.
    Outcome SendAgentCommand(const std::string& command, const CallOptions& call = {});

    /// Lists one page of simulations: GET /simulations. Limit and offset are sent unchanged.
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

    /// The "id" members of the first page of 50 of the caller's simulations; `Simulations` reads
    /// all pages. Fails with `Unreadable` if an "id" is not a string.
    NamesOutcome GetSimulationNames(const CallOptions& call = {});

    /// The same as `GetSimulationInputs`.
    Outcome GetSimulationPreexecutionData(const std::string& simulationName,
                                          const CallOptions& call = {});

    /// The same as `PostExecution`: despite its name it stores nothing.
    Outcome PutSimulationData(const std::string& simulationName,
                              const SimulationDataType& simulationData,
                              const CallOptions& call = {});

    /// Lists one page of a simulation's executions: GET /simulations/{simulationId}/executions.
    Outcome GetExecutions(const std::string& simulationId, int limit, int offset,
                          const CallOptions& call = {});

    /// Starts an execution: POST /simulations/{simulationId}/executions. Prints nothing.
    Outcome PostExecution(const std::string& simulationId, const json& data,
                          const CallOptions& call = {});

    /// Reads one execution: GET /simulations/{simulationId}/executions/{executionId}.
    Outcome GetExecution(const std::string& simulationId, const std::string& executionId,
                         const CallOptions& call = {});

    /// Has the service generate a project of at most `maxDocumentBytes`. The outcome's `text` holds
    /// its bytes; the document is null.
    ProjectOutcome GenerateProject(const json& request, const CallOptions& call = {});

    /// Has the service generate a project and writes it to a file as it arrives, in constant
    /// memory. The file appears under its name once it is complete.
    ///
    /// The path names a file, which is replaced, or an existing directory. In a directory the file
    /// gets the service's name for it, or "project", with a number if that name is taken.
    ProjectOutcome SaveProject(const json& request, const std::string& path,
                               const ProjectProgress& progress = {}, const CallOptions& call = {});

    /// Writes the project to a stream instead. If the call fails midway, the stream has received a
    /// part.
    ProjectOutcome StreamProject(const json& request, std::ostream& output,
                                 const ProjectProgress& progress = {},
                                 const CallOptions& call = {});

    /// Passes the project to a function instead, piece by piece.
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

    /// All simulations, page by page; each page is one call with these options.
    Listing Simulations(const std::string& scope, const CallOptions& call = {});

    /// All executions of a simulation, page by page like `Simulations`.
    Listing Executions(const std::string& simulationId, const CallOptions& call = {});

    /// All users, page by page like `Simulations`.
    Listing Users(const CallOptions& call = {});

    /// Reads an execution repeatedly until it has ended. Continues after temporary failures: no
    /// connection, 429, statuses from 500 on.
    ExecutionOutcome WaitForExecution(const std::string& simulationId,
                                      const std::string& executionId, const WaitOptions& wait = {});

    /// Sends any request to the service, with any bytes as its body. The answer need not be a
    /// document.
    ///
    /// The method is GET, POST, PUT, PATCH or DELETE. Path and query are sent unchanged, the body
    /// as application/json.
    Outcome Send(const std::string& method, const std::string& target,
                 const std::optional<std::string>& body = {}, const CallOptions& call = {});

private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation;
};

} // namespace VarnelBase
