#include "TokenFile.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "EnvironmentVariable.h"
#include "SettingSources.h"

namespace VarnelBase {

namespace {

std::string FindTokenDirectory() {
    const std::string stateHome = ReadVariable("XDG_STATE_HOME");
    if (stateHome.rfind('/', 0) == 0) { return stateHome + "/varnel/tokens"; }
    const std::string home = ReadVariable("HOME");
    return home.empty() ? "" : home + "/.local/state/varnel/tokens";
}

std::string HashToHex(const std::string& text) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int size = 0;
    if (EVP_Digest(text.data(), text.size(), digest.data(), &size, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available");
    }
    std::string hex;
    for (unsigned int i = 0; i < size; ++i) {
        hex += "0123456789abcdef"[digest.at(i) >> 4];
        hex += "0123456789abcdef"[digest.at(i) & 0xf];
    }
    return hex;
}

} // namespace

TokenFile FindTokenFile(const EnvConfig& config, const IdentitySettings& identity) {
    std::string key;
    for (const std::string& part : {NameEnvironment(config.GetEnvironment()),
                                    FindIssuer(identity.authHost, config.GetAuthRealm()),
                                    identity.clientId, config.GetUsername(), identity.scope}) {
        key += std::to_string(part.size()) + ":" + part;
    }
    return {FindTokenDirectory(), HashToHex(key) + ".json"};
}

bool IsAccessTokenText(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7f; });
}

bool IsRefreshTokenText(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7f; });
}

} // namespace VarnelBase
