#include "TokenLifetimes.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <mutex>

namespace VarnelBase {

namespace {

constexpr std::size_t MaxKept = 64; ///< far more sessions than one process has

struct KeptLifetime {
    std::string token;
    TokenLifetime lifetime;
};

std::mutex keptMutex;
std::deque<KeptLifetime> keptLifetimes; ///< the newest one last
std::atomic<unsigned long> keptVersion{0};

auto FindKept(const std::string& token) {
    return std::find_if(keptLifetimes.begin(), keptLifetimes.end(),
                        [&token](const KeptLifetime& kept) { return kept.token == token; });
}

} // namespace

void KeepTokenLifetime(const std::string& token, const TokenLifetime& lifetime) {
    const std::lock_guard lock(keptMutex);
    const auto kept = FindKept(token);
    if (kept != keptLifetimes.end()) {
        kept->lifetime = lifetime;
    } else {
        keptLifetimes.push_back({token, lifetime});
        if (keptLifetimes.size() > MaxKept) { keptLifetimes.pop_front(); }
    }
    ++keptVersion;
}

TokenLifetime FindKeptLifetime(const std::string& token) {
    // The same token is asked about before every request.
    thread_local struct {
        std::string token;
        unsigned long version = 0;
        TokenLifetime lifetime;
    } last;
    const unsigned long version = keptVersion;
    if (version == 0) { return {}; }
    if (version != last.version || token != last.token) {
        const std::lock_guard lock(keptMutex);
        last.version = 0; // What follows may throw.
        last.token = token;
        const auto kept = FindKept(token);
        last.lifetime = kept == keptLifetimes.end() ? TokenLifetime() : kept->lifetime;
        last.version = version;
    }
    return last.lifetime;
}

TokenLifetime FindTokenLifetime(const std::string& token) {
    const TokenLifetime stated = ReadTokenLifetime(token);
    return stated.expiry ? stated : FindKeptLifetime(token);
}

} // namespace VarnelBase
