#include "IdentityUrl.h"

#include <arpa/inet.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include "AsciiCase.h"
#include "HexText.h"

namespace VarnelBase {

namespace {

constexpr int HttpsPort = 443;
constexpr int HttpPort = 80;
constexpr int MaxPort = 65535;
constexpr unsigned int LoopbackNetwork = 127;

bool IsLetterOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

bool IsIpv6Address(const std::string& text) {
    in6_addr address{};
    return inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

bool IsHostName(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return IsLetterOrDigit(c) || c == '-' || c == '.' || c == '_';
    });
}

/// A port in decimal digits; 0 if it is invalid.
int ParsePort(const std::string& text) {
    int port = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    return error == std::errc() && stop == end && port >= 1 && port <= MaxPort ? port : 0;
}

} // namespace

bool IsLoopback(const std::string& host) {
    in_addr ipv4{};
    in6_addr ipv6{};
    if (inet_pton(AF_INET, host.c_str(), &ipv4) == 1) {
        return ntohl(ipv4.s_addr) >> 24 == LoopbackNetwork;
    }
    if (inet_pton(AF_INET6, host.c_str(), &ipv6) == 1) {
        return std::memcmp(&ipv6, &in6addr_loopback, sizeof(ipv6)) == 0;
    }
    return LowerCase(host) == "localhost";
}

IdentityUrl ParseIdentityUrl(const std::string& text, const std::string& name) {
    const auto refuse = [&name](const char* reason) -> std::runtime_error {
        return std::runtime_error(name + ": " + reason);
    };
    const bool isPrintable =
        std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7f; });
    if (!isPrintable || text.find_first_of("\\#\"<>") != std::string::npos) {
        throw refuse("contains a character that is not allowed in a URL");
    }
    const std::size_t colon = text.find("://");
    const std::string scheme = LowerCase(text.substr(0, colon));
    if (colon == std::string::npos || (scheme != "https" && scheme != "http")) {
        throw refuse("must be an address that begins with https://");
    }
    IdentityUrl url;
    url.isSecure = scheme == "https";

    const std::size_t begin = colon + 3;
    const std::size_t end = std::min(text.find_first_of("/?", begin), text.size());
    const std::string authority = text.substr(begin, end - begin);
    url.target = text.substr(end);
    if (authority.find('@') != std::string::npos) {
        throw refuse("must not contain a user name or password");
    }
    const std::size_t bracket = authority.find(']');
    const bool isBracketed = authority.rfind('[', 0) == 0 && bracket != std::string::npos;
    const std::size_t hostEnd =
        isBracketed ? bracket + 1 : std::min(authority.find(':'), authority.size());
    // Names compare without regard to letter case (RFC 4343), and the HTTP library's do not.
    url.host =
        LowerCase(isBracketed ? authority.substr(1, bracket - 1) : authority.substr(0, hostEnd));
    if (isBracketed ? !IsIpv6Address(url.host) : !IsHostName(url.host)) {
        throw refuse("has no valid host name");
    }
    url.port = url.isSecure ? HttpsPort : HttpPort;
    if (hostEnd < authority.size()) {
        url.port = authority[hostEnd] == ':' ? ParsePort(authority.substr(hostEnd + 1)) : 0;
    }
    if (url.port == 0) { throw refuse("has no valid port (1 to 65535)"); }
    if (!url.isSecure && !IsLoopback(url.host)) {
        throw refuse("must begin with https://; only 127.0.0.1, ::1 and localhost may use http");
    }
    return url;
}

std::string EncodeUrlText(const std::string& text) {
    std::string encoded;
    for (const char c : text) {
        if (IsLetterOrDigit(c) || c == '-' || c == '.' || c == '_' || c == '~') {
            encoded += c;
        } else {
            encoded += EscapeByte(c);
        }
    }
    return encoded;
}

} // namespace VarnelBase
