#include "Redaction.h"

#include <AsciiCase.h>

#include <boost/algorithm/string/replace.hpp>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <utility>

#include "JsonView.h"
#include "RequestTarget.h"

namespace VarnelBase {

namespace {

constexpr const char* Redacted = "(redacted)";
// Shorter texts would be found in places that have nothing to do with them; what a name suggests is
// often no secret, such as a cookie's "dark".
constexpr std::size_t MinKnownLength = 4;
constexpr std::size_t MinNamedLength = 6;

/// A name that holds one of these, in letters of any case, suggests a credential.
constexpr std::array<const char*, 10> SecretNameParts{
    "authorization", "cookie",     "token",  "password", "passwd",
    "secret",        "credential", "apikey", "api_key",  "api-key"};

/// Adds a value that is redacted because of its name.
void AddSecret(const std::string& value, std::vector<std::string>& secrets) {
    const bool isRedacted = std::string(Redacted).find(value) != std::string::npos;
    if (value.size() >= MinNamedLength && !isRedacted) { secrets.push_back(value); }
}

/// A JSON text in which the values of certain members are replaced; the texts among them become
/// secrets.
std::string ReplaceMembers(const JsonView& value, const Redaction& redaction, bool& hasReplaced,
                           std::vector<std::string>& secrets) {
    std::string text;
    const auto add = [&text](const char* begin, const std::string& part) {
        text += (text.empty() ? begin : ",") + part;
    };
    if (value.IsObject()) {
        for (const auto& [name, member] : value.ReadMembers()) {
            const bool isSecret = redaction.IsSecretName(name);
            hasReplaced = hasReplaced || isSecret;
            if (isSecret && member.IsString()) { AddSecret(member.GetString(), secrets); }
            add("{", nlohmann::json(name).dump() + ":" +
                         (isSecret ? nlohmann::json(Redacted).dump()
                                   : ReplaceMembers(member, redaction, hasReplaced, secrets)));
        }
        return text.empty() ? "{}" : text + "}";
    }
    if (!value.IsArray()) { return std::string(value.GetText()); }
    for (const JsonView& element : value.ReadElements()) {
        add("[", ReplaceMembers(element, redaction, hasReplaced, secrets));
    }
    return text.empty() ? "[]" : text + "]";
}

} // namespace

Redaction::Redaction(const std::vector<std::string>& names, std::vector<std::string> values)
    : secretValues(std::move(values)) {
    for (const std::string& name : names) { secretNames.insert(LowerCase(name)); }
}

bool Redaction::IsSecretName(const std::string& name) const {
    const std::string lower = LowerCase(name);
    return secretNames.count(lower) > 0 ||
           std::any_of(SecretNameParts.begin(), SecretNameParts.end(), [&lower](const char* part) {
               return lower.find(part) != std::string::npos;
           });
}

std::string Redaction::RedactFields(const std::string& fields,
                                    std::vector<std::string>& secrets) const {
    std::string redacted;
    for (const std::string& field : SplitText(fields, '&')) {
        const std::size_t equals = field.find('=');
        const bool isSecret =
            equals != std::string::npos && IsSecretName(DecodePercent(field.substr(0, equals)));
        if (isSecret) {
            const std::string value = field.substr(equals + 1);
            AddSecret(value, secrets);
            AddSecret(DecodePercent(value), secrets);
        }
        redacted += (redacted.empty() ? "" : "&") +
                    (isSecret ? field.substr(0, equals + 1) + Redacted : field);
    }
    return redacted;
}

std::string Redaction::RedactBody(const std::string& body) const {
    std::vector<std::string> unused;
    return RedactBody(body, unused);
}

std::string Redaction::RedactBody(const std::string& body,
                                  std::vector<std::string>& secrets) const {
    if (FindJsonProblem(body).empty()) {
        bool hasReplaced = false;
        std::string text = ReplaceMembers(JsonView(body), *this, hasReplaced, secrets);
        return hasReplaced ? text : body;
    }
    // No form holds what other texts are full of.
    return body.find_first_of(" \t\r\n\"<") == std::string::npos ? RedactFields(body, secrets)
                                                                 : body;
}

void Redaction::Redact(const RecordedTexts& texts) const {
    std::vector<std::string> secrets;
    for (const std::string& value : secretValues) {
        if (value.size() >= MinKnownLength) { secrets.push_back(value); }
    }
    std::vector<std::string*> changed = texts.targets;
    for (std::string* target : texts.targets) {
        const std::size_t query = target->find('?') + 1;
        if (query > 0) {
            *target = target->substr(0, query) + RedactFields(target->substr(query), secrets);
        }
    }
    for (std::string* body : texts.bodies) {
        *body = RedactBody(*body, secrets);
        changed.push_back(body);
    }
    for (auto* headers : {texts.requestHeaders, texts.answerHeaders}) {
        if (headers == nullptr) { continue; }
        for (auto& [name, value] : *headers) {
            changed.push_back(&value);
            if (!IsSecretName(name)) { continue; }
            // What follows "Bearer", and the values of cookies, without attributes such as a path.
            std::vector<std::string> parts = SplitText(value, ';');
            if (headers == texts.answerHeaders) { parts.resize(1); }
            for (const std::string& part : parts) {
                AddSecret(part.substr(part.find_last_of(" =") + 1), secrets);
            }
            value = Redacted;
        }
    }
    // The longest first, because a shorter one may be a part of it.
    std::sort(secrets.begin(), secrets.end(),
              [](const auto& one, const auto& other) { return one.size() > other.size(); });
    for (const std::string& secret : secrets) {
        for (std::string* text : changed) { boost::replace_all(*text, secret, Redacted); }
    }
}

} // namespace VarnelBase
