#pragma once

#include <optional>

#include "Messages.h"

namespace VarnelBase::Emulation {

constexpr std::uint32_t MaxHeadBytes = 65536; ///< of the request line, and of the headers
constexpr std::uint64_t MaxBodyBytes = std::uint64_t{64} << 20U;

/// The refusal of a request whose head can be read, but not relied on: one program would read it in
/// one way and another one in another.
std::optional<Answer> CheckHead(const Request& request);

/// Whether the client waits for "100 Continue" before it sends the body.
bool IsContinueExpected(const Request& request);

} // namespace VarnelBase::Emulation
