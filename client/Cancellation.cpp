#include <algorithm>
#include <thread>

#include "CancellationState.h"

namespace VarnelBase {

Cancellation::Cancellation() : state(std::make_shared<State>()) {}

void Cancellation::Cancel() {
    const std::lock_guard lock(state->mutex);
    state->isCancelled = true;
    state->changed.notify_all();
    for (CURLM* multi : state->transfers) { curl_multi_wakeup(multi); }
}

bool Cancellation::IsCancelled() const {
    return VarnelBase::IsCancelled(state.get());
}

WakeRegistration::WakeRegistration(Cancellation::State* cancellation, CURLM* transfer)
    : state(cancellation), multi(transfer) {
    if (state == nullptr) { return; }
    const std::lock_guard lock(state->mutex);
    state->transfers.push_back(multi);
}

WakeRegistration::~WakeRegistration() {
    if (state == nullptr) { return; }
    const std::lock_guard lock(state->mutex);
    auto& transfers = state->transfers;
    transfers.erase(std::find(transfers.begin(), transfers.end(), multi));
}

bool SleepUnlessCancelled(Cancellation::State* cancellation, std::chrono::milliseconds duration) {
    if (cancellation == nullptr) {
        std::this_thread::sleep_for(duration);
        return false;
    }
    std::unique_lock lock(cancellation->mutex);
    return cancellation->changed.wait_for(lock, duration,
                                          [cancellation] { return cancellation->isCancelled; });
}

bool IsCancelled(const Cancellation::State* cancellation) {
    if (cancellation == nullptr) { return false; }
    const std::lock_guard lock(cancellation->mutex);
    return cancellation->isCancelled;
}

} // namespace VarnelBase
