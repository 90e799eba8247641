#include "ConnectorFixture.h"

#include <algorithm>
#include <iostream>

#include "AuthHandler.h"

namespace VarnelBase {

std::string ConnectorFixture::CaptureOutput(const std::function<void()>& action) {
    // Gives std::cout a buffer of its own, which reading what was captured does not flush.
    std::ios::sync_with_stdio(false);
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    action();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    return testing::internal::GetCapturedStdout();
}

namespace {

/// Notes a call of the handler, and throws if it is to.
ConnectorFixture& Begin(const std::string& call) {
    ConnectorFixture& fixture = *ConnectorFixture::running;
    fixture.server.Note(call);
    if (--fixture.callsToFailure == 0) { throw StepFailed(); }
    return fixture;
}

} // namespace

EnvConfig::EnvConfig() : EnvConfig(ConnectorFixture::running->environment) {}

EnvConfig::EnvConfig(Environment deployment)
    : environment(deployment),
      apiHost(ConnectorFixture::running->apiHost),
      apiPort(ConnectorFixture::running->apiPort),
      offline(ConnectorFixture::running->offline) {
    Begin("EnvConfig " + std::to_string(static_cast<int>(deployment)));
}

TokenStore::TokenStore() = default;
TokenStore::~TokenStore() = default;

AuthHandler::AuthHandler() {
    Begin("AuthHandler");
}

AuthHandler::~AuthHandler() {
    ConnectorFixture::running->server.Note("~AuthHandler");
}

std::string AuthHandler::GetApiKey() {
    ConnectorFixture& fixture = Begin("token");
    return fixture.tokens.at(std::min(fixture.tokensTaken++, fixture.tokens.size() - 1));
}

std::string AuthHandler::GetFirstGroup(const std::string& accessToken) {
    return Begin("group of " + accessToken).group;
}

std::string AuthHandler::Login() {
    return "signed in";
}

} // namespace VarnelBase
