// Stands in for the settings and the sign-in where instructions are counted: host, port and token
// are constants, so that what is left is the connector's own work.
#include <ApiConnector.h>

#include <cstdlib>

namespace VarnelBase {

EnvConfig::EnvConfig() : EnvConfig(Environment::Local) {}

EnvConfig::EnvConfig(Environment deployment)
    : environment(deployment),
      apiHost("127.0.0.1"),
      apiPort(static_cast<unsigned int>(std::atoi(std::getenv("VARNEL_API_PORT")))),
      offline(false) {}

AuthHandler::AuthHandler() : token(std::getenv("VARNEL_TOKEN")) {}

AuthHandler::~AuthHandler() = default;

std::string AuthHandler::GetApiKey() {
    return token;
}

std::string AuthHandler::GetFirstGroup(const std::string& /*accessToken*/) {
    return "";
}

std::string AuthHandler::Login() {
    return token;
}

TokenStore::TokenStore() = default;

TokenStore::~TokenStore() = default;

} // namespace VarnelBase
