#pragma once

#include <sys/resource.h>
#include <unistd.h>

/// Has the process hold so many more open files until it ends; whether it may.
inline bool OpenFiles(int count) {
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    for (int opened = 0; opened < count; ++opened) {
        if (dup(STDERR_FILENO) < 0) { return false; }
    }
    return true;
}
