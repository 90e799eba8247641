#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <cstdarg>

#include "HostileFixture.h"
#include "OwnedFile.h"
#include "RefreshLock.h"

namespace {

bool hasLocks = true; ///< whether the file system has locks

/// Which call on the files of tokens fails, counted from 1; 0: none.
int failing = 0;
int calls = 0;

bool IsToFail(int error) {
    if (failing == 0 || ++calls != failing) { return false; }
    errno = error;
    return true;
}

} // namespace

// In place of the C library's; what is compiled for 64-bit file sizes calls this one.
extern "C" int open64(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & O_CREAT) != 0) {
        std::va_list arguments; // NOLINT(cppcoreguidelines-init-variables)
        va_start(arguments, flags);
        mode = va_arg(arguments, mode_t);
        va_end(arguments);
    }
    if (std::string(path).find("/tokens") != std::string::npos && IsToFail(EMFILE)) { return -1; }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

extern "C" int openat64(int directory, const char* path, int flags, ...) {
    std::va_list arguments; // NOLINT(cppcoreguidelines-init-variables)
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t);
    va_end(arguments);
    if (IsToFail(EMFILE)) { return -1; }
    return static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
}

extern "C" ssize_t write(int file, const void* bytes, size_t size) {
    return IsToFail(ENOSPC) ? -1 : syscall(SYS_write, file, bytes, size);
}

extern "C" int fsync(int file) {
    return IsToFail(EIO) ? -1 : static_cast<int>(syscall(SYS_fsync, file));
}

extern "C" int renameat(int from, const char* oldName, int to, const char* newName) noexcept {
    if (IsToFail(EIO)) { return -1; }
    return static_cast<int>(syscall(SYS_renameat2, from, oldName, to, newName, 0));
}

extern "C" int flock(int file, int operation) noexcept {
    if (hasLocks) { return static_cast<int>(syscall(SYS_flock, file, operation)); }
    errno = ENOLCK;
    return -1;
}

namespace VarnelBase {

namespace {

using FileSystem = HostileFixture;

} // namespace

TEST_F(FileSystem, MayFailOnceWithoutLosingWhatARefreshHasBrought) {
    server.Answer(MakeAnswer(200, MakeProviderDocument("renewed", "next").dump()));
    Set("VARNEL_AUTH_HOST", issuer);
    int renewals = 0;
    bool hasFailed = true;
    for (int number = 1; hasFailed; ++number) {
        TokenStore().Store({ExpiredToken, "refresh"});
        AuthHandler handler;
        calls = 0;
        failing = number;
        try {
            handler.GetApiKey();
        } catch (const std::runtime_error&) {} // not even asked for
        failing = 0;
        hasFailed = calls >= number;
        bool isAsked = false;
        for (const std::string& target : server.TakeTargets()) {
            isAsked = isAsked || target.rfind("POST", 0) == 0;
        }
        renewals += isAsked ? 1 : 0;
        EXPECT_EQ(TokenStore().Load().refreshToken, isAsked ? "next" : "refresh") << number;
    }
    EXPECT_GE(renewals, 5);
}

TEST_F(FileSystem, WithoutLocksStillLetsOneRefreshAtATime) {
    hasLocks = false;
    std::filesystem::create_directories(directory);
    const TokenFile file{directory.string(), "tokens.json"};
    const std::string owned = file.GetPath() + ".lock.owner";
    const auto isBusy = [&] {
        return RefreshLock(file, std::chrono::steady_clock::now()).IsBusy();
    };
    {
        const RefreshLock lock(file);
        EXPECT_FALSE(lock.IsBusy());
        EXPECT_TRUE(isBusy());
        EXPECT_EQ(AwaitChild(StartChild([&] { return isBusy() ? 7 : 0; })), 7);
    }
    EXPECT_FALSE(std::filesystem::exists(owned));
    EXPECT_EQ(AwaitChild(StartChild([&] { return CreateOwnedFile(owned) ? 7 : 0; })), 7);
    EXPECT_FALSE(isBusy()) << "its owner has ended";
    Write(owned, "elsewhere 1 ");
    EXPECT_TRUE(isBusy());
    std::filesystem::last_write_time(
        owned, std::filesystem::file_time_type::clock::now() - std::chrono::minutes(3));
    EXPECT_FALSE(isBusy()) << "it is too old";
    hasLocks = true;
}

} // namespace VarnelBase
