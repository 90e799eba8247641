#include "session/Changes.h"

#include <unistd.h>

#include <iostream>
#include <utility>

#include "output/ExitStatus.h"
#include "output/Terminal.h"
#include "output/Utf8Text.h"
#include "session/Diagnosis.h"

namespace VarnelBase {

namespace {

/// Asks on a terminal; elsewhere only --yes will do.
void Confirm(const Arguments& arguments, const std::string& question) {
    if (arguments.isConfirmed || arguments.isDryRun) { return; }
    if (!IsTerminal(STDIN_FILENO) || !IsTerminal(STDERR_FILENO)) {
        throw CommandError(ExitStatus::Usage,
                           "nobody can be asked here: --yes says that you mean it");
    }
    std::cerr << MakePrintable(question) << " [y/N] " << std::flush;
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") {
        throw CommandError(ExitStatus::Refused, "nothing was sent");
    }
}

bool IsGone(int status) {
    return status == 404 || status == 410;
}

} // namespace

bool BeginChange(Session& session, const Change& change) {
    ApiConnector& connector = session.ConnectOnline();
    if (session.arguments.isDryRun) {
        json shown =
            json::object({{"method", change.method},
                          {"target", "http://" + connector.GetHostname() + ":" +
                                         std::to_string(connector.GetPort()) + change.target}});
        if (change.body) { shown["body"] = *change.body; }
        session.Print(shown);
        return false;
    }
    RequireReachable(connector);
    return true;
}

json RequireConfirmation(const Change& change, json document) {
    if (!document.is_null()) { return document; }
    throw CommandError(ExitStatus::NotConfirmed,
                       change.method + " " + change.target +
                           " was sent once and not confirmed: it was refused, or its answer was "
                           "lost, which the library does not tell. Look before you send it again "
                           "(\"varnel trace\" shows the status)");
}

void Delete(Session& session, const std::string& name, const std::string& target,
            void (ApiConnector::*send)(const std::string&), const std::string& identifier) {
    Confirm(session.arguments, "Delete " + name + "?");
    if (!BeginChange(session, {"DELETE", target, std::nullopt})) { return; }

    ApiConnector& connector = session.Connect();
    if (IsGone(Ask(connector, target).status)) {
        throw CommandError(ExitStatus::Refused, "there is no " + name + "; nothing was deleted");
    }
    (connector.*send)(identifier);
    const Answer answer = Ask(connector, target);
    if (!IsGone(answer.status)) {
        throw CommandError(ExitStatus::NotConfirmed,
                           "DELETE " + target + " was sent, but reading " + name + " back gives " +
                               (answer.status == 0 ? "no answer" : std::to_string(answer.status)) +
                               ": it may still be there");
    }
    session.Note("verified: " + name + " is deleted");
}

} // namespace VarnelBase
