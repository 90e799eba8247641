#include "Faults.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <set>
#include <utility>

#include "MemberReader.h"
#include "RuleAnswer.h"
#include "SeededDraw.h"

namespace VarnelBase::Emulation {

namespace {

constexpr double MaxDelaySeconds = 3600;
constexpr std::int64_t MaxEndlessBytes = std::int64_t{1} << 40U;
constexpr std::int64_t DefaultEndlessBytes = std::int64_t{64} << 20U;
constexpr std::int64_t MaxCount = INT32_MAX;
constexpr const char* FirstState = "started";

constexpr std::array<std::pair<const char*, FaultAction>, 15> Actions{{
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
    {"answer", FaultAction::Answer},
}};

FaultAction ReadAction(MemberReader& members) {
    const std::string name = members.ReadText("action");
    const auto* found = std::find_if(Actions.begin(), Actions.end(),
                                     [&](const auto& known) { return known.first == name; });
    if (found == Actions.end()) {
        std::string names;
        for (const auto& known : Actions) { names += std::string(" ") + known.first; }
        members.Refuse("action", "must be one of" + names);
    }
    return found->second;
}

Fault ReadFault(MemberReader& members, const std::string& files) {
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
    if (fault.action == FaultAction::Answer) { fault.answer = ReadRuleAnswer(members, files); }
    if (fault.action == FaultAction::Endless) {
        fault.maxBytes = members.ReadInteger("maxBytes", DefaultEndlessBytes, 1, MaxEndlessBytes);
    }
    if (fault.action == FaultAction::Drip) {
        fault.pauseSeconds = members.ReadNumber("pause", 0.1, 0, MaxDelaySeconds);
    }
    return fault;
}

} // namespace

FaultRules::Rule FaultRules::ReadRule(const json& document, const std::string& where) const {
    MemberReader members(document, where);
    Rule rule;
    rule.name = members.ReadText("name", "");
    if (!rule.name.empty() && rule.name.find_first_not_of("0123456789") == std::string::npos) {
        members.Refuse("name", "must not consist of digits only: these stand for a rule's number");
    }
    rule.pattern = RequestPattern(members);
    rule.occurrence = members.ReadInteger("occurrence", 1, 1, MaxCount);
    rule.times = members.ReadInteger("times", 1, 0, MaxCount);
    rule.probability = members.ReadNumber("probability", 1, 0, 1);
    rule.seed = members.ReadInteger("seed", 0, INT64_MIN, INT64_MAX);
    if (members.Has("probability") != members.Has("seed")) {
        members.Refuse("probability", "requires seed, so that it can be repeated");
    }
    const json& required = members.Find("required");
    if (!required.is_null() && !required.is_boolean()) {
        members.Refuse("required", "must be true or false");
    }
    rule.isRequired = required == true;
    if (members.Has("scenario")) {
        MemberReader scenario(members.Find("scenario"),
                              where + (where.empty() ? "" : ".") + "scenario");
        rule.scenario = scenario.ReadText("name");
        rule.fromState = scenario.ReadText("in", "");
        rule.toState = scenario.ReadText("then", "");
        scenario.RefuseOthers();
    }
    rule.fault = ReadFault(members, files);
    members.RefuseOthers();
    rule.document = document;
    return rule;
}

json FaultRules::Describe(const Rule& rule) {
    json document = rule.document;
    document["id"] = rule.fault.rule;
    document["matched"] = rule.matched;
    document["applied"] = rule.applied;
    const std::vector<std::string> warnings =
        rule.pattern.CollectWarnings(rule.fault.answer != nullptr);
    if (!warnings.empty()) { document["warnings"] = warnings; }
    return document;
}

std::vector<FaultRules::Rule>::const_iterator FaultRules::Find(const std::string& key) const {
    const auto found = std::find_if(rules.begin(), rules.end(), [&key](const Rule& rule) {
        return rule.name == key || std::to_string(rule.fault.rule) == key;
    });
    if (found == rules.end()) {
        throw Refusal(404, "not_found", "there is no rule \"" + key + "\"");
    }
    return found;
}

std::string FaultRules::GetState(const std::string& scenario) const {
    const auto found = states.find(scenario);
    return found == states.end() ? FirstState : found->second;
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
    std::set<std::string> names;
    for (const Rule& rule : rules) { names.insert(rule.name); }
    for (const Rule& rule : read) {
        if (!rule.name.empty() && !names.insert(rule.name).second) {
            throw Refusal(422, "invalid", "name: a rule \"" + rule.name + "\" exists already");
        }
    }
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

json FaultRules::Get(const std::string& key) const {
    const std::lock_guard<std::mutex> lock(mutex);
    return Describe(*Find(key));
}

void FaultRules::Remove(const std::string& key) {
    const std::lock_guard<std::mutex> lock(mutex);
    rules.erase(Find(key));
}

void FaultRules::Clear() {
    const std::lock_guard<std::mutex> lock(mutex);
    rules.clear();
    states.clear();
}

json FaultRules::ListScenarios() const {
    const std::lock_guard<std::mutex> lock(mutex);
    std::set<std::string> names;
    for (const Rule& rule : rules) {
        if (!rule.scenario.empty()) { names.insert(rule.scenario); }
    }
    for (const auto& [name, state] : states) { names.insert(name); }
    json items = json::array();
    for (const std::string& name : names) {
        items.push_back(json::object({{"name", name}, {"state", GetState(name)}}));
    }
    return json::object({{"items", std::move(items)}, {"total", names.size()}});
}

void FaultRules::SetScenario(const std::string& name, const std::string& state) {
    const std::lock_guard<std::mutex> lock(mutex);
    states[name] = state;
}

std::string FaultRules::Check() const {
    const std::lock_guard<std::mutex> lock(mutex);
    std::string problems;
    for (const Rule& rule : rules) {
        if (!rule.isRequired || rule.applied > 0) { continue; }
        problems +=
            "the rule " +
            (rule.name.empty() ? std::to_string(rule.fault.rule) : "\"" + rule.name + "\"") + " (" +
            rule.pattern.Describe() + ") was never applied; " + std::to_string(rule.matched) +
            " requests matched it\n";
    }
    return problems;
}

std::optional<Fault> FaultRules::Choose(const std::string& method, const std::string& path) {
    const std::lock_guard<std::mutex> lock(mutex);
    std::optional<Fault> chosen;
    std::string scenario;
    std::string nextState;
    for (Rule& rule : rules) {
        const bool isInState = rule.fromState.empty() || rule.fromState == GetState(rule.scenario);
        if (!isInState || !rule.pattern.Matches(method, path)) { continue; }
        ++rule.matched;
        const bool isTurn =
            rule.matched >= rule.occurrence &&
            (rule.times == 0 || rule.matched - rule.occurrence < rule.times) &&
            DrawFraction(rule.seed, std::to_string(rule.matched)) < rule.probability;
        if (isTurn && !chosen) {
            ++rule.applied;
            chosen = rule.fault;
            scenario = rule.scenario;
            nextState = rule.toState;
        }
    }
    // Last, so that no other rule counts a request in the state that it leads to.
    if (!nextState.empty()) { states[scenario] = nextState; }
    return chosen;
}

} // namespace VarnelBase::Emulation
