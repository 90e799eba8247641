#include "commands/Commands.h"
#include "output/ExitStatus.h"
#include "output/JsonView.h"
#include "session/ChangeRequest.h"
#include "session/Verdict.h"

namespace VarnelBase {

namespace {

/// What the library's connector says of the version when it is offline.
constexpr const char* OfflineVersion = R"(["0.4.1"])";

struct SendOptions {
    std::string command;
    bool isDryRun = false;
};

void ShowVersion(Session& session) {
    if (session.GetClient().IsOffline()) {
        session.Note("offline mode is on: this is the library's own value, not the service's");
        session.Print(std::string(OfflineVersion));
        return;
    }
    session.Print(session.Read("/version"));
}

void ShowAgent(Session& session) {
    session.Print(session.Read("/agent"));
}

void SendCommand(Session& session, const SendOptions& options) {
    RequireUtf8("COMMAND", options.command);
    const json body = json::object({{"command", options.command}});
    const ChangeRequest change{"POST", "/agent", body.dump()};
    MakeChange(session, change, options.isDryRun);
}

} // namespace

void AddServiceCommands(CLI::App& root, Session& session) {
    CLI::App& agent = AddNoun(root, "agent", "The service's agent", "varnel agent show");
    AddCommand(agent, session, "show", "Show the agent's state", ShowAgent, {"varnel agent show"});
    const auto send = AddCommand<SendOptions>(agent, session, "send", "Send a command to the agent",
                                              SendCommand, {"varnel agent send start"});
    send.app.add_option("COMMAND", send.options.command, "The command, in the agent's terms")
        ->required()
        ->type_name("");
    AddDryRunFlag(send.app, send.options.isDryRun);

    AddCommand(root, session, "version", "Show the service's version", ShowVersion,
               {"varnel version", "varnel version --offline"});
}

} // namespace VarnelBase
