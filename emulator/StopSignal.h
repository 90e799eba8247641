#pragma once

#include <chrono>

namespace VarnelBase::Emulation {

/// Tells threads that wait on sockets that the end has come. For several threads at a time.
class StopSignal {
public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    void Raise();
    bool IsRaised() const { return Wait(std::chrono::milliseconds(0)); }

    /// Waits for the signal; false: it was not raised in that time.
    bool Wait(std::chrono::milliseconds time) const;

    /// A descriptor that becomes readable with the signal.
    int GetDescriptor() const { return descriptor; }

private:
    int descriptor;
};

} // namespace VarnelBase::Emulation
