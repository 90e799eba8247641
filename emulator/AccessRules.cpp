#include "AccessRules.h"

#include <AccessTokenClaims.h>
#include <AsciiCase.h>
#include <CryptoText.h>
#include <IdentityUrl.h>
#include <arpa/inet.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <stdexcept>

namespace VarnelBase::Emulation {

namespace {

constexpr const char* HealthPath = "/_local/health";
constexpr const char* KeyCookie = "varnel-emulator-key-";

bool IsSame(const std::string& left, const std::string& right) {
    return left.size() == right.size() &&
           CRYPTO_memcmp(left.data(), right.data(), left.size()) == 0;
}

/// "host" of "host:port" or "[host]:port", in lower case.
std::string BuildHost(const std::string& authority) {
    const std::size_t bracket = authority.find(']');
    if (authority.rfind('[', 0) == 0 && bracket != std::string::npos) {
        return LowerCase(authority.substr(1, bracket - 1));
    }
    return LowerCase(authority.substr(0, authority.find(':')));
}

bool IsAddress(const std::string& host) {
    in6_addr parsed{};
    return inet_pton(AF_INET, host.c_str(), &parsed) == 1 ||
           inet_pton(AF_INET6, host.c_str(), &parsed) == 1;
}

bool EndsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() &&
           text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string FindBearerToken(const Request& request) {
    const std::string scheme = "Bearer ";
    const std::string header = request.FindHeader("Authorization");
    return header.rfind(scheme, 0) == 0 ? header.substr(scheme.size()) : "";
}

std::string FindCookie(const Request& request, const std::string& name) {
    const std::string cookies = "; " + request.FindHeader("Cookie");
    const std::size_t begin = cookies.find("; " + name + "=");
    if (begin == std::string::npos) { return ""; }
    const std::size_t value = begin + name.size() + 3;
    return cookies.substr(value, cookies.find(';', value) - value);
}

Answer MakeUnauthorized(const std::string& message) {
    Answer answer = MakeErrorAnswer(401, "unauthorized", message);
    answer.headers.emplace_back("WWW-Authenticate", "Bearer");
    return answer;
}

void CheckHostText(const std::string& host) {
    if (IsAddress(host)) { return; }
    if (host.empty() || host.find_first_of(" ,:/*?#@[]") != std::string::npos) {
        throw std::invalid_argument(
            "allowed host \"" + host +
            "\": must be a name or address without a port, such as web.test");
    }
}

void CheckOriginText(const std::string& origin) {
    const std::size_t colon = origin.find("://");
    const std::string scheme = origin.substr(0, colon);
    const bool isGood = colon != std::string::npos && (scheme == "http" || scheme == "https") &&
                        origin.size() > colon + 3 && origin == LowerCase(origin) &&
                        origin.find_first_of("/?#*, ", colon + 3) == std::string::npos;
    if (!isGood) {
        throw std::invalid_argument(
            "allowed origin \"" + origin +
            "\": must be as a browser sends it, such as http://localhost:5173");
    }
}

} // namespace

bool IsLocal(const Request& request) {
    return request.GetPath().rfind("/_local/", 0) == 0;
}

AccessRules::AccessRules(const EmulatorOptions& options)
    : access(options.access),
      token(options.token),
      address(LowerCase(options.address)),
      hosts(options.allowedHosts),
      origins(options.allowedOrigins) {
    for (std::string& host : hosts) {
        CheckHostText(host);
        host = LowerCase(host);
    }
    for (const std::string& origin : origins) { CheckOriginText(origin); }
    if (access != EmulatorAccess::Off) { localKey = MakeRandomText(); }
}

bool AccessRules::IsOwnHost(const std::string& host) const {
    // Who listens on every address is reached by any of them, and no name can stand for one here.
    const bool isEverywhere = address == "0.0.0.0" || address == "::";
    return IsLoopback(host) || EndsWith(host, ".localhost") || host == address ||
           (isEverywhere && IsAddress(host)) ||
           std::any_of(hosts.begin(), hosts.end(), [&host](const std::string& allowed) {
               return host == allowed || EndsWith(host, "." + allowed);
           });
}

bool AccessRules::IsAllowedOrigin(const std::string& origin) const {
    return std::find(origins.begin(), origins.end(), origin) != origins.end();
}

std::optional<Answer> AccessRules::CheckOrigin(const Request& request) const {
    const std::string authority = request.GetAuthority();
    const bool isUnnamed = authority.empty() && !request.isHttp11; // by a program, not a browser
    if (const std::string host = BuildHost(authority); !isUnnamed && !IsOwnHost(host)) {
        return MakeErrorAnswer(
            403, "foreign_host",
            "the request names the host \"" + host + "\", which is not this emulator's" +
                (host.empty() ? "" : "; --allow-host " + host + " would make it one"));
    }
    const std::string origin = request.FindHeader("Origin");
    if (IsAllowedOrigin(origin)) {
        const bool isPreflight = request.method == "OPTIONS" &&
                                 !request.FindHeader("Access-Control-Request-Method").empty();
        return isPreflight ? std::make_optional(AnswerPreflight(request)) : std::nullopt;
    }
    const std::string site = request.FindHeader("Sec-Fetch-Site");
    const bool isOwnPage = (origin.empty() || EndsWith(origin, "://" + authority)) &&
                           (site.empty() || site == "same-origin" || site == "none");
    const bool isHarmless =
        !IsLocal(request) &&
        (request.method == "GET" || request.method == "HEAD" || request.method == "OPTIONS");
    if (isOwnPage || isHarmless) { return std::nullopt; }
    return MakeErrorAnswer(403, "foreign_origin",
                           "the request comes from a page of another origin, \"" + origin +
                               "\"; --allow-origin lets the pages of an origin do this");
}

Answer AccessRules::AnswerPreflight(const Request& request) const {
    Answer answer;
    answer.status = 204;
    answer.contentType.clear();
    answer.headers.emplace_back("Access-Control-Allow-Methods",
                                "GET, HEAD, POST, PUT, PATCH, DELETE");
    const std::string headers = request.FindHeader("Access-Control-Request-Headers");
    if (!headers.empty()) { answer.headers.emplace_back("Access-Control-Allow-Headers", headers); }
    if (request.FindHeader("Access-Control-Request-Private-Network") == "true") {
        answer.headers.emplace_back("Access-Control-Allow-Private-Network", "true");
    }
    answer.headers.emplace_back("Access-Control-Max-Age", "600");
    return answer;
}

void AccessRules::AddOriginHeaders(const Request& request, Answer& answer) const {
    if (origins.empty()) { return; }
    std::string names; // since a page that sends credentials takes "*" for a header's name
    for (const HeaderLine& line : answer.headers) {
        if (!IsAccessControl(line.first)) { names += (names.empty() ? "" : ", ") + line.first; }
    }
    answer.headers.emplace_back("Vary", "Origin");
    const std::string origin = request.FindHeader("Origin");
    if (!IsAllowedOrigin(origin)) { return; }
    answer.headers.emplace_back("Access-Control-Allow-Origin", origin);
    answer.headers.emplace_back("Access-Control-Allow-Credentials", "true");
    if (!names.empty()) { answer.headers.emplace_back("Access-Control-Expose-Headers", names); }
}

std::optional<Answer> AccessRules::CheckCredentials(const Request& request) const {
    if (access == EmulatorAccess::Off) { return std::nullopt; }
    return IsLocal(request) ? CheckLocalKey(request) : CheckToken(request);
}

std::optional<Answer> AccessRules::CheckLocalKey(const Request& request) const {
    const std::string path = request.GetPath();
    if (path == HealthPath) { return std::nullopt; }
    const std::string authority = request.GetAuthority();
    const std::string cookie = KeyCookie + authority.substr(authority.rfind(':') + 1);
    if (IsSame(FindBearerToken(request), localKey) ||
        IsSame(FindCookie(request, cookie), localKey)) {
        return std::nullopt;
    }
    // How a browser gets the cookie.
    if (request.method == "GET" && IsSame(request.target, path + "?key=" + localKey)) {
        Answer answer;
        answer.status = 303;
        answer.contentType.clear();
        answer.headers = {
            {"Location", path},
            {"Set-Cookie", cookie + "=" + localKey + "; Path=/_local; HttpOnly; SameSite=Strict"},
            {"Cache-Control", "no-store"},
            {"Referrer-Policy", "no-referrer"}};
        return answer;
    }
    return MakeUnauthorized(
        "/_local needs the key that the emulator printed at its start, as a bearer token or, in a "
        "browser, as /_local/?key=KEY");
}

std::optional<Answer> AccessRules::CheckToken(const Request& request) const {
    const std::string sent = FindBearerToken(request);
    if (sent.empty()) { return MakeUnauthorized("the request carries no bearer token"); }
    if (!token.empty() && sent != token) {
        return MakeUnauthorized("the bearer token is not the expected one");
    }
    if (access == EmulatorAccess::Any) { return std::nullopt; }

    const std::string group = ReadFirstGroup(sent, "groups");
    const std::string host = BuildHost(request.GetAuthority());
    if (group.empty() || host.substr(0, host.find('.')) != LowerCase(group)) {
        return MakeErrorAnswer(403, "forbidden",
                               "the token's first group is \"" + group +
                                   "\", but the request went to the host \"" + host + "\"");
    }
    return std::nullopt;
}

} // namespace VarnelBase::Emulation
