#pragma once

#include <optional>
#include <string>

#include "Emulator.h"
#include "Messages.h"

namespace VarnelBase::Emulation {

/// Who may ask.
class AccessRules {
public:
    /// @param acceptedToken the only token that is good; empty: every one is
    AccessRules(EmulatorAccess kind, std::string acceptedToken)
        : access(kind), token(std::move(acceptedToken)) {}

    /// The 401 or 403 that a request gets; none: it is let through.
    std::optional<Answer> Refuse(const Request& request) const;

private:
    EmulatorAccess access;
    std::string token;
};

} // namespace VarnelBase::Emulation
