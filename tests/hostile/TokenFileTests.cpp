#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>
#include <iterator>

#include "ChildProcess.h"
#include "HostileFixture.h"

namespace VarnelBase {

namespace {

class TokenFiles : public HostileFixture {
protected:
    TokenFiles() { TokenStore().Store({"access-t0ken", "refresh t0ken"}); }

    static std::string Read() {
        std::ifstream file(FindFile());
        return {std::istreambuf_iterator<char>(file), {}};
    }
    bool HoldsOnly(const std::string& accessToken) const {
        const std::filesystem::directory_iterator files(FindFile().parent_path());
        return TokenStore().Load().accessToken == accessToken &&
               std::distance(begin(files), {}) == 1;
    }
};

} // namespace

TEST_F(TokenFiles, CountAsNothingWhenDamaged) {
    const std::string whole = Read();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        Write(FindFile(), whole.substr(0, length));
        EXPECT_EQ(TokenStore().Load().accessToken, "") << length;
    }
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        std::string bytes = whole;
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
        Write(FindFile(), bytes);
        const TokenSet tokens = TokenStore().Load();
        EXPECT_TRUE(IsAccessTokenText(tokens.accessToken) &&
                    IsRefreshTokenText(tokens.refreshToken));
        EXPECT_TRUE(!tokens.accessToken.empty() || tokens.refreshToken.empty()) << bit;
        EXPECT_EQ(Read(), bytes);
    }
    Write(FindFile(), std::string(60000, '['));
    EXPECT_EQ(TokenStore().Load().accessToken, "");
    std::filesystem::resize_file(FindFile(), 1 << 30);
    EXPECT_EQ(TokenStore().Load().accessToken, "");
}

TEST_F(TokenFiles, StayWhenNewTokensCannotBeWritten) {
    const auto failToStore = [this] {
        try {
            TokenStore().Store({"new", ""});
        } catch (const std::system_error& error) {
            const bool isNamed = std::string(error.what()).rfind(FindFile().string(), 0) == 0;
            return isNamed && HoldsOnly("access-t0ken") ? 0 : 1;
        }
        return 2;
    };
    const pid_t onFullDisk = StartChild([&] {
        const rlimit few{8, 8};
        return std::signal(SIGXFSZ, SIG_IGN) == SIG_ERR || setrlimit(RLIMIT_FSIZE, &few) != 0
                   ? 3
                   : failToStore();
    });
    EXPECT_EQ(AwaitChild(onFullDisk), 0);

    const std::filesystem::path directory = FindFile().parent_path();
    const auto makeReadOnly =
        std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec;
    const pid_t unprivileged = StartChild([&] {
        const uid_t nobody = geteuid() == 0 ? 65534 : geteuid();
        for (const auto& entry : std::filesystem::recursive_directory_iterator(home)) {
            if (chown(entry.path().c_str(), nobody, static_cast<gid_t>(-1)) != 0) { return 3; }
        }
        std::filesystem::permissions(home, std::filesystem::perms::all);
        std::filesystem::permissions(directory, makeReadOnly);
        return setuid(nobody) == 0 ? failToStore() : 4;
    });
    EXPECT_EQ(AwaitChild(unprivileged), 0);
    std::filesystem::permissions(directory, std::filesystem::perms::owner_all);
}

} // namespace VarnelBase
