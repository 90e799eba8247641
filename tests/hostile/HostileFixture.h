#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "OutputCapture.h"
#include "ScriptedServer.h"

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

    static void Set(const char* name, const std::string& value) {
        setenv(name, value.c_str(), 1); // NOLINT(concurrency-mt-unsafe): the server reads none
    }

    const std::string token = "t0ken-0123456789";
    std::string home;
    ScriptedServer server{[] {}};
    OutputCapture output{STDOUT_FILENO};
    OutputCapture errors{STDERR_FILENO};
};

} // namespace VarnelBase
