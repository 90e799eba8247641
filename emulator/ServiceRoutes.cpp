#include "ServiceRoutes.h"

#include "MemberReader.h"
#include "PageQuery.h"
#include "ProjectArchive.h"

namespace VarnelBase::Emulation {

namespace {

Answer MakeEmptyAnswer() {
    Answer answer;
    answer.status = 204;
    answer.contentType.clear();
    return answer;
}

void AddSimulationRoutes(Router& router, ServiceState& state) {
    router.Add("GET", "/simulations", [&state](const Call& call) {
        return MakeJsonAnswer(200, state.ListSimulations(call.FindQuery("scope"), ReadPage(call)));
    });
    router.Add("GET", "/simulations/*", [&state](const Call& call) {
        return MakeJsonAnswer(200, state.GetSimulation(call.ids[0]));
    });
    router.Add("DELETE", "/simulations/*", [&state](const Call& call) {
        state.DeleteSimulation(call.ids[0]);
        return MakeEmptyAnswer();
    });
    router.Add("GET", "/simulations/*/inputs", [&state](const Call& call) {
        return MakeJsonAnswer(200, state.GetInputs(call.ids[0]));
    });
    router.Add("POST", "/simulations/*/inputs", [&state](const Call& call) {
        const json inputs = ReadJson(call.request.body);
        if (!inputs.is_structured()) {
            throw Refusal(422, "invalid", "the inputs must be an object or an array");
        }
        state.ReplaceInputs(call.ids[0], inputs);
        return MakeJsonAnswer(200, inputs);
    });
}

void AddExecutionRoutes(Router& router, ServiceState& state) {
    router.Add("GET", "/simulations/*/executions", [&state](const Call& call) {
        return MakeJsonAnswer(200, state.ListExecutions(call.ids[0], ReadPage(call)));
    });
    router.Add("POST", "/simulations/*/executions", [&state](const Call& call) {
        const json data = ReadJson(call.request.body);
        return MakeJsonAnswer(201, state.StartExecution(call.ids[0], data));
    });
    router.Add("GET", "/simulations/*/executions/*", [&state](const Call& call) {
        return MakeJsonAnswer(200, state.GetExecution(call.ids[0], call.ids[1]));
    });
}

void AddUserRoutes(Router& router, ServiceState& state) {
    router.Add("GET", "/users", [&state](const Call& call) {
        return MakeJsonAnswer(200, state.ListUsers(ReadPage(call)));
    });
    router.Add("POST", "/users", [&state](const Call& call) {
        const json body = ReadJson(call.request.body);
        MemberReader members(body, "");
        const std::string email = members.ReadText("email");
        if (email.find('@') == std::string::npos) { members.Refuse("email", "must contain an @"); }
        const std::string role = members.ReadText("role");
        members.RefuseOthers();
        return MakeJsonAnswer(201, state.CreateUser(email, role));
    });
    router.Add("GET", "/users/*", [&state](const Call& call) {
        return MakeJsonAnswer(200, state.GetUser(call.ids[0]));
    });
    router.Add("PATCH", "/users/*", [&state](const Call& call) {
        const json body = ReadJson(call.request.body);
        MemberReader members(body, "");
        const std::string role = members.ReadText("role");
        members.RefuseOthers();
        return MakeJsonAnswer(200, state.ChangeRole(call.ids[0], role));
    });
    router.Add("DELETE", "/users/*", [&state](const Call& call) {
        state.DeleteUser(call.ids[0]);
        return MakeEmptyAnswer();
    });
}

} // namespace

void AddServiceRoutes(Router& router, ServiceState& state) {
    router.Add("GET", "/version",
               [&state](const Call& /*call*/) { return MakeJsonAnswer(200, state.GetVersion()); });
    router.Add("GET", "/agent",
               [&state](const Call& /*call*/) { return MakeJsonAnswer(200, state.GetAgent()); });
    router.Add("POST", "/agent", [&state](const Call& call) {
        const json body = ReadJson(call.request.body);
        MemberReader members(body, "");
        const std::string command = members.ReadText("command");
        members.RefuseOthers();
        return MakeJsonAnswer(200, state.RunCommand(command));
    });
    AddSimulationRoutes(router, state);
    AddExecutionRoutes(router, state);
    AddUserRoutes(router, state);
    router.Add("POST", "/generateProject",
               [](const Call& call) { return GenerateProject(ReadJson(call.request.body)); });
}

} // namespace VarnelBase::Emulation
