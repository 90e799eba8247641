#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <vector>

#include "HeaderLine.h"

namespace VarnelBase {

/// What a HAR document (HTTP Archive 1.2) has before its entries. They follow, each on a line of
/// its own, with commas between them.
std::string BeginHar(const std::string& creator);

/// What it has after them.
constexpr const char* HarEnd = "\n]}}\n";

nlohmann::json WriteHarHeaders(const std::vector<HeaderLine>& headers);

/// Adds a body as the member "text" of what holds it, in base64 unless it is UTF-8.
void WriteHarBody(const std::string& body, nlohmann::json& holder);

/// An entry, with what HAR requires of it besides what is given.
///
/// @param request   at least "method" and "url"
/// @param response  at least "status" and "content"
/// @param startedAt machine time in milliseconds
nlohmann::json MakeHarEntry(nlohmann::json request, nlohmann::json response, std::int64_t startedAt,
                            double durationMs);

} // namespace VarnelBase
