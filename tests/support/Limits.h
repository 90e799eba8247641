#pragma once

#include <sys/resource.h>

#include <csignal>

/// Does something while a limit of the process (RLIMIT_...) is so low, and tells by errors alone
/// that it is reached.
template <typename Action>
void DoWithin(decltype(RLIMIT_NOFILE) resource, rlim_t limit, Action action) {
    rlimit usual{};
    getrlimit(resource, &usual);
    const rlimit lower{limit, usual.rlim_max};
    const auto handler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(resource, &lower);
    action();
    setrlimit(resource, &usual);
    std::signal(SIGXFSZ, handler);
}
