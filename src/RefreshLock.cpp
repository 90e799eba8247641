#include "RefreshLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>

#include "PrivateFile.h"

namespace VarnelBase {

namespace {

constexpr std::chrono::seconds MaxWait(10);
constexpr std::chrono::milliseconds LockPollInterval(20);

int OpenLockFile(const TokenFile& tokenFile) {
    if (tokenFile.directory.empty()) { return -1; }
    try {
        CreatePrivateDirectory(tokenFile.directory);
    } catch (const std::system_error&) { return -1; }
    const std::string path = tokenFile.GetPath() + ".lock";
    return open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
}

} // namespace

RefreshLock::RefreshLock(const TokenFile& tokenFile) : file(OpenLockFile(tokenFile)) {
    if (file < 0) { return; }
    const auto deadline = std::chrono::steady_clock::now() + MaxWait;
    while (flock(file, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) { return; }
        if (std::chrono::steady_clock::now() >= deadline) {
            busy = true;
            return;
        }
        std::this_thread::sleep_for(LockPollInterval);
    }
}

RefreshLock::~RefreshLock() {
    if (file < 0) { return; }
    // Closing is not enough: a child that the program forked meanwhile has the file open too.
    if (!busy) { flock(file, LOCK_UN); }
    close(file);
}

} // namespace VarnelBase
