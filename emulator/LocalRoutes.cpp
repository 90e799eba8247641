#include "LocalRoutes.h"

#include "EmbeddedDocuments.h"
#include "Members.h"

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
        Members members(body, "");
        if (!members.Has("advance")) { members.Refuse("advance", "must say how many seconds"); }
        const double seconds = members.ReadNumber("advance", 0, 0, MaxAdvanceSeconds);
        members.RefuseOthers();
        state.AdvanceClock(seconds);
        return MakeJsonAnswer(200, state.DescribeClock());
    });
    router.Add("GET", "/_local/export",
               [&state](const Call& /*call*/) { return MakeJsonAnswer(200, state.Export()); });
}

} // namespace

void AddLocalRoutes(Router& router, ServiceState& state, FaultRules& faults, RequestLog& requests) {
    router.Add("GET", "/_local/health", [](const Call& /*call*/) { return MakeDoneAnswer(); });
    router.Add("GET", "/_local/openapi.json", [](const Call& /*call*/) {
        Answer answer;
        answer.body = OpenApiDocument;
        return answer;
    });
    AddStateRoutes(router, state);
    router.Add("POST", "/_local/reset", [&](const Call& /*call*/) {
        state.Reset();
        faults.Clear();
        requests.Clear();
        return MakeDoneAnswer();
    });

    router.Add("GET", "/_local/faults",
               [&faults](const Call& /*call*/) { return MakeJsonAnswer(200, faults.List()); });
    router.Add("POST", "/_local/faults", [&faults](const Call& call) {
        return MakeJsonAnswer(201, faults.Add(ReadJson(call.request.body)));
    });
    router.Add("DELETE", "/_local/faults", [&faults](const Call& /*call*/) {
        faults.Clear();
        return MakeDoneAnswer();
    });

    router.Add("GET", "/_local/requests",
               [&requests](const Call& /*call*/) { return MakeJsonAnswer(200, requests.List()); });
    router.Add("DELETE", "/_local/requests", [&requests](const Call& /*call*/) {
        requests.Clear();
        return MakeDoneAnswer();
    });
}

} // namespace VarnelBase::Emulation
