#pragma once

#include <optional>
#include <string>

#include "Definition.h"

namespace VarnelBase::Studies {

/// What an execution's document says of a point.
struct Verdict {
    enum class Kind { UnderWay, Finished, Failed };
    Kind kind = Kind::UnderWay;
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
