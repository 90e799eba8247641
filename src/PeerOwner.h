#pragma once

#include <sys/types.h>

#include <optional>

namespace VarnelBase {

/// The user who opened the TCP connection between two ports of this machine; none if the system
/// does not tell.
std::optional<uid_t> FindPeerOwner(int fromPort, int toPort);

} // namespace VarnelBase
