#pragma once

#include <Emulator.h>
#include <gtest/gtest.h>
#include <httplib.h>

#include <string>

/// A status and the document that came with it; null where it is not JSON.
struct Reply {
    int status = 0;
    nlohmann::json document;
    std::string body;
};

/// Sends a request to an emulator over a socket.
inline Reply AskEmulator(const VarnelBase::Emulator& emulator, const std::string& method,
                         const std::string& target, const std::string& body = "") {
    httplib::Client client("127.0.0.1", emulator.GetPort());
    httplib::Request request;
    request.method = method;
    request.path = target;
    request.body = body;
    request.headers.emplace("Content-Type", "application/json");
    const auto result = client.send(request);
    if (!result) { return {}; }
    const auto document = nlohmann::json::parse(result->body, nullptr, false);
    return {result->status, document.is_discarded() ? nlohmann::json() : document, result->body};
}
