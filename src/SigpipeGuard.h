#pragma once

#include <csignal>
#include <mutex>

namespace VarnelBase {

/// Puts a program's own SIGPIPE handler back that constructing cpp-httplib's server replaces.
/// Without one the signal stays ignored, as httplib needs it: a peer that closes early would end
/// the program.
class SigpipeGuard {
public:
    SigpipeGuard() : lock(mutex) { sigaction(SIGPIPE, nullptr, &saved); }
    ~SigpipeGuard() {
        const bool hasHandler = (saved.sa_flags & SA_SIGINFO) != 0 ||
                                (saved.sa_handler != SIG_DFL && saved.sa_handler != SIG_IGN);
        if (hasHandler) { sigaction(SIGPIPE, &saved, nullptr); }
    }
    SigpipeGuard(const SigpipeGuard&) = delete;
    SigpipeGuard& operator=(const SigpipeGuard&) = delete;

private:
    // Two at a time would take each other's work for the program's own.
    static inline std::mutex mutex;
    std::lock_guard<std::mutex> lock;
    struct sigaction saved {};
};

} // namespace VarnelBase
