#pragma once

#include <string>

namespace VarnelBase {

/// What became of a session at the provider.
enum class Revocation {
    NothingStored,
    Revoked,
    NotOffered, ///< the provider offers no such thing, or none is configured
    Failed,
};

struct SignOutReport {
    Revocation revocation = Revocation::NothingStored;
    std::string problem; ///< why it failed
};

/// Ends the stored session: at the provider where that is offered (RFC 7009), and in any case on
/// this machine.
///
/// @throws std::runtime_error when the settings cannot be read or the file cannot be removed
SignOutReport SignOut();

} // namespace VarnelBase
