#include "IdentityProvider.h"

#include <nlohmann/json.hpp>

#include <algorithm>

#include "AsciiCase.h"
#include "ProviderClock.h"
#include "TokenFile.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

constexpr std::size_t MaxErrorCodeLength = 64;

std::string FindText(const json& document, const char* name) {
    const auto member = document.find(name);
    return member != document.end() && member->is_string() ? member->get<std::string>() : "";
}

std::string DropTrailingSlash(std::string text) {
    if (!text.empty() && text.back() == '/') { text.pop_back(); }
    return text;
}

std::string FindEndpoint(const json& document, const char* name, const std::string& where) {
    std::string endpoint = FindText(document, name);
    if (endpoint.empty()) { throw IdentityError(where + ": has no \"" + name + "\""); }
    ParseIdentityUrl(endpoint, where + ": \"" + name + "\"");
    return endpoint;
}

/// The answer's document. Parsed without exceptions, since the parse error would quote a token.
json ParseAnswer(const IdentityAnswer& answer, const std::string& where) {
    json document = json::parse(answer.body, nullptr, false);
    if (!document.is_object()) {
        throw IdentityError(where + ": answered with status " + std::to_string(answer.status) +
                            " and something that is not a JSON object");
    }
    return document;
}

TokenAnswer ReadTokens(const json& document, const std::string& where) {
    TokenAnswer tokens{FindText(document, "access_token"), FindText(document, "refresh_token"), ""};
    if (tokens.accessToken.empty() || LowerCase(FindText(document, "token_type")) != "bearer") {
        throw IdentityError(where + ": answered without a bearer token");
    }
    if (!IsAccessTokenText(tokens.accessToken) || !IsRefreshTokenText(tokens.refreshToken)) {
        throw IdentityError(where + ": a token holds a character that no token may hold");
    }
    return tokens;
}

} // namespace

IdentityProvider DiscoverProvider(const std::string& issuer, const std::string& caFile) {
    IdentityRequest request;
    request.url = ParseIdentityUrl(DropTrailingSlash(issuer), "authHost");
    if (request.url.target.find('?') != std::string::npos) {
        throw std::runtime_error("authHost: must not hold a \"?\"");
    }
    request.url.target += "/.well-known/openid-configuration";
    request.caFile = caFile;
    const IdentityAnswer answer = SendIdentityRequest(request);

    const std::string where = DropTrailingSlash(issuer) + "/.well-known/openid-configuration";
    if (answer.status != 200) {
        const bool isRedirect = answer.status >= 300 && answer.status < 400;
        throw IdentityError(where + ": answered with status " + std::to_string(answer.status) +
                            (isRedirect ? ", a redirect, which is not followed" : ""));
    }
    const json document = ParseAnswer(answer, where);
    IdentityProvider provider;
    provider.issuer = FindText(document, "issuer");
    if (DropTrailingSlash(provider.issuer) != DropTrailingSlash(issuer)) {
        throw IdentityError(where +
                            ": is the document of another issuer; authHost and authRealm "
                            "must be exactly what it calls itself");
    }
    provider.authorizationEndpoint = FindEndpoint(document, "authorization_endpoint", where);
    provider.tokenEndpoint =
        ParseIdentityUrl(FindEndpoint(document, "token_endpoint", where), where);
    // Not copied: a copy of something deeply nested would overflow the stack.
    const auto announced = document.find("authorization_response_iss_parameter_supported");
    provider.announcesIssuer =
        announced != document.end() && announced->is_boolean() && announced->get<bool>();
    return provider;
}

std::string BuildAuthorizationUrl(const IdentityProvider& provider, const std::string& query) {
    const std::string& endpoint = provider.authorizationEndpoint;
    return endpoint + (endpoint.find('?') == std::string::npos ? "?" : "&") + query;
}

std::string BuildForm(const std::vector<std::pair<std::string, std::string>>& fields) {
    std::string form;
    for (const auto& [name, value] : fields) {
        form += (form.empty() ? "" : "&") + name + "=" + EncodeUrlText(value);
    }
    return form;
}

std::string NameErrorCode(const std::string& text) {
    const bool isCode = !text.empty() && text.size() <= MaxErrorCodeLength &&
                        std::all_of(text.begin(), text.end(),
                                    [](char c) { return (c >= 'a' && c <= 'z') || c == '_'; });
    return isCode ? text : "unknown_error";
}

TokenAnswer RequestTokens(const IdentityProvider& provider, const IdentityClient& client,
                          const std::string& form) {
    IdentityRequest request;
    request.url = provider.tokenEndpoint;
    request.caFile = client.caFile;
    request.form = form;
    if (client.secret.empty()) {
        request.form += "&" + BuildForm({{"client_id", client.id}});
    } else {
        request.credentials = EncodeUrlText(client.id) + ":" + EncodeUrlText(client.secret);
    }
    const IdentityAnswer answer = SendIdentityRequest(request);

    const std::string where = provider.issuer + ": token endpoint";
    if (answer.status == 200) {
        TokenAnswer tokens = ReadTokens(ParseAnswer(answer, where), where);
        LearnProviderClock(answer.date);
        return tokens;
    }
    if (answer.status < 400 || answer.status >= 500) {
        throw IdentityError(where + ": answered with status " + std::to_string(answer.status));
    }
    TokenAnswer refusal;
    refusal.error = NameErrorCode(FindText(ParseAnswer(answer, where), "error"));
    return refusal;
}

} // namespace VarnelBase
