#pragma once

#include <string>

namespace VarnelBase {

/// The deployments of the service. The numbers are part of the interface.
enum class Environment : int {
    Local = 0,      ///< this machine; the configured host is used unchanged
    Staging = 1,    ///< the host is the user's group, ".", and the configured host
    Production = 2, ///< as in `Staging`
};

/// The connection settings of one environment, read once, in the constructor.
///
/// A setting comes from its environment variable, else from the configuration file, else from a
/// built-in value. The file is $VARNEL_CONFIG, else $XDG_CONFIG_HOME/varnel/config.json, else
/// ~/.config/varnel/config.json. If VARNEL_CONFIG is set, its file must exist.
///
/// Several threads may copy and read an object. The constructors read environment variables: no
/// other thread may change them (`setenv`) meanwhile.
class EnvConfig {
public:
    /// Settings of the environment that VARNEL_ENVIRONMENT names, else the file's "environment",
    /// else `Local`.
    ///
    /// @throws std::runtime_error naming the variable, or the file and key, at fault
    EnvConfig();

    /// Settings of the given environment. If VARNEL_ENVIRONMENT names a different one, the
    /// variables that stand for settings belong to that one and are ignored; only VARNEL_OFFLINE
    /// always applies.
    ///
    /// @throws std::invalid_argument when the value is not one of the three
    /// @throws std::runtime_error naming the variable, or the file and key, at fault
    explicit EnvConfig(Environment deployment);

    /// The environment that the settings belong to.
    Environment GetEnvironment() const { return environment; }

    /// Host name or address of the service, without scheme, port and path. Empty if the file sets
    /// it to "": cpp-httplib then connects to this machine.
    const std::string& GetApiHost() const { return apiHost; }

    /// TCP port of the service, 1 to 65535.
    unsigned int GetApiPort() const { return apiPort; }

    /// Realm at the identity provider; empty if the provider has no realms.
    const std::string& GetAuthRealm() const;

    /// User name for signing in without a browser; empty if not set.
    const std::string& GetUsername() const;

    /// Password of that user, a secret; empty if not set.
    const std::string& GetPassword() const;

    /// Whether both user name and password are set.
    bool HasCredentials() const;

    /// Whether the connector is offline: it sends no request.
    bool IsOffline() const { return offline; }

private:
    static Environment ParseEnvironment(const std::string& text);
    void LoadOverrides();
    void LoadCredentials();

    Environment environment;
    std::string apiHost;
    unsigned int apiPort;
    std::string authRealm;
    std::string username;
    std::string password;
    bool offline;
};

} // namespace VarnelBase
