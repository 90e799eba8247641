#pragma once

#include <ApiConnector.h>

#include <chrono>
#include <string>

#include "session/Session.h"

namespace VarnelBase {

/// How long looking for the cause of a failure waits for each step.
constexpr std::chrono::seconds DiagnosisPatience{10};

/// What the service answered to a GET of this program's own, whose status can be seen.
struct Answer {
    int status = 0;      ///< 0: there was no answer
    std::string problem; ///< why there was none
    std::string body;
    std::string date; ///< the header of that name
};

/// Sends the GET request that the library would send.
Answer Ask(ApiConnector& connector, const std::string& target);

/// @throws CommandError when the service's host does not resolve or does not accept connections
void RequireReachable(ApiConnector& connector);

/// Judges the library's result of a GET request. Where that is null, or may be an error document,
/// the request is made once more to learn why.
///
/// @param document what the library gave
/// @return the document, or that of the second answer when it is a good one
/// @throws CommandError when the service refused or cannot be reached, saying so
json RequireAnswer(Session& session, const std::string& target, json document);

/// Whether a document says in the usual ways that it tells of an error.
bool LooksLikeError(const json& document);

/// The message of an error document, else the beginning of the text.
std::string DescribeErrorBody(const std::string& body);

} // namespace VarnelBase
