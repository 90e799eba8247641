#include "Doubles.h"

#include <algorithm>
#include <utility>

#include "AuthHandler.h"

namespace VarnelBase {

Doubles* doubles = nullptr;

void Doubles::Restart(int failingCall) {
    TakeLog();
    tokensGiven = 0;
    handlerCalls = 0;
    throwAt = failingCall;
}

void Doubles::Note(const std::string& step) {
    const std::lock_guard<std::mutex> lock(mutex);
    log.push_back(step);
}

std::vector<std::string> Doubles::TakeLog() {
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(log, {});
}

std::string Doubles::NextToken() {
    return tokens.at(std::min(tokensGiven++, tokens.size() - 1));
}

void Doubles::CountHandlerCall(const std::string& step) {
    Note(step);
    if (++handlerCalls == throwAt) { throw StepFailed(step); }
}

EnvConfig::EnvConfig()
    : environment(doubles->environment),
      apiHost(doubles->apiHost),
      apiPort(doubles->apiPort),
      offline(doubles->offline) {
    doubles->Note("EnvConfig()");
}

EnvConfig::EnvConfig(Environment deployment)
    : environment(deployment),
      apiHost(doubles->apiHost),
      apiPort(doubles->apiPort),
      offline(doubles->offline) {
    doubles->Note("EnvConfig(" + std::to_string(static_cast<int>(deployment)) + ")");
}

TokenStore::TokenStore() = default;
TokenStore::~TokenStore() = default;

AuthHandler::AuthHandler() {
    doubles->Note("AuthHandler()");
}

AuthHandler::~AuthHandler() {
    doubles->Note("~AuthHandler()");
}

std::string AuthHandler::GetApiKey() {
    doubles->CountHandlerCall("token");
    return doubles->NextToken();
}

std::string AuthHandler::GetFirstGroup(const std::string& accessToken) {
    doubles->CountHandlerCall("group of " + accessToken);
    return doubles->group;
}

std::string AuthHandler::Login() {
    doubles->CountHandlerCall("login");
    return "signed in";
}

} // namespace VarnelBase
