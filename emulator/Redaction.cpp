#include "Redaction.h"

#include <AsciiCase.h>

#include <algorithm>

#include "JsonText.h"
#include "RequestTarget.h"

namespace VarnelBase::Emulation {

namespace {

constexpr const char* Redacted = "redacted";
// A shorter text than this would be found in places that have nothing to do with it.
constexpr std::size_t MinSecretLength = 6;

bool IsSecretHeader(const std::string& name) {
    return IsHeader(name, {"Authorization", "Proxy-Authorization", "Cookie", "Set-Cookie",
                           "X-Api-Key", "X-Auth-Token"});
}

void ReplaceAll(std::string& text, const std::string& secret) {
    const std::string replacement = Redacted;
    for (std::size_t at = text.find(secret); at != std::string::npos;
         at = text.find(secret, at + replacement.size())) {
        text.replace(at, secret.size(), replacement);
    }
}

/// The texts that a request's headers keep secret: what follows "Bearer", and values of cookies.
std::vector<std::string> CollectSecrets(const std::vector<HeaderLine>& headers) {
    std::vector<std::string> secrets;
    for (const auto& [name, value] : headers) {
        if (!IsSecretHeader(name)) { continue; }
        for (const std::string& part : SplitText(value, ';')) {
            const std::size_t begin = part.find_last_of(" =");
            const std::string secret = begin == std::string::npos ? part : part.substr(begin + 1);
            if (secret.size() >= MinSecretLength) { secrets.push_back(secret); }
        }
    }
    return secrets;
}

} // namespace

Redaction::Redaction(const std::vector<std::string>& names)
    : secretNames{"password",      "access_token", "refresh_token", "id_token", "client_secret",
                  "authorization", "token",        "apikey",        "api_key",  "secret"} {
    for (const std::string& name : names) { secretNames.insert(LowerCase(name)); }
}

void Redaction::Redact(json& document) const {
    if (document.is_object()) {
        for (const auto& member : document.items()) {
            if (secretNames.count(LowerCase(member.key())) > 0) {
                member.value() = Redacted;
            } else {
                Redact(member.value());
            }
        }
    } else if (document.is_array()) {
        for (json& element : document) { Redact(element); }
    }
}

std::string Redaction::RedactFields(const std::string& fields) const {
    std::string redacted;
    for (const std::string& field : SplitText(fields, '&')) {
        const std::size_t equals = field.find('=');
        const std::string name = DecodePercent(field.substr(0, equals));
        const bool isSecret = equals != std::string::npos && secretNames.count(LowerCase(name)) > 0;
        redacted += (redacted.empty() ? "" : "&") +
                    (isSecret ? field.substr(0, equals + 1) + Redacted : field);
    }
    return redacted;
}

std::string Redaction::RedactBody(const std::string& body) const {
    if (MeasureJsonDepth(body) <= MaxJsonDepth) {
        json document = json::parse(body, nullptr, false);
        if (!document.is_discarded()) {
            const json before = document;
            Redact(document);
            return document == before ? body : WriteJson(document);
        }
    }
    return body.find('=') != std::string::npos ? RedactFields(body) : body;
}

void Redaction::Redact(Request& request) const {
    const std::vector<std::string> secrets = CollectSecrets(request.headers);
    const std::size_t query = request.target.find('?');
    if (query != std::string::npos) {
        request.target =
            request.target.substr(0, query + 1) + RedactFields(request.target.substr(query + 1));
    }
    request.body = RedactBody(request.body);
    for (const std::string& secret : secrets) {
        ReplaceAll(request.target, secret);
        ReplaceAll(request.body, secret);
    }
    for (auto& [name, value] : request.headers) {
        if (IsSecretHeader(name)) { value = Redacted; }
        for (const std::string& secret : secrets) { ReplaceAll(value, secret); }
    }
}

void Redaction::Redact(RecordedExchange& exchange) const {
    const std::vector<std::string> secrets = CollectSecrets(exchange.request.headers);
    Redact(exchange.request);
    exchange.answer.body = RedactBody(exchange.answer.body);
    std::vector<HeaderLine>& headers = exchange.answer.headers;
    headers.erase(std::remove_if(headers.begin(), headers.end(),
                                 [](const HeaderLine& line) { return IsSecretHeader(line.first); }),
                  headers.end());
    for (auto& [name, value] : headers) {
        for (const std::string& secret : secrets) { ReplaceAll(value, secret); }
    }
    for (const std::string& secret : secrets) { ReplaceAll(exchange.answer.body, secret); }
}

} // namespace VarnelBase::Emulation
