#include "RefreshLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <thread>

#include "IdentityRequest.h"
#include "OwnedFile.h"
#include "PrivateFile.h"

namespace VarnelBase {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds MaxWait(10);
constexpr std::chrono::milliseconds LockPollInterval(20);

} // namespace

RefreshLock::RefreshLock(const TokenFile& tokenFile, Clock::time_point deadline)
    : path(tokenFile.GetPath() + ".lock") {
    if (tokenFile.directory.empty()) { return; }
    try {
        CreatePrivateDirectory(tokenFile.directory);
    } catch (const std::system_error&) { return; }
    file = open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
    if (file < 0) { return; }
    fchmod(file, 0600); // whatever the umask takes away
    const auto end = std::min(deadline, Clock::now() + MaxWait);
    while ((state = TryToLock()) == State::Busy && Clock::now() < end) {
        std::this_thread::sleep_for(LockPollInterval);
    }
}

RefreshLock::~RefreshLock() {
    // Closing is not enough: a child that the program forked meanwhile has the file open too.
    if (state == State::Locked) { flock(file, LOCK_UN); }
    if (state == State::Owned) { RemoveOwnedFile(path + ".owner"); }
    if (file >= 0) { close(file); }
}

void RefreshLock::RequireFree(const std::string& issuer) const {
    if (!IsBusy()) { return; }
    throw IdentityError(issuer + ": another program has not finished renewing the token");
}

RefreshLock::State RefreshLock::TryToLock() {
    if (flock(file, LOCK_EX | LOCK_NB) == 0) { return State::Locked; }
    if (errno == EWOULDBLOCK || errno == EINTR) { return State::Busy; }
    return CreateOwnedFile(path + ".owner") ? State::Owned : State::Busy;
}

} // namespace VarnelBase
