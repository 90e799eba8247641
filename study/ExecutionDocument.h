#pragma once

#include <optional>
#include <string>

#include "Definition.h"

namespace VarnelBase::Studies {

/// What an execution's document says of a point.
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
/// @throws std::runtime_error when the document has no state where the study's file says
Verdict JudgeExecution(const Definition& definition, const json& document);

/// The text at a place in a document; none when there is no text.
std::optional<std::string> FindText(const json& document, const json::json_pointer& pointer);

} // namespace VarnelBase::Studies
