#include "CommandTree.h"
#include "output/ExitStatus.h"
#include "session/ArgumentChecks.h"
#include "session/Changes.h"
#include "session/Diagnosis.h"

namespace VarnelBase {

namespace {

void ShowVersion(Session& session) {
    ApiConnector& connector = session.Connect();
    json version = connector.GetVersion();
    if (connector.IsOffline()) {
        session.Note("offline: this is the library's own value, not the service's");
        session.Print(version);
        return;
    }
    session.Print(RequireAnswer(session, "/version", std::move(version)));
}

void ShowAgent(Session& session) {
    json document = session.ConnectOnline().GetAgent();
    session.Print(RequireAnswer(session, "/agent", std::move(document)));
}

void SendCommand(Session& session) {
    const std::string& command = session.arguments.command;
    RequireUtf8("COMMAND", command);
    const Change change{"POST", "/agent", json::object({{"command", command}})};
    if (!BeginChange(session, change)) { return; }
    const json document = RequireConfirmation(change, session.Connect().SendAgentCommand(command));
    if (LooksLikeError(document)) {
        RequireShallow(document);
        throw CommandError(ExitStatus::Refused,
                           "the agent answered: " + DescribeErrorBody(document.dump()));
    }
    session.Print(document);
}

} // namespace

void AddServiceCommands(CLI::App& root, Session& session) {
    CLI::App& agent = AddNoun(root, "agent", "The service's agent", "varnel agent show");
    AddCommand(agent, session, "show", "Show the agent's state", ShowAgent, {"varnel agent show"});
    CLI::App& send = AddCommand(agent, session, "send", "Send a command to the agent", SendCommand,
                                {"varnel agent send start"});
    send.add_option("COMMAND", session.arguments.command, "The command, in the agent's terms")
        ->required()
        ->type_name("");
    AddDryRunOption(send, session);

    AddCommand(root, session, "version", "Show the service's version", ShowVersion,
               {"varnel version", "varnel version --offline"});
}

} // namespace VarnelBase
