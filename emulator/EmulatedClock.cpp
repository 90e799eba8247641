#include "EmulatedClock.h"

#include <UtcTime.h>

#include <algorithm>
#include <cmath>

namespace VarnelBase::Emulation {

std::int64_t EmulatedClock::GetTime() const {
    const auto passed = static_cast<double>(GetMachineTime() - machineBase);
    return std::min<std::int64_t>(base + std::llround(passed * speed), LastTime);
}

void EmulatedClock::SetSpeed(double newSpeed) {
    base = GetTime();
    machineBase = GetMachineTime();
    speed = newSpeed;
}

} // namespace VarnelBase::Emulation
