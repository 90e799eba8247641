#include "RequestHead.h"

#include <BeastText.h>
#include <strings.h>

#include <algorithm>

namespace VarnelBase::Emulation {

namespace {

namespace http = boost::beast::http;

constexpr std::uint64_t MaxBodyBytes = std::uint64_t{64} << 20U;

/// Whether a request line asks for a version of HTTP that is not spoken here.
bool HasOtherVersion(std::string_view bytes) {
    const std::string_view line = bytes.substr(0, bytes.find("\r\n"));
    const std::string_view version = line.substr(std::min(line.rfind(' ') + 1, line.size()));
    return version.size() == 8 && version.substr(0, 5) == "HTTP/" && version[5] != '1';
}

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

RequestParser::RequestParser() {
    header_limit(MaxHeadBytes);
    body_limit(MaxBodyBytes);
}

bool HasBareLineFeed(std::string_view bytes) {
    std::size_t at = bytes.find('\n');
    while (at != std::string_view::npos && at > 0 && bytes[at - 1] == '\r') {
        at = bytes.find('\n', at + 1);
    }
    return at != std::string_view::npos;
}

Request CopyHead(const RequestParser& parser) {
    const auto& head = parser.get();
    Request request;
    request.method = ToText(head.method_string());
    request.target = ToText(head.target());
    request.isHttp11 = head.version() == 11;
    for (const auto& field : head) {
        request.headers.emplace_back(ToText(field.name_string()), ToText(field.value()));
    }
    return request;
}

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
        return refuse("Content-Length must occur only once and be a number");
    }
    if (!isSingle("Transfer-Encoding", [&request](const std::string& value) {
            return request.isHttp11 && IsSame(value, "chunked");
        })) {
        return refuse("the only supported Transfer-Encoding is chunked");
    }
    if (!isSingle("Host", IsAuthority)) {
        return refuse("there must be one Host header, with a host and, optionally, a port");
    }
    if (count == 0 && request.isHttp11) { return refuse("the Host header is missing"); }
    const std::string expectation = request.FindHeader("Expect");
    if (request.isHttp11 && !expectation.empty() && !IsContinueExpected(request)) {
        return MakeErrorAnswer(417, "expectation_failed",
                               "the only supported expectation is 100-continue");
    }
    return std::nullopt;
}

Answer ExplainMisuse(const boost::system::error_code& error, const Request& head,
                     std::string_view bytes) {
    const std::string limit = std::to_string(MaxHeadBytes) + " bytes";
    if (error == http::error::body_limit) {
        return MakeErrorAnswer(
            413, "content_too_large",
            "the body is longer than " + std::to_string(MaxBodyBytes) + " bytes");
    }
    const bool isLineRead = !head.method.empty() || bytes.find('\n') != std::string_view::npos;
    if (error == http::error::header_limit) {
        return isLineRead ? MakeErrorAnswer(431, "header_fields_too_large",
                                            "the headers are longer than " + limit)
                          : MakeErrorAnswer(414, "uri_too_long",
                                            "the request line is longer than " + limit);
    }
    if (error == http::error::buffer_overflow) {
        return MakeErrorAnswer(400, "bad_request",
                               "the trailers, or what precedes a chunk, are longer than " + limit);
    }
    if (error == http::error::bad_version && HasOtherVersion(bytes)) {
        return MakeErrorAnswer(505, "version_not_supported",
                               "the version of HTTP must be 1.1 or 1.0");
    }
    return MakeErrorAnswer(400, "bad_request", "the request is not valid HTTP: " + error.message());
}

} // namespace VarnelBase::Emulation
