#pragma once

#include <nlohmann/json.hpp>

#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace VarnelBase {

/// Who may ask an emulator.
enum class EmulatorAccess {
    Off,    ///< everybody; tokens are not looked at
    Any,    ///< who sends a bearer token
    Groups, ///< who sends one whose first group is the first label of the host's name
};

struct EmulatorOptions {
    std::string address = "127.0.0.1"; ///< to listen on; another than loopback opens it to others
    int port = 0;                      ///< 0: a free one
    std::string dataDirectory;         ///< where the state is kept; empty: in memory

    /// What a service without state starts with, in the form of Export; none: built-in examples.
    std::optional<nlohmann::json> seed;
    std::string seedFile; ///< a file that holds one, where `seed` is not given

    /// Rules that it starts with, one or an array of them; none: no rule.
    std::optional<nlohmann::json> rules;
    std::string filesDirectory; ///< where the files of rules' answers come from

    /// A record (HAR 1.2) that answers requests; empty: none. With `upstream`, what is not in it is
    /// asked there, and added.
    std::string recordFile;
    std::string upstream;            ///< address of the real service; empty: none
    bool emulatesUnrecorded = false; ///< whether the emulator answers what is not in the record
    std::vector<std::string> secretMembers; ///< that never get into the record's file

    double speed = 1; ///< emulated seconds in a second; 0: time stands still but for AdvanceClock
    EmulatorAccess access = EmulatorAccess::Off;
    std::string token; ///< the only token that is good; empty: every one is

    /// Hosts under whose names (and the names below them) it may be asked, besides those of this
    /// machine's loopback and `address`.
    std::vector<std::string> allowedHosts;
    /// Origins ("http://localhost:5173") whose pages may do what programs may.
    std::vector<std::string> allowedOrigins;

    std::string tlsCertificateFile; ///< PEM, with those that signed it; empty: plain HTTP
    std::string tlsKeyFile;         ///< its private key, PEM

    std::ostream* log =
        nullptr; ///< where each request goes as a line of JSON; outlives the emulator
};

/// The service on your own machine, for the tests of a host application. It serves from its
/// construction to Stop, in threads of its own, and answers on GetUrl. The documents that it takes
/// and gives are described in docs/EMULATOR.md. Its operations may be called from any thread.
class Emulator {
public:
    /// Starts it.
    ///
    /// @throws std::invalid_argument naming the option whose value is none
    /// @throws std::runtime_error naming what cannot be used: the seed's member, the data
    /// directory,
    ///         a file of TLS, or address and port
    explicit Emulator(const EmulatorOptions& options = {});

    /// Stops it.
    ~Emulator();
    Emulator(const Emulator&) = delete;
    Emulator& operator=(const Emulator&) = delete;

    int GetPort() const;

    /// "http://127.0.0.1:PORT"
    const std::string& GetUrl() const;

    /// What requests below /_local send as a bearer token; empty when nobody needs tokens.
    const std::string& GetLocalKey() const;

    /// Adds one rule that lets requests fail or answers them otherwise, or an array of them, and
    /// returns it with its number, and with "warnings" where it looks wrong.
    ///
    /// @throws std::runtime_error naming the member that cannot be used
    nlohmann::json AddFault(const nlohmann::json& rule);

    /// The rules with how often they matched and applied.
    nlohmann::json GetFaults() const;

    /// @param name a rule's name, or its number as a text
    void RemoveFault(const std::string& name);
    void ClearFaults();

    /// Which of the rules with "required" were never applied, in words; empty: none. In a test:
    /// EXPECT_EQ(emulator.CheckFaults(), "");
    std::string CheckFaults() const;

    /// What was asked: an array in the order of the answers.
    ///
    /// @param pattern leaves out the requests that do not match it
    nlohmann::json GetRequests(const nlohmann::json& pattern = nlohmann::json::object()) const;
    void ClearRequests();

    /// What is wrong with the requests so far, with the nearest ones; empty: as many match the
    /// pattern as it says. In a test:
    /// EXPECT_EQ(emulator.CheckRequests({{"method", "POST"}, {"times", 3}}), "");
    ///
    /// @throws std::runtime_error naming the member that cannot be used
    std::string CheckRequests(const nlohmann::json& expectation) const;

    /// Lets time pass at once.
    ///
    /// @throws std::runtime_error when the seconds are negative, or lead beyond the year 9999
    void AdvanceClock(double seconds);

    /// Adds a simulation, written as one of a seed, and returns its document.
    ///
    /// @throws std::runtime_error naming what cannot be used, as every operation that takes a
    ///         document or an identifier does
    nlohmann::json CreateSimulation(const nlohmann::json& simulation);

    /// Ends an execution at this moment of the emulated clock, and returns its document.
    ///
    /// @param members merged into its document: results, say, or an error
    nlohmann::json FinishExecution(const std::string& simulationId, const std::string& executionId,
                                   const nlohmann::json& members = nlohmann::json::object());
    nlohmann::json FailExecution(const std::string& simulationId, const std::string& executionId,
                                 const nlohmann::json& members = nlohmann::json::object());

    /// Replaces the state by a seed, which Reset goes back to from then on.
    void LoadSeed(const nlohmann::json& seed);

    /// Goes back to the start: state, clock, faults, requests.
    void Reset();

    /// Everything as a document that another one can be seeded with.
    nlohmann::json Export();

    /// Takes no further requests and returns when those in flight are answered.
    void Stop();

private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation;
};

/// Sends every connector that this process makes meanwhile to an emulator, with a token that is
/// good nowhere else: it sets VARNEL variables, and puts them back at its end. For one thread,
/// while no other one reads the environment.
class ConnectorEnvironment {
public:
    explicit ConnectorEnvironment(const Emulator& emulator);
    ~ConnectorEnvironment();
    ConnectorEnvironment(const ConnectorEnvironment&) = delete;
    ConnectorEnvironment& operator=(const ConnectorEnvironment&) = delete;

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> before;
};

} // namespace VarnelBase
