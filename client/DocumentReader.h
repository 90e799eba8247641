#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace VarnelBase {

enum class Readability { Readable, NotOneValue, TooDeep };

/// Parses exactly one JSON value; throws only std::bad_alloc.
///
/// @param maxNesting levels of arrays and objects: destroying a document recurses through them
/// @param document   set if the text is readable, otherwise unchanged
Readability ReadDocument(const std::string& text, int maxNesting, nlohmann::json& document);

} // namespace VarnelBase
