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

/// Where reading back shows whether a change was made.
struct Check {
    std::string target;
    std::string made;    ///< what the user is told when it was: "the user is deleted"
    std::string notMade; ///< "the user still exists"

    /// Whether the change was made; none: this answer does not tell.
    std::function<std::optional<bool>(const Outcome& found)> judge;
};

/// Shows a request instead of sending it.
void PrintRequest(Session& session, const ChangeRequest& change);

/// Sends a change. A signal that ends the program meanwhile says that it may have been made.
Outcome SendChange(Session& session, const ChangeRequest& change);

/// Prints the document in the answer to a change.
///
/// @throws CommandError when the change was not accepted, and when the document cannot be shown,
///         saying that the change was made
void PrintAnswer(Session& session, const ChangeRequest& change, const Outcome& outcome);

/// Sends a change and prints the document in its answer, or shows the request instead.
void MakeChange(Session& session, const ChangeRequest& change, bool isDryRun);

/// Sends a change and makes sure, by reading back, that it was made.
///
/// @return what was read back
/// @throws CommandError when it was not, or nobody knows
Outcome MakeCheckedChange(Session& session, const ChangeRequest& change, const Check& check);

struct DeleteOptions {
    Identifiers identifiers;
    bool isConfirmed = false;
    bool isDryRun = false;
};

/// --yes and --dry-run.
void AddDeleteFlags(CLI::App& command, DeleteOptions& options);

/// Deletes something, after asking, and makes sure that it is gone.
///
/// @param name   for people: "simulation bridge"
/// @param target where it can be read
void Delete(Session& session, const DeleteOptions& options, const std::string& name,
            const std::string& target);

} // namespace VarnelBase
