#pragma once

#include <string>

#include "TokenFile.h"

namespace VarnelBase {

/// Notes beside a token file about what must not be tried again, for every process to see. Where
/// no note can be left, none is found.

/// Notes that the provider has just refused the password.
void MarkPasswordRefused(const TokenFile& tokenFile);

/// Whether the password was refused less than a minute ago. Providers lock accounts whose password
/// is wrong again and again.
bool WasPasswordJustRefused(const TokenFile& tokenFile);

/// Notes that a refresh with this token went out and no answer came.
void MarkRefreshUnanswered(const TokenFile& tokenFile, const std::string& refreshToken);

/// Whether that is noted about this token. The provider may have taken it for used, and takes a
/// second use for theft (RFC 9700, section 4.14.2).
bool IsRefreshUnanswered(const TokenFile& tokenFile, const std::string& refreshToken);

} // namespace VarnelBase
