#include "RequestPattern.h"

#include <RequestTarget.h>
#include <fnmatch.h>

#include <algorithm>

namespace VarnelBase::Emulation {

namespace {

bool MatchesPattern(const std::string& pattern, const std::string& text, int flags) {
    return fnmatch(pattern.c_str(), text.c_str(), flags) == 0;
}

std::map<std::string, std::string> ReadTexts(MemberReader& members, const std::string& name) {
    std::map<std::string, std::string> texts;
    if (!members.Has(name)) { return texts; }
    MemberReader entries(members.Find(name), name);
    for (const auto& entry : members.Find(name).items()) {
        texts[entry.key()] = entries.ReadText(entry.key());
    }
    return texts;
}

std::map<std::string, json> ReadBody(MemberReader& members) {
    std::map<std::string, json> body;
    if (!members.Has("body")) { return body; }
    const MemberReader entries(members.Find("body"), "body");
    for (const auto& entry : members.Find("body").items()) {
        try {
            const json::json_pointer checked(entry.key());
        } catch (const json::exception&) {
            entries.Refuse(entry.key(), "must be a JSON Pointer such as /span");
        }
        body[entry.key()] = entry.value();
    }
    return body;
}

} // namespace

RequestPattern::RequestPattern(MemberReader& members)
    : method(members.ReadText("method", "")), path(members.ReadText("path", "")) {}

RequestPattern RequestPattern::ReadDetails(MemberReader& members) {
    RequestPattern pattern(members);
    pattern.query = ReadTexts(members, "query");
    pattern.headers = ReadTexts(members, "headers");
    pattern.body = ReadBody(members);
    pattern.text = members.ReadText("text", "");
    pattern.status = static_cast<int>(members.ReadInteger("status", 0, 100, 599));
    return pattern;
}

bool RequestPattern::Matches(const std::string& askedMethod, const std::string& askedPath) const {
    return (method.empty() || method == askedMethod) &&
           (path.empty() || MatchesPattern(path, askedPath, FNM_PATHNAME));
}

std::vector<std::string> RequestPattern::Compare(const Request& request, int answered) const {
    std::vector<std::string> differences;
    const std::string askedPath = request.GetPath();
    if (!path.empty() && !MatchesPattern(path, askedPath, FNM_PATHNAME)) {
        differences.push_back("the path is " + askedPath);
    }
    if (!method.empty() && method != request.method) {
        differences.push_back("the method is " + request.method);
    }
    if (status != 0 && status != answered) {
        differences.push_back("the status is " + std::to_string(answered));
    }
    const auto askedQuery = ParseQuery(request.target);
    for (const auto& [name, value] : query) {
        const auto [first, last] = askedQuery.equal_range(name);
        const std::string& expected = value;
        if (first == last) {
            differences.push_back("the query lacks " + name);
        } else if (std::none_of(first, last, [&expected](const auto& asked) {
                       return asked.second == expected;
                   })) {
            differences.push_back("in the query, " + name + " is " + first->second);
        }
    }
    for (const auto& [name, value] : headers) {
        if (!MatchesPattern(value, request.FindHeader(name), 0)) {
            differences.push_back("the header " + name + " is missing or different");
        }
    }
    const json document = json::parse(request.body, nullptr, false);
    for (const auto& [pointer, value] : body) {
        const json::json_pointer place(pointer);
        if (!document.contains(place)) {
            differences.push_back("the body lacks " + pointer);
        } else if (document.at(place) != value) {
            differences.push_back("in the body, " + pointer + " is " +
                                  WriteJson(document.at(place)));
        }
    }
    if (request.body.find(text) == std::string::npos) {
        differences.push_back("the body lacks the text \"" + text + "\"");
    }
    return differences;
}

std::string RequestPattern::Describe() const {
    std::string words =
        (method.empty() ? "any method" : method) + " " + (path.empty() ? "on any path" : path);
    for (const auto& [name, value] : query) { words += ", query " + name + " = " + value; }
    for (const auto& [name, value] : headers) { words += ", header " + name; }
    for (const auto& [pointer, value] : body) {
        words += ", body " + pointer + " = " + WriteJson(value);
    }
    if (!text.empty()) { words += ", body with \"" + text + "\""; }
    if (status != 0) { words += ", answered with " + std::to_string(status); }
    return words;
}

std::vector<std::string> RequestPattern::CollectWarnings(bool isAnswered) const {
    std::vector<std::string> warnings;
    if (method.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_") != std::string::npos) {
        warnings.push_back("method: clients do not send \"" + method +
                           "\"; methods are in upper case, such as GET");
    }
    if (path.empty() || path == "/") { return warnings; }
    if (path.front() != '/') {
        warnings.emplace_back(
            "path: no path matches, since each begins with \"/\", which \"*\" and \"?\" do not "
            "stand for");
    }
    if (path.back() == '/' && !isAnswered) {
        warnings.emplace_back(
            "path: the emulated service answers paths that end with \"/\" with 404");
    }
    const std::size_t mark = path.find('?');
    if (path.find('#') != std::string::npos ||
        (mark != std::string::npos && path.find('=', mark) != std::string::npos)) {
        warnings.emplace_back(
            "path: no path matches, since query and fragment are not part of it, and \"?\" stands "
            "for one character");
    }
    if (path.rfind("/_local/", 0) == 0) {
        warnings.emplace_back("path: rules do not apply below /_local");
    }
    return warnings;
}

} // namespace VarnelBase::Emulation
