#include "EnvConfig.h"

#include <sys/stat.h>

#include "Limits.h"
#include "TestHome.h"

extern "C" [[gnu::weak]] void __asan_init(); // there with AddressSanitizer alone

namespace VarnelBase {

namespace {

constexpr auto Unchosen = static_cast<Environment>(99);

class Settings : public TestHome {
protected:
    /// The settings of an environment, or the error, with the file's name as FILE.
    std::string Describe(Environment given = Unchosen) const {
        try {
            const EnvConfig config = given == Unchosen ? EnvConfig() : EnvConfig(given);
            return std::to_string(static_cast<int>(config.GetEnvironment())) + " " +
                   config.GetApiHost() + ":" + std::to_string(config.GetApiPort()) + " " +
                   config.GetAuthRealm() + " " + config.GetUsername() + "/" + config.GetPassword() +
                   (config.HasCredentials() ? " credentials" : "") +
                   (config.IsOffline() ? " offline" : "");
        } catch (const std::exception& error) {
            const std::string message = error.what();
            return message.rfind(file, 0) == 0 ? "FILE" + message.substr(file.size()) : message;
        }
    }

    std::string file = home / ".config/varnel/config.json";
};

} // namespace

TEST_F(Settings, ComeFromVariablesThenTheFileThenTheBuiltInValues) {
    const char* const layered = R"({"environment":"Staging","apiHost":"all","apiPort":81,
        "authRealm":"every", // comments are fine /* so are these */
        "environments":{"staging":{"apiHost":"one","username":"u","password":"p"},
                        "production":{"apiHost":"","offline":true}}})";
    const Environment local = Environment::Local;
    const Environment staging = Environment::Staging;
    struct Case {
        std::string file;
        std::vector<std::string> variables; ///< without VARNEL_
        Environment given;
        std::string expected;
    };
    // clang-format off
    const std::vector<Case> cases{
        {"{}", {}, Unchosen, "0 127.0.0.1:8080  /"},
        {"{}", {}, staging, "1 api-host-is-not-set.invalid:80  /"},
        {layered, {}, Unchosen, "1 one:81 every u/p credentials"},
        {layered, {}, local, "0 all:81 every /"},
        {layered, {}, Environment::Production, "2 :81 every / offline"},
        {layered, {"API_HOST=v", "API_PORT="}, Unchosen, "1 v:81 every u/p credentials"},
        {layered, {"ENVIRONMENT=LOCAL"}, Unchosen, "0 all:81 every /"},
        {layered, {"ENVIRONMENT=local", "API_HOST=v", "API_PORT=9", "AUTH_REALM=r", "USERNAME=w",
                   "PASSWORD=q", "OFFLINE=YES"}, staging, "1 one:81 every u/p credentials offline"},
        {layered, {"ENVIRONMENT=staging", "API_PORT=1", "AUTH_REALM=r", "USERNAME=w"}, staging,
         "1 one:1 r w/p credentials"},
        {R"({"offline":true,"password":"p"})", {"OFFLINE=off"}, Unchosen, "0 127.0.0.1:8080  /p"},
        {R"({"apiHost":"fe80::1%eth0","apiPort":"80"})", {}, Unchosen, "0 fe80::1%eth0:80  /"},
        {"{}", {"OFFLINE=s3cret"}, Unchosen,
         "VARNEL_OFFLINE: must be 1, true, yes or on, or 0, false, no or off"},
        {"{}", {"ENVIRONMENT=test"}, Unchosen, "VARNEL_ENVIRONMENT: unknown environment \"test\": "
                                               "must be local, staging or production"},
        {"{}", {"ENVIRONMENT=test"}, staging,
         "VARNEL_ENVIRONMENT: must be local, staging or production"},
        {R"({"environment":"\u0000\u001b"})", {}, Unchosen,
         R"(FILE: environment: unknown environment "\u0000\u001b": must be local, staging or production)"},
        {"[]", {}, local, "FILE:1:1: the document: must not be an array"},
        {R"({"environment":""})", {}, Unchosen, "FILE: environment: unknown environment \"\": "
                                                "must be local, staging or production"},
        {"{}", {}, static_cast<Environment>(-1),
         "environment -1: must be 0 (local), 1 (staging) or 2 (production)"},
        {"", {}, local, "FILE:1:1: not valid JSON"},
        {"{\n \"password\": \"s3cret\" \"\n}", {}, local, "FILE:2:23: not valid JSON"},
        {"{\n\"apiPort\": -1\n}", {}, local, "FILE:2:13: \"apiPort\": must not be negative"},
        {R"({"apiPort":1.5})", {}, local, "FILE:1:15: \"apiPort\": must be a whole number"},
        {R"({"apiPort":true})", {}, local, "FILE:1:15: \"apiPort\": has the wrong type"},
        {R"({"password":["s3cret"]})", {}, local, "FILE:1:13: \"password\": must not be an array"},
        {R"({"apiHost":{}})", {}, local, "FILE:1:12: \"apiHost\": must not be an object"},
        {R"({"apihost":""})", {}, local, "FILE:1:10: \"apihost\": unknown key"},
        {"{\"apiHost\":\"a\",\n\"apiHost\":\"a\"}", {}, local, "FILE:2:9: \"apiHost\": given twice"},
        {R"({"environments":{"local":{"environment":""}}})", {}, local,
         "FILE:1:39: \"environments.local.environment\": unknown key"},
        {R"({"environments":{"local":""}})", {}, local,
         "FILE:1:27: \"environments.local\": must be an object"},
    };
    // clang-format on
    for (const Case& c : cases) {
        ClearVariables();
        for (const std::string& variable : c.variables) {
            const std::size_t end = variable.find('=');
            setenv(("VARNEL_" + variable.substr(0, end)).c_str(), &variable[end + 1], 1);
        }
        Write(file, c.file);
        EXPECT_EQ(Describe(c.given), c.expected) << c.file << testing::PrintToString(c.variables);
    }
}

TEST_F(Settings, TakeNoHostOrPortThatIsNone) {
    for (const char* host : {"http://h", "h:80", "h/p", "[::1]", "u@h", "h?q", "h#f", "h h",
                             R"(h\\h)", R"(h\u0000)", R"(h\r\nX: y)", R"(h\u00e9)", "1::2::3",
                             "::1%/p", "::1%e:80", R"(::1%\r\nX: y)", R"(::1\u0000:80)"}) {
        Write(file, std::string(R"({"apiHost":")") + host + "\"}");
        EXPECT_EQ(Describe(),
                  "FILE: apiHost: must be a host name or address without scheme, port and path");
    }
    Write(file, "{}");
    for (const char* port : {"0", "65536", "-1", "+80", " 80", "80 ", "0x50", "4294967376"}) {
        setenv("VARNEL_API_PORT", port, 1);
        EXPECT_EQ(Describe(), "VARNEL_API_PORT: must be a whole number from 1 to 65535") << port;
    }
}

TEST_F(Settings, ComeFromARegularFileAndSecretsFromAPrivateOne) {
    const std::string open =
        "FILE: contains a password or client secret, so it must belong to you and be accessible to "
        "nobody else (chmod 600)";
    const auto expect = [this](const std::filesystem::path& path, const std::string& expected) {
        file = path;
        setenv("VARNEL_CONFIG", file.c_str(), 1);
        EXPECT_EQ(Describe(), expected);
    };
    ASSERT_EQ(mkfifo((home / "fifo").c_str(), 0600), 0);
    expect(home / "fifo", "FILE: not a regular file");
    expect(home, "FILE: not a regular file");
    expect(home / "missing", "FILE: No such file or directory");
    Write(home / "large", std::string((1 << 20) + 1, ' '));
    expect(home / "large", "FILE: larger than 1048576 bytes");
    Write(home / "open", "{}", 0666);
    std::filesystem::create_symlink(home / "open", home / "link");
    expect(home / "link", "0 127.0.0.1:8080  /");
    for (const int mode : {0604, 0640, 0620}) {
        Write(home / "open", R"({"environments":{"staging":{"clientSecret":"s3cret"}}})", mode);
        expect(home / "open", open);
    }
}

TEST_F(Settings, NameNoFileWhereNoneCanBeOpened) {
    if (__asan_init != nullptr) { GTEST_SKIP() << "the sanitizer needs descriptors of its own"; }
    std::string description;
    DoWithin(RLIMIT_NOFILE, 0, [&] { description = Describe(); });
    EXPECT_EQ(description,
              "the settings cannot be read: Too many open files; close some or raise "
              "the limit (ulimit -n)");
}

TEST_F(Settings, ComeFromTheFirstPlaceThatIsNamed) {
    Write(home / "xdg/varnel/config.json", R"({"apiPort":1})");
    Write(file, R"({"apiPort":2})");
    setenv("XDG_CONFIG_HOME", (home / "xdg").c_str(), 1);
    EXPECT_EQ(EnvConfig().GetApiPort(), 1U);
    setenv("XDG_CONFIG_HOME", "relative", 1);
    EXPECT_EQ(EnvConfig().GetApiPort(), 2U);
    unsetenv("HOME");
    EXPECT_EQ(EnvConfig().GetApiPort(), 8080U);
}

} // namespace VarnelBase
