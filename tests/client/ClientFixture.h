#pragma once

#include <ServiceClient.h>

#include <string>

#include "ScriptedServer.h"
#include "TestHome.h"

namespace VarnelBase {

/// A service that answers as it is told, and a client of it without settings.
class ClientFixture : public TestHome {
protected:
    ClientOptions Options() const {
        ClientOptions options;
        options.host = "127.0.0.1";
        options.port = server.port;
        options.tokenSource = [] { return "t0ken"; };
        return options;
    }

    ClientOptions OneAttempt() const {
        ClientOptions options = Options();
        options.maxAttempts = 1;
        return options;
    }

    ScriptedServer server;
};

} // namespace VarnelBase
