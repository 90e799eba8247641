#include "PageRoutes.h"

#include "EmbeddedDocuments.h"
#include "PageQuery.h"

namespace VarnelBase::Emulation {

namespace {

constexpr const char* Policy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src data:; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

void AddFile(Router& router, const std::string& path, const std::string& contentType,
             const char* content) {
    router.Add("GET", path, [contentType, content](const Call& /*call*/) {
        Answer answer;
        answer.body = content;
        answer.contentType = contentType;
        answer.headers = {{"Content-Security-Policy", Policy},
                          {"X-Content-Type-Options", "nosniff"},
                          {"Referrer-Policy", "no-referrer"},
                          {"Cache-Control", "no-store"}};
        return answer;
    });
}

} // namespace

void AddPageRoutes(Router& router, ServiceState& state, EventFeed& feed) {
    AddFile(router, "/_local/", "text/html; charset=utf-8", PageDocument);
    AddFile(router, "/_local/page.css", "text/css; charset=utf-8", PageStyle);
    AddFile(router, "/_local/page.js", "text/javascript; charset=utf-8", PageScript);
    router.Add("GET", "/_local/events", [&feed](const Call& /*call*/) { return feed.Subscribe(); });
    router.Add("GET", "/_local/simulations", [&state](const Call& call) {
        return MakeJsonAnswer(200, state.ShowSimulations(ReadPage(call)));
    });
    router.Add("GET", "/_local/simulations/*/executions", [&state](const Call& call) {
        return MakeJsonAnswer(200, state.ShowExecutions(call.ids[0], ReadPage(call)));
    });
    router.Add("POST", "/_local/simulations/*/executions", [&state](const Call& call) {
        return MakeJsonAnswer(201, state.StartExecution(call.ids[0], ReadJson(call.request.body)));
    });
}

} // namespace VarnelBase::Emulation
