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
/// The file is in $XDG_STATE_HOME/varnel/tokens, else in ~/.local/state/varnel/tokens. Its name
/// follows from the settings of `EnvConfig()`'s environment, which are read on each call. Directory
/// and file are private (0700, 0600). Objects have no state: in all threads and processes they see
/// the same pair, either the old or the new one, never a mixture.
class TokenStore {
public:
    TokenStore();
    ~TokenStore(); // NOLINT(performance-trivially-destructible): part of the interface

    /// Returns the stored pair, or two empty strings if no file exists, or if it is damaged, not
    /// regular, another user's, or accessible to others. Such a file is left unchanged.
    ///
    /// @throws std::runtime_error when the settings cannot be read
    TokenSet Load();

    /// Replaces the stored pair. Once it returns, the new pair is durable; if it throws, the old
    /// pair stays.
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
