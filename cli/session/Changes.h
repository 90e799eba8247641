#pragma once

#include <optional>
#include <string>

#include "session/Session.h"

namespace VarnelBase {

/// A request that changes something, as the library will send it.
struct Change {
    std::string method;
    std::string target;
    std::optional<json> body;
};

/// Makes sure that a change can be sent, or shows it instead.
///
/// @return whether to send it; false: the arguments ask for a dry run, and it was shown
/// @throws CommandError when offline, not signed in or not reachable: nothing was sent
bool BeginChange(Session& session, const Change& change);

/// The document that the library gave for a change that was sent.
///
/// @throws CommandError when there is none: the change may have been made or not
json RequireConfirmation(const Change& change, json document);

/// Deletes something, after asking, and makes sure that it is gone.
///
/// @param name   for people: "simulation bridge"
/// @param target where it can be read
/// @param send   the library's operation, and the identifier that it takes
void Delete(Session& session, const std::string& name, const std::string& target,
            void (ApiConnector::*send)(const std::string&), const std::string& identifier);

} // namespace VarnelBase
