#pragma once

#include <nlohmann/json.hpp>

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace VarnelBase {

/// Which requests an emulator accepts.
enum class EmulatorAccess {
    Off,    ///< all; tokens are ignored
    Any,    ///< those with a bearer token
    Groups, ///< those with a token whose first group is the first label of the host name
};

/// How an emulator behaves.
struct EmulatorOptions {
    std::string address =
        "127.0.0.1";           ///< to listen on; if not loopback, other machines can reach it
    int port = 0;              ///< 0: any free port
    std::string dataDirectory; ///< for the state; empty: keep it in memory

    /// The initial state, in the form of `Export`. If neither this nor `seedFile` is set: built-in
    /// examples.
    std::optional<nlohmann::json> seed;
    std::string seedFile; ///< a file with a seed, if `seed` is not set

    /// The initial rules: one, or an array of them.
    std::optional<nlohmann::json> rules;
    std::string filesDirectory; ///< directory of the files that rules answer with

    /// A record (HAR 1.2) to answer from. With `upstream`, requests that are not in it are sent
    /// there, and the answers are added to it.
    std::string recordFile;
    std::string upstream;                   ///< URL of the real service
    bool emulatesUnrecorded = false;        ///< answers requests that are not in the record
    std::vector<std::string> secretMembers; ///< members never written to the record

    double speed = 1; ///< emulated seconds per real second; 0: only AdvanceClock moves the clock
    EmulatorAccess access = EmulatorAccess::Off; ///< which requests are accepted
    std::string token; ///< the only valid token; empty: every token is valid

    /// Host names (and names below them) that requests may use, besides loopback names and
    /// `address`.
    std::vector<std::string> allowedHosts;
    /// Origins ("http://localhost:5173") whose web pages are allowed.
    std::vector<std::string> allowedOrigins;

    std::string tlsCertificateFile; ///< PEM, with its issuers' certificates; empty: plain HTTP
    std::string tlsKeyFile;         ///< its private key, PEM

    std::ostream* log = nullptr; ///< receives a line of JSON per request; must outlive the emulator
};

/// Emulates the service inside a host application's tests. Serves requests to `GetUrl` from the
/// constructor until `Stop`, in its own threads. docs/EMULATOR.md describes its documents. All
/// operations may be called from any thread.
class Emulator {
public:
    /// Starts serving.
    ///
    /// @throws std::invalid_argument naming the option with an invalid value
    /// @throws std::runtime_error naming what is unusable: a member of the seed or of a rule, the
    ///         data directory, a TLS file, or address and port
    explicit Emulator(const EmulatorOptions& options = {});

    /// Calls `Stop`.
    ~Emulator();
    Emulator(const Emulator&) = delete;
    Emulator& operator=(const Emulator&) = delete;

    /// The TCP port on which it listens.
    int GetPort() const;

    /// "http://127.0.0.1:PORT", or "https://" with TLS.
    const std::string& GetUrl() const;

    /// The bearer token for requests below /_local; empty if they need none.
    const std::string& GetLocalKey() const;

    /// Adds a rule, or an array of rules, by which requests fail or get other answers. Returns it
    /// with its number, and with "warnings" if it looks wrong.
    ///
    /// @throws std::runtime_error naming the unusable member
    nlohmann::json AddFault(const nlohmann::json& rule);

    /// The rules, and how often each matched and applied.
    nlohmann::json GetFaults() const;

    /// Removes a rule.
    ///
    /// @param name the rule's name, or its number as a string
    /// @throws std::runtime_error when there is no such rule
    void RemoveFault(const std::string& name);

    /// Removes all rules.
    void ClearFaults();

    /// Describes the "required" rules that were never applied; empty if there are none. In a test:
    /// EXPECT_EQ(emulator.CheckFaults(), "");
    std::string CheckFaults() const;

    /// The requests so far: an array in the order of their answers.
    ///
    /// @param pattern selects the requests that match it
    nlohmann::json GetRequests(const nlohmann::json& pattern = nlohmann::json::object()) const;

    /// Forgets the requests so far.
    void ClearRequests();

    /// Checks that the expected number of requests match a pattern. Returns "", or a description of
    /// the problem and of similar requests. In a test:
    /// EXPECT_EQ(emulator.CheckRequests({{"method", "POST"}, {"times", 3}}), "");
    ///
    /// @throws std::runtime_error naming the unusable member
    std::string CheckRequests(const nlohmann::json& expectation) const;

    /// Advances the emulated clock.
    ///
    /// @throws std::runtime_error when the seconds are negative, or the clock would pass the year
    ///         9999
    void AdvanceClock(double seconds);

    /// Adds a simulation, in the form of a seed's, and returns its document.
    ///
    /// @throws std::runtime_error naming what is unusable, as does every operation that takes a
    ///         document or an identifier
    nlohmann::json CreateSimulation(const nlohmann::json& simulation);

    /// Ends an execution successfully, at the current emulated time, and returns its document.
    ///
    /// @param simulationId the simulation's identifier
    /// @param executionId  the execution's identifier
    /// @param members      merged into the document: results, for example
    nlohmann::json FinishExecution(const std::string& simulationId, const std::string& executionId,
                                   const nlohmann::json& members = nlohmann::json::object());

    /// The same, but the execution has failed.
    nlohmann::json FailExecution(const std::string& simulationId, const std::string& executionId,
                                 const nlohmann::json& members = nlohmann::json::object());

    /// Replaces the state with a seed, to which `Reset` then returns.
    void LoadSeed(const nlohmann::json& seed);

    /// Restores the initial state and clock, and forgets rules and requests.
    void Reset();

    /// The state as a document that can seed another emulator.
    nlohmann::json Export();

    /// Accepts no more requests and returns once the current ones are answered.
    void Stop();

private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation;
};

/// While it exists, connectors and clients constructed in this process use an emulator, with a
/// token that is valid nowhere else. Its constructor sets VARNEL variables and its destructor
/// restores them: meanwhile no other thread may read the environment.
class ConnectorEnvironment {
public:
    /// Directs connectors and clients to this emulator.
    explicit ConnectorEnvironment(const Emulator& emulator);
    ~ConnectorEnvironment(); ///< Restores the variables.
    ConnectorEnvironment(const ConnectorEnvironment&) = delete;
    ConnectorEnvironment& operator=(const ConnectorEnvironment&) = delete;

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> before;
};

} // namespace VarnelBase
