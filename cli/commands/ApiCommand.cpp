#include <JsonView.h>

#include "commands/Commands.h"
#include "output/ExitStatus.h"
#include "session/ChangeRequest.h"
#include "session/Verdict.h"

namespace VarnelBase {

namespace {

struct ApiOptions {
    std::string method;
    std::string path;
    std::string data;
    bool isDryRun = false;
};

void SendRequest(Session& session, const ApiOptions& options) {
    if (options.path.front() != '/') {
        throw CommandError(ExitStatus::Usage, "PATH: must begin with /, as in /users?limit=1");
    }
    ChangeRequest request{options.method, options.path, std::nullopt};
    if (!options.data.empty()) { request.body = ReadData(options.data); }
    if (options.isDryRun) {
        PrintRequest(session, request);
        return;
    }
    const bool isRead = request.method == "GET";
    const Outcome outcome = isRead ? session.Send(request.method, request.target, request.body)
                                   : SendChange(session, request);
    if (!outcome.Succeeded()) {
        throw JudgeFailure(request.Describe(), outcome, isRead ? Purpose::Read : Purpose::Change);
    }
    const std::string problem = FindJsonProblem(outcome.text);
    const bool hasQuery = !session.options.output.query.empty();
    if (!problem.empty()) {
        if (!isRead || !hasQuery) { WriteText(outcome.text); }
        if (hasQuery) {
            throw CommandError(
                ExitStatus::Refused,
                request.Describe() + " was answered, but --query finds nothing: " + problem);
        }
    } else if (isRead) {
        session.Print(outcome.text);
    } else {
        PrintAccepted(session, request, outcome.text);
    }
}

} // namespace

void AddApiCommand(CLI::App& root, Session& session) {
    const auto api = AddCommand<ApiOptions>(
        root, session, "api", "Send any request to the service, with the token and the host",
        SendRequest,
        {"varnel api GET '/users?limit=1&offset=0'",
         R"(varnel api POST /agent --data '{"command": "start"}')"});
    api.app.add_option("METHOD", api.options.method, "HTTP method")
        ->required()
        ->type_name("GET|POST|PUT|PATCH|DELETE")
        ->check(CLI::IsMember({"GET", "POST", "PUT", "PATCH", "DELETE"}).description(""));
    api.app.add_option("PATH", api.options.path, "Path and query, sent as given")
        ->required()
        ->type_name("");
    AddDataOption(api.app, api.options.data, "The body");
    AddDryRunFlag(api.app, api.options.isDryRun);
}

} // namespace VarnelBase
