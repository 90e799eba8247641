#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "Faults.h"
#include "Messages.h"

namespace VarnelBase::Emulation {

/// How an answer is sent.
struct Delivery {
    enum class Ending { Keep, Close, Reset };

    int status = 0; ///< 0: no answer is sent
    double delaySeconds = 0;
    std::string bytes;
    std::optional<double> pauseSeconds; ///< between any two bytes; none: all are sent at once
    std::int64_t blanks = 0;            ///< how many are sent behind the bytes
    std::shared_ptr<BodyStream> stream; ///< what is sent behind the bytes
    Ending ending = Ending::Keep;       ///< what happens to the connection then
};

/// Says how an answer to a request is sent, and what a fault changes in it.
Delivery PlanDelivery(Answer answer, const Request& request, const std::optional<Fault>& fault);

} // namespace VarnelBase::Emulation
