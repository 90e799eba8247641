#pragma once

#include <cstdint>

namespace VarnelBase::Emulation {

/// The service's time: the machine's, from a starting point on and with a speed. Plain values, so
/// that it goes on after a restart as if it had never stopped.
struct EmulatedClock {
    std::int64_t base = 0;        ///< emulated milliseconds since 1970 at the starting point
    std::int64_t machineBase = 0; ///< the machine's time at the starting point
    double speed = 1;             ///< emulated seconds in a second; 0: it stands still

    std::int64_t GetTime() const;

    /// Moves the starting point to now, so that another speed applies from here on.
    void SetSpeed(double newSpeed);
};

} // namespace VarnelBase::Emulation
