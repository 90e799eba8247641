#include "TokenStore.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <stdexcept>

#include "EnvConfig.h"
#include "IdentitySettings.h"
#include "PrivateFile.h"
#include "TokenFile.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

constexpr std::size_t MaxTokenFileBytes = 1 << 16;

TokenFile FindConfiguredTokenFile() {
    const EnvConfig config;
    return FindTokenFile(config, ReadIdentitySettings(config.GetEnvironment()));
}

TokenFile RequireTokenFile() {
    TokenFile file = FindConfiguredTokenFile();
    if (file.directory.empty()) {
        throw std::runtime_error("no place for tokens: neither XDG_STATE_HOME nor HOME is set");
    }
    return file;
}

std::optional<std::string> FindStoredText(const json& document, const char* name) {
    const auto member = document.find(name);
    if (member == document.end() || !member->is_string()) { return std::nullopt; }
    return member->get<std::string>();
}

bool IsStorable(const TokenSet& tokens) {
    return !tokens.accessToken.empty() && IsAccessTokenText(tokens.accessToken) &&
           IsRefreshTokenText(tokens.refreshToken);
}

} // namespace

TokenStore::TokenStore() = default;

TokenStore::~TokenStore() = default;

TokenSet TokenStore::Load() {
    const TokenFile file = FindConfiguredTokenFile();
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
    return IsStorable(tokens) ? tokens : TokenSet();
}

void TokenStore::Store(const TokenSet& tokens) {
    if (!IsStorable(tokens)) {
        throw std::invalid_argument(
            "the access token is empty, or a token holds a character that no token may hold");
    }
    const json document =
        json::object({{"accessToken", tokens.accessToken}, {"refreshToken", tokens.refreshToken}});
    const std::string bytes = document.dump();
    if (bytes.size() > MaxTokenFileBytes) {
        throw std::invalid_argument("the tokens are larger than the store takes");
    }
    const TokenFile file = RequireTokenFile();
    CreatePrivateDirectory(file.directory);
    ReplacePrivateFile(file.directory, file.name, bytes);
}

void TokenStore::Clear() {
    const TokenFile file = FindConfiguredTokenFile();
    if (file.directory.empty()) { return; }
    RemovePrivateFile(file.directory, file.name);
}

} // namespace VarnelBase
