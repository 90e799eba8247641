#pragma once

#include <Outcome.h>

#include <string>

#include "output/ExitStatus.h"

namespace VarnelBase {

/// What a request is for, which decides how its failure is to be judged.
enum class Purpose {
    Read,
    Change, ///< sent once; when its answer is lost, nobody knows whether it was made
};

/// Whether the service has refused a change, which was therefore not made.
bool IsRefused(const Outcome& outcome);

/// What happened to a request that has no result, with the service's own words: "GET /users was
/// answered 404: there is no such user".
std::string DescribeFailure(const std::string& request, const Outcome& outcome);

/// The end of a command whose request has failed: the one place that decides its exit status.
///
/// @param request method and target
CommandError JudgeFailure(const std::string& request, const Outcome& outcome, Purpose purpose);

/// The document in the answer to a GET request.
///
/// @return its text, which is valid JSON
/// @throws CommandError when it was not answered 200 with a document
std::string RequireDocument(const std::string& request, const Outcome& outcome);

} // namespace VarnelBase
