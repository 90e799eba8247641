#pragma once

#include <sys/types.h>

#include <functional>

/// Starts a child process that ends with what `work` returns, or with 255 when it throws.
pid_t StartChild(const std::function<int()>& work);

/// Waits for a child's end: its exit status, or the negative number of the signal that ended it.
int AwaitChild(pid_t child);
