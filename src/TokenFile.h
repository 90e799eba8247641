#pragma once

#include <string>

#include "EnvConfig.h"
#include "IdentitySettings.h"

namespace VarnelBase {

/// The token file of one environment, provider, client, user and scope.
struct TokenFile {
    std::string directory; ///< empty: no directory is set
    std::string name;

    std::string GetPath() const { return directory + "/" + name; }
};

/// $XDG_STATE_HOME/varnel/tokens, else ~/.local/state/varnel/tokens; empty when neither variable
/// holds an absolute path.
std::string LocateTokenDirectory();

/// Throws std::runtime_error when the file has no directory.
void RequireTokenDirectory(const TokenFile& file);

/// The file in that directory; its name is a hash and reveals nothing.
TokenFile LocateTokenFile(const EnvConfig& config, const IdentitySettings& identity);

/// The file that `TokenStore` uses now.
TokenFile LocateStoreFile();

/// Whether it is that one.
bool IsStoreFile(const TokenFile& file);

/// Whether a token is safe in a header: only 0x21 to 0x7E, so that it cannot end the line.
bool IsAccessTokenText(const std::string& text);

/// Whether a text may be a refresh token: only 0x20 to 0x7E (RFC 6749, appendix A.17).
bool IsRefreshTokenText(const std::string& text);

} // namespace VarnelBase
