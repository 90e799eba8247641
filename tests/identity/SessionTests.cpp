// What becomes of a session while time passes, others hold its lock, and the provider is in
// trouble.

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/file.h>
#include <sys/inotify.h>

#include <array>
#include <cstdlib>
#include <ctime>

#include "CryptoText.h"
#include "HostileFixture.h"
#include "LoginGuide.h"
#include "Operations.h"
#include "ProgramClock.h"

namespace VarnelBase {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class Sessions : public HostileFixture {
protected:
    Sessions() { Set("VARNEL_AUTH_HOST", issuer); }
    ~Sessions() override {
        const milliseconds passed = clock.passed;
        clock = ProgramClock();
        clock.passed = passed; // what is known of one test's time is so in the next
    }

    /// A token that was good for an hour, with so much left of it.
    static std::string MakeToken(long secondsLeft) {
        const std::time_t expiry = std::time(nullptr) + secondsLeft;
        const json claims = {{"iat", expiry - 3600}, {"exp", expiry}};
        return "e30." + EncodeBase64Url(claims.dump()) + ".";
    }

    void AnswerWith(const std::string& accessToken, const std::string& refreshToken) {
        server.Answer(MakeAnswer(200, MakeProviderDocument(accessToken, refreshToken).dump()));
    }

    /// Serves sign-in on another device, too.
    json MakeDeviceDocument(const std::string& accessToken, const std::string& refreshToken) const {
        json document = MakeProviderDocument(accessToken, refreshToken);
        document.update({{"device_authorization_endpoint", issuer},
                         {"device_code", "device"},
                         {"user_code", "user"},
                         {"verification_uri", issuer},
                         {"interval", 2}});
        return document;
    }

    /// Locks the stored tokens as another program does, until the descriptor is closed.
    int HoldLock() const {
        const int holder = open((FindTokens().string() + ".lock").c_str(), O_RDWR | O_CREAT, 0600);
        EXPECT_EQ(flock(holder, LOCK_EX), 0);
        return holder;
    }

    int CountRequests(const std::string& text = "POST ") {
        int count = 0;
        for (const std::string& request : server.TakeRequests()) {
            count += request.find(text) != std::string::npos ? 1 : 0;
        }
        return count;
    }

    /// How often an action, in whatever process, opens a file.
    static int CountOpenings(const std::filesystem::path& path,
                             const std::function<void()>& action) {
        const int watcher = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        inotify_add_watch(watcher, path.c_str(), IN_OPEN | IN_CLOSE); // equal ones would be merged
        action();
        int count = 0;
        std::array<inotify_event, 64> events{};
        for (ssize_t size = 1; size > 0;) {
            size = read(watcher, events.data(), sizeof(events));
            for (ssize_t at = 0; at * ssize_t(sizeof(inotify_event)) < size; ++at) {
                count += (events.at(std::size_t(at)).mask & IN_OPEN) != 0 ? 1 : 0;
            }
        }
        close(watcher);
        return count;
    }

    ProgramClock& clock = ProgramClock::Get();
};

using HostileAnswers = Sessions;

/// The token or the error, and not both.
std::string Ask(AuthHandler& auth) {
    try {
        return auth.GetApiKey();
    } catch (const std::runtime_error& error) { return std::string("error: ") + error.what(); }
}

} // namespace

TEST_F(Sessions, AskNobodyOffline) {
    const std::vector<std::function<std::string(AuthHandler&)>> operations{
        [](AuthHandler& auth) { return auth.GetApiKey(); },
        [](AuthHandler& auth) { return auth.Login(); },
        [](AuthHandler& auth) {
            EXPECT_THROW(auth.Relogin(), std::runtime_error);
            return auth.GetApiKey();
        }};
    Set("VARNEL_OFFLINE", "1");
    AnswerWith("online", "next");
    for (const std::string& stored : {MakeToken(900), MakeToken(-10), std::string()}) {
        for (const char* password : {"", "password"}) {
            Set("VARNEL_USERNAME", "user");
            Set("VARNEL_PASSWORD", password);
            TokenStore().Clear();
            if (!stored.empty()) { TokenStore().Store({stored, "refresh"}); }
            for (const auto& operation : operations) {
                AuthHandler auth;
                EXPECT_EQ(operation(auth), stored);
                EXPECT_EQ(auth.GetFirstGroup(auth.GetApiKey()), "");
            }
        }
    }
    EXPECT_EQ(server.TakeRequests(), Log());
}

TEST_F(Sessions, TellTokensOfOneLengthApart) {
    AuthHandler auth;
    for (int round = 0; round < 2; ++round) {
        EXPECT_FALSE(auth.IsTokenExpired(MakeToken(900)));
        EXPECT_TRUE(auth.IsTokenExpired(MakeToken(-900)));
    }
}

TEST_F(Sessions, NeedNoPersonWithAVariableAPasswordOrARefreshToken) {
    using Variables = std::vector<std::pair<const char*, const char*>>;
    const std::vector<std::tuple<Variables, TokenSet, bool>> cases{
        {{}, {}, false},
        {{}, {"access", ""}, false},
        {{}, {"access", "refresh"}, true},
        {{{"VARNEL_USERNAME", "user"}}, {}, false},
        {{{"VARNEL_USERNAME", "user"}, {"VARNEL_PASSWORD", "p"}}, {}, true},
        {{{"VARNEL_TOKEN", "given"}}, {}, true}};
    for (const auto& [variables, stored, isEnough] : cases) {
        ClearVariables();
        Set("VARNEL_AUTH_HOST", issuer);
        for (const auto& [name, value] : variables) { Set(name, value); }
        TokenStore().Clear();
        if (!stored.accessToken.empty()) { TokenStore().Store(stored); }
        EXPECT_EQ(AuthHandler::CanLoginNonInteractively(), isEnough);
        const std::string message =
            CatchMessage([] { AuthHandler::RequireNonInteractive("nightly run"); });
        EXPECT_EQ(BeginsWith(message, "nightly run"), !isEnough) << message;
    }
}

TEST_F(Sessions, AskByPasswordForTheScope) {
    Set("VARNEL_USERNAME", "user");
    Set("VARNEL_PASSWORD", "password");
    Set("VARNEL_SCOPE", "openid offline_access");
    AnswerWith("access", "");
    AuthHandler().GetApiKey();
    EXPECT_EQ(CountRequests("&scope=openid%20offline_access"), 1);
}

TEST_F(Sessions, OfNeighboursInNameAreKeptApart) {
    using Settings = std::vector<const char*>; // client, user, scope
    const std::vector<Settings> neighbours{
        {"ab", "c", "d"}, {"a", "bc", "d"}, {"a", "b", "cd"}, {"abc", "", "d"}, {"a:1", "b", "cd"}};
    for (const bool isStored : {false, true}) {
        for (const Settings& settings : neighbours) {
            Set("VARNEL_CLIENT_ID", settings[0]);
            Set("VARNEL_USERNAME", settings[1]);
            Set("VARNEL_SCOPE", settings[2]);
            const std::string own = std::to_string(&settings - neighbours.data());
            if (isStored) {
                EXPECT_EQ(TokenStore().Load().accessToken, own);
            } else {
                TokenStore().Store({own, ""});
            }
        }
    }
}

TEST_F(Sessions, WaitForALockAndDoNothingWithoutIt) {
    for (const int left : {10, -10}) {
        const std::string old = MakeToken(left);
        TokenStore().Store({old, "refresh"});
        const int holder = HoldLock();
        AnswerWith("renewed", "next");
        AuthHandler auth;
        const milliseconds before = clock.passed;
        const std::string answer = Ask(auth);
        const milliseconds waited = clock.passed - before;
        if (left > 0) {
            EXPECT_EQ(answer, old);
            EXPECT_LE(waited, seconds(4));
        } else {
            EXPECT_PRED2(Has, answer, "another program");
            EXPECT_GE(waited, seconds(10));
            EXPECT_LE(waited, seconds(11));
        }
        EXPECT_EQ(CountRequests(), 0);
        close(holder);
        std::filesystem::remove_all(directory);
    }
}

TEST_F(Sessions, AreUnlockedAlthoughAChildWasForkedMeanwhile) {
    std::vector<pid_t> children;
    AuthHandler auth;
    for (const char* renewed : {"first", "second"}) {
        TokenStore().Store({MakeToken(-10), "refresh"});
        AnswerWith(MakeToken(-10), "next");
        clock.atWait = [&] { children.push_back(StartChild([] { return pause(); })); };
        const milliseconds before = clock.passed;
        Ask(auth);
        EXPECT_LT(clock.passed - before, seconds(1)) << renewed;
        EXPECT_EQ(CountRequests(), 1) << renewed;
    }
    EXPECT_EQ(children.size(), 2U);
    for (const pid_t child : children) {
        kill(child, SIGKILL);
        AwaitChild(child);
    }
}

TEST_F(Sessions, BeginBehindALock) {
    UseBrowser();
    for (const bool isOnDevice : {false, true}) {
        server.Answer(MakeAnswer(200, MakeDeviceDocument(MakeToken(900), "by person").dump()));
        TokenStore().Store({MakeToken(900), "old"});
        const int holder = HoldLock();
        int grants = 0;
        clock.atSleep = [&] { // the holder stores what it has got, and goes
            grants += CountRequests("grant_type=");
            if (grants == 0) { return; }
            TokenStore().Store({MakeToken(900), "by refresh"});
            flock(holder, LOCK_UN);
            clock.atSleep = nullptr;
        };
        LoginGuide guide;
        guide.isOnDevice = isOnDevice;
        guide.showCode = [](const DeviceCode&) {};
        const GuidedLogin guided(guide);
        AuthHandler().Relogin();
        EXPECT_EQ(grants, 1) << isOnDevice;
        EXPECT_EQ(TokenStore().Load().refreshToken, "by person") << isOnDevice;
        close(holder);
        std::filesystem::remove_all(directory);
    }
}

TEST_F(Sessions, BeginOnADeviceAsSlowlyAsTheProviderAsks) {
    const std::string answer = MakeAnswer(200, MakeDeviceDocument("token", "next").dump());
    const std::string slower = MakeAnswer(400, R"({"error":"slow_down"})");
    server.Answer(answer, ScriptedServer::Manner::Whole,
                  {answer, answer, slower, MakeAnswer(503, "later")});
    LoginGuide guide;
    guide.isOnDevice = true;
    guide.showCode = [](const DeviceCode&) {};
    const GuidedLogin guided(guide);
    const milliseconds before = clock.passed;
    AuthHandler().Relogin();
    EXPECT_EQ((clock.passed - before) / seconds(1), 2 + 7 + 12);
    EXPECT_EQ(CountRequests(), 4);
}

TEST_F(Sessions, BeginOnAPortThatNobodyShares) {
    UseBrowser();
    AnswerWith(MakeToken(900), "by browser");
    int listeners = 0;
    clock.atListen = [&](int listener) {
        sockaddr_storage address{};
        socklen_t size = sizeof(address);
        getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size);
        const int thief = socket(address.ss_family, SOCK_STREAM, 0);
        const int on = 1;
        for (const int option : {SO_REUSEADDR, SO_REUSEPORT}) {
            setsockopt(thief, SOL_SOCKET, option, &on, sizeof(on));
        }
        EXPECT_NE(bind(thief, reinterpret_cast<sockaddr*>(&address), size), 0);
        close(thief);
        ++listeners;
    };
    void (*const ownHandler)(int) = [](int /*signal*/) {};
    const auto before = std::signal(SIGPIPE, ownHandler);
    AuthHandler().Relogin();
    EXPECT_EQ(std::signal(SIGPIPE, before), ownHandler) << "the program's own";
    EXPECT_GE(listeners, 1);
}

TEST_F(Sessions, AreNotRenewedByAnAnswerThatTakesForever) {
    for (const int perWait : {0, 5}) {
        TokenStore().Store({MakeToken(-10), "refresh"});
        json document = MakeProviderDocument("renewed", "next");
        const std::string discovery = MakeAnswer(200, document.dump());
        document["x"] = std::string(400000, 'x'); // many reads
        server.Answer(MakeAnswer(200, document.dump()), ScriptedServer::Manner::Whole, {discovery});
        clock.perWait = seconds(perWait);
        AuthHandler auth;
        const std::string answer = Ask(auth);
        clock.perWait = seconds(0);
        if (perWait == 0) {
            EXPECT_EQ(answer, "renewed");
        } else {
            EXPECT_PRED2(Has, answer, "no complete answer");
        }
        EXPECT_EQ(CountRequests(), 1);
    }
}

TEST_F(HostileAnswers, MayNeverCome) {
    Set("VARNEL_TOKEN", "t0ken");
    ApiConnector connector;
    clock.isPeerSilent = true;
    for (const Operation& operation : AllOperations) {
        const milliseconds before = clock.passed;
        EXPECT_EQ(operation.call(connector), json()) << operation.request;
        EXPECT_GT(clock.passed, before) << operation.request;
    }
}

TEST_F(Sessions, AskAProviderInTroubleSeldom) {
    using Tries = std::vector<int>; // seconds after the first one
    const std::vector<std::tuple<const char*, std::string, Tries>> troubles{
        {"silent", "", {0, 8, 21}},
        {"hanging up", "", {0, 5, 15}},
        {"overloaded", MakeAnswer(503, "later"), {0, 5, 15}},
        {"overloaded", MakeAnswer(503, "again, after a renewal"), {0, 5, 15}}};
    for (const auto& [trouble, answer, expected] : troubles) {
        Set("VARNEL_USERNAME", trouble); // each its own session
        TokenStore().Store({MakeToken(29), "refresh"});
        server.Answer(answer);
        clock.isPeerSilent = trouble == std::string("silent");
        AuthHandler auth;
        const milliseconds start = clock.passed;
        Tries tries;
        while (clock.passed - start < seconds(28)) {
            const milliseconds before = clock.passed;
            EXPECT_EQ(Ask(auth).substr(0, 4), "e30.");
            EXPECT_LE(clock.passed - before, seconds(3));
            int asked = CountRequests("HTTP/1.1");
            while (asked == 0 && clock.passed > before) { // on its way, since silence takes no time
                asked = CountRequests("HTTP/1.1");
            }
            if (asked > 0) { tries.push_back(static_cast<int>((before - start) / seconds(1))); }
            clock.passed += seconds(1);
        }
        EXPECT_EQ(tries, expected) << trouble;
        EXPECT_EQ(TokenStore().Load().refreshToken, "refresh");
        clock.isPeerSilent = false;
        clock.passed += std::chrono::minutes(2);
        AnswerWith("renewed", "next");
        EXPECT_EQ(Ask(auth), "renewed") << trouble;
        server.TakeRequests();
    }
}

TEST_F(Sessions, AreRenewedEarlyOnlyWhenTheAnswerCanBeAwaited) {
    for (const auto& [perWait, left, isRenewed] : std::vector<std::tuple<int, int, bool>>{
             {0, 20, true}, {600, 20, false}, {600, -10, true}}) {
        const std::string old = MakeToken(left);
        TokenStore().Store({old, "refresh"});
        AnswerWith("renewed", "next");
        clock.perWait = milliseconds(perWait);
        AuthHandler auth;
        EXPECT_EQ(Ask(auth), isRenewed ? "renewed" : old) << perWait << " " << left;
        clock.perWait = milliseconds(0);
        EXPECT_EQ(CountRequests(), isRenewed ? 1 : 0) << perWait << " " << left;
    }
}

TEST_F(Sessions, ReadTheirSettingsOnce) {
    // Its name, the password, what is left of the stored token, and what is done.
    using Case = std::tuple<const char*, const char*, int, std::function<void(AuthHandler&)>>;
    const auto run = [](const std::string& command) {
        return [command](AuthHandler&) {
            EXPECT_EQ(std::system((VARNEL_FILE + (" " + command) + " >/dev/null").c_str()), 0);
        };
    };
    std::vector<Case> cases{
        {"EnvConfig", "", 900, [](AuthHandler&) { EnvConfig(); }},
        {"AuthHandler", "", 900, [](AuthHandler&) { AuthHandler(); }},
        {"stored", "", 900, [](AuthHandler& auth) { auth.GetApiKey(), auth.GetApiKey(); }},
        {"refresh", "", -10, [](AuthHandler& auth) { auth.GetApiKey(); }},
        {"password", "p", 0, [](AuthHandler& auth) { auth.GetApiKey(); }},
        {"Login", "", 900, [](AuthHandler& auth) { auth.Login(); }},
        {"Relogin", "p", -10, [](AuthHandler& auth) { auth.Relogin(); }},
        {"question", "", 900, [](AuthHandler&) { AuthHandler::CanLoginNonInteractively(); }},
        {"Load", "", 900, [](AuthHandler&) { TokenStore().Load(); }},
        {"Clear", "", 900, [](AuthHandler&) { TokenStore().Clear(); }}};
    for (const char* command : {"login", "token", "whoami", "logout"}) {
        if (*VARNEL_FILE != '\0') { cases.emplace_back(command, "", -10, run(command)); }
    }
    const std::filesystem::path settings = home / ".config/varnel/config.json";
    Set("VARNEL_AUTH_HOST", "");
    AnswerWith("renewed", "next");
    for (const auto& [name, password, left, operation] : cases) {
        Write(settings,
              json({{"authHost", issuer}, {"username", "user"}, {"password", password}}).dump());
        TokenStore().Clear();
        if (left != 0) { TokenStore().Store({MakeToken(left), "refresh"}); }
        AuthHandler auth;
        EXPECT_EQ(CountOpenings(settings, [&, &work = operation] { work(auth); }), 1) << name;
    }
}

} // namespace VarnelBase
