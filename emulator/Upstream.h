#pragma once

#include <atomic>
#include <string>

#include "Messages.h"

namespace VarnelBase::Emulation {

/// The real service, over HTTP or HTTPS with its certificate checked.
class Upstream {
public:
    /// @param address "https://host:port/base", to which targets are added
    /// @throws std::runtime_error when it is no such address
    explicit Upstream(std::string address);

    const std::string& GetAddress() const { return address; }

    /// Asks what a request asks. No redirect is followed, nothing is sent twice.
    ///
    /// @throws std::runtime_error saying why there is no answer
    Answer Ask(const Request& request, const std::atomic<bool>& isStopping) const;

private:
    std::string address; ///< without a slash at the end
};

} // namespace VarnelBase::Emulation
