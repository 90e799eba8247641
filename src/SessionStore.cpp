#include "SessionStore.h"

#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <stdexcept>

#include "IdentityRequest.h"
#include "LoginGuide.h"

namespace VarnelBase {

namespace {

/// Hash of the last refresh token that could not be stored.
std::atomic<std::size_t> unstoredSession{0};

} // namespace

bool IsUnstored(const std::string& refreshToken) {
    return !refreshToken.empty() && std::hash<std::string>()(refreshToken) == unstoredSession;
}

bool IsSessionReplaced(TokenStore& store, const TokenFile& file, const std::string& refreshToken) {
    if (IsUnstored(refreshToken)) { return false; }
    TokenSet stored;
    try {
        stored = store.Load();
    } catch (const std::exception&) {
        return false; // to be found again when the new tokens are stored
    }
    if (!stored.accessToken.empty()) { return stored.refreshToken != refreshToken; }
    const std::string path = file.GetPath();
    struct stat status {};
    return lstat(path.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR);
}

void StoreSession(TokenStore& store, const TokenFile& file, const TokenSet& tokens) {
    const std::size_t session = std::hash<std::string>()(tokens.refreshToken);
    std::string problem;
    try {
        if (!IsStoreFile(file)) {
            problem = "the settings have changed since the program read them";
        } else if (tokens.accessToken.empty()) {
            store.Clear();
        } else {
            store.Store(tokens);
            std::size_t stored = session;
            unstoredSession.compare_exchange_strong(stored, 0);
        }
    } catch (const std::exception& error) {
        unstoredSession = session;
        problem = error.what();
    }
    const auto& tellUnstored = GuidedLogin::GetGuide().tellUnstored;
    if (!problem.empty() && tellUnstored) { tellUnstored(problem); }
}

void MakeTokenPlace(std::optional<TokenPlace>& place, const TokenFile& file,
                    const std::string& refreshToken, bool isOptional) {
    if (IsUnstored(refreshToken)) { return; }
    try {
        place.emplace(file);
    } catch (const std::runtime_error& error) {
        if (isOptional) { return; }
        throw IdentityError(
            "the token is not renewed before it expires, because a new one could not be stored: " +
            std::string(error.what()));
    }
}

} // namespace VarnelBase
