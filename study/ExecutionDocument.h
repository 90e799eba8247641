#pragma once

#include <optional>
#include <string>

#include "Definition.h"

namespace VarnelBase::Studies {

/// What an execution's document says about a point.
struct Verdict {
    /// How far the execution is.
    enum class Kind {
        UnderWay, ///< in a state that does not end it
        Finished, ///< in one of `ExecutionShape::goodStates`
        Failed,   ///< in one of `ExecutionShape::badStates`
    };
    Kind kind = Kind::UnderWay; ///< how far the execution is
    json results;       ///< of a finished one: array, in the order of `Definition::collected`
    std::string reason; ///< of a failed one
};

/// Reads how far an execution is, and its results.
///
/// @throws std::runtime_error when the document has no state at the place that the study's file
///         names
Verdict JudgeExecution(const Definition& definition, const json& document);

/// The string at a place in a document; none if nothing or something else is there.
std::optional<std::string> FindText(const json& document, const json::json_pointer& pointer);

} // namespace VarnelBase::Studies
