#include "TokenFile.h"

#include <algorithm>
#include <stdexcept>

#include "CryptoText.h"
#include "SettingSources.h"
#include "UserDirectory.h"

namespace VarnelBase {

std::string LocateTokenDirectory() {
    const std::string stateHome = LocateUserDirectory("XDG_STATE_HOME", ".local/state");
    return stateHome.empty() ? "" : stateHome + "/varnel/tokens";
}

void RequireTokenDirectory(const TokenFile& file) {
    if (!file.directory.empty()) { return; }
    throw std::runtime_error("no place for tokens: set HOME or XDG_STATE_HOME to an absolute path");
}

TokenFile LocateTokenFile(const EnvConfig& config, const IdentitySettings& identity) {
    std::string key;
    for (const std::string& part : {NameEnvironment(config.GetEnvironment()),
                                    BuildIssuer(identity.authHost, config.GetAuthRealm()),
                                    identity.clientId, config.GetUsername(), identity.scope}) {
        key += std::to_string(part.size()) + ":" + part;
    }
    return {LocateTokenDirectory(), HashToBase64Url(key) + ".json"};
}

TokenFile LocateStoreFile() {
    const SettingsReading reading;
    const EnvConfig config;
    return LocateTokenFile(config, ReadIdentitySettings(config.GetEnvironment()));
}

bool IsStoreFile(const TokenFile& file) {
    return LocateStoreFile().GetPath() == file.GetPath();
}

bool IsAccessTokenText(const std::string& text) {
    // Without an early end, so that a compiler may look at many characters at once: a token in
    // VARNEL_TOKEN is checked with each request.
    char lowest = '~';
    char highest = '~';
    for (const char c : text) {
        lowest = std::min(lowest, c);
        highest = std::max(highest, c);
    }
    return lowest > ' ' && highest < 0x7f;
}

bool IsRefreshTokenText(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7f; });
}

} // namespace VarnelBase
