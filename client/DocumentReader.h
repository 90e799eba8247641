#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace VarnelBase {

enum class Readability { Readable, NotOneValue, TooDeep };

/// Parses exactly one JSON value; never throws but std::bad_alloc.
///
/// @param maxNesting levels of arrays and objects: destroying a document recurses through them
/// @param document   set when it is readable, else left alone
Readability ReadDocument(const std::string& text, int maxNesting, nlohmann::json& document);

} // namespace VarnelBase
