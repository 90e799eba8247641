#include "Faults.h"

#include <fnmatch.h>

#include <algorithm>
#include <array>
#include <iterator>

#include "Members.h"
#include "SeededDraw.h"

namespace VarnelBase::Emulation {

namespace {

constexpr double MaxDelaySeconds = 3600;
constexpr std::int64_t MaxEndlessBytes = std::int64_t{1} << 40U;
constexpr std::int64_t DefaultEndlessBytes = std::int64_t{64} << 20U;
constexpr std::int64_t MaxCount = INT32_MAX;

struct NamedAction {
    const char* name;
    FaultAction action;
};

constexpr std::array<NamedAction, 14> Actions{{
    {"delay", FaultAction::Delay},
    {"status", FaultAction::Status},
    {"replaceStatus", FaultAction::ReplaceStatus},
    {"dropBeforeReading", FaultAction::DropBeforeReading},
    {"dropAfterReading", FaultAction::DropAfterReading},
    {"reset", FaultAction::Reset},
    {"truncate", FaultAction::Truncate},
    {"malformedChunk", FaultAction::MalformedChunk},
    {"invalidJson", FaultAction::InvalidJson},
    {"literalNull", FaultAction::LiteralNull},
    {"duplicateDisposition", FaultAction::DuplicateDisposition},
    {"emptyDisposition", FaultAction::EmptyDisposition},
    {"drip", FaultAction::Drip},
    {"endless", FaultAction::Endless},
}};

FaultAction ReadAction(Members& members) {
    const std::string name = members.ReadText("action");
    const auto* found = std::find_if(Actions.begin(), Actions.end(),
                                     [&](const NamedAction& known) { return known.name == name; });
    if (found == Actions.end()) {
        std::string names;
        for (const NamedAction& known : Actions) { names += std::string(" ") + known.name; }
        members.Refuse("action", "must be one of" + names);
    }
    return found->action;
}

Fault ReadFault(Members& members) {
    Fault fault;
    fault.action = ReadAction(members);
    fault.delaySeconds = members.ReadNumber("delay", 0, 0, MaxDelaySeconds);
    if (fault.action == FaultAction::Delay && fault.delaySeconds <= 0) {
        members.Refuse("delay", "must say how many seconds");
    }
    if (fault.action == FaultAction::Status || fault.action == FaultAction::ReplaceStatus) {
        const int usual = fault.action == FaultAction::Status ? 503 : 200;
        fault.status = static_cast<int>(members.ReadInteger("status", usual, 200, 599));
    }
    if (fault.action == FaultAction::Endless) {
        fault.maxBytes = members.ReadInteger("maxBytes", DefaultEndlessBytes, 1, MaxEndlessBytes);
    }
    if (fault.action == FaultAction::Drip) {
        fault.pauseSeconds = members.ReadNumber("pause", 0.1, 0, MaxDelaySeconds);
    }
    return fault;
}

} // namespace

FaultRules::Rule FaultRules::ReadRule(const json& document, const std::string& where) {
    Members members(document, where);
    Rule rule;
    rule.method = members.ReadText("method", "");
    rule.path = members.ReadText("path", "");
    rule.occurrence = members.ReadInteger("occurrence", 1, 1, MaxCount);
    rule.times = members.ReadInteger("times", 1, 0, MaxCount);
    rule.probability = members.ReadNumber("probability", 1, 0, 1);
    rule.seed = members.ReadInteger("seed", 0, INT64_MIN, INT64_MAX);
    if (members.Has("probability") != members.Has("seed")) {
        members.Refuse("probability", "goes together with seed, so that it can be repeated");
    }
    rule.fault = ReadFault(members);
    members.RefuseOthers();
    rule.document = document;
    return rule;
}

json FaultRules::Describe(const Rule& rule) {
    json document = rule.document;
    document["id"] = rule.fault.rule;
    document["matched"] = rule.matched;
    document["applied"] = rule.applied;
    return document;
}

json FaultRules::Add(const json& added) {
    std::vector<Rule> read;
    if (added.is_array()) {
        for (std::size_t i = 0; i < added.size(); ++i) {
            read.push_back(ReadRule(added[i], "[" + std::to_string(i) + "]"));
        }
    } else {
        read.push_back(ReadRule(added, ""));
    }
    const std::lock_guard<std::mutex> lock(mutex);
    json described = json::array();
    for (Rule& rule : read) {
        rule.fault.rule = ++rulesMade;
        described.push_back(Describe(rule));
    }
    std::move(read.begin(), read.end(), std::back_inserter(rules));
    return added.is_array() ? described : described[0];
}

json FaultRules::List() const {
    const std::lock_guard<std::mutex> lock(mutex);
    json items = json::array();
    for (const Rule& rule : rules) { items.push_back(Describe(rule)); }
    return json::object({{"items", std::move(items)}, {"total", rules.size()}});
}

void FaultRules::Clear() {
    const std::lock_guard<std::mutex> lock(mutex);
    rules.clear();
}

std::optional<Fault> FaultRules::Choose(const std::string& method, const std::string& path) {
    const std::lock_guard<std::mutex> lock(mutex);
    std::optional<Fault> chosen;
    for (Rule& rule : rules) {
        const bool matches =
            (rule.method.empty() || rule.method == method) &&
            (rule.path.empty() || fnmatch(rule.path.c_str(), path.c_str(), FNM_PATHNAME) == 0);
        if (!matches) { continue; }
        ++rule.matched;
        const bool isTurn =
            rule.matched >= rule.occurrence &&
            (rule.times == 0 || rule.matched - rule.occurrence < rule.times) &&
            DrawFraction(rule.seed, std::to_string(rule.matched)) < rule.probability;
        if (isTurn && !chosen) {
            ++rule.applied;
            chosen = rule.fault;
        }
    }
    return chosen;
}

} // namespace VarnelBase::Emulation
