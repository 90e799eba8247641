#include "RequestHead.h"

#include <strings.h>

#include <algorithm>

namespace VarnelBase::Emulation {

namespace {

bool IsSame(const std::string& text, const char* other) {
    return strcasecmp(text.c_str(), other) == 0;
}

/// "host" or "host:port", which a browser or a proxy could not take for anything else.
bool IsAuthority(const std::string& text) {
    return text.find_first_of(" \t\",/\\?#@<>{}|^`") == std::string::npos;
}

bool IsNumber(const std::string& text) {
    return text.find_first_not_of("0123456789") == std::string::npos;
}

bool IsTargetOf(const std::string& target, const std::string& method) {
    if (target[0] == '/' || (target == "*" && method == "OPTIONS")) { return true; }
    const std::size_t begin = target.find("://") + 3;
    const std::string authority = target.substr(0, target.find_first_of("/?", begin));
    return (IsSame(target.substr(0, begin), "http://") ||
            IsSame(target.substr(0, begin), "https://")) &&
           authority.size() > begin && IsAuthority(authority.substr(begin));
}

} // namespace

bool IsContinueExpected(const Request& request) {
    return request.isHttp11 && IsSame(request.FindHeader("Expect"), "100-continue");
}

std::optional<Answer> CheckHead(const Request& request) {
    std::size_t count = 0;
    const auto isSingle = [&](const char* header, const auto& isGood) {
        count = 0;
        return std::all_of(request.headers.begin(), request.headers.end(), [&](const auto& line) {
            return !IsSame(line.first, header) || (++count == 1 && isGood(line.second));
        });
    };
    const auto refuse = [](const char* message) {
        return MakeErrorAnswer(400, "bad_request", message);
    };
    if (!IsTargetOf(request.target, request.method)) {
        return refuse("the target must be a path or an http URL");
    }
    if (!isSingle("Content-Length", IsNumber)) {
        return refuse("there must be one Content-Length, which is one number");
    }
    if (!isSingle("Transfer-Encoding", [&request](const std::string& value) {
            return request.isHttp11 && IsSame(value, "chunked");
        })) {
        return refuse("the only Transfer-Encoding that is read is chunked");
    }
    if (!isSingle("Host", IsAuthority)) {
        return refuse("there must be one Host header, with a host and maybe a port");
    }
    if (count == 0 && request.isHttp11) { return refuse("the Host header is missing"); }
    const std::string expectation = request.FindHeader("Expect");
    if (request.isHttp11 && !expectation.empty() && !IsContinueExpected(request)) {
        return MakeErrorAnswer(417, "expectation_failed",
                               "the only expectation that can be met is 100-continue");
    }
    return std::nullopt;
}

} // namespace VarnelBase::Emulation
