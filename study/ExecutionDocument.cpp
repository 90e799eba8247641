#include "ExecutionDocument.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace VarnelBase::Studies {

namespace {

bool Holds(const std::vector<std::string>& states, const std::string& state) {
    return std::find(states.begin(), states.end(), state) != states.end();
}

/// The service's reason, if the document has one in the usual places.
std::string FindReason(const json& document) {
    for (const char* place : {"/error/message", "/error", "/message", "/reason"}) {
        const auto text = FindText(document, json::json_pointer(place));
        if (text) { return ": " + *text; }
    }
    return "";
}

} // namespace

Verdict JudgeExecution(const Definition& definition, const json& document) {
    const ExecutionShape& shape = definition.execution;
    const auto state = FindText(document, shape.state);
    if (!state) {
        throw std::runtime_error("the execution's document has no state at " +
                                 shape.state.to_string() +
                                 ": say where it is in \"execution\" of " + definition.file);
    }
    Verdict verdict;
    if (Holds(shape.goodStates, *state)) {
        verdict.kind = Verdict::Kind::Finished;
        verdict.results = json::array();
        for (const Quantity& quantity : definition.collected) {
            const bool isThere = document.contains(quantity.pointer);
            verdict.results.push_back(isThere ? document.at(quantity.pointer) : json());
        }
    } else if (Holds(shape.badStates, *state)) {
        verdict.kind = Verdict::Kind::Failed;
        verdict.reason = "the execution ended as \"" + *state + "\"" + FindReason(document);
    }
    return verdict;
}

std::optional<std::string> FindText(const json& document, const json::json_pointer& pointer) {
    if (!document.contains(pointer) || !document.at(pointer).is_string()) { return std::nullopt; }
    return document.at(pointer).get<std::string>();
}

} // namespace VarnelBase::Studies
