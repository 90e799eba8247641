#pragma once

#include "ApiConnector.h"
#include "ScriptedServer.h"
#include "TestHome.h"

namespace VarnelBase {

/// A home of its own and settings that name a fresh server.
class HostileFixture : public TestHome {
protected:
    HostileFixture() {
        Set("VARNEL_API_PORT", std::to_string(server.port));
        Set("VARNEL_TOKEN", "");
    }

    static void Set(const char* name, const std::string& value) { setenv(name, value.c_str(), 1); }

    /// Serves as discovery document and as answer of the token endpoint alike.
    json MakeProviderDocument(const std::string& accessToken,
                              const std::string& refreshToken) const {
        return {{"issuer", issuer},
                {"authorization_endpoint", issuer},
                {"token_endpoint", issuer},
                {"token_type", "bearer"},
                {"access_token", accessToken},
                {"refresh_token", refreshToken}};
    }

    /// What an action writes to standard output and standard error.
    static std::string CaptureOutput(const std::function<void()>& action) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        action();
        return testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    }

    /// The browser goes where it is sent, but to the callback at once, and leaves behind in the
    /// file "child" what it was started with.
    void UseBrowser() const {
        Write(browser, R"(#!/bin/bash
(env; echo "$@") >"$HOME/child"
[[ $1 =~ ^http://127.0.0.1:([0-9]+)(/.*)$ ]]
port=${BASH_REMATCH[1]} start=${BASH_REMATCH[2]}
get() {
    exec 3<>"/dev/tcp/127.0.0.1/$2"
    printf 'GET %s HTTP/1.1\r\nHost: 127.0.0.1:%s\r\n\r\n' "$1" "$2" >&3
    cat <&3
}
{
    [[ $(get "$start" "$port") =~ state=([^&]+) ]]
    get "/callback?code=S3CRET-code&state=${BASH_REMATCH[1]}" "$port"
} &
)",
              0700);
        Set("BROWSER", browser);
    }

    /// Where the only stored tokens are.
    std::filesystem::path FindTokens() const {
        return *std::filesystem::directory_iterator(directory);
    }

    static constexpr const char* ExpiredToken = "e30.eyJleHAiOjF9.c2ln";
    static constexpr const char* ValidToken = "e30.eyJleHAiOjllOSwiZ3JvdXBzIjpbImFscGhhIl19.c2ln";

    const std::filesystem::path browser = home / "browser";
    const std::filesystem::path directory = home / ".local/state/varnel/tokens";
    ScriptedServer server;
    const std::string issuer = "http://127.0.0.1:" + std::to_string(server.port);
};

} // namespace VarnelBase
