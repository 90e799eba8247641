#pragma once

#include <string>

#include "EnvConfig.h"
#include "IdentitySettings.h"

namespace VarnelBase {

/// Where the tokens of one environment, provider, client, user and scope lie.
struct TokenFile {
    std::string directory; ///< empty: there is no home directory
    std::string name;

    std::string GetPath() const { return directory + "/" + name; }
};

/// $XDG_STATE_HOME/varnel/tokens, else ~/.local/state/varnel/tokens, and a name that tells nothing.
TokenFile FindTokenFile(const EnvConfig& config, const IdentitySettings& identity);

/// Whether a token may go into a header: 0x21 to 0x7E alone, so that it cannot end the line.
bool IsAccessTokenText(const std::string& text);

/// Whether a text may be a refresh token: 0x20 to 0x7E alone (RFC 6749, appendix A.17).
bool IsRefreshTokenText(const std::string& text);

} // namespace VarnelBase
