#include "Router.h"

#include <RequestTarget.h>

#include <algorithm>
#include <array>
#include <exception>

namespace VarnelBase::Emulation {

namespace {

/// Whether the path is of the pattern; what stands for its "*" goes into `ids`.
bool HasPattern(const std::vector<std::string>& path, const std::vector<std::string>& pattern,
                std::vector<std::string>& ids) {
    if (path.size() != pattern.size()) { return false; }
    ids.clear();
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (pattern[i] == "*" && !path[i].empty()) {
            ids.push_back(DecodePercent(path[i]));
        } else if (pattern[i] != path[i]) {
            return false;
        }
    }
    return true;
}

bool IsKnownMethod(const std::string& method) {
    constexpr std::array<const char*, 10> methods{"GET",    "HEAD",    "POST",  "PUT",     "PATCH",
                                                  "DELETE", "OPTIONS", "TRACE", "CONNECT", "QUERY"};
    return std::find(methods.begin(), methods.end(), method) != methods.end();
}

/// @param allowed the methods that the path takes, each followed by ", "; empty: there is no such
/// path
Answer AnswerWithoutRoute(const Request& request, const std::string& allowed) {
    if (!IsKnownMethod(request.method)) {
        return MakeErrorAnswer(501, "not_implemented",
                               "the method " + request.method + " is not known here");
    }
    const bool isForServer = request.target == "*";
    if (allowed.empty() && !isForServer) {
        return MakeErrorAnswer(404, "not_found", "there is nothing at " + request.GetPath());
    }
    const std::string taken =
        (isForServer ? "GET, HEAD, POST, PATCH, DELETE, " : allowed) + "OPTIONS";
    Answer answer;
    if (request.method == "OPTIONS") {
        answer.status = 204;
        answer.contentType.clear();
    } else {
        answer = MakeErrorAnswer(
            405, "method_not_allowed",
            request.method + " is not allowed for this path, which accepts " + taken);
    }
    answer.headers.emplace_back("Allow", taken);
    return answer;
}

} // namespace

std::string Call::FindQuery(const std::string& name) const {
    if (query.count(name) > 1) {
        throw Refusal(422, "invalid", name + ": must be given once in the query");
    }
    const auto found = query.find(name);
    return found == query.end() ? "" : found->second;
}

void Router::Add(const std::string& method, const std::string& pattern, Handler handler) {
    routes.push_back({method, SplitText(pattern, '/'), std::move(handler)});
}

Answer Router::Dispatch(const Request& request) const {
    const std::vector<std::string> path = SplitText(request.GetPath(), '/');
    const std::string method = request.method == "HEAD" ? "GET" : request.method;
    std::string allowed;
    Call call{request, {}, {}};
    for (const Route& route : routes) {
        if (!HasPattern(path, route.segments, call.ids)) { continue; }
        if (route.method != method) {
            allowed += route.method == "GET" ? "GET, HEAD, " : route.method + ", ";
            continue;
        }
        try {
            call.query = ParseQuery(request.target);
            return route.handler(call);
        } catch (const Refusal& refusal) {
            return MakeErrorAnswer(refusal.GetStatus(), refusal.GetCode(), refusal.GetMessage());
        } catch (const std::exception& error) {
            return MakeErrorAnswer(500, "internal", error.what());
        }
    }
    return AnswerWithoutRoute(request, allowed);
}

} // namespace VarnelBase::Emulation
