#pragma once

#include "TokenFile.h"

namespace VarnelBase {

/// The right to ask the provider for new tokens in place of those in a token file, for one handler
/// in any process at a time. It is a flock on a file of its own beside the token file, which the
/// kernel drops with its holder.
class RefreshLock {
public:
    /// Waits up to 10 s for the lock. Without a directory for tokens there is nothing to guard, and
    /// nobody is waited for.
    explicit RefreshLock(const TokenFile& tokenFile);
    ~RefreshLock();
    RefreshLock(const RefreshLock&) = delete;
    RefreshLock& operator=(const RefreshLock&) = delete;

    /// Whether somebody else kept the lock all the time.
    bool IsBusy() const { return busy; }

private:
    int file = -1;
    bool busy = false;
};

} // namespace VarnelBase
