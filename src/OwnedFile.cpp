#include "OwnedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>

#include "PrivateFile.h"

namespace VarnelBase {

namespace {

constexpr std::size_t MaxOwnerBytes = 512;
constexpr std::time_t AbandonedSeconds = 120; ///< longer than any refresh takes

/// "HOST PID", with a blank at the end, so that a file that was cut short names nobody.
std::string NameOwner() {
    std::array<char, 256> host{};
    if (gethostname(host.data(), host.size() - 1) != 0) { host.front() = '?'; }
    return std::string(host.data()) + " " + std::to_string(getpid()) + " ";
}

std::string ReadOwner(const std::string& path) {
    return ReadRegularFile(path, MaxOwnerBytes, SymbolicLinks::Refuse).bytes;
}

bool HasOwnerEnded(const std::string& owner) {
    const std::string self = NameOwner();
    const std::size_t number = self.find(' ') + 1;
    if (owner.compare(0, number, self, 0, number) != 0 || owner.back() != ' ') { return false; }
    const long process = std::strtol(owner.c_str() + number, nullptr, 10);
    return process > 0 && kill(static_cast<pid_t>(process), 0) != 0 && errno == ESRCH;
}

bool IsAbandoned(const std::string& path, const std::string& owner) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) { return false; }
    return HasOwnerEnded(owner) ||
           std::abs(std::time(nullptr) - status.st_mtime) > AbandonedSeconds;
}

/// Removes the file if it is still that owner's: another process may have replaced it meanwhile.
void RemoveFileOf(const std::string& path, const std::string& owner) {
    const std::string aside = path + "." + std::to_string(getpid()) + ".tmp";
    if (rename(path.c_str(), aside.c_str()) != 0) { return; }
    if (ReadOwner(aside) != owner) { static_cast<void>(link(aside.c_str(), path.c_str())); }
    unlink(aside.c_str());
}

} // namespace

bool CreateOwnedFile(const std::string& path) {
    const std::string earlier = ReadOwner(path);
    if (IsAbandoned(path, earlier)) { RemoveFileOf(path, earlier); }
    const FileDescriptor file(
        open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.IsOpen()) { return false; }
    const std::string owner = NameOwner();
    static_cast<void>(write(file.Get(), owner.data(), owner.size())); // Else its age counts.
    return true;
}

void RemoveOwnedFile(const std::string& path) {
    RemoveFileOf(path, NameOwner());
}

} // namespace VarnelBase
