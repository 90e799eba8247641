#include "trace/Redaction.h"

#include <AsciiCase.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <utility>

#include "output/JsonView.h"

namespace VarnelBase {

namespace {

constexpr const char* Redacted = "(redacted)";
constexpr std::size_t ShortestSecret = 4; ///< a shorter one would be found everywhere

/// A name that holds one of these, whatever its letters' case, names a credential.
constexpr std::array<const char*, 9> SecretNames{"authorization", "cookie", "token",
                                                 "password",      "passwd", "secret",
                                                 "credential",    "apikey", "api_key"};

bool IsSecretName(const std::string& name) {
    const std::string lower = LowerCase(name);
    return std::any_of(SecretNames.begin(), SecretNames.end(), [&lower](const char* part) {
        return lower.find(part) != std::string::npos;
    });
}

std::string RedactJson(const JsonView& value) {
    std::string text;
    if (value.IsObject()) {
        for (const auto& [name, member] : value.ReadMembers()) {
            text += (text.empty() ? "{" : ",") + nlohmann::json(name).dump() + ":" +
                    (IsSecretName(name) ? nlohmann::json(Redacted).dump() : RedactJson(member));
        }
        return text.empty() ? "{}" : text + "}";
    }
    if (!value.IsArray()) { return value.Format(0); }
    for (const JsonView& element : value.ReadElements()) {
        text += (text.empty() ? "[" : ",") + RedactJson(element);
    }
    return text.empty() ? "[]" : text + "]";
}

/// Parameters of an address or a form, behind `begin`.
std::string RedactParameters(std::string text, std::size_t begin) {
    while (begin < text.size()) {
        const std::size_t end = std::min(text.find('&', begin), text.size());
        const std::size_t equals = text.find('=', begin);
        if (equals < end && IsSecretName(text.substr(begin, equals - begin))) {
            text.replace(equals + 1, end - equals - 1, Redacted);
        }
        begin = std::min(text.find('&', begin), text.size() - 1) + 1;
    }
    return text;
}

std::string RedactTarget(const std::string& target) {
    const std::size_t query = target.find('?');
    return query == std::string::npos ? target : RedactParameters(target, query + 1);
}

void RedactHead(HttpHead& head) {
    for (auto& [name, value] : head.headers) {
        if (IsSecretName(name)) { value = Redacted; }
    }
}

std::string RedactBody(const std::string& body, const HttpHead& head) {
    if (head.Find("Content-Type").rfind("application/x-www-form-urlencoded", 0) == 0) {
        return RedactParameters(body, 0);
    }
    return FindJsonProblem(body).empty() ? RedactJson(JsonView(body)) : body;
}

void ReplaceAll(std::string& text, const std::string& secret) {
    for (std::size_t at = text.find(secret); at != std::string::npos; at = text.find(secret, at)) {
        text.replace(at, secret.size(), Redacted);
        at += std::string(Redacted).size();
    }
}

} // namespace

Redaction::Redaction(std::vector<std::string> known) : secrets(std::move(known)) {}

void Redaction::Apply(TracedExchange& exchange) const {
    std::vector<std::string> values = secrets;
    values.push_back(exchange.request.FindBearerToken());
    RedactHead(exchange.request);
    RedactHead(exchange.response);
    exchange.url = RedactTarget(exchange.url);
    exchange.request.target = RedactTarget(exchange.request.target);
    std::vector<std::string*> texts{&exchange.url, &exchange.request.target};
    for (HttpHead* head : {&exchange.request, &exchange.response}) {
        for (auto& header : head->headers) { texts.push_back(&header.second); }
    }
    for (const auto& [body, head] : {std::pair(&exchange.requestBody, &exchange.request),
                                     std::pair(&exchange.responseBody, &exchange.response)}) {
        if (!body->isKept) { continue; }
        body->bytes = RedactBody(body->bytes, *head);
        texts.push_back(&body->bytes);
    }
    for (const std::string& secret : values) {
        if (secret.size() < ShortestSecret) { continue; }
        for (std::string* text : texts) { ReplaceAll(*text, secret); }
    }
}

} // namespace VarnelBase
