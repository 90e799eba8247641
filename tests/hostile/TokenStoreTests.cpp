#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>

#include "HostileFixture.h"
#include "OwnedFile.h"
#include "RefreshLock.h"

namespace {

bool hasLocks = true; ///< whether the file system has locks

int calls = 0;                ///< on the files of tokens
int failing = 0;              ///< which of them fails, counted from 1; 0: none
std::string_view failingKind; ///< the kind of call that fails
Log* kinds = nullptr;         ///< where each call notes its kind, unless null

bool IsToFail(const char* kind, int error) {
    if (kinds != nullptr) { kinds->emplace_back(kind); }
    const bool isToFail = kind == failingKind || (failing != 0 && ++calls == failing);
    if (isToFail) { errno = error; }
    return isToFail;
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
    if (std::string(path).find("/tokens") != std::string::npos && IsToFail("open", EMFILE)) {
        return -1;
    }
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

extern "C" int openat64(int directory, const char* path, int flags, ...) {
    std::va_list arguments; // NOLINT(cppcoreguidelines-init-variables)
    va_start(arguments, flags);
    const auto mode = va_arg(arguments, mode_t);
    va_end(arguments);
    if (IsToFail("create", EMFILE)) { return -1; }
    return static_cast<int>(syscall(SYS_openat, directory, path, flags, mode));
}

extern "C" ssize_t write(int file, const void* bytes, size_t size) {
    if (IsToFail("write", ENOSPC)) { return -1; }
    return syscall(SYS_write, file, bytes, std::min<size_t>(size, 100)); // as a disk that fills up
}

extern "C" int fsync(int file) {
    struct stat status {};
    fstat(file, &status);
    const bool isToFail = IsToFail(S_ISDIR(status.st_mode) ? "sync directory" : "sync file", EIO);
    return isToFail ? -1 : static_cast<int>(syscall(SYS_fsync, file));
}

extern "C" int renameat(int from, const char* oldName, int to, const char* newName) noexcept {
    if (IsToFail("rename", EIO)) { return -1; }
    return static_cast<int>(syscall(SYS_renameat2, from, oldName, to, newName, 0));
}

extern "C" int flock(int file, int operation) noexcept {
    if (hasLocks) { return static_cast<int>(syscall(SYS_flock, file, operation)); }
    errno = ENOLCK;
    return -1;
}

namespace VarnelBase {

namespace {

namespace fs = std::filesystem;

class Tokens : public HostileFixture {
protected:
    std::string LoadBoth() {
        const TokenSet tokens = store.Load();
        return tokens.accessToken + "|" + tokens.refreshToken;
    }

    /// All that lies in the store's directory.
    std::vector<fs::path> List() const {
        return {fs::directory_iterator(directory), fs::directory_iterator()};
    }

    TokenStore store;
};

} // namespace

TEST_F(Tokens, AreWrittenPrivatelyAndToTheDiskBeforeTheyReplaceOthers) {
    EXPECT_EQ(LoadBoth(), "|");
    fs::create_directories(directory);
    fs::permissions(directory, fs::perms(0777));
    const mode_t saved = umask(0);
    Log steps;
    kinds = &steps;
    const std::string large(1000, 'a');
    store.Store({large, ""});
    kinds = nullptr;
    umask(saved);
    steps.erase(std::remove(steps.begin(), steps.end(), "open"), steps.end());
    steps.erase(std::unique(steps.begin(), steps.end()), steps.end());
    EXPECT_EQ(steps, (Log{"create", "write", "sync file", "rename", "sync directory"}));
    EXPECT_EQ(LoadBoth(), large + "|");
    ASSERT_EQ(List().size(), 1U);
    EXPECT_EQ(fs::status(directory).permissions(), fs::perms(0700));
    EXPECT_EQ(fs::status(List()[0]).permissions(), fs::perms(0600));
    const fs::path path = List()[0];
    store.Clear();
    store.Clear();
    EXPECT_EQ(List().size(), 0U);
    fs::create_directory(path);
    EXPECT_THROW(store.Clear(), std::runtime_error);
    unsetenv("HOME");
    EXPECT_EQ(LoadBoth(), "|");
    EXPECT_THROW(store.Store({"a", "r"}), std::runtime_error);
}

TEST_F(Tokens, StayWhenOthersCannotBeStored) {
    store.Store({"old", "pair"});
    const fs::path path = List().at(0);
    for (const char* step : {"create", "write", "sync file", "rename"}) {
        failingKind = step;
        const std::string message = CatchMessage([&] { store.Store({"s3cret", "s3cret"}); });
        failingKind = {};
        EXPECT_PRED2(BeginsWith, message, path.string() + ": ") << step;
        EXPECT_PRED2(Lacks, message, "s3cret");
        EXPECT_EQ(LoadBoth(), "old|pair") << step;
        EXPECT_EQ(List(), std::vector<fs::path>{path}) << step;
    }
    const std::string nul("a\0", 2);
    const std::string large(40000, 'x');
    const std::vector<std::vector<std::string>> refused{
        {"a b", ""}, {"a\n", ""},  {"a\x7fz", ""}, {"a\x80", ""}, {nul, ""},
        {"", "r"},   {"a", "r\r"}, {"a", "r\x80"}, {large, large}};
    for (const auto& pair : refused) {
        EXPECT_THROW(store.Store({pair[0], pair[1]}), std::invalid_argument) << pair[0];
        EXPECT_EQ(LoadBoth(), "old|pair");
    }
}

TEST_F(Tokens, CountAsNoneInAFileThatCannotBeTrustedAndStayThere) {
    store.Store({"a", "r"});
    const fs::path path = List().at(0);
    const std::string good = R"({"accessToken":"a","refreshToken":"r r"})";
    for (const char* bytes :
         {"[]", R"({"accessToken":"a"})", R"({"refreshToken":"r"})",
          R"({"accessToken":"a","refreshToken":5})", R"({"accessToken":"","refreshToken":"r"})",
          R"({"accessToken":"a\n","refreshToken":"r"})",
          R"({"accessToken":"a","refreshToken":"r"}x)",
          R"({"accessToken":"a","refreshToken":"\n"})"}) {
        Write(path, bytes);
        EXPECT_EQ(LoadBoth(), "|") << bytes;
        EXPECT_EQ(fs::file_size(path), std::strlen(bytes));
    }
    Write(path, good + std::string(64 * 1024, ' '));
    EXPECT_EQ(LoadBoth(), "|");
    for (const int mode : {0640, 0604, 0620, 0601, 0400}) {
        Write(path, good);
        fs::permissions(path, fs::perms(mode));
        EXPECT_EQ(LoadBoth(), mode == 0400 ? "a|r r" : "|") << mode;
    }
    if (chown(path.c_str(), 12345, 12345) == 0) { EXPECT_EQ(LoadBoth(), "|"); }
    Write(home / "elsewhere", good);
    fs::remove(path);
    fs::create_symlink(home / "elsewhere", path);
    EXPECT_EQ(LoadBoth(), "|");
    store.Store({"new", ""});
    EXPECT_EQ(LoadBoth(), "new|");
    EXPECT_EQ(fs::file_size(home / "elsewhere"), good.size());
    fs::remove(path);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(LoadBoth(), "|");
}

TEST_F(Tokens, GoToNoOtherProviderClientOrPerson) {
    store.Store({"a", "r"});
    for (const char* variable : {"VARNEL_AUTH_HOST", "VARNEL_AUTH_REALM", "VARNEL_CLIENT_ID",
                                 "VARNEL_USERNAME", "VARNEL_SCOPE", "VARNEL_ENVIRONMENT"}) {
        setenv(variable, "staging", 1);
        EXPECT_EQ(LoadBoth(), "|") << variable;
        unsetenv(variable);
    }
    EXPECT_EQ(LoadBoth(), "a|r");
}

TEST_F(Tokens, AreRemovedWithWhatKilledWritersHaveLeft) {
    store.Store({"a", "r"});
    const fs::path path = List().at(0);
    const fs::path inUse = path.string() + ".2.tmp"; // perhaps
    const fs::path others = directory / "other.tmp";
    for (const bool isCleared : {false, true}) {
        Write(path.string() + ".1.tmp", "");
        Write(others, "");
        for (const fs::path& old : List()) {
            fs::last_write_time(old, fs::file_time_type::clock::now() - std::chrono::minutes(2));
        }
        Write(inUse, "");
        if (isCleared) {
            store.Clear();
        } else {
            store.Store({"a", "r"});
        }
        std::vector<fs::path> left = List();
        std::sort(left.begin(), left.end());
        std::vector<fs::path> expected{path, inUse, others};
        if (isCleared) { expected.erase(expected.begin()); }
        EXPECT_EQ(left, expected);
    }
}

TEST_F(Tokens, AreNotLostWhenTheDiskFailsOnceInARefresh) {
    server.Answer(MakeAnswer(200, MakeProviderDocument("renewed", "next").dump()));
    Set("VARNEL_AUTH_HOST", issuer);
    int renewals = 0;
    bool hasFailed = true;
    for (int number = 1; hasFailed; ++number) {
        store.Store({ExpiredToken, "refresh"});
        AuthHandler handler;
        calls = 0;
        failing = number;
        CatchMessage([&] { handler.GetApiKey(); }); // where there is one, nobody was asked
        failing = 0;
        hasFailed = calls >= number;
        bool isAsked = false;
        for (const std::string& target : server.TakeTargets()) {
            isAsked = isAsked || target.rfind("POST", 0) == 0;
        }
        renewals += isAsked ? 1 : 0;
        EXPECT_EQ(store.Load().refreshToken, isAsked ? "next" : "refresh") << number;
    }
    EXPECT_GE(renewals, 5);
}

TEST_F(Tokens, AreRefreshedByOneAtATimeWhereTheDiskHasNoLocks) {
    hasLocks = false;
    fs::create_directories(directory);
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
    EXPECT_FALSE(fs::exists(owned));
    EXPECT_EQ(AwaitChild(StartChild([&] { return CreateOwnedFile(owned) ? 7 : 0; })), 7);
    EXPECT_FALSE(isBusy()) << "its owner has ended";
    Write(owned, "elsewhere 1 ");
    EXPECT_TRUE(isBusy());
    fs::last_write_time(owned, fs::file_time_type::clock::now() - std::chrono::minutes(3));
    EXPECT_FALSE(isBusy()) << "it is too old";
    hasLocks = true;
}

} // namespace VarnelBase
