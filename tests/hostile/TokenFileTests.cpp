#include <array>
#include <csignal>
#include <cstdio>
#include <random>

#include "EnvironmentVariable.h"
#include "HostileFixture.h"
#include "TokenFile.h"

namespace VarnelBase {

namespace {

namespace fs = std::filesystem;

using TokenFiles = HostileFixture;

/// How often to do it: what the variable says, or what is enough for every day.
int ReadCount(const char* variable, int usual) {
    const std::string text = ReadVariable(variable);
    return text.empty() ? usual : std::stoi(text);
}

int WriteWithoutEnd() {
    for (std::minstd_rand random{std::random_device()()};;) {
        const std::string text = std::string(random() % 9000, 'x') + std::to_string(random());
        TokenStore().Store({text, text});
    }
}

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

TEST_F(TokenFiles, HoldAWholePairWhileWritersAreKilled) {
    TokenStore().Store({"first", "first"});
    const fs::path file = FindTokens();
    const auto readUntilOneIsWrong = [&file] {
        while (true) {
            const TokenSet tokens = TokenStore().Load();
            if (tokens.accessToken.empty() || tokens.accessToken != tokens.refreshToken) {
                return 1;
            }
            if (fs::status(file).permissions() != fs::perms(0600)) { return 2; }
        }
    };
    std::vector<pid_t> children; // four writers, four readers
    for (int i = 0; i < 4; ++i) { children.push_back(StartChild(WriteWithoutEnd)); }
    for (int i = 0; i < 4; ++i) { children.push_back(StartChild(readUntilOneIsWrong)); }
    const auto end = [](pid_t child) {
        kill(child, SIGKILL);
        EXPECT_EQ(AwaitChild(child), -SIGKILL);
    };
    const int kills = ReadCount("HARDEN_KILLS", 500);
    std::minstd_rand random{std::random_device()()};
    for (int killed = 0; killed < kills; ++killed) {
        usleep(static_cast<useconds_t>(random() % 2000)); // anywhere in what it does
        pid_t& writer = children[random() % 4];
        end(writer);
        writer = StartChild(WriteWithoutEnd);
    }
    for (const pid_t child : children) { end(child); }
    int leftovers = -1;
    for (const auto& entry : fs::directory_iterator(directory)) {
        ++leftovers;
        fs::last_write_time(entry, fs::file_time_type::clock::now() - std::chrono::minutes(2));
    }
    TokenStore().Store({"last", "last"});
    EXPECT_EQ(std::distance(fs::directory_iterator(directory), {}), 1);
    EXPECT_EQ(TokenStore().Load().accessToken, "last");
    std::printf("%d writers killed, %d of them while they wrote\n", kills, leftovers);
}

TEST_F(TokenFiles, AreRefreshedOnceForAllProcesses) {
    Set("VARNEL_AUTH_HOST", issuer);
    const int expiries = ReadCount("HARDEN_EXPIRIES", 10);
    int refreshes = 0;
    for (int expiry = 0; expiry < expiries; ++expiry) {
        const std::string number = std::to_string(expiry);
        const std::string renewed = "renewed-" + number; // opaque: never expires
        server.Answer(MakeAnswer(200, MakeProviderDocument(renewed, "next").dump()));
        TokenStore().Store({ExpiredToken, "refresh-" + number});
        // All at once, and none is forked while the server's thread holds the allocator's lock.
        std::array<int, 2> start{};
        ASSERT_EQ(pipe(start.data()), 0);
        std::vector<pid_t> children;
        for (int process = 0; process < 8; ++process) {
            children.push_back(StartChild([&] {
                close(start[1]);
                char nothing = 0;
                if (read(start[0], &nothing, 1) != 0) { return 2; }
                return AuthHandler().GetApiKey() == renewed ? 0 : 1;
            }));
        }
        for (const int end : start) { close(end); }
        for (const pid_t child : children) { EXPECT_EQ(AwaitChild(child), 0); }
        for (const std::string& request : server.TakeRequests()) {
            const bool isOurs =
                request.find("refresh_token=refresh-" + number + "&") != std::string::npos;
            EXPECT_EQ(isOurs, request.find("grant_type=refresh_token") != std::string::npos);
            refreshes += isOurs ? 1 : 0;
        }
        EXPECT_EQ(TokenStore().Load().refreshToken, "next");
    }
    EXPECT_EQ(refreshes, expiries);
    std::printf("%d expiries met by 8 processes: %d refreshes\n", expiries, refreshes);
}

} // namespace VarnelBase
