#pragma once

#include <string>

namespace VarnelBase {

/// What happened to a session at the provider.
enum class Revocation {
    NothingStored,
    Revoked,
    NotOffered, ///< the provider does not offer it, or none is configured
    Failed,
};

struct SignOutReport {
    Revocation revocation = Revocation::NothingStored;
    std::string problem; ///< why it failed
};

/// Ends the stored session on this machine and, if offered, at the provider (RFC 7009).
///
/// @throws std::runtime_error when the settings cannot be read or the file cannot be removed
SignOutReport SignOut();

} // namespace VarnelBase
