#include "LocalRoutes.h"

#include <UtcTime.h>

#include "EmbeddedDocuments.h"
#include "MemberReader.h"
#include "PageQuery.h"

namespace VarnelBase::Emulation {

namespace {

// A hundred years.
constexpr double MaxAdvanceSeconds = 3.2e9;

Answer MakeDoneAnswer() {
    return MakeJsonAnswer(200, json::object({{"status", "ok"}}));
}

void AddStateRoutes(Router& router, ServiceState& state) {
    router.Add("GET", "/_local/clock", [&state](const Call& /*call*/) {
        return MakeJsonAnswer(200, state.DescribeClock());
    });
    router.Add("POST", "/_local/clock", [&state](const Call& call) {
        const json body = ReadJson(call.request.body);
        MemberReader members(body, "");
        if (!members.Has("advance")) { members.Refuse("advance", "must say how many seconds"); }
        const double seconds = members.ReadNumber("advance", 0, 0, MaxAdvanceSeconds);
        members.RefuseOthers();
        state.AdvanceClock(seconds);
        return MakeJsonAnswer(200, state.DescribeClock());
    });
    router.Add("GET", "/_local/export",
               [&state](const Call& /*call*/) { return MakeJsonAnswer(200, state.Export()); });
    router.Add("POST", "/_local/seed", [&state](const Call& call) {
        state.Load(Seed(call.request.body, GetMachineTime()));
        return MakeDoneAnswer();
    });
    router.Add("POST", "/_local/simulations", [&state](const Call& call) {
        return MakeJsonAnswer(201, state.CreateSimulation(ReadJson(call.request.body)));
    });
    for (const bool isFailing : {false, true}) {
        router.Add(
            "POST",
            std::string("/_local/simulations/*/executions/*/") + (isFailing ? "fail" : "finish"),
            [&state, isFailing](const Call& call) {
                const json members =
                    call.request.body.empty() ? json::object() : ReadJson(call.request.body);
                if (!members.is_object()) {
                    throw Refusal(422, "invalid", "the body must be an object");
                }
                return MakeJsonAnswer(
                    200, state.EndExecution(call.ids[0], call.ids[1], isFailing, members));
            });
    }
}

/// What a check found: nothing, or the reason why a test that asks should fail.
Answer MakeCheckAnswer(const std::string& problem) {
    return problem.empty() ? MakeDoneAnswer() : MakeErrorAnswer(409, "mismatch", problem);
}

void AddRuleRoutes(Router& router, FaultRules& faults) {
    router.Add("GET", "/_local/faults",
               [&faults](const Call& /*call*/) { return MakeJsonAnswer(200, faults.List()); });
    router.Add("POST", "/_local/faults", [&faults](const Call& call) {
        return MakeJsonAnswer(201, faults.Add(ReadJson(call.request.body)));
    });
    router.Add("DELETE", "/_local/faults", [&faults](const Call& /*call*/) {
        faults.Clear();
        return MakeDoneAnswer();
    });
    router.Add("GET", "/_local/faults/*", [&faults](const Call& call) {
        return MakeJsonAnswer(200, faults.Get(call.ids[0]));
    });
    router.Add("DELETE", "/_local/faults/*", [&faults](const Call& call) {
        faults.Remove(call.ids[0]);
        return MakeDoneAnswer();
    });
    router.Add("POST", "/_local/check/faults",
               [&faults](const Call& /*call*/) { return MakeCheckAnswer(faults.Check()); });
    router.Add("GET", "/_local/scenarios", [&faults](const Call& /*call*/) {
        return MakeJsonAnswer(200, faults.ListScenarios());
    });
    router.Add("POST", "/_local/scenarios", [&faults](const Call& call) {
        const json body = ReadJson(call.request.body);
        MemberReader members(body, "");
        const std::string name = members.ReadText("name");
        const std::string scenarioState = members.ReadText("state");
        members.RefuseOthers();
        faults.SetScenario(name, scenarioState);
        return MakeJsonAnswer(200, faults.ListScenarios());
    });
}

/// A filter that stands in the query: method, path, text and status.
RequestPattern ReadFilter(const Call& call) {
    json filter = json::object();
    for (const auto& [name, first] : call.query) {
        const std::string value = call.FindQuery(name);
        if (value.empty() || name == "limit") { continue; }
        const bool isNumber = name == "status" && value.size() == 3 &&
                              value.find_first_not_of("0123456789") == std::string::npos;
        filter[name] = isNumber ? json(std::stoi(value)) : json(value);
    }
    MemberReader members(filter, "");
    RequestPattern pattern = RequestPattern::ReadDetails(members);
    members.RefuseOthers();
    return pattern;
}

void AddRequestRoutes(Router& router, RequestLog& requests) {
    router.Add("GET", "/_local/requests", [&requests](const Call& call) {
        const bool hasLimit = !call.FindQuery("limit").empty();
        const auto limit = static_cast<std::size_t>(ReadPage(call).limit);
        return MakeJsonAnswer(200, requests.List(ReadFilter(call), hasLimit ? limit : SIZE_MAX));
    });
    router.Add("DELETE", "/_local/requests", [&requests](const Call& /*call*/) {
        requests.Clear();
        return MakeDoneAnswer();
    });
    router.Add("POST", "/_local/check/requests", [&requests](const Call& call) {
        return MakeCheckAnswer(requests.Check(ReadJson(call.request.body)));
    });
}

} // namespace

void AddLocalRoutes(Router& router, ServiceState& state, FaultRules& faults, RequestLog& requests,
                    std::function<void()> restart) {
    router.Add("GET", "/_local/health", [](const Call& /*call*/) { return MakeDoneAnswer(); });
    router.Add("GET", "/_local/openapi.json", [](const Call& /*call*/) {
        Answer answer;
        answer.body = OpenApiDocument;
        return answer;
    });
    AddStateRoutes(router, state);
    router.Add("POST", "/_local/reset", [restart = std::move(restart)](const Call& /*call*/) {
        restart();
        return MakeDoneAnswer();
    });

    AddRuleRoutes(router, faults);
    AddRequestRoutes(router, requests);
}

} // namespace VarnelBase::Emulation
