#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <csignal>
#include <random>

#include "AuthHandler.h"
#include "ChildProcess.h"
#include "EnvironmentVariable.h"
#include "HostileFixture.h"

namespace VarnelBase {

namespace {

using Processes = HostileFixture;

/// How often to do it: the variable's value, or as often as is enough for every day.
int ReadCount(const char* variable, int usual) {
    const std::string text = ReadVariable(variable);
    return text.empty() ? usual : std::stoi(text);
}

int WriteWithoutEnd() {
    for (std::mt19937 random{std::random_device()()};;) {
        const std::string text = std::string(random() % 9000, 'x') + std::to_string(random());
        TokenStore().Store({text, text});
    }
}

/// Ends only when it finds something that is not a whole pair in a private file.
int ReadWithoutEnd(const std::filesystem::path& file) {
    while (true) {
        const TokenSet tokens = TokenStore().Load();
        struct stat status {};
        if (tokens.accessToken.empty()) { return 1; }
        if (tokens.accessToken != tokens.refreshToken) { return 2; }
        if (stat(file.c_str(), &status) != 0 || (status.st_mode & 07777) != 0600) { return 3; }
    }
}

} // namespace

TEST_F(Processes, FindWholeTokensWhileWritersAreKilled) {
    const std::filesystem::path file = FindFile();
    TokenStore().Store({"first", "first"});
    std::array<pid_t, 4> writers{};
    std::array<pid_t, 4> readers{};
    for (pid_t& writer : writers) { writer = StartChild(WriteWithoutEnd); }
    for (pid_t& reader : readers) {
        reader = StartChild([&] { return ReadWithoutEnd(file); });
    }
    const int kills = ReadCount("HARDEN_KILLS", 500);
    std::minstd_rand random{std::random_device()()};
    for (int killed = 0; killed < kills; ++killed) {
        pid_t& writer = writers.at(random() % writers.size());
        usleep(static_cast<useconds_t>(random() % 2000)); // anywhere in what it does
        kill(writer, SIGKILL);
        EXPECT_EQ(AwaitChild(writer), -SIGKILL);
        writer = StartChild(WriteWithoutEnd);
    }
    for (const pid_t child : writers) { kill(child, SIGKILL); }
    for (const pid_t child : writers) { EXPECT_EQ(AwaitChild(child), -SIGKILL); }
    for (const pid_t child : readers) { kill(child, SIGKILL); }
    for (const pid_t child : readers) { EXPECT_EQ(AwaitChild(child), -SIGKILL); }

    // What the killed ones left is swept once it is older than a minute.
    const std::filesystem::path directory = file.parent_path();
    const auto past = std::filesystem::file_time_type::clock::now() - std::chrono::seconds(61);
    int leftovers = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        leftovers += entry.path() == file ? 0 : 1;
        std::filesystem::last_write_time(entry, past);
    }
    TokenStore().Store({"last", "last"});
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        EXPECT_EQ(entry.path(), file);
    }
    EXPECT_EQ(TokenStore().Load().accessToken, "last");
    std::printf("%d writers killed, %d of them while they wrote\n", kills, leftovers);
}

TEST_F(Processes, RefreshOnceForAllOfThem) {
    Set("VARNEL_AUTH_HOST", issuer);
    const int expiries = ReadCount("HARDEN_EXPIRIES", 10);
    int refreshes = 0;
    for (int expiry = 0; expiry < expiries; ++expiry) {
        const std::string number = std::to_string(expiry);
        TokenStore().Store({ExpiredToken, "refresh-" + number});
        const std::string renewed = "renewed-" + number; // opaque: never expires
        server.answer =
            MakeAnswer(200, MakeProviderAnswer(renewed, "refresh-of-" + renewed).dump());
        std::vector<pid_t> children;
        for (int process = 0; process < 8; ++process) {
            children.push_back(
                StartChild([&] { return AuthHandler().GetApiKey() == renewed ? 0 : 1; }));
        }
        for (const pid_t child : children) { EXPECT_EQ(AwaitChild(child), 0); }
        for (const std::string& request : server.TakeRequests()) {
            if (request.find("grant_type=refresh_token") == std::string::npos) { continue; }
            EXPECT_NE(request.find("refresh_token=refresh-" + number + "&"), std::string::npos);
            ++refreshes;
        }
        EXPECT_EQ(TokenStore().Load().refreshToken, "refresh-of-" + renewed);
    }
    EXPECT_EQ(refreshes, expiries);
    std::printf("%d expiries met by 8 processes: %d refreshes\n", expiries, refreshes);
}

} // namespace VarnelBase
