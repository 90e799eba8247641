#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

#include "ClientOptions.h"
#include "EnvConfig.h"

namespace VarnelBase {

class AuthHandler;

/// Where requests go, and with which token.
struct Access {
    std::string token;
    std::string host;
    std::string origin; ///< scheme, host and port
    bool isLoopback = false;
};

/// There is no token, or no host that belongs to it.
class AccessError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Finds token and host as the connector does, or as the options say. Several threads may use it;
/// one at a time asks for a token.
class AccessSource {
public:
    AccessSource(std::optional<Environment> environment, const ClientOptions& options);
    ~AccessSource();

    /// Returns the same object until the token changes.
    ///
    /// @throws AccessError saying why token or host are missing
    std::shared_ptr<const Access> Find();

    std::string Login();

    bool IsOffline() const { return config && config->IsOffline(); }
    Environment GetEnvironment() const {
        return config ? config->GetEnvironment() : Environment::Local;
    }
    unsigned int GetPort() const { return port; }

    /// File of certificates to trust besides the system's; empty: none.
    const std::string& GetCaFile() const { return caFile; }

private:
    std::string BuildHost(const std::string& token);

    const std::function<std::string()> tokenSource;
    const bool isSecure;
    std::optional<EnvConfig> config; ///< none if host and port were given
    std::string configuredHost;
    unsigned int port = 0;
    std::string caFile;

    std::mutex mutex; ///< guards the following members
    std::unique_ptr<AuthHandler> auth;
    std::shared_ptr<const Access> last;
};

} // namespace VarnelBase
