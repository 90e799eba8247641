#pragma once

#include <curl/curl.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "ClientOptions.h"

namespace VarnelBase {

struct Cancellation::State {
    mutable std::mutex mutex;
    std::condition_variable changed;
    bool isCancelled = false;
    std::vector<CURLM*> transfers; ///< to be woken
};

/// While it exists, a cancellation wakes the transfer. Does nothing without a cancellation.
class WakeRegistration {
public:
    WakeRegistration(Cancellation::State* cancellation, CURLM* transfer);
    ~WakeRegistration();
    WakeRegistration(const WakeRegistration&) = delete;
    WakeRegistration& operator=(const WakeRegistration&) = delete;

private:
    Cancellation::State* state;
    CURLM* multi;
};

/// Waits; returns true at once if cancelled, false when the time is over.
bool SleepUnlessCancelled(Cancellation::State* cancellation, std::chrono::milliseconds duration);

bool IsCancelled(const Cancellation::State* cancellation);

} // namespace VarnelBase
