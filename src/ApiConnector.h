#pragma once

#include <nlohmann/json.hpp>

#include <set>
#include <string>

#include "AuthHandler.h"
#include "BuildGuard.h"
#include "EnvConfig.h"

// Defined for users of an installed library: the release of json it was built with (3.12.0 as
// 31200).
#ifdef VARNELBASE_JSON_RELEASE
#if NLOHMANN_JSON_VERSION_MAJOR * 10000 + NLOHMANN_JSON_VERSION_MINOR * 100 + \
        NLOHMANN_JSON_VERSION_PATCH !=                                        \
    VARNELBASE_JSON_RELEASE
#error "the json.hpp included here is of another release than the one VarnelBase was built with"
#endif
#endif

namespace VarnelBase {

/// The document type of every request body and every result.
using json = nlohmann::json;

#ifdef VARNELBASE_JSON_RELEASE
[[gnu::used, gnu::retain]] inline void (*const BuildOfJson)() =
    LibraryBuiltWithAnother::JsonDiagnosticsAndSize<JSON_DIAGNOSTICS, sizeof(json)>;
#endif

/// Identifiers of simulations: distinct, in ascending order of their bytes.
using SimulationNamesListType = std::set<std::string>;

/// A simulation's document.
using SimulationDataType = json;

/// Sends requests to one deployment of the simulation service.
///
/// Each operation sends one HTTP/1.1 request over a new connection and blocks the calling thread
/// until the answer is complete or the HTTP library times out (connecting 300 s, writing 5 s,
/// reading 5 s, or 300 s with cpp-httplib from 0.18). Requests are plain HTTP and carry the access
/// token as a bearer token (RFC 6750, section 2.1).
///
/// Identifiers and the scope are not fully escaped in the request target: only space, "+", CR, LF,
/// "'", ",", ";" and bytes from 0x80 up are. A "/", "?", "&", "#" or "%" changes the request; a NUL
/// byte ends the target.
///
/// An operation reports failure only through its result: null, an empty set, or nothing at all.
/// These exceptions reach the caller: std::runtime_error from finding the token or the host,
/// json::type_error for a body that is not UTF-8 (nothing is sent), and std::bad_alloc.
///
/// Use a connector from one thread at a time; separate connectors are independent. It can be
/// neither copied nor moved.
class ApiConnector {
public:
    /// A connector for the environment that VARNEL_ENVIRONMENT or the configuration file chooses,
    /// else for `Local`. When offline, it prints one line on standard output.
    ///
    /// @throws what reading the settings throws (see EnvConfig)
    ApiConnector();

    /// A connector for the given environment, which sends the token of the environment that
    /// `ApiConnector()` would choose. Make sure that both are the same, or use `ApiConnector()`.
    ///
    /// @throws what reading the settings throws (see EnvConfig)
    ApiConnector(Environment environment);

    ~ApiConnector();

    /// Host of the next request, without scheme and port: "GROUP.HOST", or only the configured
    /// HOST; empty when offline. The host is cached until the token changes, so this is not
    /// thread-safe.
    ///
    /// @throws what AuthHandler's `GetApiKey` and `GetFirstGroup` throw
    std::string GetHostname();

    /// TCP port of every request.
    unsigned int GetPort();

    /// The access token, also when offline; empty if requests carry none.
    ///
    /// @throws what AuthHandler's `GetApiKey` throws
    std::string GetApiKey();

    /// Signs in and returns the access token; may open a browser and wait for a person. When
    /// offline, returns the stored token or "".
    ///
    /// @throws what AuthHandler's `Login` throws
    std::string Login();

    /// The environment that the connector was built for.
    Environment GetEnvironment() const;

    /// Whether the connector is offline: every operation returns at once, without a request.
    bool IsOffline() const;

    /// Reads the service's version: GET /version.
    ///
    /// @return the service's document; when offline, the array ["0.4.1"]. Null when unanswered,
    ///         when the status is not 200, or when the body is not one JSON value.
    /// @throws what `GetHostname` throws
    json GetVersion();

    /// Reads the state of the service's agent: GET /agent.
    ///
    /// @return the service's document whatever the status. Null when offline or unanswered, or when
    ///         the body is not one JSON value.
    /// @throws what `GetHostname` throws
    json GetAgent();

    /// Sends one command to the service's agent: POST /agent.
    ///
    /// @param command sent unchanged, as the member "command"
    /// @return the service's document whatever the status. Null when offline or unanswered, or when
    ///         the body is not one JSON value.
    /// @throws json::type_error when `command` is not UTF-8; what `GetHostname` throws
    json SendAgentCommand(const std::string& command);

    /// Lists one page of simulations: GET /simulations.
    ///
    /// @param scope  which simulations, in the service's terms ("user": the caller's own)
    /// @param limit  number of entries wanted; sent unchanged, even if zero or negative
    /// @param offset number of entries to skip; sent unchanged
    /// @return the service's document. Null when offline or unanswered, when the status is not 200,
    ///         or when the body is not one JSON value.
    /// @throws what `GetHostname` throws
    json GetSimulations(const std::string& scope, int limit, int offset);

    /// Reads one simulation: GET /simulations/{simulationId}.
    ///
    /// @return the service's document whatever the status, so also an error document. Null when
    ///         offline or unanswered, or when the body is not one JSON value.
    /// @throws what `GetHostname` throws
    json GetSimulationData(const std::string& simulationId);

    /// Deletes a simulation: DELETE /simulations/{simulationId}. Does not report whether it
    /// succeeded. Does nothing when offline.
    ///
    /// @throws what `GetHostname` throws
    void DeleteSimulation(const std::string& simulationId);

    /// Reads a simulation's inputs: GET /simulations/{simulationId}/inputs.
    ///
    /// @return the service's document whatever the status, so also an error document. Null when
    ///         offline or unanswered, or when the body is not one JSON value.
    /// @throws what `GetHostname` throws
    json GetSimulationInputs(const std::string& simulationId);

    /// Replaces a simulation's inputs: POST /simulations/{simulationId}/inputs. Does not report
    /// whether it succeeded. Does nothing when offline.
    ///
    /// @param simulationId inserted into the path
    /// @param inputs       the whole document, sent unchanged
    /// @throws json::type_error when a string in `inputs` is not UTF-8; what `GetHostname` throws
    void PostSimulationInputs(const std::string& simulationId, const json& inputs);

    /// Identifiers of the caller's simulations: the "id" of each of the "items" of
    /// `GetSimulations("user", 50, 0)`. Reads no further page.
    ///
    /// @return empty when the page is empty, and when that call returns null or a document without
    ///         "items"
    /// @throws json::type_error when an "id" is not a string; what `GetHostname` throws
    SimulationNamesListType GetSimulationNames();

    /// The same as `GetSimulationInputs`.
    SimulationDataType GetSimulationPreexecutionData(const std::string& simulationName);

    /// Starts an execution: `PostExecution` without its result. Stores nothing, despite its name.
    ///
    /// @param simulationName the simulation's identifier
    /// @param simulationData not changed
    /// @throws json::type_error when a string in `simulationData` is not UTF-8; what `GetHostname`
    ///         throws
    void PutSimulationData(const std::string& simulationName, SimulationDataType& simulationData);

    /// Lists one page of a simulation's executions: GET /simulations/{simulationId}/executions.
    ///
    /// @param simulationId inserted into the path; "/" and "?" in it change the request
    /// @param limit        number of entries wanted; sent unchanged, even if zero or negative
    /// @param offset       number of entries to skip; sent unchanged
    /// @return the service's document. Null when offline or unanswered, when the status is not 200,
    ///         or when the body is not one JSON value.
    /// @throws what `GetHostname` throws
    json GetExecutions(const std::string& simulationId, int limit, int offset);

    /// Starts an execution: POST /simulations/{simulationId}/executions. If the status is 201, it
    /// prints a link to the simulation in the web interface on standard output, even if the result
    /// is null.
    ///
    /// @param simulationId inserted into the path and, unchanged, into the link
    /// @param data         the document that the execution starts from, sent unchanged
    /// @return the service's document. Null when offline or unanswered, when the status is not 201
    ///         (200 included), or when the body is not one JSON value.
    /// @throws json::type_error when a string in `data` is not UTF-8; what `GetHostname` throws. It
    ///         is called again for the link: if it throws then, the execution has started.
    json PostExecution(const std::string& simulationId, const json& data);

    /// Reads one execution: GET /simulations/{simulationId}/executions/{executionId}.
    ///
    /// @return the service's document whatever the status, so also an error document. Null when
    ///         offline or unanswered, or when the body is not one JSON value.
    /// @throws what `GetHostname` throws
    json GetExecution(const std::string& simulationId, const std::string& executionId);

    /// Has the service generate a project file: POST /generateProject.
    ///
    /// @param request describes the project; sent unchanged
    /// @return an object. "status" is "ok". "body" contains the file's bytes; `dump()` throws if
    ///         they are not UTF-8. "filename" is the value of the answer's first
    ///         Content-Disposition header (RFC 6266), percent-decoded, up to its first NUL byte; it
    ///         is missing if that header is missing or empty. Null when offline or unanswered, or
    ///         when the status is not 200.
    /// @throws json::type_error when a string in `request` is not UTF-8; what `GetHostname` throws
    json GenerateProject(const json& request);

    /// Lists one page of users: GET /users.
    ///
    /// @param limit  number of entries wanted; sent unchanged, even if zero or negative
    /// @param offset number of entries to skip; sent unchanged
    /// @return the service's document. Null when offline or unanswered, when the status is not 200,
    ///         or when the body is not one JSON value.
    /// @throws what `GetHostname` throws
    json GetUsers(int limit, int offset);

    /// Creates a user: POST /users.
    ///
    /// @return the service's document. Null when offline or unanswered, when the status is not 201
    ///         (200 included), or when the body is not one JSON value.
    /// @throws json::type_error when `email` or `role` is not UTF-8; what `GetHostname` throws
    json CreateUser(const std::string& email, const std::string& role);

    /// Reads one user: GET /users/{userId}.
    ///
    /// @return the service's document whatever the status, so also an error document. Null when
    ///         offline or unanswered, or when the body is not one JSON value.
    /// @throws what `GetHostname` throws
    json GetUser(const std::string& userId);

    /// Changes a user's role: PATCH /users/{userId}.
    ///
    /// @return the service's document. Null when offline or unanswered, when the status is not 200,
    ///         or when the body is not one JSON value.
    /// @throws json::type_error when `role` is not UTF-8; what `GetHostname` throws
    json UpdateUser(const std::string& userId, const std::string& role);

    /// Deletes a user: DELETE /users/{userId}. Does not report whether it succeeded. Does nothing
    /// when offline.
    ///
    /// @throws what `GetHostname` throws
    void DeleteUser(const std::string& userId);

private:
    void ResolveHostname();
    void LogOfflineState();

    EnvConfig config;
    AuthHandler auth;
    std::string hostname;
    std::string lastResolvedToken;
};

} // namespace VarnelBase
