#include "ConnectorFixture.h"

#include <algorithm>

#include "AuthHandler.h"

namespace VarnelBase {

ConnectorFixture::ConnectorFixture()
    : server([this](const std::string& request) {
          Note("request");
          const std::lock_guard<std::mutex> lock(mutex);
          requests.push_back(request);
          return scriptedAnswer;
      }) {
    apiPort = server.GetPort();
    running = this;
}

void ConnectorFixture::Note(const std::string& step) {
    const std::lock_guard<std::mutex> lock(mutex);
    happened.push_back(step);
}

void ConnectorFixture::NoteHandlerCall(const std::string& step) {
    Note(step);
    if (++handlerCalls == failingHandlerCall) { throw StepFailed(step); }
}

std::string ConnectorFixture::TakeToken() {
    return tokens.at(std::min(tokensTaken++, tokens.size() - 1));
}

void ConnectorFixture::Restart(int failingCall) {
    TakeLog();
    tokensTaken = 0;
    handlerCalls = 0;
    failingHandlerCall = failingCall;
}

void ConnectorFixture::Answer(int status, const std::string& body, const std::string& headerLines) {
    Answer("HTTP/1.1 " + std::to_string(status) + " As scripted\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n" + headerLines + "\r\n" + body);
}

void ConnectorFixture::Answer(const std::string& bytes) {
    const std::lock_guard<std::mutex> lock(mutex);
    scriptedAnswer = bytes;
}

Log ConnectorFixture::TakeLog() {
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(happened, {});
}

Log ConnectorFixture::TakeRequests() {
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(requests, {});
}

// The doubles.

EnvConfig::EnvConfig() : EnvConfig(ConnectorFixture::running->environment) {}

EnvConfig::EnvConfig(Environment deployment)
    : environment(deployment),
      apiHost(ConnectorFixture::running->apiHost),
      apiPort(ConnectorFixture::running->apiPort),
      offline(ConnectorFixture::running->offline) {
    ConnectorFixture::running->Note("EnvConfig " + std::to_string(static_cast<int>(deployment)));
}

TokenStore::TokenStore() = default;
TokenStore::~TokenStore() = default;

AuthHandler::AuthHandler() {
    ConnectorFixture::running->Note("AuthHandler");
}

AuthHandler::~AuthHandler() {
    ConnectorFixture::running->Note("~AuthHandler");
}

std::string AuthHandler::GetApiKey() {
    ConnectorFixture::running->NoteHandlerCall("token");
    return ConnectorFixture::running->TakeToken();
}

std::string AuthHandler::GetFirstGroup(const std::string& accessToken) {
    ConnectorFixture::running->NoteHandlerCall("group of " + accessToken);
    return ConnectorFixture::running->group;
}

std::string AuthHandler::Login() {
    ConnectorFixture::running->NoteHandlerCall("login");
    return "signed in";
}

} // namespace VarnelBase
