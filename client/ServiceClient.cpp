#include "ServiceClient.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <stdexcept>
#include <utility>

#include "CallRunner.h"
#include "ContentDisposition.h"
#include "ExecutionWait.h"
#include "ProjectFile.h"

namespace VarnelBase {

struct ServiceClient::Implementation {
    Implementation(std::optional<Environment> environment, const ClientOptions& options)
        : runner(environment, options) {}

    /// An operation's request with its document as it comes.
    Outcome Call(const ServiceOperation& operation, std::initializer_list<std::string> arguments,
                 const CallOptions& call) {
        return runner.Run(MakeCall(operation, arguments), call).outcome;
    }

    Outcome CallWithBody(const ServiceOperation& operation,
                         std::initializer_list<std::string> arguments, const json& body,
                         const CallOptions& call) {
        ServiceCall request = MakeCall(operation, arguments);
        request.body = body.dump();
        return runner.Run(request, call).outcome;
    }

    static ServiceCall MakeCall(const ServiceOperation& operation,
                                std::initializer_list<std::string> arguments) {
        return {operation.method, MakeTarget(operation, arguments), {}, operation.answer, {}};
    }

    CallRunner runner;
};

namespace {

/// A project's request. The receiver is called with its bytes, and the head of the answer.
ServiceCall MakeProjectCall(const json& request) {
    constexpr const ServiceOperation& operation = FindOperation("GenerateProject");
    return {operation.method, MakeTarget(operation, {}), request.dump(), operation.answer, {}};
}

ProjectOutcome MakeProjectOutcome(CallResult result) {
    ProjectOutcome outcome;
    static_cast<Outcome&>(outcome) = std::move(result.outcome);
    if (outcome) { outcome.fileName = ReadFileName(result.head.disposition); }
    return outcome;
}

void FailToSave(Outcome& outcome, const std::string& reason) {
    outcome.failure = Failure::NotSaved;
    outcome.message = reason;
}

/// The outcome when there is no place for the project: nothing is sent.
ProjectOutcome MakeNotSaved(const std::string& reason) {
    ProjectOutcome outcome;
    FailToSave(outcome, reason);
    return outcome;
}

} // namespace

ServiceClient::ServiceClient(const ClientOptions& options)
    : implementation(std::make_unique<Implementation>(std::nullopt, options)) {}

ServiceClient::ServiceClient(Environment environment, const ClientOptions& options)
    : implementation(std::make_unique<Implementation>(environment, options)) {}

ServiceClient::~ServiceClient() = default;
ServiceClient::ServiceClient(ServiceClient&&) noexcept = default;
ServiceClient& ServiceClient::operator=(ServiceClient&&) noexcept = default;

std::string ServiceClient::GetHostname() {
    return IsOffline() ? "" : implementation->runner.GetAccess().Find()->host;
}

unsigned int ServiceClient::GetPort() const {
    return implementation->runner.GetAccess().GetPort();
}

Environment ServiceClient::GetEnvironment() const {
    return implementation->runner.GetAccess().GetEnvironment();
}

bool ServiceClient::IsOffline() const {
    return implementation->runner.GetAccess().IsOffline();
}

std::string ServiceClient::Login() {
    return implementation->runner.GetAccess().Login();
}

Outcome ServiceClient::GetVersion(const CallOptions& call) {
    return implementation->Call(FindOperation("GetVersion"), {}, call);
}

Outcome ServiceClient::GetAgent(const CallOptions& call) {
    return implementation->Call(FindOperation("GetAgent"), {}, call);
}

Outcome ServiceClient::SendAgentCommand(const std::string& command, const CallOptions& call) {
    const json body = json::object({{"command", command}});
    return implementation->CallWithBody(FindOperation("SendAgentCommand"), {}, body, call);
}

Outcome ServiceClient::GetSimulations(const std::string& scope, int limit, int offset,
                                      const CallOptions& call) {
    return implementation->Call(FindOperation("GetSimulations"),
                                {scope, std::to_string(limit), std::to_string(offset)}, call);
}

Outcome ServiceClient::GetSimulationData(const std::string& simulationId, const CallOptions& call) {
    return implementation->Call(FindOperation("GetSimulationData"), {simulationId}, call);
}

Outcome ServiceClient::DeleteSimulation(const std::string& simulationId, const CallOptions& call) {
    return implementation->Call(FindOperation("DeleteSimulation"), {simulationId}, call);
}

Outcome ServiceClient::GetSimulationInputs(const std::string& simulationId,
                                           const CallOptions& call) {
    return implementation->Call(FindOperation("GetSimulationInputs"), {simulationId}, call);
}

Outcome ServiceClient::PostSimulationInputs(const std::string& simulationId, const json& inputs,
                                            const CallOptions& call) {
    return implementation->CallWithBody(FindOperation("PostSimulationInputs"), {simulationId},
                                        inputs, call);
}

NamesOutcome ServiceClient::GetSimulationNames(const CallOptions& call) {
    NamesOutcome outcome;
    static_cast<Outcome&>(outcome) = GetSimulations("user", 50, 0, call);
    const json& document = outcome.document;
    if (!outcome || !document.is_object() || !document.contains("items")) { return outcome; }
    for (const json& item : document["items"]) {
        if (!item.is_object() || !item.contains("id")) { continue; }
        if (!item["id"].is_string()) {
            outcome.failure = Failure::Unreadable;
            outcome.message = "the list has an \"id\" that is not a string";
            outcome.names.clear();
            return outcome;
        }
        outcome.names.insert(item["id"].get<std::string>());
    }
    return outcome;
}

Outcome ServiceClient::GetSimulationPreexecutionData(const std::string& simulationName,
                                                     const CallOptions& call) {
    return GetSimulationInputs(simulationName, call);
}

Outcome ServiceClient::PutSimulationData(const std::string& simulationName,
                                         const SimulationDataType& simulationData,
                                         const CallOptions& call) {
    return PostExecution(simulationName, simulationData, call);
}

Outcome ServiceClient::GetExecutions(const std::string& simulationId, int limit, int offset,
                                     const CallOptions& call) {
    return implementation->Call(FindOperation("GetExecutions"),
                                {simulationId, std::to_string(limit), std::to_string(offset)},
                                call);
}

Outcome ServiceClient::PostExecution(const std::string& simulationId, const json& data,
                                     const CallOptions& call) {
    return implementation->CallWithBody(FindOperation("PostExecution"), {simulationId}, data, call);
}

Outcome ServiceClient::GetExecution(const std::string& simulationId, const std::string& executionId,
                                    const CallOptions& call) {
    return implementation->Call(FindOperation("GetExecution"), {simulationId, executionId}, call);
}

ProjectOutcome ServiceClient::GenerateProject(const json& request, const CallOptions& call) {
    ProjectOutcome outcome =
        MakeProjectOutcome(implementation->runner.Run(MakeProjectCall(request), call));
    outcome.size = outcome ? outcome.text.size() : 0;
    return outcome;
}

ProjectOutcome ServiceClient::SaveProject(const json& request, const std::string& path,
                                          const ProjectProgress& progress,
                                          const CallOptions& call) {
    if (path.empty()) { throw std::invalid_argument("path: is empty"); }
    if (path.find('\0') != std::string::npos) {
        throw std::invalid_argument("path: contains a NUL byte");
    }
    ServiceCall project = MakeProjectCall(request);
    ProjectFile file(path);
    if (!file.Open()) { return MakeNotSaved(file.DescribeError()); }
    std::uint64_t size = 0;
    project.receiver = [&](const AnswerHead& head, const char* bytes, std::size_t count) {
        if (!file.Write(bytes, count)) { return false; }
        size += count;
        if (progress) { progress(size, head.length); }
        return true;
    };
    ProjectOutcome outcome = MakeProjectOutcome(implementation->runner.Run(project, call));
    const std::string name = outcome.fileName.empty() ? "project" : outcome.fileName;
    if (outcome.failure == Failure::NotSaved || (outcome && !file.Finish(name))) {
        FailToSave(outcome, file.DescribeError());
    }
    if (outcome) {
        outcome.path = file.GetPath();
        outcome.size = size;
    }
    return outcome;
}

ProjectOutcome ServiceClient::StreamProject(const json& request, std::ostream& output,
                                            const ProjectProgress& progress,
                                            const CallOptions& call) {
    constexpr const char* unusable = "output: the stream cannot be written";
    if (!output) { return MakeNotSaved(unusable); }
    const auto write = [&output](const char* bytes, std::size_t size) {
        return static_cast<bool>(output.write(bytes, static_cast<std::streamsize>(size)));
    };
    ProjectOutcome outcome = StreamProject(request, ProjectReceiver(write), progress, call);
    if (outcome && !output.flush()) { FailToSave(outcome, unusable); }
    return outcome;
}

ProjectOutcome ServiceClient::StreamProject(const json& request, const ProjectReceiver& receiver,
                                            const ProjectProgress& progress,
                                            const CallOptions& call) {
    if (!receiver) { throw std::invalid_argument("receiver: is empty"); }
    ServiceCall project = MakeProjectCall(request);
    std::uint64_t size = 0;
    project.receiver = [&](const AnswerHead& head, const char* bytes, std::size_t count) {
        if (!receiver(bytes, count)) { return false; }
        size += count;
        if (progress) { progress(size, head.length); }
        return true;
    };
    ProjectOutcome outcome = MakeProjectOutcome(implementation->runner.Run(project, call));
    outcome.size = size;
    return outcome;
}

Outcome ServiceClient::GetUsers(int limit, int offset, const CallOptions& call) {
    return implementation->Call(FindOperation("GetUsers"),
                                {std::to_string(limit), std::to_string(offset)}, call);
}

Outcome ServiceClient::CreateUser(const std::string& email, const std::string& role,
                                  const CallOptions& call) {
    const json body = json::object({{"email", email}, {"role", role}});
    return implementation->CallWithBody(FindOperation("CreateUser"), {}, body, call);
}

Outcome ServiceClient::GetUser(const std::string& userId, const CallOptions& call) {
    return implementation->Call(FindOperation("GetUser"), {userId}, call);
}

Outcome ServiceClient::UpdateUser(const std::string& userId, const std::string& role,
                                  const CallOptions& call) {
    const json body = json::object({{"role", role}});
    return implementation->CallWithBody(FindOperation("UpdateUser"), {userId}, body, call);
}

Outcome ServiceClient::DeleteUser(const std::string& userId, const CallOptions& call) {
    return implementation->Call(FindOperation("DeleteUser"), {userId}, call);
}

Listing ServiceClient::Simulations(const std::string& scope, const CallOptions& call) {
    return Listing(
        [this, scope, call](int limit, int offset) {
            return GetSimulations(scope, limit, offset, call);
        },
        implementation->runner.GetOptions().pageSize);
}

Listing ServiceClient::Executions(const std::string& simulationId, const CallOptions& call) {
    return Listing(
        [this, simulationId, call](int limit, int offset) {
            return GetExecutions(simulationId, limit, offset, call);
        },
        implementation->runner.GetOptions().pageSize);
}

Listing ServiceClient::Users(const CallOptions& call) {
    return Listing([this, call](int limit, int offset) { return GetUsers(limit, offset, call); },
                   implementation->runner.GetOptions().pageSize);
}

ExecutionOutcome ServiceClient::WaitForExecution(const std::string& simulationId,
                                                 const std::string& executionId,
                                                 const WaitOptions& wait) {
    const auto ask = [&](const CallOptions& call) {
        return GetExecution(simulationId, executionId, call);
    };
    return AwaitExecution(ask, implementation->runner.GetOptions().timeout, wait);
}

Outcome ServiceClient::Send(const std::string& method, const std::string& target,
                            const std::optional<std::string>& body, const CallOptions& call) {
    constexpr std::array<const char*, 5> methods{"GET", "POST", "PUT", "PATCH", "DELETE"};
    const auto known = std::find(methods.begin(), methods.end(), method);
    if (known == methods.end()) {
        throw std::invalid_argument("method: must be GET, POST, PUT, PATCH or DELETE");
    }
    const bool isPlain = std::all_of(target.begin(), target.end(),
                                     [](char c) { return c > ' ' && c < '\x7f' && c != '#'; });
    if (target.rfind('/', 0) != 0 || !isPlain) {
        throw std::invalid_argument("target: must begin with \"/\" and be escaped");
    }
    return implementation->runner.Run({*known, target, body, AnswerForm::Anything, {}}, call)
        .outcome;
}

} // namespace VarnelBase
