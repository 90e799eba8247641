#pragma once

#include <string>

namespace VarnelBase {

/// An access token together with the token that renews it.
struct TokenSet {
    std::string accessToken;  ///< empty: nothing stored
    std::string refreshToken; ///< empty: the access token cannot be renewed
};

/// Keeps one token pair per identity provider, client, user and scope on disk, for this user alone.
///
/// The pair lies in $XDG_STATE_HOME/varnel/tokens (else ~/.local/state/varnel/tokens), in a file
/// that the settings of `EnvConfig()`'s environment select; they are read on each call. Directory
/// and file are private (0700, 0600). Objects hold nothing, so any number of them, in any number of
/// threads and processes, see the same pair: always a whole one, the old or the new.
class TokenStore {
public:
    TokenStore();
    ~TokenStore(); // NOLINT(performance-trivially-destructible): part of the interface

    /// The stored pair, or two empty strings when there is none that can be trusted: no file, or
    /// one that is damaged, not a regular file, another user's, or open to others. Such a file is
    /// left as it is.
    ///
    /// @throws std::runtime_error when the settings cannot be read
    TokenSet Load();

    /// Replaces the stored pair. On failure the old pair stays.
    ///
    /// @throws std::runtime_error when the settings cannot be read or the file cannot be written
    /// @throws std::invalid_argument when the access token is empty, or a token holds a character
    ///         that no token may hold, or both are larger than the store takes
    void Store(const TokenSet& tokens);

    /// Removes the stored pair; nothing happens when there is none.
    ///
    /// @throws std::runtime_error when the settings cannot be read or the file cannot be removed
    void Clear();
};

} // namespace VarnelBase
