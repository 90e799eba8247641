#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "Doubles.h"
#include "OutputCapture.h"
#include "ScriptedServer.h"

namespace VarnelBase {

/// Fresh doubles that name a fresh server.
class ConnectorFixture : public testing::Test {
protected:
    using Log = std::vector<std::string>;

    ConnectorFixture() {
        doubles = &settings;
        settings.apiPort = server.GetPort();
    }
    ~ConnectorFixture() override { doubles = nullptr; }

    /// Lets the server answer with that status line, those header lines and a body.
    void Answer(int status, const std::string& body, const std::string& headerLines = "") {
        server.Answer("HTTP/1.1 " + std::to_string(status) + " As scripted\r\nContent-Length: " +
                      std::to_string(body.size()) + "\r\n" + headerLines + "\r\n" + body);
    }

    /// Chooses Staging; "127" and "0.0.1" make an address that a connection can be made to.
    void UseGroup() {
        settings.environment = Environment::Staging;
        settings.group = "127";
        settings.apiHost = "0.0.1";
    }

    Doubles settings;
    ScriptedServer server{[this] { settings.Note("request"); }};
    OutputCapture output{STDOUT_FILENO};
    OutputCapture errors{STDERR_FILENO};
};

} // namespace VarnelBase
