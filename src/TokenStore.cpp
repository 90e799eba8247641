#include "TokenStore.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <ctime>
#include <optional>
#include <stdexcept>

#include "PrivateFile.h"
#include "ProviderClock.h"
#include "TokenFile.h"
#include "TokenLifetimes.h"
#include "TokenPlace.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

constexpr double MaxClockSeconds = 1e11; ///< far more than any clock is off

std::optional<std::string> FindStoredText(const json& document, const char* name) {
    const auto member = document.find(name);
    if (member == document.end() || !member->is_string()) { return std::nullopt; }
    return member->get<std::string>();
}

std::optional<double> FindStoredNumber(const json& document, const char* name) {
    const auto member = document.find(name);
    if (member == document.end() || !member->is_number()) { return std::nullopt; }
    return member->get<double>();
}

/// What the answer that brought the token said besides, as far as this process knows it.
void AddAnswer(json& document, const std::string& accessToken) {
    const TokenLifetime lifetime = FindKeptLifetime(accessToken);
    if (lifetime.issuedAt) { document["issuedAt"] = *lifetime.issuedAt; }
    if (lifetime.expiry) { document["expiresAt"] = *lifetime.expiry; }
    if (const auto clock = FindProviderClock()) {
        document["clockAhead"] = clock->secondsAhead;
        document["clockReadAt"] = clock->at;
    }
}

void RestoreAnswer(const json& document, const std::string& accessToken) {
    const TokenLifetime lifetime{FindStoredNumber(document, "issuedAt"),
                                 FindStoredNumber(document, "expiresAt")};
    if (lifetime.expiry && !FindTokenLifetime(accessToken).expiry) {
        KeepTokenLifetime(accessToken, lifetime);
    }
    const auto ahead = FindStoredNumber(document, "clockAhead");
    const auto readAt = FindStoredNumber(document, "clockReadAt");
    if (ahead && readAt && std::abs(*ahead) < MaxClockSeconds &&
        std::abs(*readAt) < MaxClockSeconds) {
        RestoreProviderClock({static_cast<long long>(*ahead), static_cast<std::time_t>(*readAt)});
    }
}

bool IsStorable(const TokenSet& tokens) {
    return !tokens.accessToken.empty() && IsAccessTokenText(tokens.accessToken) &&
           IsRefreshTokenText(tokens.refreshToken);
}

} // namespace

TokenStore::TokenStore() = default;

TokenStore::~TokenStore() = default;

TokenSet TokenStore::Load() {
    const TokenFile file = LocateStoreFile();
    if (file.directory.empty()) { return {}; }
    const FileReading reading =
        ReadRegularFile(file.GetPath(), MaxTokenFileBytes, SymbolicLinks::Refuse);
    if (!reading.problem.empty() || !reading.isPrivate) { return {}; }

    // Without exceptions: the parse error would quote a token.
    const json document = json::parse(reading.bytes, nullptr, false);
    if (!document.is_object()) { return {}; }
    const auto accessToken = FindStoredText(document, "accessToken");
    const auto refreshToken = FindStoredText(document, "refreshToken");
    if (!accessToken || !refreshToken) { return {}; }
    TokenSet tokens{*accessToken, *refreshToken};
    if (!IsStorable(tokens)) { return {}; }
    RestoreAnswer(document, tokens.accessToken);
    return tokens;
}

void TokenStore::Store(const TokenSet& tokens) {
    if (!IsStorable(tokens)) {
        throw std::invalid_argument(
            "the access token is empty, or a token contains a character other than visible ASCII");
    }
    json document =
        json::object({{"accessToken", tokens.accessToken}, {"refreshToken", tokens.refreshToken}});
    AddAnswer(document, tokens.accessToken);
    const std::string bytes = document.dump();
    if (bytes.size() > MaxTokenFileBytes) {
        throw std::invalid_argument("the tokens are larger than 64 KiB");
    }
    WriteTokenFile(LocateStoreFile(), bytes);
}

void TokenStore::Clear() {
    const TokenFile file = LocateStoreFile();
    if (file.directory.empty()) { return; }
    RemovePrivateFile(file.directory, file.name);
}

} // namespace VarnelBase
