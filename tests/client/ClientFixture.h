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

    static std::string MakeKeptAnswer(int status, const std::string& body,
                                      const std::string& headers = "") {
        return "HTTP/1.1 " + std::to_string(status) + " Answer\r\n" + headers +
               "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }

    /// The same from a service that says that it closes the connection, as it then does.
    static std::string MakeAnswer(int status, const std::string& body,
                                  const std::string& headers = "") {
        return MakeKeptAnswer(status, body, headers + "Connection: close\r\n");
    }

    ScriptedServer server;
};

} // namespace VarnelBase
