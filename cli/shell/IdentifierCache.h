#pragma once

#include <string>
#include <vector>

#include "session/Session.h"

namespace VarnelBase {

/// Identifiers in the service's first page of a list, for completion: from the service within
/// 300 ms, or as they were within the last minute; none when that fails. May end the process, with
/// status 0, when the time is over.
///
/// @param target of the request
std::vector<std::string> FindKnownIdentifiers(Session& session, const std::string& target);

} // namespace VarnelBase
