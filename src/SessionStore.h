#pragma once

#include <optional>
#include <string>

#include "TokenFile.h"
#include "TokenPlace.h"
#include "TokenStore.h"

namespace VarnelBase {

/// What a handler does with the token store, whose failures do not undo a login.

/// Whether that session could not be stored. Memory is newer than the store then; otherwise an
/// empty store means that somebody has signed out.
bool IsUnstored(const std::string& refreshToken);

/// Whether somebody has signed out, or in, since that session was loaded. What a refresh of it has
/// brought must not replace that. A token file that exists but cannot be read at the moment does
/// not count: losing what a refresh has brought could end the session.
bool IsSessionReplaced(TokenStore& store, const TokenFile& file, const std::string& refreshToken);

/// Stores a handler's tokens, or clears the store when there is no access token. Where that fails,
/// the program is told, if it guides this thread's logins.
///
/// @param file the handler's own; nothing is stored when the settings now select another one
void StoreSession(TokenStore& store, const TokenFile& file, const TokenSet& tokens);

/// Makes the place for the tokens that a refresh brings (see TokenPlace), for a session that is
/// stored. Without a place a refresh may end the session for everybody else.
///
/// @param place     stays empty if there is none
/// @param isOptional there is no token to use instead of a new one
/// @throws IdentityError when there is no place and it is not optional
void MakeTokenPlace(std::optional<TokenPlace>& place, const TokenFile& file,
                    const std::string& refreshToken, bool isOptional);

} // namespace VarnelBase
