#pragma once

#include <functional>
#include <optional>

#include "Faults.h"
#include "Messages.h"
#include "RequestLog.h"

namespace VarnelBase::Emulation {

/// What a server asks the emulator. Called in the server's thread.
struct ServerCallbacks {
    /// The fault that a request meets whose head was read.
    std::function<std::optional<Fault>(const Request&)> chooseFault;
    /// Carries a request out, unless the fault prevents it.
    std::function<Answer(const Request&, const std::optional<Fault>&)> answer;
    /// Told of every request, before its answer is sent.
    std::function<void(Exchange)> record;
};

} // namespace VarnelBase::Emulation
