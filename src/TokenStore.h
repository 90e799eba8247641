#pragma once

#include <string>

namespace VarnelBase {

/// An access token and the refresh token that renews it.
struct TokenSet {
    std::string accessToken;  ///< empty: nothing is stored
    std::string refreshToken; ///< empty: the access token cannot be renewed
};

/// Stores one token pair per environment, identity provider, client, user and scope, readable only
/// by this user.
///
/// The file lies in $XDG_STATE_HOME/varnel/tokens, else ~/.local/state/varnel/tokens. The settings
/// of `EnvConfig()`'s environment, read on each call, determine its name. Directory and file are
/// private (0700, 0600). Objects have no state: all of them, in all threads and processes, see the
/// same pair, always whole, the old or the new one.
class TokenStore {
public:
    TokenStore();
    ~TokenStore(); // NOLINT(performance-trivially-destructible): part of the interface

    /// Returns the stored pair, or two empty strings if there is no file, or if the file is
    /// damaged, not regular, another user's, or accessible to others. Such a file is left
    /// unchanged.
    ///
    /// @throws std::runtime_error when the settings cannot be read
    TokenSet Load();

    /// Replaces the stored pair; once it returns, the data is durable. On failure the old pair
    /// stays.
    ///
    /// @throws std::runtime_error when the settings cannot be read or the file cannot be written
    /// @throws std::invalid_argument when the access token is empty, or a token contains an invalid
    ///         character, or both together are too large for the store
    void Store(const TokenSet& tokens);

    /// Removes the stored pair, if any.
    ///
    /// @throws std::runtime_error when the settings cannot be read or the file cannot be removed
    void Clear();
};

} // namespace VarnelBase
