#pragma once

#include <sys/types.h>

#include <optional>

namespace VarnelBase {

/// Which user of this machine has opened a TCP connection from one of its ports to another one;
/// none: the system does not tell.
std::optional<uid_t> FindPeerOwner(int fromPort, int toPort);

} // namespace VarnelBase
