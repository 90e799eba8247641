#pragma once

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "Messages.h"

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
};

struct Fault {
    std::int64_t rule = 0; ///< number of the rule that it comes from
    FaultAction action = FaultAction::Delay;
    double delaySeconds = 0;
    int status = 0;
    std::int64_t maxBytes = 0; ///< of an endless body
    double pauseSeconds = 0;   ///< between the bytes of a dripping answer
};

/// The rules that say which requests fail. For several threads at a time.
class FaultRules {
public:
    /// Adds a rule, or an array of them, all or none.
    ///
    /// @return the rule, or the array, as List shows it
    /// @throws Refusal 422 naming the member that cannot be used
    json Add(const json& rules);

    json List() const;
    void Clear();

    /// Counts a request and gives the fault that it meets.
    std::optional<Fault> Choose(const std::string& method, const std::string& path);

private:
    struct Rule {
        std::string method; ///< empty: any
        std::string path;   ///< empty: any
        std::int64_t occurrence = 1;
        std::int64_t times = 1; ///< 0: from the occurrence on for ever
        double probability = 1;
        std::int64_t seed = 0;
        json document;
        std::int64_t matched = 0;
        std::int64_t applied = 0;
        Fault fault;
    };

    static Rule ReadRule(const json& document, const std::string& where);
    static json Describe(const Rule& rule);

    mutable std::mutex mutex;
    std::vector<Rule> rules;
    std::int64_t rulesMade = 0;
};

} // namespace VarnelBase::Emulation
