#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "ApiConnector.h"
#include "EnvironmentVariable.h"
#include "OutputCapture.h"
#include "ScriptedServer.h"
#include "TokenFile.h"

namespace VarnelBase {

/// A home of its own and settings that name a fresh server.
class HostileFixture : public testing::Test {
protected:
    using Manner = ScriptedServer::Manner;

    HostileFixture() {
        std::string pattern = std::filesystem::temp_directory_path() / "hostile-XXXXXX";
        home = mkdtemp(pattern.data());
        Set("HOME", home);
        Set("VARNEL_API_PORT", std::to_string(server.GetPort()));
        Set("VARNEL_TOKEN", token);
    }
    ~HostileFixture() override { std::filesystem::remove_all(home); }

    static void Set(const char* name, const std::string& value) { setenv(name, value.c_str(), 1); }

    static std::string FindFile() {
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

    void Answer(int status, const std::string& body) {
        server.Answer("HTTP/1.1 " + std::to_string(status) + " OK\r\n\r\n" + body);
    }

    static constexpr const char* ExpiredToken = "e30.eyJleHAiOjF9.c2ln";
    static constexpr const char* ValidToken = "e30.eyJleHAiOjllOSwiZ3JvdXBzIjpbImFscGhhIl19.c2ln";

    const std::string token = "t0ken-0123456789";
    std::string home;
    ScriptedServer server{[] {}};
    const std::string issuer = "http://127.0.0.1:" + std::to_string(server.GetPort());
    OutputCapture output{STDOUT_FILENO};
    OutputCapture errors{STDERR_FILENO};
};

} // namespace VarnelBase
