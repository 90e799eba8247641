#include <sys/resource.h>

#include <csignal>
#include <system_error>

#include "HostileFixture.h"
#include "TokenFile.h"

namespace VarnelBase {

namespace {

namespace fs = std::filesystem;

using TokenFiles = HostileFixture;

} // namespace

TEST_F(TokenFiles, GiveNothingOrAWholePairWhenDamaged) {
    TokenStore().Store({"access", "refresh token"});
    const fs::path file = FindTokens();
    const std::string whole = Read(file);
    std::vector<std::string> damaged{std::string(60000, '[')};
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        damaged.push_back(whole);
        damaged.back()[bit / 8] = static_cast<char>(whole[bit / 8] ^ (1 << bit % 8));
        damaged.push_back(whole.substr(0, bit / 8));
    }
    for (const std::string& bytes : damaged) {
        Write(file, bytes);
        const TokenSet tokens = TokenStore().Load();
        EXPECT_TRUE(bytes.size() == whole.size() || tokens.accessToken.empty());
        EXPECT_TRUE(IsAccessTokenText(tokens.accessToken) &&
                    IsRefreshTokenText(tokens.refreshToken));
        EXPECT_TRUE(!tokens.accessToken.empty() || tokens.refreshToken.empty());
        EXPECT_EQ(fs::file_size(file), bytes.size());
    }
    fs::resize_file(file, 1 << 30);
    EXPECT_EQ(TokenStore().Load().accessToken, "");
}

TEST_F(TokenFiles, StayWhenNewTokensCannotBeWritten) {
    TokenStore().Store({"old", ""});
    const auto failToStore = [this] {
        try {
            TokenStore().Store({"new", ""});
        } catch (const std::system_error&) {
            const auto files = std::distance(fs::directory_iterator(directory), {});
            return files == 1 && TokenStore().Load().accessToken == "old" ? 0 : 1;
        }
        return 2;
    };
    const pid_t onFullDisk = StartChild([&] {
        const rlimit few{8, 8};
        setrlimit(RLIMIT_FSIZE, &few);
        std::signal(SIGXFSZ, SIG_IGN);
        return failToStore();
    });
    EXPECT_EQ(AwaitChild(onFullDisk), 0);
    const pid_t inReadOnlyDirectory = StartChild([&] {
        const uid_t nobody = geteuid() == 0 ? 65534 : geteuid(); // root may write everywhere
        for (const auto& entry : fs::recursive_directory_iterator(home)) {
            if (lchown(entry.path().c_str(), nobody, nobody) != 0 && nobody == 65534) { return 3; }
        }
        fs::permissions(home, fs::perms(0755));
        fs::permissions(directory, fs::perms(0500));
        return setuid(nobody) == 0 ? failToStore() : 4;
    });
    EXPECT_EQ(AwaitChild(inReadOnlyDirectory), 0);
    fs::permissions(directory, fs::perms(0700));
}

} // namespace VarnelBase
