#pragma once

#include "ApiConnector.h"
#include "ScriptedServer.h"
#include "TestHome.h"
#include "TokenFile.h"

namespace VarnelBase {

/// A home of its own and settings that name a fresh server.
class HostileFixture : public TestHome {
protected:
    using Manner = ScriptedServer::Manner;

    HostileFixture() {
        Set("VARNEL_API_PORT", std::to_string(server.port));
        Set("VARNEL_TOKEN", "");
    }

    static void Set(const char* name, const std::string& value) { setenv(name, value.c_str(), 1); }

    /// What an action writes to standard output and standard error.
    static std::string CaptureOutput(const std::function<void()>& action) {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        action();
        std::cout.flush();
        return testing::internal::GetCapturedStdout() + testing::internal::GetCapturedStderr();
    }

    static std::filesystem::path FindFile() {
        const EnvConfig config;
        return FindTokenFile(config, ReadIdentitySettings(config.GetEnvironment())).GetPath();
    }

    /// What serves as discovery document and as answer of the token endpoint alike.
    json MakeProviderAnswer(const std::string& accessToken, const std::string& refreshToken) const {
        return json::object({{"issuer", issuer},
                             {"authorization_endpoint", issuer},
                             {"token_endpoint", issuer},
                             {"token_type", "bearer"},
                             {"access_token", accessToken},
                             {"refresh_token", refreshToken}});
    }

    static std::string MakeAnswer(int status, const std::string& body) {
        return "HTTP/1.1 " + std::to_string(status) + " OK\r\n\r\n" + body;
    }

    static constexpr const char* ExpiredToken = "e30.eyJleHAiOjF9.c2ln";
    static constexpr const char* ValidToken = "e30.eyJleHAiOjllOSwiZ3JvdXBzIjpbImFscGhhIl19.c2ln";

    ScriptedServer server;
    const std::string issuer = "http://127.0.0.1:" + std::to_string(server.port);
};

} // namespace VarnelBase
