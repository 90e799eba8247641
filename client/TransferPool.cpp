#include "TransferPool.h"

#include <algorithm>
#include <iterator>
#include <thread>

namespace VarnelBase {

std::unique_ptr<HttpTransfer> TransferPool::Take() {
    const auto limit = HttpTransfer::Clock::now() - settings.idleTimeout;
    std::vector<std::unique_ptr<HttpTransfer>> stale; // closed without the lock
    {
        const std::lock_guard lock(mutex);
        const auto fresh = std::find_if(idle.begin(), idle.end(), [limit](const auto& transfer) {
            return transfer->lastUse > limit;
        });
        if (fresh != idle.begin()) {
            stale.assign(std::make_move_iterator(idle.begin()), std::make_move_iterator(fresh));
            idle.erase(idle.begin(), fresh);
        }
        // Room for all that return, so that returning allocates nothing.
        idle.reserve(idle.size() + lent + 1);
        if (!idle.empty()) {
            // What this thread has used before is in its processor's caches.
            const auto own = std::find_if(idle.rbegin(), idle.rend(), [](const auto& transfer) {
                return transfer->lastThread == std::this_thread::get_id();
            });
            const auto taken = own == idle.rend() ? idle.end() - 1 : own.base() - 1;
            auto transfer = std::move(*taken);
            idle.erase(taken);
            ++lent;
            return transfer;
        }
        ++lent;
    }
    try {
        return std::make_unique<HttpTransfer>(settings);
    } catch (...) {
        Return(nullptr);
        throw;
    }
}

void TransferPool::Return(std::unique_ptr<HttpTransfer> transfer) noexcept {
    const std::lock_guard lock(mutex);
    --lent;
    if (transfer) { idle.push_back(std::move(transfer)); }
}

} // namespace VarnelBase
