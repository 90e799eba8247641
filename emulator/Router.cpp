#include "Router.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <exception>

namespace VarnelBase::Emulation {

namespace {

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::size_t begin = 0;
    while (true) {
        const std::size_t end = text.find(separator, begin);
        parts.push_back(text.substr(begin, end - begin));
        if (end == std::string::npos) { return parts; }
        begin = end + 1;
    }
}

std::string DecodePercent(const std::string& text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isEscape = text[i] == '%' && i + 2 < text.size() &&
                              std::isxdigit(static_cast<unsigned char>(text[i + 1])) != 0 &&
                              std::isxdigit(static_cast<unsigned char>(text[i + 2])) != 0;
        if (isEscape) {
            decoded += static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16));
            i += 2;
        } else {
            decoded += text[i];
        }
    }
    return decoded;
}

std::multimap<std::string, std::string> ParseQuery(const std::string& target) {
    std::multimap<std::string, std::string> query;
    const std::size_t mark = target.find('?');
    if (mark == std::string::npos) { return query; }
    for (const std::string& part : Split(target.substr(mark + 1), '&')) {
        const std::size_t equals = part.find('=');
        const std::string value = equals == std::string::npos ? "" : part.substr(equals + 1);
        query.emplace(DecodePercent(part.substr(0, equals)), DecodePercent(value));
    }
    return query;
}

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
    constexpr std::array<const char*, 9> methods{"GET",    "HEAD",    "POST",  "PUT",    "PATCH",
                                                 "DELETE", "OPTIONS", "TRACE", "CONNECT"};
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
        answer =
            MakeErrorAnswer(405, "method_not_allowed",
                            request.method + " does not go with this path, which takes " + taken);
    }
    answer.headers.emplace_back("Allow", taken);
    return answer;
}

} // namespace

std::string Call::FindQuery(const std::string& name) const {
    const auto found = query.lower_bound(name);
    return found == query.end() || found->first != name ? "" : found->second;
}

void Router::Add(const std::string& method, const std::string& pattern, Handler handler) {
    routes.push_back({method, Split(pattern, '/'), std::move(handler)});
}

Answer Router::Dispatch(const Request& request) const {
    const std::vector<std::string> path = Split(request.GetPath(), '/');
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
            return MakeErrorAnswer(refusal.GetStatus(), refusal.GetCode(), refusal.what());
        } catch (const std::exception& error) {
            return MakeErrorAnswer(500, "internal", error.what());
        }
    }
    return AnswerWithoutRoute(request, allowed);
}

} // namespace VarnelBase::Emulation
