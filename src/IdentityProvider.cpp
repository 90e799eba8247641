#include "IdentityProvider.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>
#include <string_view>
#include <system_error>

#include "AsciiCase.h"
#include "AttemptMarks.h"
#include "ProviderClock.h"
#include "TokenFile.h"
#include "TokenLifetimes.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

constexpr std::size_t MaxErrorCodeLength = 64;
constexpr std::size_t MaxReasonLength = 200;
constexpr int TooManyRequests = 429;
constexpr int Unavailable = 503;

/// Errors that say nothing of who signs in (RFC 6749, section 5.2).
constexpr std::array<std::string_view, 5> ClientErrors{"invalid_client", "unauthorized_client",
                                                       "unsupported_grant_type", "invalid_scope",
                                                       "invalid_request"};

/// Fields of forms that no message may quote.
constexpr std::array<std::string_view, 7> SecretFields{
    "password", "refresh_token", "code", "code_verifier", "device_code", "token", "client_secret"};

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

/// The URL of an optional endpoint; empty if it is missing or unusable.
std::string FindOptionalEndpoint(const json& document, const char* name) {
    std::string endpoint = FindText(document, name);
    try {
        ParseIdentityUrl(endpoint, name);
        return endpoint;
    } catch (const std::runtime_error&) { return ""; }
}

/// Whether the client's secret goes into the form: Basic is what holds without a list.
bool WantsSecretInForm(const json& document) {
    const auto methods = document.find("token_endpoint_auth_methods_supported");
    if (methods == document.end() || !methods->is_array()) { return false; }
    const auto offers = [&methods](const char* method) {
        return std::any_of(methods->begin(), methods->end(), [method](const json& offered) {
            return offered.is_string() && offered.get_ref<const std::string&>() == method;
        });
    };
    return offers("client_secret_post") && !offers("client_secret_basic");
}

/// Seconds in a "Retry-After" header (RFC 9110, section 10.2.3); 0 for any other text.
std::chrono::seconds ParseRetryAfter(const std::string& text) {
    int seconds = 0;
    const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    if (error == std::errc() && stop == text.data() + text.size() && seconds > 0) {
        return std::chrono::seconds(seconds);
    }
    const auto date = ParseHttpDate(text);
    return std::chrono::seconds(date ? std::max<std::time_t>(0, *date - ReadProviderClock()) : 0);
}

/// Sends a request to a server that has not asked for a pause, and notes when it does.
IdentityAnswer SendPolitely(const IdentityRequest& request, const std::string& where) {
    const std::string server = request.url.host + ":" + std::to_string(request.url.port);
    const auto pause = ReadServerPause(server);
    if (pause.count() > 0) {
        throw IdentityError(where + ": the provider asked for a pause: try again in " +
                            std::to_string(pause.count()) + " s");
    }
    IdentityAnswer answer = SendIdentityRequest(request);
    if (answer.status != TooManyRequests && answer.status != Unavailable) { return answer; }
    const auto wanted = ParseRetryAfter(answer.retryAfter);
    if (wanted.count() > 0) { MarkServerPause(server, wanted); }
    throw IdentityError(
        where + ": " +
        (answer.status == TooManyRequests
             ? "too many requests were sent (status 429)"
             : "the provider is unavailable at the moment (status 503)") +
        ": try again " +
        (wanted.count() > 0 ? "in " + std::to_string(wanted.count()) + " s" : "later"));
}

std::string DecodeUrlText(const std::string& text) {
    std::string decoded;
    for (std::size_t at = 0; at < text.size(); ++at) {
        int byte = 0;
        const bool isEscape =
            text[at] == '%' && at + 2 < text.size() &&
            std::from_chars(&text[at + 1], &text[at + 3], byte, 16).ptr == &text[at + 3];
        decoded += isEscape ? static_cast<char>(byte) : text[at];
        if (isEscape) { at += 2; }
    }
    return decoded;
}

/// Whether a text holds the value of one of the form's secret fields.
bool QuotesSecret(const std::string& text, const std::string& form) {
    std::istringstream fields(form);
    for (std::string field; std::getline(fields, field, '&');) {
        const std::size_t end = field.find('=');
        const bool isSecret = std::find(SecretFields.begin(), SecretFields.end(),
                                        field.substr(0, end)) != SecretFields.end();
        if (!isSecret || end + 1 == field.size()) { continue; }
        if (text.find(DecodeUrlText(field.substr(end + 1))) != std::string::npos) { return true; }
    }
    return false;
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
    TokenAnswer tokens;
    tokens.accessToken = FindText(document, "access_token");
    tokens.refreshToken = FindText(document, "refresh_token");
    tokens.idToken = FindText(document, "id_token");
    if (tokens.accessToken.empty() || LowerCase(FindText(document, "token_type")) != "bearer") {
        throw IdentityError(where + ": answered without a bearer token");
    }
    if (!IsAccessTokenText(tokens.accessToken) || !IsRefreshTokenText(tokens.refreshToken)) {
        throw IdentityError(where + ": a token contains a character other than visible ASCII");
    }
    return tokens;
}

/// Keeps the lifetime of a token that does not state it.
void KeepLifetime(const json& document, const std::string& accessToken) {
    const auto seconds = document.find("expires_in");
    if (seconds == document.end() || !seconds->is_number() ||
        ReadTokenLifetime(accessToken).expiry) {
        return;
    }
    const auto now = static_cast<double>(ReadProviderClock());
    KeepTokenLifetime(accessToken, {now, now + seconds->get<double>()});
}

} // namespace

IdentityProvider DiscoverProvider(const std::string& issuer, const IdentityClient& client) {
    IdentityRequest request;
    request.url = ParseIdentityUrl(DropTrailingSlash(issuer), "authHost");
    if (request.url.target.find('?') != std::string::npos) {
        throw std::runtime_error("authHost: must not contain a \"?\"");
    }
    request.url.target += "/.well-known/openid-configuration";
    request.caFile = client.caFile;
    request.deadline = client.deadline;
    const std::string where = DropTrailingSlash(issuer) + "/.well-known/openid-configuration";
    const IdentityAnswer answer = SendPolitely(request, where);
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
    provider.deviceEndpoint = FindOptionalEndpoint(document, "device_authorization_endpoint");
    provider.revocationEndpoint = FindOptionalEndpoint(document, "revocation_endpoint");
    provider.isSecretInForm = WantsSecretInForm(document);
    provider.date = answer.date;
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

std::string BuildForm(const FormFields& fields) {
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

std::string CleanReason(const std::string& text, const std::string& form) {
    if (QuotesSecret(text, form)) { return ""; }
    std::string reason;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool isContinued = byte >= 0x80 && byte < 0xc0;
        if (reason.size() >= MaxReasonLength && !isContinued) { return reason + "..."; }
        // U+0080 to U+009F are control characters too.
        const bool isControl =
            byte < ' ' || byte == 0x7f || (byte < 0xa0 && isContinued && reason.back() == '\xc2');
        if (isControl && isContinued) { reason.pop_back(); }
        reason += isControl ? ' ' : c;
    }
    return reason;
}

std::string DescribeRefusal(const std::string& what, const Refusal& refusal) {
    const bool isCancelled = refusal.error == "access_denied";
    std::string message = what + (isCancelled ? " was cancelled (" : " was refused (") +
                          refusal.error + (refusal.reason.empty() ? "" : ": " + refusal.reason) +
                          ")";
    if (refusal.error == "invalid_client" || refusal.error == "unauthorized_client") {
        message += ": check clientId, clientSecret and what the provider allows this client";
    }
    return message;
}

bool IsAboutClient(const Refusal& refusal) {
    return std::find(ClientErrors.begin(), ClientErrors.end(), refusal.error) != ClientErrors.end();
}

IdentityAnswer SendForm(const IdentityUrl& endpoint, const IdentityProvider& provider,
                        const IdentityClient& client, std::string form, const std::string& where) {
    IdentityRequest request;
    request.url = endpoint;
    request.caFile = client.caFile;
    request.deadline = client.deadline;
    request.form = std::move(form);
    if (client.secret.empty() || provider.isSecretInForm) {
        request.form += "&" + BuildForm({{"client_id", client.id}});
    }
    if (!client.secret.empty()) {
        if (provider.isSecretInForm) {
            request.form += "&" + BuildForm({{"client_secret", client.secret}});
        } else {
            request.credentials = EncodeUrlText(client.id) + ":" + EncodeUrlText(client.secret);
        }
    }
    return SendPolitely(request, where);
}

TokenAnswer RequestTokens(const IdentityProvider& provider, const IdentityClient& client,
                          const std::string& form) {
    const std::string where = provider.issuer + ": token endpoint";
    const IdentityAnswer answer = SendForm(provider.tokenEndpoint, provider, client, form, where);
    if (answer.status == 200) {
        const json document = ParseAnswer(answer, where);
        TokenAnswer tokens = ReadTokens(document, where);
        LearnProviderClock(answer.date);
        KeepLifetime(document, tokens.accessToken);
        return tokens;
    }
    if (answer.status < 400 || answer.status >= 500) {
        throw IdentityError(where + ": answered with status " + std::to_string(answer.status));
    }
    TokenAnswer refused;
    refused.refusal =
        ReadRefusal(answer, form + "&" + BuildForm({{"client_secret", client.secret}}));
    return refused;
}

Refusal ReadRefusal(const IdentityAnswer& answer, const std::string& form) {
    // Parsed without exceptions, since the parse error would quote the answer.
    const json document = json::parse(answer.body, nullptr, false);
    if (!document.is_object() || FindText(document, "error").empty()) {
        return {"status " + std::to_string(answer.status), ""};
    }
    return {NameErrorCode(FindText(document, "error")),
            CleanReason(FindText(document, "error_description"), form)};
}

} // namespace VarnelBase
