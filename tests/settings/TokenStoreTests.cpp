#include "TokenStore.h"

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "TestHome.h"

namespace {

using Steps = std::vector<std::string>;

Steps diskSteps;         ///< what the store asked of the disk
std::string failingStep; ///< which of it fails

bool MustFail(const char* step) {
    diskSteps.emplace_back(step);
    errno = EIO;
    return step == failingStep;
}

} // namespace

// In place of the C library's.
extern "C" int fsync(int file) {
    struct stat status {};
    fstat(file, &status);
    const bool mustFail = MustFail(S_ISDIR(status.st_mode) ? "sync directory" : "sync file");
    return mustFail ? -1 : static_cast<int>(syscall(SYS_fsync, file));
}

extern "C" ssize_t write(int file, const void* bytes, size_t size) {
    return MustFail("write") ? -1 : syscall(SYS_write, file, bytes, size);
}

extern "C" int renameat(int from, const char* name, int to, const char* newName) noexcept {
    const bool mustFail = MustFail("rename");
    return mustFail ? -1 : static_cast<int>(syscall(SYS_renameat2, from, name, to, newName, 0));
}

namespace VarnelBase {

namespace {

namespace fs = std::filesystem;

class Tokens : public TestHome {
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
    fs::path directory = home / ".local/state/varnel/tokens";
};

} // namespace

TEST_F(Tokens, AreWrittenPrivatelyAndToTheDiskBeforeTheyReplaceOthers) {
    EXPECT_EQ(LoadBoth(), "|");
    fs::create_directories(directory);
    fs::permissions(directory, fs::perms(0777));
    const mode_t saved = umask(0);
    diskSteps.clear();
    store.Store({"a", ""});
    umask(saved);
    EXPECT_EQ(diskSteps, (Steps{"write", "sync file", "rename", "sync directory"}));
    EXPECT_EQ(LoadBoth(), "a|");
    ASSERT_EQ(List().size(), 1U);
    EXPECT_EQ(fs::status(directory).permissions(), fs::perms(0700));
    EXPECT_EQ(fs::status(List()[0]).permissions(), fs::perms(0600));
    store.Clear();
    store.Clear();
    EXPECT_EQ(List().size(), 0U);
    unsetenv("HOME");
    EXPECT_EQ(LoadBoth(), "|");
    EXPECT_THROW(store.Store({"a", "r"}), std::runtime_error);
}

TEST_F(Tokens, StayWhenOthersCannotBeStored) {
    store.Store({"old", "pair"});
    const fs::path path = List().at(0);
    for (const char* step : {"write", "sync file", "rename"}) {
        failingStep = step;
        std::string message;
        try {
            store.Store({"s3cret", "s3cret"});
        } catch (const std::runtime_error& error) { message = error.what(); }
        EXPECT_EQ(message.rfind(path.string() + ": ", 0), 0U) << step << message;
        EXPECT_EQ(message.find("s3cret"), std::string::npos) << message;
        EXPECT_EQ(LoadBoth(), "old|pair") << step;
        EXPECT_EQ(List(), std::vector<fs::path>{path}) << step;
    }
    failingStep = "";
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
         {"", "[]", R"({"accessToken":"a"})", R"({"refreshToken":"r"})",
          R"({"accessToken":"a","refreshToken":5})", R"({"accessToken":"","refreshToken":"r"})",
          R"({"accessToken":"a\n","refreshToken":"r"})",
          R"({"accessToken":"a","refreshToken":"r"}x)",
          R"({"accessToken":"a","refreshToken":"\n"})",
          R"({"accessToken":"a","refreshToken":"r)"}) {
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

} // namespace VarnelBase
