#pragma once

#include <nlohmann/json.hpp>

#include <set>
#include <string>

#include "AuthHandler.h"
#include "BuildGuard.h"
#include "EnvConfig.h"

// An installed library tells which release it was built with (3.12.0 as 31200).
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

/// The client of one deployment of the simulation service.
///
/// Each operation is one HTTP/1.1 request over a connection of its own, made on the caller's
/// thread: it blocks until the answer is there or the HTTP library's time-outs end it (connecting
/// 300 s, writing 5 s, reading 5 s, or 300 s with cpp-httplib from 0.18). Requests are plain HTTP
/// and carry the access token as a bearer token (RFC 6750, section 2.1).
///
/// Identifiers and the scope go into the request target as they stand. Nothing is escaped but
/// space, "+", CR, LF, "'", ",", ";" and bytes from 0x80 up. A "/", "?", "&", "#" or "%" in one
/// changes the request.
///
/// An operation reports failure through its result alone: null, an empty set, or nothing at all.
/// What finding the token or the host throws (std::runtime_error), what serialising a body throws
/// (json::type_error for invalid UTF-8; nothing is sent then) and std::bad_alloc reach the caller.
///
/// A connector belongs to one thread at a time; separate connectors are independent. It can be
/// neither copied nor moved.
class ApiConnector {
public:
    /// A connector for the environment that VARNEL_ENVIRONMENT or the configuration file chooses,
    /// else `Local`. When the settings say offline, one line on standard output says so.
    ///
    /// @throws what reading the settings throws (see EnvConfig)
    ApiConnector();

    /// A connector for the given environment. The token is nevertheless that of the environment
    /// that `ApiConnector()` would choose, and is sent to the given one: make sure that both are
    /// the same, or use `ApiConnector()`.
    ///
    /// @throws what reading the settings throws (see EnvConfig)
    ApiConnector(Environment environment);

    ~ApiConnector();

    /// Host of the next request, without scheme and port: "group.host", or the configured host
    /// alone; empty when offline. Fills a cache although it reads like a getter, so one connector
    /// belongs to one thread at a time. The group is looked up again when the token changes.
    ///
    /// @throws what AuthHandler's `GetApiKey` and `GetFirstGroup` throw
    std::string GetHostname();

    /// TCP port of every request.
    unsigned int GetPort();

    /// The access token, offline too. Empty: requests carry none.
    ///
    /// @throws what AuthHandler's `GetApiKey` throws
    std::string GetApiKey();

    /// Signs in, offline too, and returns the access token; may open a browser and wait for a
    /// person.
    ///
    /// @throws what AuthHandler's `Login` throws
    std::string Login();

    /// The deployment that the connector was built for.
    Environment GetEnvironment() const;

    /// Whether every operation answers at once from its offline value, without a request.
    bool IsOffline() const;

    /// Asks for the service's version: GET /version.
    ///
    /// @return the service's document; offline the array ["0.4.1"]. Null when unanswered, answered
    ///         with a status other than 200, or with something that is not one JSON value.
    /// @throws what `GetHostname` throws; nothing of its own
    json GetVersion();

    /// Reads the state of the service's agent: GET /agent.
    ///
    /// @return the service's document, whatever the status. Null when offline, unanswered, or
    ///         answered with something that is not one JSON value.
    /// @throws what `GetHostname` throws; nothing of its own
    json GetAgent();

    /// Sends one command to the service's agent: POST /agent.
    ///
    /// @param command sent as it stands, as the member "command"
    /// @return the service's document, whatever the status. Null when offline, unanswered, or
    ///         answered with something that is not one JSON value.
    /// @throws json::type_error when `command` is not UTF-8; what `GetHostname` throws
    json SendAgentCommand(const std::string& command);

    /// Lists one page of simulations: GET /simulations.
    ///
    /// @param scope  which simulations, in the service's terms ("user": the caller's own)
    /// @param limit  entries wanted, sent as given, zero and negative included
    /// @param offset entries to skip, counted from 0, sent as given
    /// @return the service's document. Null when offline, unanswered, answered with a status other
    ///         than 200, or with something that is not one JSON value.
    /// @throws what `GetHostname` throws; nothing of its own
    json GetSimulations(const std::string& scope, int limit, int offset);

    /// Reads one simulation: GET /simulations/{simulationId}.
    ///
    /// @return the service's document, whatever the status: an error document as well. Null when
    ///         offline, unanswered, or answered with something that is not one JSON value.
    /// @throws what `GetHostname` throws; nothing of its own
    json GetSimulationData(const std::string& simulationId);

    /// Asks for a simulation to be deleted: DELETE /simulations/{simulationId}. Whether it was
    /// cannot be told from this call. Offline it does nothing.
    /// @throws what `GetHostname` throws; nothing of its own
    void DeleteSimulation(const std::string& simulationId);

    /// Reads a simulation's inputs: GET /simulations/{simulationId}/inputs.
    ///
    /// @return the service's document, whatever the status: an error document as well. Null when
    ///         offline, unanswered, or answered with something that is not one JSON value.
    /// @throws what `GetHostname` throws; nothing of its own
    json GetSimulationInputs(const std::string& simulationId);

    /// Replaces a simulation's inputs: POST /simulations/{simulationId}/inputs. Whether it did
    /// cannot be told from this call. Offline it does nothing.
    ///
    /// @param simulationId goes into the path as it stands
    /// @param inputs       the whole document, sent as it stands
    /// @throws json::type_error when a string in `inputs` is not UTF-8; what `GetHostname` throws
    void PostSimulationInputs(const std::string& simulationId, const json& inputs);

    /// Identifiers of the caller's simulations: the "id" members of the first page of 50 that
    /// `GetSimulations("user", 50, 0)` returns. Further pages are not asked for.
    ///
    /// @return empty when there are none, and also when that call returns null or a document
    ///         without "items"
    /// @throws json::type_error when an "id" is not a string; what `GetHostname` throws
    SimulationNamesListType GetSimulationNames();

    /// The inputs of a simulation before it is executed: `GetSimulationInputs` under another name.
    SimulationDataType GetSimulationPreexecutionData(const std::string& simulationName);

    /// Starts an execution with the given document: `PostExecution` without its result. Despite its
    /// name it stores nothing.
    ///
    /// @param simulationName the simulation's identifier
    /// @param simulationData not changed
    /// @throws json::type_error when a string in `simulationData` is not UTF-8; what `GetHostname`
    ///         throws
    void PutSimulationData(const std::string& simulationName, SimulationDataType& simulationData);

    /// Lists one page of a simulation's executions: GET /simulations/{simulationId}/executions.
    ///
    /// @param simulationId goes into the path as it stands; "/" and "?" in it change the request
    /// @param limit        entries wanted, sent as given, zero and negative included
    /// @param offset       entries to skip, counted from 0, sent as given
    /// @return the service's document. Null when offline, unanswered, answered with a status other
    ///         than 200, or answered with something that is not one JSON value.
    /// @throws what `GetHostname` throws; nothing of its own
    json GetExecutions(const std::string& simulationId, int limit, int offset);

    /// Starts an execution: POST /simulations/{simulationId}/executions. After a 201, and only
    /// then, a line with the simulation's address in the web interface goes to standard output,
    /// even if the answer's document cannot be read.
    ///
    /// @param simulationId goes into the path and the link as it stands
    /// @param data         the document that the execution starts from, sent as it stands
    /// @return the service's document. Null when offline, unanswered, answered with a status other
    ///         than 201 (a 200 too), or with something that is not one JSON value.
    /// @throws json::type_error when a string in `data` is not UTF-8; what `GetHostname` throws,
    ///         which the link after the request needs again
    json PostExecution(const std::string& simulationId, const json& data);

    /// Reads one execution: GET /simulations/{simulationId}/executions/{executionId}.
    ///
    /// @return the service's document, whatever the status: an error document as well. Null when
    ///         offline, unanswered, or answered with something that is not one JSON value.
    /// @throws what `GetHostname` throws; nothing of its own
    json GetExecution(const std::string& simulationId, const std::string& executionId);

    /// Has the service generate a project file: POST /generateProject.
    ///
    /// @param request describes the project; sent as it stands
    /// @return an object: "status" is "ok"; "body" holds the file's bytes, which need not be UTF-8,
    ///         so `dump()` of the whole may throw; "filename" is the value of the answer's first
    ///         Content-Disposition header (RFC 6266), percent-decoded, up to its first NUL byte,
    ///         and is absent without that header. Null when offline, unanswered, or answered with a
    ///         status other than 200.
    /// @throws json::type_error when a string in `request` is not UTF-8; what `GetHostname` throws
    json GenerateProject(const json& request);

    /// Lists one page of users: GET /users.
    ///
    /// @param limit  entries wanted, sent as given, zero and negative included
    /// @param offset entries to skip, counted from 0, sent as given
    /// @return the service's document. Null when offline, unanswered, answered with a status other
    ///         than 200, or with something that is not one JSON value.
    /// @throws what `GetHostname` throws; nothing of its own
    json GetUsers(int limit, int offset);

    /// Creates a user: POST /users.
    ///
    /// @return the service's document. Null when offline, unanswered, answered with a status other
    ///         than 201 (a 200 too), or with something that is not one JSON value.
    /// @throws json::type_error when `email` or `role` is not UTF-8; what `GetHostname` throws
    json CreateUser(const std::string& email, const std::string& role);

    /// Reads one user: GET /users/{userId}.
    ///
    /// @return the service's document, whatever the status: an error document as well. Null when
    ///         offline, unanswered, or answered with something that is not one JSON value.
    /// @throws what `GetHostname` throws; nothing of its own
    json GetUser(const std::string& userId);

    /// Changes a user's role: PATCH /users/{userId}.
    ///
    /// @return the service's document. Null when offline, unanswered, answered with a status other
    ///         than 200, or with something that is not one JSON value.
    /// @throws json::type_error when `role` is not UTF-8; what `GetHostname` throws
    json UpdateUser(const std::string& userId, const std::string& role);

    /// Asks for a user to be deleted: DELETE /users/{userId}. Whether it was cannot be told from
    /// this call. Offline it does nothing.
    /// @throws what `GetHostname` throws; nothing of its own
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
