#include "Messages.h"

#include <strings.h>

#include <algorithm>

#include "JsonDepth.h"

namespace VarnelBase::Emulation {

namespace {

/// Where the path of a target begins: behind scheme and authority, where it has them.
std::size_t FindPath(const std::string& target) {
    const std::size_t authority = target.find("://");
    if (target.empty() || target[0] == '/' || authority == std::string::npos) { return 0; }
    return std::min(target.find_first_of("/?", authority + 3), target.size());
}

} // namespace

bool IsHeader(const std::string& name, std::initializer_list<const char*> names) {
    return std::any_of(names.begin(), names.end(),
                       [&name](const char* one) { return strcasecmp(one, name.c_str()) == 0; });
}

bool IsAccessControl(const std::string& name) {
    return strncasecmp(name.c_str(), "Access-Control-", 15) == 0;
}

std::string Request::GetPath() const {
    const std::size_t begin = FindPath(target);
    const std::size_t end = std::min(target.find('?', begin), target.size());
    return begin == end ? "/" : target.substr(begin, end - begin);
}

std::string Request::GetAuthority() const {
    const std::size_t end = FindPath(target);
    if (end == 0) { return FindHeader("Host"); }
    const std::size_t begin = target.find("://") + 3;
    return target.substr(begin, end - begin);
}

std::string Request::FindHeader(const std::string& name) const {
    const auto found = std::find_if(headers.begin(), headers.end(), [&](const HeaderLine& line) {
        return IsHeader(line.first, {name.c_str()});
    });
    return found == headers.end() ? "" : found->second;
}

Refusal::Refusal(int httpStatus, std::string errorCode, const std::string& message)
    : std::runtime_error(message), status(httpStatus), code(std::move(errorCode)), text(message) {}

json ReadJson(const std::string& text) {
    if (MeasureJsonDepth(text) > MaxJsonDepth) {
        throw Refusal(400, "invalid_json",
                      "the body nests deeper than " + std::to_string(MaxJsonDepth) + " levels");
    }
    json document = json::parse(text, nullptr, false);
    if (document.is_discarded()) {
        throw Refusal(400, "invalid_json", "the body is not one JSON value in UTF-8");
    }
    return document;
}

Answer MakeJsonAnswer(int status, const json& document) {
    Answer answer;
    answer.status = status;
    answer.body = WriteJson(document);
    return answer;
}

Answer MakeErrorAnswer(int status, const std::string& code, const std::string& message) {
    return MakeJsonAnswer(
        status, json::object({{"error", json::object({{"code", code}, {"message", message}})}}));
}

} // namespace VarnelBase::Emulation
