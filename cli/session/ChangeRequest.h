#pragma once

#include <functional>
#include <optional>
#include <string>

#include "session/Command.h"

namespace VarnelBase {

/// A request that changes something.
struct ChangeRequest {
    std::string method;
    std::string target;
    std::optional<std::string> body; ///< a JSON text

    std::string Describe() const { return method + " " + target; }
};

/// How reading back what a change is about shows whether it was made.
struct Check {
    std::string made;    ///< what the user is told when it was: "the user is deleted"
    std::string notMade; ///< "the user still exists"

    /// Whether the change was made; none: this answer does not say.
    std::function<std::optional<bool>(const Outcome& found)> judge;

    bool isShown = false; ///< what was read back is the result
};

/// Shows a request instead of sending it.
void PrintRequest(Session& session, const ChangeRequest& change);

/// Prints the document that shows what a change has made, the whole of it where --query finds
/// nothing.
///
/// @throws CommandError when it cannot be shown as wanted, with what was made
void PrintAccepted(Session& session, const ChangeRequest& change, const std::string& document);

/// Sends a change. A signal that ends the program meanwhile says that it may have been made.
Outcome SendChange(Session& session, const ChangeRequest& change);

/// Sends a change and prints the document in its answer, or shows the request instead.
///
/// @param accepted is called first when the service has accepted it
/// @throws CommandError when the change was not accepted, and when the document cannot be shown,
///         saying that the change was made
void MakeChange(Session& session, const ChangeRequest& change, bool isDryRun,
                const std::function<void()>& accepted = {});

/// Sends a change and makes sure, by reading back, that it was made, or shows the request instead.
///
/// @throws CommandError when it was not, or nobody knows
void MakeCheckedChange(Session& session, const ChangeRequest& change, const Check& check,
                       bool isDryRun);

/// Deletes something, after asking unless that is confirmed, and makes sure that it is gone.
///
/// @param name   for people: "simulation bridge"
/// @param target where it can be read
void Delete(Session& session, const std::string& name, const std::string& target, bool isConfirmed,
            bool isDryRun);

} // namespace VarnelBase
