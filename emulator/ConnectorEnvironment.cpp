#include <cstdlib>

#include "Emulator.h"

namespace VarnelBase {

ConnectorEnvironment::ConnectorEnvironment(const Emulator& emulator) {
    const std::vector<std::pair<std::string, std::string>> settings{
        {"VARNEL_ENVIRONMENT", "local"},
        {"VARNEL_API_HOST", "127.0.0.1"},
        {"VARNEL_API_PORT", std::to_string(emulator.GetPort())},
        {"VARNEL_AUTH_HOST", ""},
        {"VARNEL_TOKEN", "emulator"},
        {"VARNEL_OFFLINE", "no"}};
    for (const auto& [name, value] : settings) {
        const char* const old = std::getenv(name.c_str());
        before.emplace_back(name, old == nullptr ? std::nullopt : std::optional<std::string>(old));
        setenv(name.c_str(), value.c_str(), 1);
    }
}

ConnectorEnvironment::~ConnectorEnvironment() {
    for (const auto& [name, value] : before) {
        if (value) {
            setenv(name.c_str(), value->c_str(), 1);
        } else {
            unsetenv(name.c_str());
        }
    }
}

} // namespace VarnelBase
