#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Messages.h"
#include "RequestPattern.h"

namespace VarnelBase::Emulation {

/// What goes wrong with a request, apart from a delay that any of them may have.
enum class FaultAction {
    Delay,                ///< nothing more
    Status,               ///< another status, the request is not carried out
    ReplaceStatus,        ///< the answer as it is, under another status
    DropBeforeReading,    ///< closed with the body unread, the request is not carried out
    DropAfterReading,     ///< carried out, then closed without an answer
    Reset,                ///< carried out, then a TCP reset
    Truncate,             ///< half of the body, or of the head when there is none
    MalformedChunk,       ///< chunked, with a chunk whose length is no number
    InvalidJson,          ///< a body that is not JSON
    LiteralNull,          ///< the body "null"
    DuplicateDisposition, ///< a second Content-Disposition
    EmptyDisposition,     ///< Content-Disposition without a value
    Drip,                 ///< byte by byte with pauses
    Endless,              ///< a body that goes on up to a limit
    Answer,               ///< the rule's own answer, the request is not carried out
};

struct Fault {
    std::int64_t rule = 0; ///< number of the rule that it comes from
    FaultAction action = FaultAction::Delay;
    double delaySeconds = 0;
    int status = 0;
    std::int64_t maxBytes = 0;                       ///< of an endless body
    double pauseSeconds = 0;                         ///< between the bytes of a dripping answer
    std::shared_ptr<const Emulation::Answer> answer; ///< the rule's own
};

/// The rules that say which requests fail or are answered otherwise, and the scenarios whose states
/// they depend on. For several threads at a time.
class FaultRules {
public:
    /// @param directory where files of answers come from; empty: from nowhere
    explicit FaultRules(std::string directory) : files(std::move(directory)) {}

    /// Adds a rule, or an array of them, all or none.
    ///
    /// @return the rule, or the array, as List shows it, with "warnings" about what looks wrong
    /// @throws Refusal 422 naming the member that cannot be used
    json Add(const json& rules);

    json List() const;
    /// @param key a rule's name or number
    json Get(const std::string& key) const;
    void Remove(const std::string& key);
    /// Removes all rules and takes all scenarios back to their start.
    void Clear();

    json ListScenarios() const;
    void SetScenario(const std::string& name, const std::string& state);

    /// What is wrong with how the rules were used: names those that had to apply and did not.
    /// Empty: nothing.
    std::string Check() const;

    /// Counts a request and returns the fault that applies to it.
    std::optional<Fault> Choose(const std::string& method, const std::string& path);

private:
    struct Rule {
        std::string name; ///< may be empty
        RequestPattern pattern;
        std::int64_t occurrence = 1;
        std::int64_t times = 1; ///< 0: from the occurrence on for ever
        double probability = 1;
        std::int64_t seed = 0;
        bool isRequired = false;
        std::string scenario;  ///< empty: none
        std::string fromState; ///< in which it applies; empty: any
        std::string toState;   ///< to which it leads; empty: it stays
        json document;
        std::int64_t matched = 0;
        std::int64_t applied = 0;
        Fault fault;
    };

    Rule ReadRule(const json& document, const std::string& where) const;
    static json Describe(const Rule& rule);
    std::vector<Rule>::const_iterator Find(const std::string& key) const;
    std::string GetState(const std::string& scenario) const;

    std::string files;
    mutable std::mutex mutex;
    std::vector<Rule> rules;
    std::map<std::string, std::string> states; ///< of scenarios that have left their start
    std::int64_t rulesMade = 0;
};

} // namespace VarnelBase::Emulation
